// The lines of a trace, taken apart, and the lines that a test expects. Knows nothing of the library's
// internals, so that tests of the public interface can use it as well. The line format is written down in
// docs/tracing.md.
#ifndef ZOLSTATS_TESTS_TRACE_LINE_H
#define ZOLSTATS_TESTS_TRACE_LINE_H

#include <cstdio>
#include <ostream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace testing_support {

// One line of a trace, taken apart; whatever else the trace holds (dumps, banner) belongs to the line before
// it.
struct TraceLine {
    int point = 0;
    std::string level;                 // without its padding
    std::string message;               // without its newline
    std::string prefix{};              // time stamp, process and thread, as printed
    std::vector<std::string> below{};  // lines without a prefix that follow

    friend bool operator==(const TraceLine& a, const TraceLine& b) {
        return a.point == b.point && a.level == b.level && a.message == b.message;
    }
    friend void PrintTo(const TraceLine& line, std::ostream* out) {
        *out << '[' << line.point << "] " << line.level << ' ' << line.message;
    }
};

// What a template prints for these values.
template <class... Values>
std::string printed(const char* format, Values... values) {
    std::string text(40000, '\0');
    text.resize(static_cast<std::size_t>(std::snprintf(text.data(), text.size(), format, values...)));
    return text;
}
inline std::string printed(const char* text) {
    return text;
}

// The line expected of a trace point. Write the number, the level word and the text literally: a check of the
// tests looks for them here.
template <class... Values>
TraceLine line(int point, const char* level, const char* format, Values... values) {
    return {point, level, printed(format, values...)};
}

// Take a trace apart.
inline std::vector<TraceLine> traceLines(const std::string& text) {
    static const std::regex format(
        R"((\d\d/\d\d/\d\d \d\d:\d\d:\d\d:\d\d\d \[0x[0-9A-F]{8},0x[0-9A-F]{8}\]) \[(\d{4})\] (.{6}) )");
    static constexpr std::size_t prefixLength = 60;
    std::vector<TraceLine> found;
    std::istringstream stream(text);
    for (std::string row; std::getline(stream, row);) {
        const std::string prefix = row.substr(0, prefixLength);
        std::smatch part;
        if (std::regex_match(prefix, part, format)) {
            const std::string level = part[3];
            found.push_back({std::stoi(part[2]), level.substr(0, level.find_last_not_of(' ') + 1),
                             row.substr(prefixLength), part[1]});
        } else if (!found.empty()) {
            found.back().below.push_back(row);
        }
    }
    return found;
}

}  // namespace testing_support

#endif

// What tests look for in a captured trace besides whole lines: their order, the addresses they print, the
// bytes they dump. Capturing itself is trace_capture.h's business. The line format is written down in
// docs/tracing.md.
#ifndef ZOLSTATS_TESTS_TRACE_READING_H
#define ZOLSTATS_TESTS_TRACE_READING_H

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "support/bytes.h"
#include "support/trace_capture.h"

namespace testing_support {

// The numbers of all lines, in their order.
inline std::vector<int> points(const TraceCapture& trace) {
    std::vector<int> numbers;
    std::ranges::transform(trace.lines(), std::back_inserter(numbers), &TraceLine::point);
    return numbers;
}

// The lines of one module only, which has the numbers from first to last.
inline std::vector<TraceLine> linesWithin(const TraceCapture& trace, int first, int last) {
    std::vector<TraceLine> lines = trace.lines();
    std::erase_if(lines, [=](const TraceLine& each) { return each.point < first || each.point > last; });
    return lines;
}

// Where the first line with that number stands, or the count of lines.
inline std::ptrdiff_t position(const TraceCapture& trace, int point) {
    const std::vector<int> numbers = points(trace);
    return std::ranges::find(numbers, point) - numbers.begin();
}

// The level words that occur while an operation runs with the trace at a level.
template <class Operation>
std::set<std::string> levelsTraced(int level, Operation operation) {
    const TraceCapture trace(level);
    operation();
    std::set<std::string> words;
    for (const TraceLine& each : trace.lines()) {
        words.insert(each.level);
    }
    return words;
}

// The address that the index-th line with that number prints behind a key such as "rc=". Only for memory that
// a test cannot know otherwise.
inline const void* address(const TraceCapture& trace, int point, std::string_view key,
                           std::size_t index = 0) {
    const std::string message = trace.lines(point).at(index).message;
    return reinterpret_cast<const void*>(  // NOLINT(performance-no-int-to-ptr)
        static_cast<std::uintptr_t>(
            std::stoull(message.substr(message.find(key) + key.size()), nullptr, 16)));
}

// The bytes that the dump below a line shows.
inline Bytes dumped(const TraceLine& line) {
    constexpr std::size_t ADDRESS = 12;
    constexpr std::size_t HEXADECIMAL_HALF = 35;
    Bytes bytes;
    for (const std::string& row : line.below) {
        bytes += hex(row.substr(ADDRESS, HEXADECIMAL_HALF));
    }
    return bytes;
}

}  // namespace testing_support

#endif

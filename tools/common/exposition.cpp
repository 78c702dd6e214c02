// Metrics as texts: lines, escapes, and what the two formats do not have alike.
// Not the place where it is decided which metrics there are.
// Both formats are described by the Prometheus and OpenMetrics projects.
//
// Written here and not taken from prometheus-cpp: its serializer knows the text format only, puts numbers
// through a double, so that digits are lost, and has each scrape's figures copied into families of its own.
#include "exposition.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>

#include "common/number.h"

namespace tools {
namespace {

constexpr std::string_view TOTAL = "_total";

struct Spelling {
    std::string_view text;
    std::string_view value;
};
// As C and Java print what is no finite number, and Prometheus itself.
constexpr std::array NOT_FINITE{
    Spelling{"NaN", "NaN"},       Spelling{"nan", "NaN"},        Spelling{"-nan", "NaN"},
    Spelling{"Infinity", "+Inf"}, Spelling{"-Infinity", "-Inf"}, Spelling{"inf", "+Inf"},
    Spelling{"-inf", "-Inf"},     Spelling{"Inf", "+Inf"},       Spelling{"+Inf", "+Inf"},
    Spelling{"-Inf", "-Inf"},
};

// What OpenMetrics calls a unit ends the name of its family.
constexpr std::array UNITS{std::string_view("seconds"), std::string_view("bytes")};

std::string_view nameOf(MetricType type, ExpositionFormat format) {
    switch (type) {
        case MetricType::Counter:
            return "counter";
        case MetricType::Gauge:
            return "gauge";
        case MetricType::Untyped:
            break;
    }
    return format == ExpositionFormat::Text ? "untyped" : "unknown";
}

// With a backslash before each of the given characters, and line ends as "\n".
std::string quoted(std::string_view text, std::string_view special) {
    std::string result;
    result.reserve(text.size());
    for (const char c : text) {
        if (c == '\n') {
            result += "\\n";
        } else {
            result.append(special.find(c) == std::string_view::npos ? 0 : 1, '\\').push_back(c);
        }
    }
    return result;
}

void appendComment(std::string& text, std::string_view keyword, std::string_view name,
                   std::string_view rest) {
    text.append("# ").append(keyword).append(" ").append(name).append(" ").append(rest).append("\n");
}

std::string withoutTotal(const std::string& name) {
    return name.ends_with(TOTAL) ? name.substr(0, name.size() - TOTAL.size()) : name;
}

std::string_view unitOf(std::string_view name) {
    const auto* const unit = std::find_if(UNITS.begin(), UNITS.end(), [&](std::string_view one) {
        return name.size() > one.size() && name.ends_with(one) && name[name.size() - one.size() - 1] == '_';
    });
    return unit == UNITS.end() ? "" : *unit;
}

}  // namespace

std::string_view contentType(ExpositionFormat format) {
    return format == ExpositionFormat::Text ? "text/plain; version=0.0.4; charset=utf-8"
                                            : "application/openmetrics-text; version=1.0.0; charset=utf-8";
}

std::optional<std::string_view> exposedNumber(std::string_view value) {
    const auto* const spelling = std::find_if(NOT_FINITE.begin(), NOT_FINITE.end(),
                                              [&](const Spelling& one) { return one.text == value; });
    if (spelling != NOT_FINITE.end()) {
        return spelling->value;
    }
    const auto number = numberOf(value);
    return number && std::isfinite(static_cast<double>(*number)) ? std::optional(value) : std::nullopt;
}

Exposition::Exposition(ExpositionFormat format, Alphabet alphabet) : format_(format), alphabet_(alphabet) {}

Exposition::Family Exposition::family(std::string_view name, MetricType type, std::string_view help) {
    const auto [known, isNew] = byName_.try_emplace(std::string(name), families_.size());
    if (isNew) {
        families_.push_back({std::string(name), type, std::string(help)});
    }
    return known->second;
}

bool Exposition::add(Family family, const Labels& labels, std::string_view number) {
    if (!isNew(family, labels)) {
        return false;
    }
    auto& [name, type, help, lines] = families_.at(family);
    lines.append(name);
    char separator = '{';
    for (const Label& label : labels) {
        lines += separator;
        appendLabel(lines, label);
        separator = ',';
    }
    lines.append(labels.empty() ? "" : "}").append(" ").append(number).append("\n");
    return true;
}

bool Exposition::add(Family family, const Labels& labels, double number) {
    if (!std::isfinite(number)) {
        return add(family, labels, std::isnan(number) ? "NaN" : number < 0 ? "-Inf" : "+Inf");
    }
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    return add(family, labels,
               std::string_view(digits.data(), static_cast<std::size_t>(end - digits.begin())));
}

std::string Exposition::text() const {
    if (format_ == ExpositionFormat::OpenMetrics) {
        return allAsOpenMetrics();
    }
    std::string all;
    std::for_each(families_.begin(), families_.end(), [&](const Group& group) { all += textOf(group); });
    return all;
}

// For Prometheus neither the order of labels tells two series apart, nor a label without a value.
bool Exposition::isNew(Family family, Labels labels) {
    std::sort(labels.begin(), labels.end());
    constexpr std::size_t usual = 128;
    std::string key = std::to_string(family);
    key.reserve(usual);
    for (const auto& [name, value] : labels) {
        if (!value.empty()) {
            key.append(",")
                .append(name)
                .append("=")
                .append(std::to_string(value.size()))
                .append(":")
                .append(value);
        }
    }
    return series_.insert(std::move(key)).second;
}

void Exposition::appendLabel(std::string& line, const Label& label) const {
    line.append(label.first)
        .append("=\"")
        .append(quoted(escaped(label.second, alphabet_), "\\\""))
        .append("\"");
}

std::string Exposition::textOf(const Group& group) const {
    std::string text;
    if (!group.lines.empty()) {
        appendComment(text, "HELP", group.name, quoted(group.help, "\\"));
        appendComment(text, "TYPE", group.name, nameOf(group.type, format_));
        text += group.lines;
    }
    return text;
}

std::string Exposition::openMetricsOf(const Group& group, bool isCounter) const {
    std::string text;
    if (!group.lines.empty()) {
        const std::string name = isCounter ? withoutTotal(group.name) : group.name;
        const bool isDegraded = group.type == MetricType::Counter && !isCounter;
        appendComment(text, "HELP", name, quoted(group.help, "\\\""));
        appendComment(text, "TYPE", name, nameOf(isDegraded ? MetricType::Untyped : group.type, format_));
        if (const std::string_view unit = unitOf(name); !unit.empty()) {
            appendComment(text, "UNIT", name, unit);
        }
        text += group.lines;
    }
    return text;
}

// A counter has two names more than its samples: that of its family, and that of its time of creation. Where
// another family has one of them, the counter is told as a metric of unknown type, so that all are still
// read.
std::string Exposition::allAsOpenMetrics() const {
    std::unordered_set<std::string> taken;
    for (const Group& group : families_) {
        taken.insert(group.name);
    }
    std::string all;
    for (const Group& group : families_) {
        const std::string base = withoutTotal(group.name);
        const std::string created = base + "_created";
        const bool isCounter =
            group.type == MetricType::Counter && !taken.contains(base) && !taken.contains(created);
        if (isCounter) {
            taken.insert({base, created});
        }
        all += openMetricsOf(group, isCounter);
    }
    return all + "# EOF\n";
}

}  // namespace tools

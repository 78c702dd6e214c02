// Metrics as texts that Prometheus and its kin read: the text format 0.0.4, and OpenMetrics 1.0.
// Not the place where it is decided which metrics there are.
// Both formats are described by the Prometheus and OpenMetrics projects.
#ifndef TOOLS_COMMON_EXPOSITION_H
#define TOOLS_COMMON_EXPOSITION_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "common/escape.h"

namespace tools {

enum class ExpositionFormat { Text, OpenMetrics };

// The value of the HTTP header Content-Type.
std::string_view contentType(ExpositionFormat format);

enum class MetricType { Counter, Gauge, Untyped };

// Name and value; the value is any bytes, of which those that are not visible characters of the alphabet are
// escaped.
using Label = std::pair<std::string_view, std::string_view>;
using Labels = std::vector<Label>;

// A value as Prometheus takes it: the same digits, and its own spelling of what is not finite. Nothing for a
// text that is no number, and for a number that is too large for Prometheus, which refuses all when it meets
// one.
std::optional<std::string_view> exposedNumber(std::string_view value);

// A text under construction: families in the order of their first mention, each with all its samples
// together.
class Exposition {
  public:
    explicit Exposition(ExpositionFormat format, Alphabet alphabet = Alphabet::Utf8);

    // A family is named as its samples are, a counter with the ending "_total". The first mention decides its
    // type and help; a family without samples does not show. The name is valid, the help is UTF-8.
    using Family = std::size_t;
    Family family(std::string_view name, MetricType type, std::string_view help);

    // False if there is this series already: the same series twice would spoil all others, so the first one
    // stays. A number is one of exposedNumber, and no counter is negative or NaN, which OpenMetrics refuses.
    bool add(Family family, const Labels& labels, std::string_view number);
    bool add(Family family, const Labels& labels, double number);

    std::string text() const;

  private:
    struct Group {
        std::string name;
        MetricType type;
        std::string help;
        std::string lines{};
    };

    bool isNew(Family family, Labels labels);
    void appendLabel(std::string& line, const Label& label) const;
    std::string textOf(const Group& group) const;
    std::string openMetricsOf(const Group& group, bool isCounter) const;
    std::string allAsOpenMetrics() const;

    ExpositionFormat format_;
    Alphabet alphabet_;
    std::vector<Group> families_{};
    std::unordered_map<std::string, Family> byName_{};
    std::unordered_set<std::string> series_{};
};

}  // namespace tools

#endif

// How a statistic went in the last minute: kept in parts, shown as levels.
// Not exact: what is shown as a number comes from history.cpp.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "trend.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tools::zolstat::watch {
namespace {

using Parts = std::vector<std::optional<float>>;

float narrowed(long double value) {
    constexpr long double MOST = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(value, -MOST, MOST));
}

std::optional<float> meanOf(const std::optional<float>* first, std::size_t count) {
    double sum = 0;
    int present = 0;
    for (const std::optional<float>* part = first; part != first + count; ++part) {
        sum += part->value_or(0);
        present += part->has_value() ? 1 : 0;
    }
    return present == 0 ? std::nullopt : std::optional(static_cast<float>(sum / present));
}

Parts merged(const Trend& trend, std::size_t columns) {
    const std::size_t each = TREND_PARTS / columns;
    Parts parts(columns);
    for (std::size_t column = 0; column < columns; ++column) {
        parts[column] = meanOf(&trend.parts[column * each], each);
    }
    return parts;
}

struct Range {
    double lowest;
    double highest;
};

Range rangeOf(const Parts& parts, bool fromZero) {
    constexpr double INFINITE = std::numeric_limits<double>::infinity();
    Range range = fromZero ? Range{0, 0} : Range{INFINITE, -INFINITE};
    for (const std::optional<float>& part : parts) {
        range.lowest = std::min<double>(range.lowest, part.value_or(range.lowest));
        range.highest = std::max<double>(range.highest, part.value_or(range.highest));
    }
    return range;
}

// What never moved lies at the bottom.
int levelOf(double value, Range range) {
    const double height = range.highest - range.lowest;
    return height > 0 ? static_cast<int>(std::lround((value - range.lowest) / height * HIGHEST_LEVEL)) : 0;
}

}  // namespace

Minute::Number Minute::numberOf(Moment moment) {
    return std::chrono::floor<std::chrono::duration<Number, std::ratio<TREND_PART.count()>>>(
               moment.time_since_epoch())
        .count();
}

std::size_t Minute::indexOf(Number number) {
    return static_cast<std::size_t>(number) % TREND_PARTS;
}

void Minute::advanceTo(Number newest) {
    for (Number number = std::max(newest_ + 1, newest - Number{TREND_PARTS} + 1); number <= newest;
         ++number) {
        parts_[indexOf(number)] = {};
    }
    newest_ = std::max(newest_, newest);
}

void Minute::add(Moment from, Moment to, long double value) {
    const Number last = numberOf(to - Moment::duration(1));  // what ends with a part does not begin the next
    advanceTo(last);
    for (Number number = std::max(numberOf(from), newest_ - Number{TREND_PARTS} + 1); number <= last;
         ++number) {
        const Moment start = Moment(TREND_PART * number);
        const std::chrono::duration<float> overlap =
            std::min<Moment>(to, start + TREND_PART) - std::max(from, start);
        if (overlap.count() > 0) {
            Part& part = parts_[indexOf(number)];
            part.seconds += overlap.count();
            part.mean += (narrowed(value) - part.mean) * (overlap.count() / part.seconds);
        }
    }
}

std::array<std::optional<float>, TREND_PARTS> Minute::partsUntil(Moment now) const {
    std::array<std::optional<float>, TREND_PARTS> parts;
    const Number oldest = numberOf(now) - Number{TREND_PARTS} + 1;
    for (std::size_t index = 0; index < TREND_PARTS; ++index) {
        const Number number = oldest + static_cast<Number>(index);
        const Part& part = parts_[indexOf(number)];
        // The clock may have started less than a minute ago.
        const bool kept = number >= 0 && number <= newest_ && number > newest_ - Number{TREND_PARTS};
        if (kept && part.seconds > 0 && std::isfinite(part.mean)) {
            parts[index] = part.mean;
        }
    }
    return parts;
}

std::vector<std::optional<int>> levelsOf(const Trend& trend, std::size_t columns) {
    const Parts parts = merged(trend, columns);
    const Range range = rangeOf(parts, trend.fromZero);
    std::vector<std::optional<int>> levels(columns);
    std::transform(parts.begin(), parts.end(), levels.begin(), [&](const std::optional<float>& part) {
        return part ? std::optional(levelOf(*part, range)) : std::nullopt;
    });
    return levels;
}

}  // namespace tools::zolstat::watch

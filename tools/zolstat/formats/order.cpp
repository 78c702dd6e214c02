// Readings in the order of --sort: what each order compares.
// Not the place where they are laid out.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "order.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <tuple>

#include "common/number.h"

namespace tools::zolstat {
namespace {

enum Rank { Number, Other, None };

std::string_view groupKey(const Reading& reading) {
    return reading.group;
}

std::string_view idKey(const Reading& reading) {
    return reading.id;
}

std::tuple<Rank, Decimal, std::string_view> valueKey(const Reading& reading) {
    if (!reading.value) {
        return {None, {}, {}};
    }
    if (auto number = decimalOf(*reading.value)) {
        return {Number, *std::move(number), {}};
    }
    return {Other, {}, *reading.value};
}

std::tuple<Rank, long double> changeKey(const Reading& reading) {
    if (!reading.change || std::isnan(reading.change->perSecond)) {
        return {None, 0};
    }
    return reading.change->restarted ? std::tuple{Other, 0.0L}
                                     : std::tuple{Number, reading.change->perSecond};
}

// Each key is made once; keys may look into the readings, which are moved only when all is decided.
template <typename Key>
void sortBy(Key (*keyOf)(const Reading&), std::span<Reading> readings) {
    std::vector<std::pair<Key, Reading*>> keyed;
    keyed.reserve(readings.size());
    for (Reading& reading : readings) {
        keyed.emplace_back(keyOf(reading), &reading);
    }
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const auto& one, const auto& other) { return one.first < other.first; });
    std::vector<Reading> sorted;
    sorted.reserve(readings.size());
    for (const auto& [key, reading] : keyed) {
        sorted.push_back(std::move(*reading));
    }
    std::move(sorted.begin(), sorted.end(), readings.begin());
}

void sort(std::span<Reading> readings, Kind kind, Order order) {
    switch (order) {
        case Order::Gateway:
            return;
        case Order::Id:
            return sortBy(kind == Kind::Groups ? groupKey : idKey, readings);
        case Order::Value:
            return sortBy(valueKey, readings);
        case Order::Change:
            return sortBy(changeKey, readings);
    }
}

}  // namespace

void sort(std::vector<Reading>& readings, Kind kind, Order order, Within within) {
    for (auto first = readings.begin(); first != readings.end();) {
        const auto last = within == Within::Gateway
                              ? readings.end()
                              : std::find_if(first, readings.end(), [&](const Reading& reading) {
                                    return reading.group != first->group;
                                });
        sort(std::span(first, last), kind, order);
        first = last;
    }
}

}  // namespace tools::zolstat

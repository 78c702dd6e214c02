// How a statistic went in the last minute, for a picture of one line.
// Not exact: what is shown as a number comes from history.h.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_TREND_H
#define ZOLSTAT_WATCH_TREND_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace tools::zolstat::watch {

using Moment = std::chrono::steady_clock::time_point;

constexpr std::size_t TREND_PARTS = 30;
constexpr std::chrono::seconds TREND_PART{2};
constexpr std::chrono::seconds TREND_LENGTH = TREND_PART * TREND_PARTS;

struct Trend {
    std::array<std::optional<float>, TREND_PARTS> parts{};  // the oldest first; none where nothing was read
    bool fromZero = false;  // to be drawn from zero on rather than from the lowest part
};

// One minute, in parts that begin at fixed times: a picture of them moves by whole columns and does not
// flicker.
class Minute {
  public:
    // `value` held for this time.
    void add(Moment from, Moment to, long double value);
    std::array<std::optional<float>, TREND_PARTS> partsUntil(Moment now) const;

  private:
    // The mean of the values, each weighed by how long it held.
    struct Part {
        float mean = 0;
        float seconds = 0;
    };
    using Number = std::int64_t;  // of a part, counted from the clock's start

    static Number numberOf(Moment moment);
    static std::size_t indexOf(Number number);
    void advanceTo(Number newest);

    std::array<Part, TREND_PARTS> parts_{};
    Number newest_ = 0;
};

constexpr int HIGHEST_LEVEL = 7;

// The trend in so many columns, a divisor of TREND_PARTS: a level from 0 to HIGHEST_LEVEL, or none, for each.
std::vector<std::optional<int>> levelsOf(const Trend& trend, std::size_t columns);

}  // namespace tools::zolstat::watch

#endif

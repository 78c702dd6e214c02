// What has become of each statistic since the watch began: its change per second, its restarts, its trend.
// Has no clock of its own and asks nobody: moments and values are given.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_HISTORY_H
#define ZOLSTAT_WATCH_HISTORY_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sample.h"
#include "trend.h"

namespace tools::zolstat::watch {

// What has risen so often, and never fallen, is taken for a counter: any fall of it is a restart. What has risen
// less often must fall near to zero for that.
constexpr int RISES_OF_A_COUNTER = 3;

// What lies between a reading and the one before: time only, or a lost connection, and perhaps a new Gateway.
enum class Between { Time, Loss };

// One statistic.
class Track {
  public:
    // None for the first reading, for what is no number, and where the one before was none.
    std::optional<Change> add(Moment moment, std::optional<long double> number,
                              Between between = Between::Time);

    // The rates of what never fell but in a restart, the values of anything else.
    Trend trendUntil(Moment now) const;
    Moment latest() const { return moment_; }

  private:
    std::optional<Change> compare(Moment moment, long double number);
    std::optional<Change> compareAcrossLoss(Moment moment, long double number);
    Change restart();
    bool takesForRestart(long double number) const;
    bool isNearZero(long double number) const;
    long double rateUntil(Moment moment, long double number) const;
    bool isCounter() const { return rises_ > 0 && !fell_; }

    Moment moment_{};
    std::optional<long double> number_;
    int rises_ = 0;              // since the watch began
    int risesSinceRestart_ = 0;  // or since the watch began
    int restarts_ = 0;           // within connections
    bool fell_ = false;          // but for restarts and losses
    Minute values_;
    Minute rates_;
};

// The statistics of one Gateway.
class History {
  public:
    // Fills in the changes; `moments` tells when each reading was taken, `connection` over which one. What is read twice in one sample
    // counts once. A sample without readings changes nothing. What has not been read for as long as a trend
    // lasts is forgotten: a Gateway with ever new ids must not fill the memory.
    void take(std::vector<Reading>& readings, const std::vector<Moment>& moments,
              std::uint64_t connection = 0);

    Trend trendOf(const Reading& reading, Moment now) const;
    std::size_t size() const { return tracks_.size(); }

  private:
    using Key = std::pair<std::string, std::string>;  // group and id
    struct Entry {
        Track track{};
        std::uint64_t sample = 0;  // in which it was read last
        std::uint64_t connection = 0;
        std::optional<Change> change{};
    };

    void take(Reading& reading, Moment moment, std::uint64_t connection);
    void forgetBefore(Moment moment);

    std::map<Key, Entry> tracks_;
    std::uint64_t samples_ = 0;
};

}  // namespace tools::zolstat::watch

#endif

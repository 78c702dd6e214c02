// What has become of each statistic: rates over the time that really passed, and restarts.
// Has no clock of its own and asks nobody: moments and values are given.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "history.h"

#include <algorithm>
#include <cmath>

#include "common/number.h"

namespace tools::zolstat::watch {

std::optional<Change> Track::add(Moment moment, std::optional<long double> number, Between between) {
    std::optional<Change> change;
    if (number && number_ && moment > moment_) {
        change = between == Between::Loss ? compareAcrossLoss(moment, *number) : compare(moment, *number);
    }
    moment_ = moment;
    number_ = number;
    return change;
}

// A counter that counts anew begins near zero; nearly everything else falls by less at some time.
bool Track::isNearZero(long double number) const {
    return number >= 0 && number <= *number_ / 2;
}

// What jumps to zero and back is no counter either: restarts within a connection are rare.
bool Track::takesForRestart(long double number) const {
    return number < *number_ && !fell_ &&
           (risesSinceRestart_ >= RISES_OF_A_COUNTER ||
            (isNearZero(number) && rises_ > restarts_ * RISES_OF_A_COUNTER));
}

Change Track::restart() {
    risesSinceRestart_ = 0;
    return {0, true};
}

long double Track::rateUntil(Moment moment, long double number) const {
    return (number - *number_) / std::chrono::duration<long double>(moment - moment_).count();
}

std::optional<Change> Track::compare(Moment moment, long double number) {
    values_.add(moment_, moment, number);
    if (takesForRestart(number)) {
        ++restarts_;
        return restart();
    }
    rises_ += number > *number_ ? 1 : 0;
    risesSinceRestart_ += number > *number_ ? 1 : 0;
    fell_ = fell_ || number < *number_;
    const long double perSecond = rateUntil(moment, number);
    if (!std::isfinite(perSecond)) {
        return std::nullopt;
    }
    rates_.add(moment_, moment, perSecond);
    return Change{perSecond};
}

// Nobody saw how it went, so that there is nothing to learn from it and nothing to draw.
std::optional<Change> Track::compareAcrossLoss(Moment moment, long double number) {
    const long double perSecond = rateUntil(moment, number);
    if (number < *number_) {
        return fell_ ? std::nullopt : std::optional(restart());
    }
    return std::isfinite(perSecond) ? std::optional(Change{perSecond}) : std::nullopt;
}

Trend Track::trendUntil(Moment now) const {
    return {(isCounter() ? rates_ : values_).partsUntil(now), isCounter()};
}

void History::take(std::vector<Reading>& readings, const std::vector<Moment>& moments,
                   std::uint64_t connection) {
    if (readings.empty()) {
        return;
    }
    ++samples_;
    for (std::size_t index = 0; index < readings.size(); ++index) {
        take(readings[index], moments[index], connection);
    }
    forgetBefore(*std::max_element(moments.begin(), moments.end()) - TREND_LENGTH);
}

void History::take(Reading& reading, Moment moment, std::uint64_t connection) {
    Entry& entry = tracks_[{reading.group, reading.id}];
    if (entry.sample != samples_) {
        entry.change = entry.track.add(moment, reading.value ? numberOf(*reading.value) : std::nullopt,
                                       entry.connection == connection ? Between::Time : Between::Loss);
        entry.sample = samples_;
        entry.connection = connection;
    }
    reading.change = entry.change;
}

void History::forgetBefore(Moment moment) {
    std::erase_if(tracks_, [&](const auto& known) {
        return known.second.sample != samples_ && known.second.track.latest() < moment;
    });
}

Trend History::trendOf(const Reading& reading, Moment now) const {
    const auto known = tracks_.find({reading.group, reading.id});
    return known == tracks_.end() ? Trend{} : known->second.track.trendUntil(now);
}

}  // namespace tools::zolstat::watch

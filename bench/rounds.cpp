#include "rounds.h"

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <stdexcept>

#include "statistics.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double MICROSECONDS = 1e6;
// A turn begins with runs that do not count: another contestant has had the caches before.
constexpr int WARM_UP_RUNS = 2;
constexpr std::size_t MOST_RUNS = 50;
constexpr double LENGTH_OF_ROUND = 0.04 * MICROSECONDS;

double microsecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

double processorMicroseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * MICROSECONDS + static_cast<double>(now.tv_nsec) / 1e3;
}

double timed(const std::function<void()>& action) {
    const auto start = Clock::now();
    action();
    return microsecondsSince(start);
}

// How many runs a turn has, so that no round takes long: the fewer rounds, the worse do they share out disturbances.
std::size_t runsOfATurn(const std::vector<Contestant>& contestants) {
    double once = 0;
    for (const Contestant& contestant : contestants) {
        contestant.beforeTurn();
        contestant.action();
        once += timed(contestant.action);
        contestant.afterTurn();
    }
    return std::clamp<std::size_t>(static_cast<std::size_t>(LENGTH_OF_ROUND / once), 2, MOST_RUNS);
}

void takeTurn(const Contestant& contestant, std::vector<double>& samples, Measured& measured) {
    contestant.beforeTurn();
    for (int run = 0; run < WARM_UP_RUNS; ++run) {
        contestant.action();
    }
    const double processorBefore = processorMicroseconds();
    for (double& sample : samples) {
        sample = timed(contestant.action);
    }
    const double processorTime = processorMicroseconds() - processorBefore;
    contestant.afterTurn();

    measured.rounds.push_back(median(samples));
    measured.cpuRounds.push_back(processorTime / static_cast<double>(samples.size()));
    measured.samples.insert(measured.samples.end(), samples.begin(), samples.end());
}

}  // namespace

std::vector<Measured> measureRounds(const std::vector<Contestant>& contestants, double seconds) {
    std::vector<Measured> measured;
    for (const Contestant& contestant : contestants) {
        measured.push_back({contestant.name});
    }
    std::vector<double> samples(runsOfATurn(contestants));
    const auto start = Clock::now();
    for (int round = 0; round < 2 || microsecondsSince(start) < seconds * MICROSECONDS; ++round) {
        for (std::size_t turn = 0; turn < contestants.size(); ++turn) {
            const std::size_t which = round % 2 == 0 ? turn : contestants.size() - 1 - turn;
            takeTurn(contestants[which], samples, measured[which]);
        }
    }
    return measured;
}

const Measured& find(const std::vector<Measured>& all, const std::string& name) {
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Measured& each) { return each.name == name; });
    if (found == all.end()) {
        throw std::out_of_range("nothing was measured of " + name);
    }
    return *found;
}

}  // namespace bench

// Measures several actions side by side: in rounds, so that whatever else happens on the machine meets all of them.
// Knows nothing of what they do.
#ifndef ZOLSTATS_BENCH_ROUNDS_H
#define ZOLSTATS_BENCH_ROUNDS_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Contestant {
    std::string name;
    std::function<void()> action;
    std::function<void()> beforeTurn = [] {};  // not measured, nor is afterTurn
    std::function<void()> afterTurn = [] {};
};

// What was measured of a contestant. Times are in microseconds.
struct Measured {
    std::string name;
    std::vector<double> samples{};    // each run of the action
    std::vector<double> rounds{};     // the median of each round's samples
    std::vector<double> cpuRounds{};  // processor time of this process for one run, by round
};

// Runs rounds until the time is over, at least two. In a round each contestant has a turn of some runs, in order in one
// round and backwards in the next.
std::vector<Measured> measureRounds(const std::vector<Contestant>& contestants, double seconds);

// The one of that name; throws std::out_of_range without it.
const Measured& find(const std::vector<Measured>& all, const std::string& name);

}  // namespace bench

#endif

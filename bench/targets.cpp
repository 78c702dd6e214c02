// Holds what the other programs have measured against what the library is to reach. Nothing fails here: a figure is to be
// looked at, beside the machine it comes from.
#include <iostream>
#include <string>
#include <vector>

#include "options.h"
#include "results.h"
#include "table.h"

namespace bench {
namespace {

enum class Bound { AtMost, AtLeast, Above };

struct Target {
    std::string text;
    std::string result;
    Bound bound;
    double value;
};

const std::vector<Target> TARGETS{
    {"one core, N=10: time / ideal", "one_core.10.zolstats/ideal", Bound::AtMost, 1.15},
    {"one core, N=100: time / ideal", "one_core.100.zolstats/ideal", Bound::AtMost, 1.15},
    {"one core, N=1000: time / ideal", "one_core.1000.zolstats/ideal", Bound::AtMost, 1.25},
    {"one core, N=100: faster than hiredis", "one_core.100.hiredis/zolstats", Bound::Above, 1},
    {"one core, N=100: faster than libpq", "one_core.100.libpq/zolstats", Bound::Above, 1},
    {"one core, N=1000: faster than hiredis", "one_core.1000.hiredis/zolstats", Bound::AtLeast, 4},
    {"one core, N=1000: faster than libpq", "one_core.1000.libpq/zolstats", Bound::AtLeast, 4},
    {"two cores, N=10: time / ideal", "two_cores.10.zolstats/ideal", Bound::AtMost, 1.15},
    {"two cores, N=100: time / ideal", "two_cores.100.zolstats/ideal", Bound::AtMost, 1.15},
    {"two cores, N=1000: time / ideal", "two_cores.1000.zolstats/ideal", Bound::AtMost, 1.25},
    {"two cores, N=100000: time / ideal", "two_cores.100000.zolstats/ideal", Bound::AtMost, 1.5},
    {"two cores, N=100000: client CPU / ideal", "two_cores.100000.zolstats/ideal.cpu", Bound::AtMost, 1.5},
    {"two cores, N=100000: faster than hiredis", "two_cores.100000.hiredis/zolstats", Bound::AtLeast, 6},
    {"two cores, N=100000: faster than libpq", "two_cores.100000.libpq/zolstats", Bound::AtLeast, 6},
    {"in memory, N=100: parse and walk / ideal", "in_memory.100.both.zolstats/ideal", Bound::AtMost, 1.25},
    {"in memory, N=1000: parse and walk / ideal", "in_memory.1000.both.zolstats/ideal", Bound::AtMost, 1.25},
    {"in memory, N=100000: parse and walk / ideal", "in_memory.100000.both.zolstats/ideal", Bound::AtMost,
     1.25},
    {"walk, N=1000: trace off / compiled out", "in_memory.1000.walk.zolstats/no_trace", Bound::AtMost, 1.1},
    {"system calls of a walk", "count.walk.system_calls", Bound::AtMost, 0},
    {"system calls of a query and walk, N=10", "count.10.zolstats.system_calls", Bound::AtMost, 8},
    {"system calls of a query and walk, N=100", "count.100.zolstats.system_calls", Bound::AtMost, 8},
    {"system calls of a query and walk, N=1000", "count.1000.zolstats.system_calls", Bound::AtMost, 8},
    {"allocations, N=100000 against N=10", "count.allocations.100000-10", Bound::AtMost, 0},
    {"open and close / bare", "open_close.zolstats/bare", Bound::AtMost, 1.15},
};

bool isMet(const Target& target, double reached) {
    switch (target.bound) {
        case Bound::AtMost:
            return reached <= target.value;
        case Bound::AtLeast:
            return reached >= target.value;
        case Bound::Above:
            return reached > target.value;
    }
    return false;
}

std::string describe(const Target& target) {
    static const std::string BOUNDS[] = {"<= ", ">= ", "> "};
    return BOUNDS[static_cast<std::size_t>(target.bound)] + number(target.value);
}

void addDifferences(Results& results) {
    const auto many = results.find("count.100000.zolstats.allocations");
    const auto few = results.find("count.10.zolstats.allocations");
    if (many != results.end() && few != results.end()) {
        results["count.allocations.100000-10"] = many->second - few->second;
    }
}

void compare(const Options& options) {
    Results results = readResults(options.results);
    addDifferences(results);
    Table table({"target", "bound", "reached", "met?"});
    for (const Target& target : TARGETS) {
        const auto reached = results.find(target.result);
        if (reached == results.end()) {
            table.add({target.text, describe(target), "not measured", "no"});
        } else {
            table.add({target.text, describe(target), number(reached->second),
                       isMet(target, reached->second) ? "yes" : "no"});
        }
    }
    table.print(std::cout);
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runProgram(argc, argv, "Compares what was measured with the targets", bench::compare);
}

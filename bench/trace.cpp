// What the trace costs when it is on: a query and a walk at several levels, traced to a file.
#include <unistd.h>
#include <zolstats/zolstats.h>

#include <iostream>
#include <stdexcept>

#include "column.h"
#include "options.h"
#include "rounds.h"
#include "statistics.h"
#include "table.h"

namespace bench {
namespace {

constexpr int LEVELS[] = {0, 1, 3};

std::string titleOf(int level) {
    return level == 0 ? "off" : "level " + std::to_string(level);
}

void measureTrace(const Options& options, std::size_t count) {
    const std::string file = options.scratch + "/trace";
    const std::unique_ptr<Column> column = columnKind("zolstats").connect(options.ports);
    column->choose(count);
    checkItems(*column, columnKind("zolstats"), count);
    std::vector<Contestant> contestants;
    for (const int level : LEVELS) {
        contestants.push_back({titleOf(level), [&] { column->run(); }, [level] { setAPITraceLevel(level); },
                               [&] {
                                   setAPITraceLevel(0);
                                   // It would grow by gigabytes; the trace is appended, wherever its end is.
                                   if (::truncate(file.c_str(), 0) != 0) {
                                       throw std::runtime_error("cannot empty " + file);
                                   }
                               }});
    }
    if (setAPITraceFile(file.c_str()) != ZOLSTATS_OK) {
        throw std::runtime_error("cannot trace to " + file);
    }
    const auto measured = measureRounds(contestants, options.seconds);
    setAPITraceFile(nullptr);

    Table table({"N=" + std::to_string(count), "median us", "p99 us", "ns an item", "/ off"});
    for (const Measured& each : measured) {
        const double middle = median(each.samples);
        table.add({each.name, number(middle), number(quantile(each.samples, 0.99)),
                   number(middle * 1000 / static_cast<double>(count)),
                   number(medianRatio(each.rounds, measured.front().rounds))});
    }
    table.print(std::cout);
}

void measureAll(const Options& options) {
    for (const std::size_t count : options.sizes) {
        measureTrace(options, count);
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runProgram(argc, argv, "Shows what the trace costs", bench::measureAll);
}

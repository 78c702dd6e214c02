// Counts what a query and a walk over its answer need: allocations, system calls, memory.
#include <zolstats/zolstats.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <stdexcept>

#include "column.h"
#include "options.h"
#include "resources.h"
#include "results.h"
#include "support/counted_allocations.h"
#include "support/counted_system_calls.h"
#include "table.h"

namespace bench {
namespace {

struct Counts {
    int allocations = 0;
    std::vector<long> systemCalls{};
    long peakGrowth = 0;   // in the first query of a process
    long laterGrowth = 0;  // after many more
};

// A column that is connected where it is used, mostly in a child process.
class LateColumn {
  public:
    LateColumn(const ColumnKind& kind, const Ports& ports, std::size_t count)
        : kind_(kind), ports_(ports), count_(count) {}

    void connect() {
        column_ = kind_.connect(ports_);
        column_->choose(count_);
    }
    void run() { column_->run(); }

  private:
    const ColumnKind& kind_;
    const Ports& ports_;
    const std::size_t count_;
    std::unique_ptr<Column> column_;
};

// In a process that has asked before.
void countCalls(const ColumnKind& kind, const Ports& ports, std::size_t count, Counts& counts) {
    LateColumn column(kind, ports, count);
    const auto warmUp = [&] {
        column.connect();
        column.run();
        column.run();
    };
    const auto run = [&] { column.run(); };
    counts.systemCalls = testing_support::systemCallsOf(warmUp, run);
    warmUp();
    counts.allocations = testing_support::allocationsOf(run);
}

// In a process that has not.
void countMemory(const ColumnKind& kind, const Ports& ports, std::size_t count, Counts& counts) {
    constexpr std::size_t ITEMS = 300'000;  // in all queries together
    LateColumn column(kind, ports, count);
    const auto runOften = [&] {
        for (std::size_t run = 0; run < std::clamp<std::size_t>(ITEMS / count, 5, 500); ++run) {
            column.run();
        }
    };
    const auto warmUp = [&] {
        column.connect();
        runOften();
    };
    counts.peakGrowth = peakGrowthOf([&] { column.connect(); }, [&] { column.run(); });
    counts.laterGrowth = lastingGrowthOf(warmUp, runOften);
}

using CountsBySize = std::map<std::size_t, std::vector<Counts>>;  // in the order of the columns

void print(const std::vector<Counts>& all, std::size_t size) {
    Table table(
        {"N=" + std::to_string(size), "allocations", "system calls", "", "memory KiB", "later growth KiB"});
    for (std::size_t column = 0; column < all.size(); ++column) {
        const Counts& counts = all[column];
        table.add({columnKinds()[column].name, std::to_string(counts.allocations),
                   std::to_string(counts.systemCalls.size()), describeSystemCalls(counts.systemCalls),
                   std::to_string(counts.peakGrowth / 1024), std::to_string(counts.laterGrowth / 1024)});
    }
    table.print(std::cout);
}

void keep(const std::string& file, const std::string& prefix, const Counts& counts) {
    appendResults(file, {{prefix + ".allocations", counts.allocations},
                         {prefix + ".system_calls", static_cast<double>(counts.systemCalls.size())}});
}

// ---- The library's walk alone

class Walk {
  public:
    Walk(const Ports& ports, std::size_t count) {
        char* version = nullptr;
        if (openGatewayConnection(ports.gateway, &connection_, &version) != ZOLSTATS_OK ||
            getStatsByStatGroupId(connection_, nameOf(count).c_str(), &set_) != ZOLSTATS_OK) {
            throw std::runtime_error("no result set to walk");
        }
    }
    ~Walk() { closeGatewayConnection(&connection_); }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    void run() {
        StatData item{};
        int rc = getFirstStat(set_, &item);
        while (rc == ZOLSTATS_OK) {
            rc = getNextStat(set_, &item);
        }
    }

  private:
    void* connection_ = nullptr;
    ResultSetToken* set_ = nullptr;
};

Counts countsOfWalk(const Ports& ports, std::size_t count) {
    std::unique_ptr<Walk> walk;
    const auto prepare = [&] { walk = std::make_unique<Walk>(ports, count); };
    const auto run = [&] { walk->run(); };
    Counts counts;
    counts.systemCalls = testing_support::systemCallsOf(prepare, run);
    prepare();
    counts.allocations = testing_support::allocationsOf(run);
    return counts;
}

// Memory comes first: what this process has used and freed, its children would use again.
CountsBySize countsOf(const Options& options) {
    CountsBySize all;
    for (const std::size_t size : options.sizes) {
        for (const ColumnKind& kind : columnKinds()) {
            countMemory(kind, options.ports, size, all[size].emplace_back());
        }
    }
    for (auto& [size, counts] : all) {
        for (std::size_t column = 0; column < counts.size(); ++column) {
            countCalls(columnKinds()[column], options.ports, size, counts[column]);
        }
    }
    return all;
}

void count(const Options& options) {
    for (const auto& [size, all] : countsOf(options)) {
        print(all, size);
        for (std::size_t column = 0; column < all.size(); ++column) {
            keep(options.results, "count." + std::to_string(size) + "." + columnKinds()[column].name,
                 all[column]);
        }
    }
    const Counts walk = countsOfWalk(options.ports, options.sizes.back());
    std::cout << "A walk of zolstats alone over the last: " << walk.allocations
              << " allocations, system calls: " << describeSystemCalls(walk.systemCalls) << '\n';
    keep(options.results, "count.walk", walk);
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runProgram(argc, argv, "Counts what fetching named values takes", bench::count);
}

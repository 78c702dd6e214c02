// Does the library's work grow with the number of items, and not faster? Time and memory, beside the ideal.
#include <iostream>

#include "bare_connection.h"
#include "column.h"
#include "options.h"
#include "requests.h"
#include "resources.h"
#include "rounds.h"
#include "statistics.h"
#include "table.h"

namespace bench {
namespace {

std::size_t replyLength(const Ports& ports, std::size_t count) {
    BareConnection connection(ports.gateway);
    connection.exchange(initialiseRequest(), ADMIN_HEADER_LENGTH);
    return connection.exchange(statisticsRequest(connection.adminId(), nameOf(count)), ADMIN_HEADER_LENGTH)
        .size();
}

// Of the first query of a process that has asked nothing before.
long memoryOf(const ColumnKind& kind, const Ports& ports, std::size_t count) {
    std::unique_ptr<Column> column;
    return peakGrowthOf(
        [&] {
            column = kind.connect(ports);
            column->choose(count);
        },
        [&] { column->run(); });
}

std::vector<Measured> timesOf(const std::vector<const ColumnKind*>& kinds, const Options& options,
                              std::size_t count) {
    std::vector<std::unique_ptr<Column>> columns;
    std::vector<Contestant> contestants;
    for (const ColumnKind* kind : kinds) {
        Column& column = *columns.emplace_back(kind->connect(options.ports));
        column.choose(count);
        checkItems(column, *kind, count);
        contestants.push_back({kind->name, [&column] { column.run(); }});
    }
    return measureRounds(contestants, options.seconds);
}

std::string perItem(const Measured& measured, std::size_t count) {
    return number(median(measured.samples) * 1000 / static_cast<double>(count));
}

std::string inKibibytes(long bytes) {
    return std::to_string(bytes / 1024);
}

struct Memory {
    std::size_t count;
    long ideal;
    long ours;
};

// Measured in children of this process, before it has freed memory that they could use.
std::vector<Memory> measureMemory(const Options& options) {
    std::vector<Memory> all;
    for (const std::size_t count : options.sizes) {
        all.push_back({count, memoryOf(columnKind("ideal"), options.ports, count),
                       memoryOf(columnKind("zolstats"), options.ports, count)});
    }
    return all;
}

void scale(const Options& options) {
    Table table({"N", "reply KiB", "ideal ns an item", "zolstats ns an item", "/ ideal", "ideal KiB",
                 "zolstats KiB", "zolstats bytes a byte of reply"});
    for (const Memory& memory : measureMemory(options)) {
        const std::size_t count = memory.count;
        const auto reply = static_cast<long>(replyLength(options.ports, count));
        const auto times = timesOf({&columnKind("ideal"), &columnKind("zolstats")}, options, count);
        table.add({std::to_string(count), inKibibytes(reply), perItem(times[0], count),
                   perItem(times[1], count), number(medianRatio(times[1].rounds, times[0].rounds)),
                   inKibibytes(memory.ideal), inKibibytes(memory.ours),
                   number(static_cast<double>(memory.ours) / static_cast<double>(reply))});
    }
    table.print(std::cout);
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runProgram(argc, argv, "Shows how fetching named values grows with their number",
                             bench::scale);
}

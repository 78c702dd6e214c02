// Fetches the same items in every way, side by side: how long a query and a walk over its answer take.
#include <iostream>

#include "column.h"
#include "options.h"
#include "results.h"
#include "rounds.h"
#include "statistics.h"
#include "table.h"

namespace bench {
namespace {

// A column and what it is to bring.
struct Entry {
    const ColumnKind& kind;
    std::unique_ptr<Column> column;
};

std::vector<Entry> connectAll(const Ports& ports) {
    std::vector<Entry> entries;
    for (const ColumnKind& kind : columnKinds()) {
        entries.push_back({kind, kind.connect(ports)});
    }
    return entries;
}

void checkAll(std::vector<Entry>& entries, std::size_t count) {
    for (Entry& entry : entries) {
        entry.column->choose(count);
        checkItems(*entry.column, entry.kind, count);
    }
}

std::vector<Contestant> contestants(std::vector<Entry>& entries, const Checksum& expected) {
    std::vector<Contestant> all;
    for (Entry& entry : entries) {
        all.push_back({entry.kind.name,
                       [&entry, expected] { checkChecksum(entry.column->run(), entry.kind, expected); }});
    }
    return all;
}

void print(const std::vector<Measured>& all, std::size_t count) {
    const Measured& limit = find(all, "limit");
    const Measured& ideal = find(all, "ideal");
    const Measured& ours = find(all, "zolstats");
    Table table({"column", "median us", "p99 us", "ns an item", "/ limit", "/ ideal", "/ zolstats",
                 "client CPU us", "CPU / ideal"});
    for (const Measured& each : all) {
        const double middle = median(each.samples);
        table.add({each.name, number(middle), number(quantile(each.samples, 0.99)),
                   number(middle * 1000 / static_cast<double>(count)),
                   number(medianRatio(each.rounds, limit.rounds)),
                   number(medianRatio(each.rounds, ideal.rounds)),
                   number(medianRatio(each.rounds, ours.rounds)), number(median(each.cpuRounds)),
                   number(medianRatio(each.cpuRounds, ideal.cpuRounds))});
    }
    std::cout << "N=" << count << ", " << ours.rounds.size() << " rounds of "
              << ours.samples.size() / ours.rounds.size() << " queries in each column\n";
    table.print(std::cout);
}

Results resultsOf(const std::vector<Measured>& all, const std::string& prefix) {
    const Measured& ideal = find(all, "ideal");
    const Measured& ours = find(all, "zolstats");
    Results results{{prefix + "zolstats/ideal", medianRatio(ours.rounds, ideal.rounds)},
                    {prefix + "zolstats/ideal.cpu", medianRatio(ours.cpuRounds, ideal.cpuRounds)}};
    for (const std::string peer : {"hiredis", "libpq"}) {
        results[prefix + peer + "/zolstats"] = medianRatio(find(all, peer).rounds, ours.rounds);
    }
    return results;
}

void compare(const Options& options) {
    std::vector<Entry> entries = connectAll(options.ports);
    for (const std::size_t count : options.sizes) {
        checkAll(entries, count);
        const auto expected = sumOf<Checksum>(makeItems(count));
        const auto measured = measureRounds(contestants(entries, expected), options.seconds);
        checkAll(entries, count);
        print(measured, count);
        appendResults(options.results,
                      resultsOf(measured, options.label + "." + std::to_string(count) + "."));
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runProgram(argc, argv, "Compares ways to fetch named values", bench::compare);
}

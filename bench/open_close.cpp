// Opens and closes connections: the library beside the same system calls and exchanges made by hand.
#include <zolstats/zolstats.h>

#include <algorithm>
#include <iostream>
#include <stdexcept>

#include "bare_connection.h"
#include "options.h"
#include "resources.h"
#include "results.h"
#include "rounds.h"
#include "statistics.h"
#include "support/counted_system_calls.h"
#include "table.h"

namespace bench {
namespace {

void openAndClose(std::uint16_t port) {
    void* connection = nullptr;
    char* version = nullptr;
    if (openGatewayConnection(port, &connection, &version) != ZOLSTATS_OK ||
        closeGatewayConnection(&connection) != ZOLSTATS_OK) {
        throw std::runtime_error("a connection could not be opened or closed");
    }
}

void printSystemCalls(const std::vector<Contestant>& contestants) {
    Table table({"system calls", "", ""});
    std::vector<std::vector<long>> all;
    for (const Contestant& contestant : contestants) {
        // The first connection of a process reads the resolver's configuration.
        all.push_back(testing_support::systemCallsOf(contestant.action, contestant.action));
        table.add({contestant.name, std::to_string(all.back().size()), describeSystemCalls(all.back())});
    }
    table.print(std::cout);
    const bool isSame = all[0] == all[1];
    std::cout << (isSame ? "Both make the same calls in the same order.\n"
                         : "They do not make the same calls.\n");
}

void compare(const Options& options) {
    const std::uint16_t port = options.ports.gateway;
    const std::vector<Contestant> contestants{{"bare", [port] { const BareConnection connection(port); }},
                                              {"zolstats", [port] { openAndClose(port); }}};
    const auto measured = measureRounds(contestants, options.seconds);
    const Measured& bare = find(measured, "bare");
    Table table({"open and close", "median us", "p99 us", "/ bare", "client CPU us", "CPU / bare"});
    for (const Measured& each : measured) {
        table.add({each.name, number(median(each.samples)), number(quantile(each.samples, 0.99)),
                   number(medianRatio(each.rounds, bare.rounds)), number(median(each.cpuRounds)),
                   number(medianRatio(each.cpuRounds, bare.cpuRounds))});
    }
    table.print(std::cout);
    printSystemCalls(contestants);
    appendResults(options.results, {{"open_close.zolstats/bare",
                                     medianRatio(find(measured, "zolstats").rounds, bare.rounds)}});
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runProgram(argc, argv, "Compares opening and closing connections", bench::compare);
}

// Prints every statistic of the Gateway on this machine; the port is the first argument.
// Not a tool: see zolstat for one that sorts by group and explains what went wrong.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <zolstats/zolstats.hpp>

int main(int argc, char** argv) {
    try {
        auto gateway = zolstats::Connection::openLocal(argc > 1 ? std::atoi(argv[1]) : 27400);
        for (const zolstats::Statistic& statistic : gateway.statistics()) {
            if (!statistic.rejected()) {
                std::cout << statistic.id << " = " << statistic.value << '\n';
            }
        }
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

// Reads the ids of all statistics in one thread and prints them in another; the port is the first argument.
// Not a pattern for sharing a connection: that belongs to the thread that opened it. Only a copy may travel.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <zolstats/zolstats.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

namespace {

struct CloseConnection {
    void operator()(void* gateway) const { closeGatewayConnection(&gateway); }
};
using Connection = std::unique_ptr<void, CloseConnection>;

struct FreeCopy {
    void operator()(ResultSetToken* copy) const { freeResultSet(&copy); }
};
using Copy = std::unique_ptr<ResultSetToken, FreeCopy>;

void check(int code, const char* step) {
    if (code != ZOLSTATS_OK) {
        throw std::runtime_error(std::string(step) + " failed with code " + std::to_string(code));
    }
}

Connection connect(int port) {
    void* gateway = nullptr;
    char* version = nullptr;
    check(openGatewayConnection(port, &gateway, &version), "openGatewayConnection");
    return Connection(gateway);
}

Copy readIds(void* gateway) {
    ResultSetToken* answer = nullptr;  // belongs to the connection, and only until its next query
    check(getStatIds(gateway, &answer), "getStatIds");
    ResultSetToken* copied = nullptr;
    const int code = copyResultSet(answer, &copied);
    Copy copy(copied);  // even a failed copy may have left something to free
    check(code, "copyResultSet");
    return copy;
}

void printIds(const Copy& copy) {
    IdData item{};
    for (int code = getFirstId(copy.get(), &item); code == ZOLSTATS_OK; code = getNextId(copy.get(), &item)) {
        if (item.queryElementRC >= 0) {
            std::cout << std::string_view(reinterpret_cast<const char*>(item.id),
                                          static_cast<size_t>(item.idLen))
                      << '\n';
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Copy copy = readIds(connect(argc > 1 ? std::atoi(argv[1]) : 27400).get());
        // The connection is closed by now; the copy lives on and may move.
        std::jthread([copy = std::move(copy)] { printIds(copy); }).join();
    } catch (const std::exception& failure) {
        std::cerr << failure.what() << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

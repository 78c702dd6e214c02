// The Gateway of this comparison as a process of its own: prints its port and serves until a signal ends it.
#include <signal.h>

#include <cstdio>
#include <exception>
#include <string_view>

#include "canned_gateway.h"

int main(int argc, char** argv) try {
    const bool isWrong = argc > 1 && std::string_view(argv[1]) == "--wrong";
    sigset_t endings;
    sigemptyset(&endings);
    sigaddset(&endings, SIGTERM);
    sigaddset(&endings, SIGINT);
    sigprocmask(SIG_BLOCK, &endings, nullptr);
    const bench::CannedGateway gateway(isWrong);
    std::printf("%u\n", gateway.port());
    std::fflush(stdout);
    int signal = 0;
    sigwait(&endings, &signal);
    std::_Exit(0);  // connections that are still open end with the process
} catch (const std::exception& problem) {
    std::fprintf(stderr, "bench-gateway: %s\n", problem.what());
    return 1;
}

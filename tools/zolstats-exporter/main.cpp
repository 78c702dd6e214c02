// zolstats-exporter: starts, and does what signals ask for.
// Not the place where requests are answered (service.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fcntl.h>
#include <fmt/format.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <system_error>

#include "command_line.h"
#include "log.h"
#include "service.h"
#include "traced_scrape.h"

namespace tools::exporter {
namespace {

constexpr int BAD_CONFIGURATION = 2;

// Where one is closed, a client's socket would get its number, and the client what is meant for the log.
void openStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // What is opened gets the lowest number that is free, which is this one.
        if (fcntl(stream, F_GETFD) < 0 && open("/dev/null", O_RDWR) != stream) {
            throw std::system_error(errno, std::generic_category(), "/dev/null");
        }
    }
}

// Blocked in all threads, so that the first one may wait for them.
sigset_t blockSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

// The soft limit is meant for programs that use select(); each Gateway and each client takes one.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

void reload(Service& service) {
    try {
        log(service.reload());
    } catch (const BadConfiguration& problem) {
        log(fmt::format("not reloaded, the old configuration stays: {}", problem.what()));
    }
}

// What a thread reads is freed by another one. If each had its own arena, what is free in one were of no use to the
// others, and with many large Gateways the process would grow from scrape to scrape.
void shareFreeMemory() {
    mallopt(M_ARENA_MAX, 1);
}

void serve(const CommandLine& commandLine) {
    shareFreeMemory();
    std::signal(SIGPIPE, SIG_IGN);  // a client that goes is no reason to end
    const sigset_t signals = blockSignals();
    raiseDescriptorLimit();
    Service service(commandLine);
    log(fmt::format("listening on {}", nameOf(service.address())));
    for (int signal = 0; sigwait(&signals, &signal) == 0 && signal == SIGHUP;) {
        reload(service);
    }
    log("ends");
}

int run(int argumentCount, char** arguments) {
    openStandardStreams();
    if (const auto exitCode = runTracedScrape(argumentCount, arguments)) {
        return *exitCode;
    }
    const Parsed parsed = parseCommandLine(argumentCount, arguments);
    if (parsed.exitCode) {
        return *parsed.exitCode;
    }
    if (parsed.commandLine.onlyCheck) {
        readConfiguration(parsed.commandLine);
        log("the configuration is good");
    } else {
        serve(parsed.commandLine);
    }
    return EXIT_SUCCESS;
}

int runOrTell(int argumentCount, char** arguments) {
    try {
        return run(argumentCount, arguments);
    } catch (const BadConfiguration& problem) {
        log(problem.what());
        return BAD_CONFIGURATION;
    } catch (const std::exception& problem) {
        log(problem.what());
        return EXIT_FAILURE;
    }
}

}  // namespace
}  // namespace tools::exporter

int main(int argumentCount, char** arguments) {
    return tools::exporter::runOrTell(argumentCount, arguments);
}

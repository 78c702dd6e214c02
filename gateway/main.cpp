// zol-gateway-sim: a stand-in Gateway as a daemon, for trying clients out where no Gateway is at hand.
// Not a Gateway: it tells the figures of the machine it runs on, to anybody who can reach its port.
// The protocol is written down in docs/protocol.md.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <system_error>

#include "server.h"

namespace {

constexpr int WRONG_USAGE = 2;
constexpr std::size_t MAX_VERSION_LENGTH = 32767;  // a client takes the length of the text for signed
constexpr int MAX_BIG = 1000000;
constexpr int MAX_DELAY_MS = 3600000;

void describeOptions(CLI::App& app, gateway::Options& options, bool& verbose) {
    options.port = 27400;
    app.add_option("--host", options.host, "Address or name to listen on")->capture_default_str();
    app.add_option("--port", options.port, "Port to listen on; 0 takes a free one")->capture_default_str();
    app.add_option("--protocol-version", options.protocolVersion,
                   "Version of the statistics protocol to tell")
        ->check([](const std::string& text) {
            return text.size() > MAX_VERSION_LENGTH ? "longer than 32767 bytes" : "";
        })
        ->capture_default_str();
    app.add_option("--big", options.big, "Add a group BIG of so many statistics")
        ->check(CLI::Range(0, MAX_BIG));
    app.add_flag("--empty-group", options.emptyGroup, "Add a group EMPTY without statistics");
    app.add_option("--delay", options.delayMs, "Milliseconds to wait before each reply")
        ->check(CLI::Range(0, MAX_DELAY_MS));
    app.add_flag("--verbose", verbose, "Write a line for each request to standard error");
}

// Blocked in this thread and so in all that it starts: they are taken by sigwait alone.
sigset_t blockEndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void waitForSignal(const sigset_t& signals) {
    int signal = 0;
    sigwait(&signals, &signal);
}

std::string address(const std::string& host, std::uint16_t port) {
    const bool isIpv6 = host.find(':') != std::string::npos;
    return (isIpv6 ? '[' + host + ']' : host) + ':' + std::to_string(port);
}

int serve(const gateway::Options& options) {
    const sigset_t signals = blockEndingSignals();
    try {
        const gateway::Server server(options);
        std::cout << "zol-gateway-sim: listening on " << address(options.host, server.port()) << std::endl;
        waitForSignal(signals);
    } catch (const std::system_error& failure) {
        std::cerr << "zol-gateway-sim: " << address(options.host, options.port) << ": " << failure.what()
                  << '\n';
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("A stand-in Gateway: answers with the figures of this machine");
    gateway::Options options;
    options.keepRequests = false;
    bool verbose = false;
    app.set_version_flag("--version", "zol-gateway-sim " ZOL_GATEWAY_SIM_VERSION,
                         "Print the version and exit");
    describeOptions(app, options, verbose);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        return app.exit(problem) == 0 ? EXIT_SUCCESS : WRONG_USAGE;
    }
    if (verbose) {
        options.log = [](const std::string& line) { std::cerr << line + '\n'; };
    }
    // Whoever reads the outputs may go away; the Gateway stays.
    std::signal(SIGPIPE, SIG_IGN);
    return serve(options);
}

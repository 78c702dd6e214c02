// Where the tool's texts go, and what becomes of it when nobody listens.
// Not the place for layout (table.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "console.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>
#include <utility>

namespace zolstat {
namespace {

// A program started with a closed standard descriptor would get that number for its next file or socket, and
// its output would go to the Gateway.
void occupyStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) == -1 && open("/dev/null", O_RDWR) == -1) {
            throw std::system_error(errno, std::generic_category(), "/dev/null");
        }
    }
}

}  // namespace

void prepareConsole() {
    occupyStandardDescriptors();
    // A pipe whose reader has left is then an error of the write, and the connection still gets closed
    // properly.
    std::signal(SIGPIPE, SIG_IGN);
}

void writeOutput(std::string_view text) {
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if (std::fflush(stdout) == 0 && written) {
        return;
    }
    if (errno == EPIPE) {
        throw OutputClosed();
    }
    throw OutputFailed("standard output: " + std::generic_category().message(errno));
}

void writeError(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
}

Console::Console(std::string peer) : peer_(std::move(peer)) {}

void Console::complain(std::string_view text) {
    writeError(fmt::format("zolstat: {}: {}\n", peer_, text));
}

void Console::reject(std::string_view what, int code) {
    complain(fmt::format("{} (Gateway code {})", what, code));
    anythingRejected_ = true;
}

}  // namespace zolstat

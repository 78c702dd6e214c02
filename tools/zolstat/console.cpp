// Where the tool's texts go, and what becomes of it when nobody listens.
// Not the place for layout (formats/).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "console.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <system_error>

namespace tools::zolstat {
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

[[noreturn]] void failToWrite() {
    if (errno == EPIPE) {
        throw OutputClosed();
    }
    throw OutputFailed("standard output: " + std::generic_category().message(errno));
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
    if (std::fflush(stdout) != 0 || !written) {
        failToWrite();
    }
}

std::size_t writeBeginning(int descriptor, std::string_view text) {
    const ssize_t written = write(descriptor, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (written >= 0) {
        return static_cast<std::size_t>(written);
    }
    if (errno == EINTR || errno == EAGAIN) {
        return 0;
    }
    if (descriptor == STDOUT_FILENO) {
        failToWrite();
    }
    return text.size();  // whoever closed standard error does without complaints
}

void writeLastOutput(std::string_view text) {
    try {
        writeOutput(text);
    } catch (const OutputClosed&) {  // there is nothing left to do anyway
    }
}

void writeError(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
}

void complainOf(std::string_view gateway, std::string_view text) {
    writeError(complaintOf(gateway, text));
}

std::string complaintOf(std::string_view gateway, std::string_view text) {
    return fmt::format("zolstat: {}: {}\n", gateway, text);
}

bool outputIsTerminal() {
    return isatty(STDOUT_FILENO) == 1;
}

}  // namespace tools::zolstat

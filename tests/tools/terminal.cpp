// A terminal with a shell in it: tmux, by its commands.
// Not a way to run programs whose output is a stream (program.cpp).
// The protocol that the programs speak is written down in docs/protocol.md.
#include "terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>
#include <stdexcept>

namespace program {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto PATIENCE = 25s;  // a busy machine is slow

std::filesystem::path makeFolder() {
    const std::filesystem::path folder =
        std::filesystem::path(SCRATCH_FOLDER) / ("terminal." + std::to_string(getpid()));
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    return folder;
}

// Opened for writing too, so that nobody waits for the other end.
Descriptor openChanges(const std::filesystem::path& folder) {
    const std::filesystem::path fifo = folder / "changes";
    const int number = mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR) == 0
                           ? open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)
                           : -1;
    if (number == -1) {
        throw std::runtime_error(fifo.string() + " cannot be made");
    }
    return Descriptor(number);
}

std::string writeConfiguration(const std::filesystem::path& folder, int columns, int lines) {
    const std::filesystem::path file = folder / "configuration";
    std::ofstream(file) << "set -g escape-time 0\n"
                        << "new-session -d -x " << columns << " -y " << lines << " \"PS1='"
                        << Terminal::PROMPT << " ' exec /bin/sh\"\n"
                        << "pipe-pane 'cat > \"" << (folder / "changes").string() << "\"'\n";
    return file;
}

std::string socketIn(const std::filesystem::path& folder) {
    return folder / "socket";
}

}  // namespace

// In the foreground, so that it is a child that can be ended. It reads its configuration when first spoken
// to.
Terminal::Terminal(int columns, int lines)
    : folder_(makeFolder()),
      changes_(openChanges(folder_)),
      server_(TMUX,
              {"-D", "-u", "-S", socketIn(folder_), "-f", writeConfiguration(folder_, columns, lines)}) {
    const Clock::time_point deadline = Clock::now() + PATIENCE;
    while (tmux({"list-sessions"}).exitCode != 0) {
        if (Clock::now() > deadline) {
            throw std::runtime_error("the terminal does not start");
        }
    }
    waitFor(PROMPT);
}

Terminal::~Terminal() {
    tmux({"kill-server"});
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

// -N: none of them starts a server of its own.
Finished Terminal::tmux(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"-N", "-u", "-S", socketIn(folder_)});
    return run(TMUX, arguments);
}

void Terminal::type(const std::string& text) const {
    tmux({"send-keys", "-l", text});
}

void Terminal::press(const std::string& key) const {
    tmux({"send-keys", key});
}

void Terminal::resize(int columns, int lines) const {
    tmux({"resize-window", "-x", std::to_string(columns), "-y", std::to_string(lines)});
}

std::string Terminal::screen() const {
    return tmux({"capture-pane", "-p"}).output;
}

bool Terminal::changesBefore(Clock::time_point deadline) const {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd change{changes_.number(), POLLIN, 0};
    const bool changed = rest > 0ms && poll(&change, 1, static_cast<int>(rest.count())) == 1;
    std::array<char, 65536> bytes;
    while (read(changes_.number(), bytes.data(), bytes.size()) > 0) {
    }
    return changed;
}

void Terminal::waitUntil(const std::string& what, const std::function<bool(const std::string&)>& isSo) const {
    const Clock::time_point deadline = Clock::now() + PATIENCE;
    std::string seen = screen();
    while (!isSo(seen)) {
        const bool inTime = changesBefore(deadline);
        seen = screen();
        if (!inTime && !isSo(seen)) {
            throw std::runtime_error("not on the screen in time: " + what + "\n" + seen);
        }
    }
}

void Terminal::waitFor(const std::string& text) const {
    waitUntil(text, [&](const std::string& seen) { return seen.find(text) != std::string::npos; });
}

void Terminal::waitUntilGone(const std::string& text) const {
    waitUntil("no " + text, [&](const std::string& seen) { return seen.find(text) == std::string::npos; });
}

}  // namespace program

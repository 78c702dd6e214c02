// Tells on a terminal that a connection is long in coming.
// Not a limit: how long anything may take is the library's concern.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "patience.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "console.h"

namespace tools::zolstat {
namespace {

using namespace std::chrono_literals;

// Back to the start of the line, and wipe it.
constexpr const char* WIPE = "\r\x1b[K";

std::size_t widthOfTerminal() {
    constexpr std::size_t USUAL = 80;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : USUAL;
}

// The first of them by their names.
std::string namesOf(const std::vector<std::string>& gateways, std::size_t named) {
    const auto end = gateways.begin() + static_cast<std::ptrdiff_t>(named);
    const std::string names = fmt::format("{}", fmt::join(gateways.begin(), end, ", "));
    const std::size_t others = gateways.size() - named;
    if (others == 0) {
        return names;
    }
    return named == 0 ? fmt::format("{} Gateway{}", others, others == 1 ? "" : "s")
                      : fmt::format("{} and {} other{}", names, others, others == 1 ? "" : "s");
}

}  // namespace

Patience::Patience() {
    if (isatty(STDERR_FILENO) == 1) {
        thread_ = std::jthread([this](const std::stop_token& stop) { tellEverySecond(stop); });
    }
}

Patience::~Patience() = default;

Patience::Waiting Patience::waitFor(const Endpoint& gateway) {
    const std::lock_guard lock(mutex_);
    return {*this, waits_.insert(waits_.end(), {nameOf(gateway), std::chrono::steady_clock::now()})};
}

void Patience::end(std::list<Wait>::iterator wait) {
    const std::lock_guard lock(mutex_);
    waits_.erase(wait);
    show(shown_ ? line() : "");
}

void Patience::tellEverySecond(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested()) {
        changed_.wait_for(lock, stop, 1s, [] { return false; });
        show(line());
    }
    show("");
}

// Empty while nobody has been waited for a second.
std::string Patience::line() const {
    std::vector<std::string> names;
    std::chrono::seconds longest = 0s;
    for (const Wait& wait : waits_) {
        const auto waited =
            std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - wait.start);
        if (waited >= 1s) {
            names.push_back(wait.gateway);
            longest = std::max(longest, waited);
        }
    }
    return names.empty() ? "" : waitingLine(names, longest, widthOfTerminal() - 1);  // the cursor needs one
}

std::unique_lock<std::mutex> Patience::giveWay() {
    std::unique_lock lock(mutex_);
    show("");
    return lock;
}

std::string waitingLine(const std::vector<std::string>& gateways, std::chrono::seconds waited,
                        std::size_t width) {
    std::string line;
    std::size_t named = gateways.size() + 1;
    do {
        --named;
        line = fmt::format("zolstat: connecting to {} ... {} s", namesOf(gateways, named), waited.count());
    } while (named > 0 && line.size() > width);
    return line.substr(0, width);
}

void Patience::show(const std::string& line) {
    if (!line.empty() || shown_) {
        writeError(WIPE + line);
    }
    shown_ = !line.empty();
}

}  // namespace tools::zolstat

// What a library in a process must leave as it was: signals, mask, locale, folders, environment, threads,
// descriptors. Reads it and compares nothing; a state is a table of texts, so that a difference can be shown.
// What the library promises stands in zolstats.h under Conventions.
#ifndef ZOLSTATS_TESTS_PROCESS_STATE_H
#define ZOLSTATS_TESTS_PROCESS_STATE_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace limits {

using ProcessState = std::map<std::string, std::string>;

inline std::string membersOf(const sigset_t& set) {
    std::string members;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        if (::sigismember(&set, number) == 1) {
            members += std::to_string(number) + " ";
        }
    }
    return members;
}

inline std::string dispositionOf(int signalNumber) {
    struct sigaction action {};
    if (::sigaction(signalNumber, nullptr, &action) != 0) {
        return "reserved";
    }
    std::ostringstream text;
    text << reinterpret_cast<void*>(action.sa_handler) << " flags " << action.sa_flags << " mask "
         << membersOf(action.sa_mask);
    return text.str();
}

inline sigset_t signalMask() {
    sigset_t mask{};
    ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return mask;
}

inline sigset_t pendingSignals() {
    sigset_t pending{};
    ::sigpending(&pending);
    return pending;
}

inline mode_t fileCreationMask() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return mask;
}

inline std::size_t threadCount() {
    using Entries = std::filesystem::directory_iterator;
    return static_cast<std::size_t>(std::distance(Entries("/proc/self/task"), Entries()));
}

// Open descriptors, and what they lead to. The one that reads the folder is not among them.
inline std::map<int, std::string> openDescriptors() {
    std::vector<std::filesystem::path> listed;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        listed.push_back(entry.path());
    }
    std::map<int, std::string> open;
    for (const std::filesystem::path& path : listed) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(path, gone).string();
        if (!gone) {
            open[std::stoi(path.filename().string())] = target;
        }
    }
    return open;
}

inline bool isClosedOnExec(int descriptor) {
    return (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0;
}

inline ProcessState processState() {
    ProcessState state;
    for (int number = 1; number <= SIGRTMAX; ++number) {
        state["signal " + std::to_string(number)] = dispositionOf(number);
    }
    state["blocked signals"] = membersOf(signalMask());
    state["pending signals"] = membersOf(pendingSignals());
    state["locale"] = std::setlocale(LC_ALL, nullptr);
    state["folder"] = std::filesystem::current_path().string();
    state["file creation mask"] = std::to_string(fileCreationMask());
    state["threads"] = std::to_string(threadCount());
    for (char** variable = ::environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        state["variable " + text.substr(0, text.find('='))] = text;
    }
    for (const auto& [number, target] : openDescriptors()) {
        state["descriptor " + std::to_string(number)] =
            target + (isClosedOnExec(number) ? ", closed on exec" : "");
    }
    return state;
}

}  // namespace limits

#endif

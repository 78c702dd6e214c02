#include "resources.h"

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <exception>
#include <fstream>
#include <map>
#include <stdexcept>

#include "descriptor.h"

namespace bench {
namespace {

// A figure that a file of /proc tells behind its name, in kibibytes there.
long bytesIn(const char* fileName, std::string_view name) {
    std::ifstream file(fileName);
    for (std::string word; file >> word;) {
        long kibibytes = 0;
        if (word == name && file >> kibibytes) {
            return kibibytes * 1024;
        }
    }
    throw std::runtime_error(std::string(fileName) + " does not tell " + std::string(name));
}

// The highest mark of the resident memory.
long peakBytes() {
    return bytesIn("/proc/self/status", "VmHWM:");
}

long residentBytes() {
    return bytesIn("/proc/self/smaps_rollup", "Rss:");
}

// Make the highest mark the present one.
void resetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5\n";
}

using Bytes = long (*)();

[[noreturn]] void tellGrowth(Bytes bytes, const gateway::Descriptor& out,
                             const std::function<void()>& prepare, const std::function<void()>& action) {
    try {
        prepare();
        bytes();  // its own first use takes memory, too
        resetPeak();
        const long before = bytes();
        action();
        const long growth = bytes() - before;
        ::_exit(::write(out.number(), &growth, sizeof growth) == sizeof growth ? 0 : 1);
    } catch (const std::exception&) {
        ::_exit(1);
    }
}

long growthOf(Bytes bytes, const std::function<void()>& prepare, const std::function<void()>& action) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        throw std::runtime_error("no pipe");
    }
    const gateway::Descriptor in(ends[0]);
    const gateway::Descriptor out(ends[1]);
    const pid_t child = ::fork();
    if (child == 0) {
        tellGrowth(bytes, out, prepare, action);
    }
    int status = 0;
    long growth = 0;
    ::waitpid(child, &status, 0);
    if (status != 0 || ::read(in.number(), &growth, sizeof growth) != sizeof growth) {
        throw std::runtime_error("a child that was to tell its memory has failed");
    }
    return growth;
}

std::string nameOfSystemCall(long number) {
    static const std::map<long, std::string> names{{SYS_bind, "bind"},
                                                   {SYS_brk, "brk"},
                                                   {SYS_close, "close"},
                                                   {SYS_connect, "connect"},
                                                   {SYS_futex, "futex"},
                                                   {SYS_getpid, "getpid"},
                                                   {SYS_getsockname, "getsockname"},
                                                   {SYS_getsockopt, "getsockopt"},
                                                   {SYS_ioctl, "ioctl"},
                                                   {SYS_madvise, "madvise"},
                                                   {SYS_mmap, "mmap"},
                                                   {SYS_mprotect, "mprotect"},
                                                   {SYS_mremap, "mremap"},
                                                   {SYS_munmap, "munmap"},
                                                   {SYS_ppoll, "ppoll"},
                                                   {SYS_read, "read"},
                                                   {SYS_recvfrom, "recvfrom"},
                                                   {SYS_recvmsg, "recvmsg"},
                                                   {SYS_rt_sigaction, "rt_sigaction"},
                                                   {SYS_rt_sigprocmask, "rt_sigprocmask"},
                                                   {SYS_sendto, "sendto"},
                                                   {SYS_setsockopt, "setsockopt"},
                                                   {SYS_socket, "socket"},
#ifdef SYS_poll  // newer machines have ppoll() only
                                                   {SYS_poll, "poll"},
#endif
                                                   {SYS_write, "write"}};
    const auto known = names.find(number);
    return known != names.end() ? known->second : "call " + std::to_string(number);
}

}  // namespace

long peakGrowthOf(const std::function<void()>& prepare, const std::function<void()>& action) {
    return growthOf(peakBytes, prepare, action);
}

long lastingGrowthOf(const std::function<void()>& prepare, const std::function<void()>& action) {
    return growthOf(residentBytes, prepare, action);
}

std::string describeSystemCalls(const std::vector<long>& calls) {
    std::map<std::string, int> counts;
    for (const long call : calls) {
        ++counts[nameOfSystemCall(call)];
    }
    std::string text;
    for (const auto& [name, count] : counts) {
        text += (text.empty() ? "" : ", ") + name + ' ' + std::to_string(count);
    }
    return text.empty() ? "none" : text;
}

}  // namespace bench

#include "counted_system_calls.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace testing_support {
namespace {

constexpr int SYSTEM_CALL_STOP = SIGTRAP | 0x80;  // told from a signal by PTRACE_O_TRACESYSGOOD
constexpr long END_OF_ACTION = 1'000'000;         // no system call has this number

long checked(long result, const char* what) {
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

// Tell the tracer that what follows counts. The signal goes to this thread, not just to the process: it is delivered
// before the call returns.
void stopForTracer() {
    ::syscall(SYS_tgkill, ::getpid(), ::syscall(SYS_gettid), SIGSTOP);
}

[[noreturn]] void runTraced(const std::function<void()>& prepare, const std::function<void()>& action) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    try {
        prepare();
        checked(::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr), "PTRACE_TRACEME");
        stopForTracer();
        action();
        ::syscall(END_OF_ACTION);
    } catch (...) {
        ::_exit(1);
    }
    ::_exit(0);
}

class TracedChild {
  public:
    explicit TracedChild(pid_t pid) : pid_(pid) { waitForStop(); }
    ~TracedChild() {
        if (pid_ != 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    TracedChild(const TracedChild&) = delete;
    TracedChild& operator=(const TracedChild&) = delete;

    void tellSystemCalls() {
        checked(::ptrace(PTRACE_SETOPTIONS, pid_, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL),
                "PTRACE_SETOPTIONS");
    }

    // Let it run up to the start of its next system call; gives the call's number.
    long nextSystemCall() {
        __ptrace_syscall_info info{};
        do {
            runToSystemCallStop();
            checked(::ptrace(PTRACE_GET_SYSCALL_INFO, pid_, sizeof info, &info), "PTRACE_GET_SYSCALL_INFO");
        } while (info.op != PTRACE_SYSCALL_INFO_ENTRY);
        return static_cast<long>(info.entry.nr);
    }

  private:
    int wait() {
        int status = 0;
        checked(::waitpid(pid_, &status, 0), "waitpid");
        if (!WIFSTOPPED(status)) {
            pid_ = 0;
        }
        return status;
    }

    int waitForStop() {
        const int status = wait();
        if (!WIFSTOPPED(status)) {
            throw std::runtime_error("the traced action has not come to its end: status " +
                                     std::to_string(status));
        }
        return WSTOPSIG(status);
    }

    // Signals that come meanwhile are delivered.
    void runToSystemCallStop() {
        int signal = 0;
        do {
            checked(::ptrace(PTRACE_SYSCALL, pid_, nullptr, signal), "PTRACE_SYSCALL");
            signal = waitForStop();
        } while (signal != SYSTEM_CALL_STOP);
    }

    pid_t pid_;
};

}  // namespace

std::vector<long> systemCallsOf(const std::function<void()>& prepare, const std::function<void()>& action) {
    const auto pid = static_cast<pid_t>(checked(::fork(), "fork"));
    if (pid == 0) {
        runTraced(prepare, action);
    }
    TracedChild child(pid);
    child.tellSystemCalls();
    std::vector<long> calls;
    for (long call = child.nextSystemCall(); call != END_OF_ACTION; call = child.nextSystemCall()) {
        calls.push_back(call);
    }
    return calls;
}

}  // namespace testing_support

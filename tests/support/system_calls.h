// Stands between the library and the system: a test says what a system call does instead, in its own thread
// and while its SystemCalls lives. Defines the calls themselves, so it goes into the one source file of a
// test program that links the static library. It is no fault injector for other processes, and memory is not
// its business.
#ifndef ZOLSTATS_TESTS_SYSTEM_CALLS_H
#define ZOLSTATS_TESTS_SYSTEM_CALLS_H

#include <dlfcn.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <functional>
#include <optional>
#include <type_traits>

namespace testing_support {

class SystemCalls {
  public:
    // Called instead of the system; with no value the call goes on to the system.
    template <class Result, class... Values>
    using Instead = std::function<std::optional<Result>(Values...)>;

    SystemCalls() { current = this; }
    ~SystemCalls() { stop(); }
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    // Replace nothing any more, lest a tear-down still runs what a test has replaced.
    static void stop() { current = nullptr; }

    Instead<int, const char*, const char*, const addrinfo*, addrinfo**> getaddrinfo;
    Instead<int, addrinfo*> freeaddrinfo;
    Instead<int, int, int, int> socket;
    Instead<int, int, int, int, const void*, socklen_t> setsockopt;
    Instead<int, int, int, int, void*, socklen_t*> getsockopt;
    Instead<int, int, unsigned long, void*> ioctl;
    Instead<int, int, const sockaddr*, socklen_t> connect;
    Instead<int, pollfd*, nfds_t, int> poll;
    Instead<ssize_t, int, const void*, size_t, int> send;
    Instead<int, int> close;
    Instead<time_t, time_t*> time;
    Instead<int, pthread_mutex_t*, const pthread_mutexattr_t*> pthread_mutex_init;

    static inline thread_local SystemCalls* current = nullptr;
};

// What a call that fails leaves and gives.
inline int failed(int error) {
    errno = error;
    return -1;
}

template <class Result, class... Values>
Result passOn(const char* name, Values... values) {
    return reinterpret_cast<Result (*)(Values...)>(::dlsym(RTLD_NEXT, name))(values...);
}

template <class Result, class... Values>
Result callOrInstead(SystemCalls::Instead<Result, Values...> SystemCalls::*instead, const char* name,
                     std::type_identity_t<Values>... values) {
    if (SystemCalls::current != nullptr && SystemCalls::current->*instead) {
        if (const std::optional<Result> result = (SystemCalls::current->*instead)(values...)) {
            return *result;
        }
    }
    return passOn<Result, Values...>(name, values...);
}

}  // namespace testing_support

extern "C" {

int getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** list) {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::getaddrinfo, "getaddrinfo", host, service, hints, list);
}

void freeaddrinfo(addrinfo* list) noexcept {
    using namespace testing_support;
    if (SystemCalls::current != nullptr && SystemCalls::current->freeaddrinfo) {
        SystemCalls::current->freeaddrinfo(list);
    }
    passOn<void>("freeaddrinfo", list);
}

int socket(int family, int type, int protocol) noexcept {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::socket, "socket", family, type, protocol);
}

int setsockopt(int descriptor, int level, int option, const void* value, socklen_t size) noexcept {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::setsockopt, "setsockopt", descriptor, level, option, value, size);
}

int getsockopt(int descriptor, int level, int option, void* value, socklen_t* size) noexcept {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::getsockopt, "getsockopt", descriptor, level, option, value, size);
}

int ioctl(int descriptor, unsigned long request, ...) noexcept {
    using namespace testing_support;
    std::va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    return callOrInstead(&SystemCalls::ioctl, "ioctl", descriptor, request, argument);
}

int connect(int descriptor, const sockaddr* address, socklen_t size) {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::connect, "connect", descriptor, address, size);
}

int poll(pollfd* descriptors, nfds_t count, int timeoutMs) {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::poll, "poll", descriptors, count, timeoutMs);
}

ssize_t send(int descriptor, const void* bytes, size_t size, int flags) {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::send, "send", descriptor, bytes, size, flags);
}

int close(int descriptor) {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::close, "close", descriptor);
}

time_t time(time_t* result) noexcept {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::time, "time", result);
}

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    using namespace testing_support;
    return callOrInstead(&SystemCalls::pthread_mutex_init, "pthread_mutex_init", mutex, attributes);
}
}

#endif

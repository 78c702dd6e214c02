// The calls that can be told to fail, as the linker puts them in place of the real ones.
// Nothing is decided here; see failing_calls.h.
// Which failures the library reports, and how, is written down in docs/return-codes.md.
#include "failing_calls.h"

#include <pthread.h>
#include <stddef.h>

#include <cerrno>

using testing_support::FailingAllocation;
using testing_support::FailingMutexInit;

extern "C" {

void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_realloc(void* memory, size_t size);
int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);

void* __wrap_malloc(size_t size);
void* __wrap_calloc(size_t count, size_t size);
void* __wrap_realloc(void* memory, size_t size);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
}

namespace {

// A usual mutex, but one that fails where it is taken twice or released by a thread that does not hold it.
int makeMutex(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    pthread_mutexattr_t checking{};
    pthread_mutexattr_init(&checking);
    pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK);
    const int rc = __real_pthread_mutex_init(mutex, attributes != nullptr ? attributes : &checking);
    pthread_mutexattr_destroy(&checking);
    return rc;
}

}  // namespace

extern "C" {

void* __wrap_malloc(size_t size) {
    return FailingAllocation::isNow() ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(size_t count, size_t size) {
    return FailingAllocation::isNow() ? nullptr : __real_calloc(count, size);
}

void* __wrap_realloc(void* memory, size_t size) {
    return FailingAllocation::isNow() ? nullptr : __real_realloc(memory, size);
}

int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    return FailingMutexInit::isNow() ? ENOMEM : makeMutex(mutex, attributes);
}
}

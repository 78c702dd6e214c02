// The calls for memory, replaced so that they count. In a program with a sanitizer, whose allocator cannot be replaced,
// its reports are counted instead. What is promised about walks stands in zolstats.hpp.
#include "counted_allocations.h"

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZOLSTATS_TEST_ALLOCATOR_HOOKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZOLSTATS_TEST_ALLOCATOR_HOOKS 1
#endif
#endif

namespace {

thread_local bool counts = false;  // the Gateway's threads in this process are not counted
thread_local int allocations = 0;

void countAllocation() {
    allocations += counts ? 1 : 0;
}

}  // namespace

namespace testing_support {

void startCounting() {
    allocations = 0;
    counts = true;
}

int stopCounting() {
    counts = false;
    return allocations;
}

}  // namespace testing_support

#ifdef ZOLSTATS_TEST_ALLOCATOR_HOOKS

// A sanitizer's allocator cannot be replaced, but it reports what it does. Declared here, since not every
// compiler comes with the header.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*, std::size_t),
                                                         void (*)(const volatile void*));

namespace {
void reportAllocation(const volatile void*, std::size_t) {
    countAllocation();
}
void reportFree(const volatile void*) {}
const int installed = __sanitizer_install_malloc_and_free_hooks(reportAllocation, reportFree);
}  // namespace

#else

// These stand before the C library's for the whole process, the shared library included.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);

void* malloc(std::size_t size) {
    countAllocation();
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    countAllocation();
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
    countAllocation();
    return __libc_realloc(memory, size);
}
}

#endif

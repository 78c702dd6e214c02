// The allocator's calls, as the linker puts them in place of the real ones.
// Sizes are those that the allocator hands out, which may be more than it was asked for.
// What they are for, and who frees what: library_memory.h and zolstats.h.
#include "library_memory.h"

#include <malloc.h>

#include <algorithm>

namespace limits {

bool LibraryMemory::grants(std::size_t bytes) {
    if (bytes > refuseAboveBytes_) {
        refused_.push_back(bytes);
        return false;
    }
    return true;
}

void LibraryMemory::count(std::int64_t bytes) {
    heldBytes_ += bytes;
    highestBytes_ = std::max(highestBytes_, heldBytes_);
}

namespace {

bool isGranted(std::size_t bytes) {
    return LibraryMemory::current() == nullptr || LibraryMemory::current()->grants(bytes);
}

std::int64_t sizeOf(void* memory) {
    return static_cast<std::int64_t>(::malloc_usable_size(memory));
}

void count(std::int64_t bytes) {
    if (LibraryMemory::current() != nullptr) {
        LibraryMemory::current()->count(bytes);
    }
}

void* counted(void* memory) {
    count(sizeOf(memory));
    return memory;
}

}  // namespace
}  // namespace limits

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void __real_free(void* memory);

void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* memory, std::size_t size);
void __wrap_free(void* memory);

void* __wrap_malloc(std::size_t size) {
    return limits::isGranted(size) ? limits::counted(__real_malloc(size)) : nullptr;
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
    return limits::isGranted(count * size) ? limits::counted(__real_calloc(count, size)) : nullptr;
}

void* __wrap_realloc(void* memory, std::size_t size) {
    if (!limits::isGranted(size)) {
        return nullptr;
    }
    const std::int64_t before = limits::sizeOf(memory);
    void* const grown = __real_realloc(memory, size);
    if (grown != nullptr) {
        limits::counted(grown);
        limits::count(-before);
    }
    return grown;
}

void __wrap_free(void* memory) {
    limits::count(-limits::sizeOf(memory));
    __real_free(memory);
}
}

// What the library holds of the heap, counted, and a limit beyond which it gets nothing more. The programs
// that use it are linked with --wrap for the calls of the allocator, so that just those of the static library
// (and of the test itself) come by here; what the C library and C++ allocate does not. Who frees what is
// written down in zolstats.h.
#ifndef ZOLSTATS_TESTS_LIBRARY_MEMORY_H
#define ZOLSTATS_TESTS_LIBRARY_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace limits {

// Counts for the thread that makes it, as long as it lives. An area that grows counts twice, old and new,
// until the old one is given back: the allocator may have to copy it.
class LibraryMemory {
  public:
    explicit LibraryMemory(std::size_t refuseAboveBytes = SIZE_MAX) : refuseAboveBytes_(refuseAboveBytes) {
        current_ = this;
    }
    ~LibraryMemory() { current_ = nullptr; }
    LibraryMemory(const LibraryMemory&) = delete;
    LibraryMemory& operator=(const LibraryMemory&) = delete;

    [[nodiscard]] std::int64_t heldBytes() const { return heldBytes_; }
    [[nodiscard]] std::int64_t highestBytes() const { return highestBytes_; }
    void forgetHighest() { highestBytes_ = heldBytes_; }

    // The sizes of the requests that were refused.
    [[nodiscard]] const std::vector<std::size_t>& refused() const { return refused_; }

    static LibraryMemory* current() { return current_; }
    bool grants(std::size_t bytes);
    void count(std::int64_t bytes);

  private:
    static inline thread_local LibraryMemory* current_ = nullptr;
    std::size_t refuseAboveBytes_;
    std::int64_t heldBytes_ = 0;
    std::int64_t highestBytes_ = 0;
    std::vector<std::size_t> refused_;
};

}  // namespace limits

#endif

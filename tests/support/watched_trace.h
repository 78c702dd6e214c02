// Watches how the library traces, not only what: while a WatchedTrace lives, each write to the trace's
// destination is noted as it is made, and whether the trace lock was held then. What was traced is taken
// apart by trace_capture.h. The line format is written down in docs/tracing.md.
#ifndef ZOLSTATS_TESTS_WATCHED_TRACE_H
#define ZOLSTATS_TESTS_WATCHED_TRACE_H

#include <pthread.h>
#include <stdio.h>
#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "stapi_zol_diag.h"
#include "stapi_zol_impl.h"

namespace testing_support {

// Whether anybody, the caller included, holds the lock.
inline bool isHeld(LockRecord& lock) {
    if (pthread_mutex_trylock(&lock.mutex) != 0) {
        return true;
    }
    pthread_mutex_unlock(&lock.mutex);
    return false;
}

class WatchedTrace {
  public:
    struct Write {
        std::string bytes;
        bool underLock;
    };

    explicit WatchedTrace(int level)
        : stream_(fopencookie(this, "w", {nullptr, note, nullptr, nullptr}), &fclose) {
        stapiInit();
        kept_ = statAPITraceHandle;
        statAPITraceHandle = stream_.get();
        __atomic_store_n(&statAPITrace, level, __ATOMIC_RELAXED);
    }
    ~WatchedTrace() {
        __atomic_store_n(&statAPITrace, 0, __ATOMIC_RELAXED);
        statAPITraceHandle = kept_;
    }
    WatchedTrace(const WatchedTrace&) = delete;
    WatchedTrace& operator=(const WatchedTrace&) = delete;

    // Each time that the stream was flushed or ran full. Nothing that still waits in it is here.
    [[nodiscard]] const std::vector<Write>& writes() const { return writes_; }

    [[nodiscard]] std::string text() const {
        std::string all;
        for (const Write& write : writes_) {
            all += write.bytes;
        }
        return all;
    }

  private:
    static ssize_t note(void* self, const char* bytes, size_t count) {
        static_cast<WatchedTrace*>(self)->writes_.push_back({std::string(bytes, count), isHeld(traceLock)});
        return static_cast<ssize_t>(count);
    }

    std::vector<Write> writes_;
    std::unique_ptr<FILE, int (*)(FILE*)> stream_;
    FILE* kept_ = nullptr;
};

}  // namespace testing_support

#endif

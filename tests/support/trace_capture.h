// Reads back what the library traces: while a TraceCapture lives, the trace goes into a file of its own at
// the level asked for. Works on the library's internals, so it is for tests that link the static library. The
// line format is written down in docs/tracing.md.
#ifndef ZOLSTATS_TESTS_TRACE_CAPTURE_H
#define ZOLSTATS_TESTS_TRACE_CAPTURE_H

#include <gmock/gmock.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "stapi_zol_diag.h"
#include "stapi_zol_impl.h"
#include "support/trace_line.h"

namespace testing_support {

class TraceCapture {
  public:
    explicit TraceCapture(int level) : file_(std::tmpfile(), &std::fclose) {
        stapiInit();
        kept_ = statAPITraceHandle;
        statAPITraceHandle = file_.get();
        __atomic_store_n(&statAPITrace, level, __ATOMIC_RELAXED);
    }
    ~TraceCapture() { stop(); }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    // Trace nothing more; what was captured stays readable.
    void stop() {
        if (!stopped_) {
            __atomic_store_n(&statAPITrace, 0, __ATOMIC_RELAXED);
            statAPITraceHandle = kept_;
            stopped_ = true;
        }
    }

    [[nodiscard]] std::string text() const {
        std::fflush(file_.get());
        std::string all(static_cast<std::size_t>(std::ftell(file_.get())), '\0');
        std::rewind(file_.get());
        all.resize(std::fread(all.data(), 1, all.size(), file_.get()));
        std::fseek(file_.get(), 0, SEEK_END);
        return all;
    }

    [[nodiscard]] std::vector<TraceLine> lines() const { return traceLines(text()); }

    // The lines of one point.
    [[nodiscard]] std::vector<TraceLine> lines(int point) const {
        std::vector<TraceLine> found = lines();
        std::erase_if(found, [point](const TraceLine& each) { return each.point != point; });
        return found;
    }

    // The lines of the points first to last, and their numbers alone.
    [[nodiscard]] std::vector<TraceLine> lines(int first, int last) const {
        std::vector<TraceLine> found = lines();
        std::erase_if(found, [=](const TraceLine& each) { return each.point < first || each.point > last; });
        return found;
    }
    [[nodiscard]] std::vector<int> points(int first, int last) const {
        std::vector<int> found;
        for (const TraceLine& each : lines(first, last)) {
            found.push_back(each.point);
        }
        return found;
    }

  private:
    std::unique_ptr<FILE, int (*)(FILE*)> file_;
    FILE* kept_ = nullptr;
    bool stopped_ = false;
};

}  // namespace testing_support

#endif

// The trace as an application sees it: in a file that it named, or on standard error.
// What the lines look like is taken apart in support/trace_line.h.
// The line format is written down in docs/tracing.md.
#ifndef ZOLSTATS_TESTS_API_TRACE_FILE_H
#define ZOLSTATS_TESTS_API_TRACE_FILE_H

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "support/trace_line.h"
#include "zolstats/zolstats.h"

namespace api {

using testing_support::line;
using testing_support::TraceLine;

// A file of its own in the working folder, gone at the end.
class TemporaryFile {
  public:
    TemporaryFile() {
        const int descriptor = ::mkstemp(name_.data());
        if (descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "mkstemp");
        }
        ::close(descriptor);
    }
    ~TemporaryFile() { std::remove(name_.c_str()); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    [[nodiscard]] const char* name() const { return name_.c_str(); }
    [[nodiscard]] std::string text() const {
        std::ifstream stream(name_, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    [[nodiscard]] std::vector<TraceLine> lines() const { return testing_support::traceLines(text()); }

  private:
    std::string name_ = "trace-XXXXXX";
};

// Gives the trace back to standard error, switched off and without a banner.
inline void resetTrace() {
    setAPITraceLevel(ZOLSTATS_TRACE_OFF);
    const TemporaryFile other;
    setAPITraceFile(other.name());
    setAPITraceFile(nullptr);
}

// All lines that an action leaves behind.
template <class Action>
std::vector<TraceLine> tracedByAll(Action action, int level = ZOLSTATS_TRACE_EXCEPTIONS) {
    resetTrace();
    const TemporaryFile file;
    setAPITraceFile(file.name());
    setAPITraceLevel(level);
    action();
    setAPITraceLevel(ZOLSTATS_TRACE_OFF);
    setAPITraceFile(nullptr);
    return file.lines();
}

// Those of the public calls themselves, but for the ones that set the trace.
template <class Action>
std::vector<TraceLine> traced(Action action, int level = ZOLSTATS_TRACE_EXCEPTIONS) {
    std::vector<TraceLine> lines = tracedByAll(action, level);
    std::erase_if(lines, [](const TraceLine& each) {
        const bool setsTrace = each.point >= 1094 && each.point <= 1101;
        return setsTrace || each.point > 1161;
    });
    return lines;
}

// While it lives, what is written to standard error goes to a file.
class StandardErrorCapture {
  public:
    StandardErrorCapture() : kept_(::dup(STDERR_FILENO)) { redirect(std::fopen(file_.name(), "we")); }
    ~StandardErrorCapture() {
        std::fflush(stderr);
        ::dup2(kept_, STDERR_FILENO);
        ::close(kept_);
    }
    StandardErrorCapture(const StandardErrorCapture&) = delete;
    StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

    [[nodiscard]] std::string text() const {
        std::fflush(stderr);
        return file_.text();
    }

  private:
    static void redirect(FILE* stream) {
        std::fflush(stderr);
        ::dup2(::fileno(stream), STDERR_FILENO);
        std::fclose(stream);
    }

    TemporaryFile file_;
    int kept_;
};

}  // namespace api

#endif

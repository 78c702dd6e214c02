// The trace lines of the public calls, taken while an action runs; the lines of lower modules are left out.
// Works on the library's internals, as trace_capture.h does.
// The line format is written down in docs/tracing.md.
#ifndef ZOLSTATS_TESTS_API_TRACE_H
#define ZOLSTATS_TESTS_API_TRACE_H

#include <functional>
#include <vector>

#include "support/trace_capture.h"

namespace testing_support {

inline constexpr int EXCEPTIONS = 1;
inline constexpr int EVENTS = 2;
inline constexpr int CALLS = 3;
inline constexpr int ALL = 4;

// The API module's lines that an action leaves behind.
inline std::vector<TraceLine> traced(const std::function<void()>& action, int level = ALL) {
    const TraceCapture trace(level);
    action();
    std::vector<TraceLine> lines = trace.lines();
    std::erase_if(lines, [](const TraceLine& each) { return each.point < 1000 || each.point > 1161; });
    return lines;
}

// What a template's %p takes.
inline void* address(const void* pointer) {
    return const_cast<void*>(pointer);
}

}  // namespace testing_support

#endif

// The trace of a fuzz target: formatted line by line, then forgotten.
// Not a file: even one that keeps nothing costs a call of the system for every byte of a dump.
// The trace itself is told in docs/tracing.md.
#ifndef ZOLSTATS_TESTS_FUZZ_TRACE_H
#define ZOLSTATS_TESTS_FUZZ_TRACE_H

#include <cstdio>

#include "input.h"
#include "stapi_zol_diag.h"
#include "stapi_zol_impl.h"
#include "zolstats/zolstats.h"

namespace fuzz {

// Once, before the first run.
inline void forgetTrace() {
    require(stapiInit() == 0, "the library can be initialised");
    cookie_io_functions_t functions{};
    functions.write = [](void*, const char*, std::size_t size) { return static_cast<ssize_t>(size); };
    statAPITraceHandle = fopencookie(nullptr, "w", functions);
    require(statAPITraceHandle != nullptr, "there is a stream to forget the trace in");
}

inline void traceEverything(bool on) {
    setAPITraceLevel(on ? ZOLSTATS_TRACE_ALL : ZOLSTATS_TRACE_OFF);
}

}  // namespace fuzz

#endif

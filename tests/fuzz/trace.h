// The trace of a fuzz target, on or off.
// Not where it goes: that is settled once (initialize.cpp).
// The trace itself is told in docs/tracing.md.
#ifndef ZOLSTATS_TESTS_FUZZ_TRACE_H
#define ZOLSTATS_TESTS_FUZZ_TRACE_H

#include "zolstats/zolstats.h"

namespace fuzz {

inline void traceEverything(bool on) {
    setAPITraceLevel(on ? ZOLSTATS_TRACE_ALL : ZOLSTATS_TRACE_OFF);
}

}  // namespace fuzz

#endif

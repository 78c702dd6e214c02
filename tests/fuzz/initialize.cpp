// What every fuzz target does once, before its first input: the trace is formatted and forgotten.
// Not a target.
// The trace itself is told in docs/tracing.md.
#include <cstdio>

#include "input.h"
#include "stapi_zol_diag.h"
#include "stapi_zol_impl.h"

// Not to a file: even one that keeps nothing costs a call of the system for every byte of a dump.
int LLVMFuzzerInitialize(int*, char***) {
    fuzz::require(stapiInit() == 0, "the library can be initialised");
    cookie_io_functions_t functions{};
    functions.write = [](void*, const char*, std::size_t size) { return static_cast<ssize_t>(size); };
    statAPITraceHandle = fopencookie(nullptr, "w", functions);
    fuzz::require(statAPITraceHandle != nullptr, "there is a stream to forget the trace in");
    return 0;
}

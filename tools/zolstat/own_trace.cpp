// A trace of the tool's own, in a file without a name.
// Not the place where its lines are chosen (trace_excerpt.cpp).
// The lines of a trace are described in docs/tracing.md.
#include "own_trace.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "common/text.h"

namespace tools::zolstat {
namespace {

std::string nameTemplate() {
    const char* folder = std::getenv("TMPDIR");
    return std::string(folder == nullptr || *folder == '\0' ? "/tmp" : folder) + "/zolstat.XXXXXX";
}

}  // namespace

OwnTrace::OwnTrace() {
    std::string name = nameTemplate();
    const int descriptor = mkstemp(name.data());
    if (descriptor == -1) {
        problem_ = fmt::format("{}: {}", printable(name), std::generic_category().message(errno));
        return;
    }
    close(descriptor);
    file_.open(name);
    try {
        zolstats::setTraceFile(name);
    } catch (const zolstats::Error& error) {
        problem_ = error.what();
    }
    unlink(name.c_str());
}

// Off first, so that the line about the change itself goes nowhere.
OwnTrace::~OwnTrace() {
    try {
        zolstats::setTraceLevel(zolstats::TraceLevel::off);
        zolstats::traceToStandardError();
    } catch (const zolstats::Error&) {  // nothing is traced any more, wherever it would go
    }
}

void OwnTrace::setLevel(zolstats::TraceLevel level) const {
    if (problem_.empty()) {
        zolstats::setTraceLevel(level);
    }
}

TraceExcerpt OwnTrace::excerpt() {
    file_.clear();
    return excerptOf(file_);
}

}  // namespace tools::zolstat

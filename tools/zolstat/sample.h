// What was read from the Gateways, as plain records: made by sessions, shown by the formats.
// Not the place where anything is asked for or laid out.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_SAMPLE_H
#define ZOLSTAT_SAMPLE_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "common/endpoint.h"
#include "exit_code.h"

namespace tools::zolstat {

// How a statistic has moved since the reading before it.
struct Change {
    long double perSecond = 0;
    bool restarted = false;  // it fell where it had always risen: it counts anew, and there is no rate
};

// One name, or one statistic with its value.
struct Reading {
    std::string group;                   // empty: not known, or the Gateway lists it in none
    std::string id{};                    // empty: a group as such (one without statistics among others)
    std::optional<std::string> value{};  // any bytes; absent for mere names and for what was rejected
    int code = 0;                        // of the Gateway: negative if it rejected this
    std::optional<Change> change{};      // only where something is watched, and for numbers

    bool rejected() const { return code < 0; }
};

struct Failure {
    ExitCode exitCode;
    int code;          // the library's return code; 0 where it was not the library that failed
    std::string text;  // one line
};

// What one Gateway had to tell at one moment.
struct Sample {
    Endpoint gateway;
    std::chrono::system_clock::time_point time{};
    std::vector<Reading> readings{};        // in the order asked for
    std::optional<Failure> failure{};       // then there are no readings
    std::vector<std::string> complaints{};  // one line for each thing that was rejected
};

// What the readings of a sample are.
enum class Kind { Groups, Ids, Statistics };

}  // namespace tools::zolstat

#endif

// Samples as a Gateway might have told them, for tests of how they are shown.
// Not a Gateway: nothing is asked.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_SAMPLES_H
#define ZOLSTATS_TESTS_SAMPLES_H

#include <chrono>
#include <string>
#include <vector>

#include "formats/format.h"

namespace samples {

using tools::zolstat::Change;
using tools::zolstat::Column;
using tools::zolstat::Format;
using tools::zolstat::Kind;
using tools::zolstat::Layout;
using tools::zolstat::Order;
using tools::zolstat::Reading;
using tools::zolstat::Sample;

// 2024-02-29T23:59:59.007Z
inline constexpr std::chrono::system_clock::time_point MOMENT{std::chrono::milliseconds(1'709'251'199'007)};

inline Sample sample(std::vector<Reading> readings, const std::string& host = "gw") {
    Sample sample{{host, 27400}};
    sample.time = MOMENT;
    sample.readings = std::move(readings);
    return sample;
}

inline Sample failed(const std::string& host = "gw") {
    Sample sample{{host, 27400}};
    sample.time = MOMENT;
    sample.failure = {tools::zolstat::ExitCode::ConnectionLost, -102, "the connection was lost (-102)"};
    return sample;
}

inline Reading changed(Reading reading, long double perSecond) {
    reading.change = Change{perSecond, false};
    return reading;
}

inline Reading restarted(Reading reading) {
    reading.change = Change{0, true};
    return reading;
}

inline std::string render(std::vector<Sample> samples, const Layout& layout, Kind kind = Kind::Statistics) {
    return tools::zolstat::render(std::move(samples), kind, layout);
}

}  // namespace samples

#endif

// The formats, one function each: what render() chooses from.
// Not for the commands, which call render().
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_FORMATS_RENDERERS_H
#define ZOLSTAT_FORMATS_RENDERERS_H

#include <string>
#include <vector>

#include "layout.h"
#include "sample.h"

namespace tools::zolstat {

using Samples = std::vector<Sample>;

std::string renderTable(const Samples& samples, Kind kind, const Layout& layout);
std::string renderFlatTable(const Samples& samples, Kind kind, const Layout& layout);
std::string renderJson(const Samples& samples, Kind kind, const Layout& layout);
std::string renderNdjson(const Samples& samples, Kind kind, const Layout& layout);
std::string renderCsv(const Samples& samples, Kind kind, const Layout& layout);
std::string renderPrometheus(const Samples& samples, Kind kind, const Layout& layout);
std::string renderRaw(const Samples& samples, Kind kind, const Layout& layout);

}  // namespace tools::zolstat

#endif

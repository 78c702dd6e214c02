// Samples as text: for the eye, for programs, for monitoring systems.
// Not the place where anything is asked for or written.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_FORMATS_FORMAT_H
#define ZOLSTAT_FORMATS_FORMAT_H

#include <string>
#include <vector>

#include "layout.h"
#include "sample.h"

namespace tools::zolstat {

// The samples of all Gateways as one block of text, with its line ends. Blocks of one run may follow one another:
// `layout.header` is then false from the second on.
std::string render(std::vector<Sample> samples, Kind kind, const Layout& layout);

}  // namespace tools::zolstat

#endif

// The files that browsers get, as they lie in pages/: put into the program when it is built.
// Not the place where their holes are filled (page_template.h) or where they are served (pages.h).
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_PAGE_FILES_H
#define EXPORTER_PAGE_FILES_H

#include <map>
#include <string_view>

namespace tools::exporter {

// Bytes by names.
extern const std::map<std::string_view, std::string_view> PAGE_FILES;

}  // namespace tools::exporter

#endif

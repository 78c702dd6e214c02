// Names of HTTP, which compare without regard to case.
// Not a comparison for texts of people: it knows ASCII only.
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_HTTP_CASELESS_H
#define EXPORTER_HTTP_CASELESS_H

#include <strings.h>

#include <string_view>

namespace tools::exporter::http {

inline bool isSameName(std::string_view one, std::string_view other) {
    return one.size() == other.size() && strncasecmp(one.data(), other.data(), one.size()) == 0;
}

}  // namespace tools::exporter::http

#endif

// Answers made smaller for those who accept it.
// Not the place where it is decided which answers are worth it (server.cpp).
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_HTTP_COMPRESSION_H
#define EXPORTER_HTTP_COMPRESSION_H

#include <string>
#include <string_view>

namespace tools::exporter::http {

// Whether a header Accept-Encoding lets an answer be gzip; what is not understood lets in nothing.
bool acceptsGzip(std::string_view acceptEncoding);

std::string gzip(std::string_view text);

}  // namespace tools::exporter::http

#endif

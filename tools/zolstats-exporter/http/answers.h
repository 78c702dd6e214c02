// From a request as it came in to the answer as it goes out: who is refused, who is asked, what every answer has.
// Not the place where bytes are read or written (server.cpp).
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_HTTP_ANSWERS_H
#define EXPORTER_HTTP_ANSWERS_H

#include <cstddef>
#include <optional>
#include <string>

#include "server.h"
#include "web_configuration.h"

namespace tools::exporter::http {

// As libmicrohttpd has read it.
struct RawRequest {
    std::string method;
    std::string target;  // with its escapes
    std::string version;
    Fields headers{};
    std::size_t headerSize = 0;  // in bytes, with the request line
};

// For requests whose bodies are not read.
std::optional<Response> refusal(const RawRequest& raw, const Limits& limits);

// For all others: that of the handler, if it is asked.
Response answerTo(const RawRequest& raw, const Handler& handler, const WebConfiguration& web);

// The owner's headers come in place of the handler's.
void addHeaders(Response& response, const WebConfiguration::Headers& owners);

}  // namespace tools::exporter::http

#endif

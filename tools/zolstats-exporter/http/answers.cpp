// Answers, from the first look at a request to the last header.
// Not the place where passwords are checked or texts compressed: only where that is asked for.
// Nothing here comes from the protocol of the Gateways.
#include "answers.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include "caseless.h"
#include "common/text.h"
#include "compression.h"
#include "target.h"

namespace tools::exporter::http {
namespace {

// Of a body, which is read and forgotten; a connection whose body is larger ends with the answer.
constexpr std::size_t MOST_BODY = 65536;
// Below this the headers outweigh what compression wins.
constexpr std::size_t LEAST_COMPRESSED = 1024;

Response plain(int status, std::string_view text) {
    return {.status = status, .body = fmt::format("{}\n", text)};
}

bool comesTwice(const Fields& headers, std::string_view name) {
    return std::count_if(headers.all.begin(), headers.all.end(),
                         [&](const auto& field) { return isSameName(field.first, name); }) > 1;
}

// libmicrohttpd would look after a missing host too, but sends the head of its answer twice.
bool isAmbiguous(const RawRequest& raw) {
    return (raw.version == "HTTP/1.1" && !raw.headers.first("Host")) || comesTwice(raw.headers, "Host") ||
           comesTwice(raw.headers, "Content-Length");
}

bool hasLargeBody(const Fields& headers) {
    const auto text = headers.first("Content-Length").value_or("0");
    const auto* end = text.data() + text.size();
    std::uint64_t size = 0;
    const auto read = std::from_chars(text.data(), end, size);
    return read.ec != std::errc() || read.ptr != end || size > MOST_BODY;
}

Response notAllowed() {
    auto response = plain(405, "This method is not supported.");
    response.headers.emplace_back("Allow", "GET, HEAD, POST");
    return response;
}

Response unauthorized() {
    auto response = plain(401, "This needs a user's name and password.");
    response.headers.emplace_back("WWW-Authenticate", R"(Basic realm="zolstats-exporter", charset="UTF-8")");
    return response;
}

Response internalError(const char* reason) {
    fmt::print(stderr, "A request could not be answered: {}\n", printable(reason));
    return plain(500, "Internal error.");
}

Response askedOf(const Handler& handler, const RawRequest& raw) {
    const bool isGet = raw.method == "GET" || raw.method == "HEAD";
    if (!isGet && raw.method != "POST") {
        return notAllowed();
    }
    auto target = parseTarget(raw.target);
    if (!target) {
        return plain(400, "The target of the request cannot be understood.");
    }
    return handler({.method = isGet ? "GET" : "POST",
                    .path = std::move(target->path),
                    .headers = raw.headers,
                    .arguments = std::move(target->arguments)});
}

void compress(Response& response, const Fields& requested) {
    response.headers.emplace_back("Vary", "Accept-Encoding");
    if (response.body.size() >= LEAST_COMPRESSED &&
        acceptsGzip(requested.first("Accept-Encoding").value_or(""))) {
        response.body = gzip(response.body);
        response.headers.emplace_back("Content-Encoding", "gzip");
    }
}

void replaceHeader(Response& response, const std::pair<std::string, std::string>& header) {
    std::erase_if(response.headers, [&](const auto& each) { return isSameName(each.first, header.first); });
    response.headers.push_back(header);
}

}  // namespace

std::optional<Response> refusal(const RawRequest& raw, const Limits& limits) {
    if (raw.target.size() > limits.header / 2) {
        return plain(414, "The request line is too long.");
    }
    if (raw.headerSize > limits.header) {
        return plain(431, "The headers are too large.");
    }
    if (isAmbiguous(raw)) {
        return plain(400, "A request names its host once, and the length of its body once at most.");
    }
    if (raw.headers.first("Transfer-Encoding")) {
        return plain(411, "A body must tell its length.");
    }
    if (hasLargeBody(raw.headers)) {
        return plain(413, "The body is too large.");
    }
    return {};
}

Response answerTo(const RawRequest& raw, const Handler& handler, const WebConfiguration& web) {
    try {
        if (!web.letsIn(raw.headers.first("Authorization"))) {
            return unauthorized();
        }
        auto response = askedOf(handler, raw);
        compress(response, raw.headers);
        return response;
    } catch (const std::exception& e) {
        return internalError(e.what());
    }
}

void addHeaders(Response& response, const WebConfiguration::Headers& owners) {
    std::for_each(owners.begin(), owners.end(), [&](const auto& owned) { replaceHeader(response, owned); });
    replaceHeader(response, {"X-Content-Type-Options", "nosniff"});
}

std::optional<std::string> Fields::first(std::string_view name) const {
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const auto& field) { return isSameName(field.first, name); });
    return found == all.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> Request::argument(std::string_view name) const {
    const auto values = allOf(name);
    return values.empty() ? std::nullopt : std::optional(values.front());
}

std::vector<std::string> Request::allOf(std::string_view name) const {
    std::vector<std::string> values;
    for (const auto& argument : arguments) {
        if (argument.first == name) {
            values.push_back(argument.second);
        }
    }
    return values;
}

}  // namespace tools::exporter::http

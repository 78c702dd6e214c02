// Targets of requests, decoded once and strictly.
// Not a parser of whole URLs: of those only the part behind the host is looked at.
// Nothing here comes from the protocol of the Gateways.
#include "target.h"

#include <charconv>

namespace tools::exporter::http {
namespace {

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

std::optional<char> escapedBy(std::string_view digits) {
    unsigned char value = 0;
    const auto* end = digits.data() + digits.size();
    const auto read = std::from_chars(digits.data(), end, value, 16);
    if (digits.size() != 2 || read.ec != std::errc() || read.ptr != end) {
        return {};
    }
    return static_cast<char>(value);
}

std::optional<std::string> decoded(std::string_view text, bool plusIsSpace) {
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        std::optional<char> next = text[at];
        if (*next == '%') {
            next = escapedBy(text.substr(at + 1, 2));
            at += 2;
        } else if (*next == '+' && plusIsSpace) {
            next = ' ';
        }
        if (!next || isControl(*next)) {
            return {};
        }
        result += *next;
    }
    return result;
}

// Cut at the first separator; the second half is empty where there is none.
std::pair<std::string_view, std::string_view> halves(std::string_view text, char separator) {
    const auto at = text.find(separator);
    return {text.substr(0, at), at == text.npos ? std::string_view() : text.substr(at + 1)};
}

// What a proxy is asked for, and a server may be: the same with the server's own name in front.
std::string_view withoutHost(std::string_view text) {
    for (const std::string_view scheme : {"http://", "https://"}) {
        if (text.starts_with(scheme)) {
            const auto path = text.find('/', scheme.size());
            return path == text.npos ? "/" : text.substr(path);
        }
    }
    return text;
}

bool addArguments(std::string_view query, Target& target) {
    while (!query.empty()) {
        const auto [argument, rest] = halves(query, '&');
        const auto [name, value] = halves(argument, '=');
        auto decodedName = decoded(name, true);
        auto decodedValue = decoded(value, true);
        if (!decodedName || !decodedValue) {
            return false;
        }
        if (!argument.empty()) {
            target.arguments.emplace_back(std::move(*decodedName), std::move(*decodedValue));
        }
        query = rest;
    }
    return true;
}

}  // namespace

std::optional<Target> parseTarget(std::string_view text) {
    if (text.find(' ') != text.npos) {  // ends the target of a proper request line
        return {};
    }
    const auto [path, query] = halves(withoutHost(text), '?');
    auto decodedPath = decoded(path, false);
    if (!decodedPath || !decodedPath->starts_with('/')) {
        return {};
    }
    Target target{std::move(*decodedPath)};
    if (!addArguments(query, target)) {
        return {};
    }
    return target;
}

}  // namespace tools::exporter::http

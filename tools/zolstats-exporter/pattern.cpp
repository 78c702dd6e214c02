// Patterns with wildcards: taken into pieces, and followed through a text on all ways at once.
// Not regular expressions: those are the mapping's (mapping.cpp).
// Nothing here comes from the protocol.
#include "pattern.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "common/text.h"

namespace tools::exporter {
namespace {

constexpr std::string_view PORT_CHARACTERS = "0123456789*?";

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

struct HostAndPort {
    std::string host;
    std::string port;
};

std::string hostOf(const Endpoint& endpoint, const std::string& text) {
    std::string plain = endpoint.host;
    std::erase_if(plain, [](char c) { return c == '*' || c == '?'; });
    if (!isHost(plain)) {
        throw BadEndpoint(fmt::format("'{}': the host fits neither a name nor an address", printable(text)));
    }
    return lower(endpoint.host);
}

// Where the port has wildcards it is taken off, so that the rest is read as any endpoint.
HostAndPort split(const std::string& text) {
    const std::size_t last = text.find_last_not_of(PORT_CHARACTERS);
    if (last != std::string::npos && text[last] == ':') {
        const std::string port = text.substr(last + 1);
        if (port.find_first_of("*?") != std::string::npos) {
            return {hostOf(parseEndpoint(text.substr(0, last)), text), port};
        }
    }
    const Endpoint endpoint = parseEndpoint(text);
    return {hostOf(endpoint, text), std::to_string(endpoint.port)};
}

bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

// "192.168.1.*" means a network, not 192.168.1.example.org, which anybody may lead anywhere.
Wildcards::Kind kindOf(const std::string& host) {
    const bool isIpv4 = isDigit(host.front()) && host.find_first_not_of("0123456789.*?") == std::string::npos;
    return isIpv4 ? Wildcards::Kind::Ipv4 : Wildcards::Kind::Target;
}

}  // namespace

// What follows a '%' is the name of an interface of this machine, whose case matters.
Endpoint gatewayOf(const std::string& text) {
    Endpoint gateway = parseEndpoint(text);
    if (!isHost(gateway.host)) {
        throw BadEndpoint(fmt::format("'{}': the host is neither a name nor an address", printable(text)));
    }
    const std::size_t end = std::min(gateway.host.find('%'), gateway.host.size());
    gateway.host.replace(0, end, lower(gateway.host.substr(0, end)));
    return gateway;
}

Wildcards::Wildcards(std::string_view text, Kind kind) {
    const bool isTarget = kind != Kind::Plain;
    const Takes one = takenByOne(kind);
    const Takes all = kind == Kind::Ipv4 ? Takes::DigitsAndDots : Takes::Any;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isAny = isTarget && text.substr(i).starts_with("**");
        if (text[i] == '?' || (text[i] == '*' && isTarget && !isAny)) {
            pieces_.push_back({.what = one});
        }
        if (text[i] == '*') {
            pieces_.push_back({.what = isAny ? all : one, .repeats = true});
        } else if (text[i] != '?') {
            pieces_.push_back({.literal = text[i]});
        }
        i += isAny ? 1 : 0;
    }
}

bool Wildcards::fit(std::string_view text) const {
    std::vector<char> reached(pieces_.size() + 1, 0);  // that so many pieces may be behind
    reached[0] = 1;
    skip(reached);
    return std::all_of(text.begin(), text.end(), [&](char byte) { return step(reached, byte); }) &&
           reached.back() != 0;
}

Wildcards::Takes Wildcards::takenByOne(Kind kind) {
    constexpr std::array taken{Takes::Any, Takes::Part, Takes::Digits};
    return taken.at(static_cast<std::size_t>(kind));
}

bool Wildcards::takes(const Piece& piece, char byte) {
    switch (piece.what) {
        case Takes::Literal:
            return byte == piece.literal;
        case Takes::Part:
            return byte != '.' && byte != ':';
        case Takes::Digits:
            return isDigit(byte);
        case Takes::DigitsAndDots:
            return isDigit(byte) || byte == '.';
        default:
            return true;
    }
}

// From the last piece to the first, so that no piece takes the same byte as the one before it.
bool Wildcards::step(std::vector<char>& reached, char byte) const {
    reached.back() = 0;
    for (std::size_t i = pieces_.size(); i-- > 0;) {
        const bool taken = reached[i] != 0 && takes(pieces_[i], byte);
        reached[i] = taken && pieces_[i].repeats ? 1 : 0;
        reached[i + 1] = taken && !pieces_[i].repeats ? 1 : reached[i + 1];
    }
    skip(reached);
    return std::find(reached.begin(), reached.end(), 1) != reached.end();
}

void Wildcards::skip(std::vector<char>& reached) const {
    for (std::size_t i = 0; i < pieces_.size(); ++i) {
        reached[i + 1] = reached[i] != 0 && pieces_[i].repeats ? 1 : reached[i + 1];
    }
}

Pattern::Pattern(std::string text) : text_(std::move(text)), wildcards_(text_, Wildcards::Kind::Plain) {}

TargetPattern::TargetPattern(const std::string& text)
    : text_(text),
      host_(split(text).host, kindOf(split(text).host)),
      port_(split(text).port, Wildcards::Kind::Target) {}

bool TargetPattern::fits(const Endpoint& target) const {
    return host_.fit(lower(target.host)) && port_.fit(std::to_string(target.port));
}

}  // namespace tools::exporter

// Texts as a terminal may see them: escaping, and the name of the other side.
// Not the place for layout (table.cpp) or for where texts go (console.cpp).
// The protocol that the texts come by is written down in docs/protocol.md.
#include "text.h"

#include <fmt/format.h>

#include <iterator>

namespace zolstat {
namespace {

// Not std::isprint: what that says depends on the locale.
bool isPrintable(unsigned char byte) {
    return byte >= 0x20 && byte <= 0x7e;
}

}  // namespace

std::string printable(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (isPrintable(byte)) {
            text += character;
        } else {
            fmt::format_to(std::back_inserter(text), "\\x{:02X}", byte);
        }
    }
    return text;
}

std::string peerName(const std::string& host, int port) {
    const bool hasColons = host.find(':') != std::string::npos;
    const std::string name = hasColons ? '[' + host + ']' : host;
    return fmt::format("{}:{}", printable(name), port);
}

}  // namespace zolstat

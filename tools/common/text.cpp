// Texts as a terminal may see them: escaping.
// Not the place for layout (table.cpp) or for where texts go (console.cpp).
// The protocol that the texts come by is written down in docs/protocol.md.
#include "text.h"

#include <fmt/format.h>

#include <iterator>

namespace tools {
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

}  // namespace tools

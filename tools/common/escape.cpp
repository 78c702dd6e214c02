// Bytes of a Gateway as text for programs: UTF-8 taken apart, escapes written.
// Not the escapes for people, which need not be undone (text.cpp).
// The protocol that the texts come by is written down in docs/protocol.md.
#include "escape.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace tools {
namespace {

struct Character {
    char32_t code = 0;
    std::size_t length = 0;  // in bytes; 0: the bytes are not UTF-8
};

// How the first byte of a character begins, and the least character that needs so many bytes.
struct Form {
    unsigned char mask;
    unsigned char mark;
    char32_t least;
};
constexpr std::array FORMS{Form{0x80, 0x00, 0}, Form{0xe0, 0xc0, 0x80}, Form{0xf0, 0xe0, 0x800},
                           Form{0xf8, 0xf0, 0x10000}};

struct Range {
    char32_t first;
    char32_t last;
};

// Controls, line ends, and what steers how others are shown without being seen itself. In ascending order.
constexpr std::array INVISIBLE{
    Range{0x0, 0x1f},        Range{0x7f, 0x9f},       Range{0xad, 0xad},       Range{0x600, 0x605},
    Range{0x61c, 0x61c},     Range{0x6dd, 0x6dd},     Range{0x70f, 0x70f},     Range{0x890, 0x891},
    Range{0x8e2, 0x8e2},     Range{0x180e, 0x180e},   Range{0x200b, 0x200f},   Range{0x2028, 0x202e},
    Range{0x2060, 0x206f},   Range{0xfeff, 0xfeff},   Range{0xfff0, 0xfffb},   Range{0xfffe, 0xffff},
    Range{0x110bd, 0x110bd}, Range{0x110cd, 0x110cd}, Range{0x13430, 0x1345f}, Range{0x1bca0, 0x1bca3},
    Range{0x1d173, 0x1d17a}, Range{0xe0000, 0xe0fff},
};

bool isScalar(char32_t code) {
    constexpr Range surrogates{0xd800, 0xdfff};
    return code <= 0x10ffff && (code < surrogates.first || code > surrogates.last);
}

Character decode(std::string_view bytes, std::size_t length) {
    const Form& form = FORMS[length - 1];
    char32_t code = static_cast<unsigned char>(bytes.front()) & static_cast<unsigned char>(~form.mask);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(i < bytes.size() ? bytes[i] : 0);
        if ((next & 0xc0) != 0x80) {
            return {};
        }
        code = code << 6 | (next & 0x3f);
    }
    return code >= form.least && isScalar(code) ? Character{code, length} : Character{};
}

Character firstOf(std::string_view bytes) {
    const auto lead = static_cast<unsigned char>(bytes.front());
    for (std::size_t length = 1; length <= FORMS.size(); ++length) {
        if ((lead & FORMS[length - 1].mask) == FORMS[length - 1].mark) {
            return decode(bytes, length);
        }
    }
    return {};
}

bool isVisible(char32_t code) {
    const auto* const range = std::lower_bound(INVISIBLE.begin(), INVISIBLE.end(), code,
                                               [](const Range& one, char32_t c) { return one.last < c; });
    return range == INVISIBLE.end() || code < range->first;
}

bool belongsTo(Alphabet alphabet, const Character& character) {
    return character.length > 0 && (alphabet == Alphabet::Utf8 || character.length == 1) &&
           isVisible(character.code);
}

}  // namespace

bool isUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = firstOf(bytes).length;
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

std::string escaped(std::string_view bytes, Alphabet alphabet) {
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Character character = firstOf(bytes);
        const std::size_t length = std::max<std::size_t>(character.length, 1);
        if (!belongsTo(alphabet, character)) {
            for (const char byte : bytes.substr(0, length)) {
                fmt::format_to(std::back_inserter(text), "\\x{:02X}", static_cast<unsigned char>(byte));
            }
        } else {
            text += character.code == '\\' ? "\\\\" : bytes.substr(0, length);
        }
        bytes.remove_prefix(length);
    }
    return text;
}

}  // namespace tools

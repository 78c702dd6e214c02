// Byte strings for tests: integers as they travel and as they stand in a result set buffer, and messages of a
// Gateway. Written apart from both the library and the stand-in Gateway, so that a mistake in either shows.
// The wire format is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_BYTES_H
#define ZOLSTATS_TESTS_BYTES_H

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

namespace testing_support {

using Bytes = std::string;

// Bytes from their hexadecimal digits; blanks do not count.
inline Bytes hex(std::string_view digits) {
    Bytes bytes;
    std::string pair;
    for (const char digit : digits) {
        if (digit == ' ' || digit == '\n') {
            continue;
        }
        pair += digit;
        if (pair.size() == 2) {
            bytes += static_cast<char>(std::stoi(pair, nullptr, 16));
            pair.clear();
        }
    }
    return bytes;
}

// The hexadecimal digits of bytes, as a dump shows them.
inline std::string digits(std::string_view bytes) {
    static constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        text += {DIGITS[byte / 16], DIGITS[byte % 16]};
    }
    return text;
}

// Big-endian integers, as on the wire.
inline Bytes word(std::uint32_t value) {
    return {static_cast<char>(value >> 24), static_cast<char>(value >> 16), static_cast<char>(value >> 8),
            static_cast<char>(value)};
}
inline Bytes word(std::int32_t value) {
    return word(static_cast<std::uint32_t>(value));
}
inline Bytes shortWord(unsigned value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

// A text behind its 16-bit length.
inline Bytes item(std::string_view text) {
    return shortWord(static_cast<unsigned>(text.size())).append(text);
}

// An integer in host order, as in a result set buffer, and a text behind such a length.
inline Bytes integer(std::int32_t value) {
    Bytes bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}
inline Bytes counted(std::string_view text) {
    return integer(static_cast<std::int32_t>(text.size())).append(text);
}
inline const Bytes TERMINATOR = integer(0x0E0F0E0F);

struct Header {
    std::string name;
    std::uint32_t type = 1;
    std::int32_t first = 0;   // the word at offset 12
    std::int32_t second = 0;  // the word at offset 16; in a reply the Gateway's return code
    std::uint32_t version = 0x00700000;
    std::uint8_t flag = 0;
};

// A whole message: header and body.
inline Bytes message(const Header& header, std::string_view body) {
    Bytes bytes = "Gate" + word(header.version) + word(header.type) + word(header.first) +
                  word(header.second) + word(static_cast<std::uint32_t>(header.name.size())) + header.name;
    bytes += static_cast<char>(header.flag);
    return (bytes + word(static_cast<std::uint32_t>(body.size()))).append(body);
}

}  // namespace testing_support

#endif

// Big-endian integers and counted texts, written to and read from byte strings.
// Knows no message: which field stands where is told in wire.cpp and calldata.cpp.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_GATEWAY_BYTES_H
#define ZOLSTATS_GATEWAY_BYTES_H

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace gateway {

class Writer {
  public:
    // Big-endian, in as many bytes as the type has.
    template <std::unsigned_integral Integer>
    Writer& integer(Integer value) {
        for (std::size_t shift = sizeof value * 8; shift != 0;) {
            shift -= 8;
            bytes_ += static_cast<char>(value >> shift);
        }
        return *this;
    }
    Writer& byte(std::uint8_t value) { return integer(value); }
    Writer& half(std::uint16_t value) { return integer(value); }
    Writer& word(std::uint32_t value) { return integer(value); }
    Writer& word(std::int32_t value) { return integer(static_cast<std::uint32_t>(value)); }
    Writer& raw(std::string_view value) {
        bytes_.append(value);
        return *this;
    }
    // A text behind its 16-bit length.
    Writer& text(std::string_view value) {
        if (value.size() > std::numeric_limits<std::uint16_t>::max()) {
            throw std::length_error("a text of " + std::to_string(value.size()) +
                                    " bytes has no 16-bit length");
        }
        return half(static_cast<std::uint16_t>(value.size())).raw(value);
    }

    [[nodiscard]] const std::string& bytes() const { return bytes_; }
    std::string take() { return std::move(bytes_); }

  private:
    std::string bytes_;
};

// Reads from the front of bytes that outlive it. What is not there throws Error.
template <class Error>
class Reader {
  public:
    explicit Reader(std::string_view bytes) : rest_(bytes) {}

    std::string_view raw(std::size_t count) {
        if (count > rest_.size()) {
            throw Error(std::to_string(count - rest_.size()) + " bytes are missing");
        }
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return taken;
    }
    template <std::unsigned_integral Integer>
    Integer integer() {
        std::uint64_t value = 0;
        for (const char byte : raw(sizeof(Integer))) {
            value = value << 8 | static_cast<std::uint8_t>(byte);
        }
        return static_cast<Integer>(value);
    }
    std::uint32_t word() { return integer<std::uint32_t>(); }
    std::string_view text() { return raw(integer<std::uint16_t>()); }

    [[nodiscard]] std::size_t left() const { return rest_.size(); }
    void end() const {
        if (!rest_.empty()) {
            throw Error(std::to_string(rest_.size()) + " bytes too many");
        }
    }

  private:
    std::string_view rest_;
};

}  // namespace gateway

#endif

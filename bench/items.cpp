#include "items.h"

#include <charconv>
#include <random>

namespace bench {
namespace {

constexpr std::string_view NAME_PREFIX = "items_";

// The number at the end of a text that is filled up with zeros.
std::string numbered(std::string_view prefix, std::uint64_t number, std::size_t length) {
    const std::string digits = std::to_string(number);
    std::string text(prefix);
    text.append(length - prefix.size() - digits.size(), '0');
    return text + digits;
}

// FNV-1a.
std::uint64_t hashed(std::uint64_t hash, std::string_view text) {
    for (const char character : text) {
        hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3U;
    }
    return hash;
}

}  // namespace

std::vector<Item> makeItems(std::size_t count) {
    constexpr std::uint64_t VALUES = 10'000'000'000;
    std::mt19937_64 generator(count);
    std::vector<Item> items;
    items.reserve(count);
    for (std::size_t number = 0; number < count; ++number) {
        items.push_back(
            {numbered("STAT", number, ID_LENGTH), numbered("", generator() % VALUES, VALUE_LENGTH)});
    }
    return items;
}

std::string nameOf(std::size_t count) {
    return std::string(NAME_PREFIX) + std::to_string(count);
}

std::size_t countOf(std::string_view name) {
    std::size_t count = 0;
    if (name.starts_with(NAME_PREFIX)) {
        name.remove_prefix(NAME_PREFIX.size());
        std::from_chars(name.data(), name.data() + name.size(), count);
    }
    return count;
}

void Digest::add(std::string_view id, std::string_view value) {
    constexpr std::uint64_t OFFSET_BASIS = 0xCBF29CE484222325U;
    ++items;
    sum += hashed(hashed(hashed(OFFSET_BASIS, id), std::string_view("\0", 1)), value);
}

}  // namespace bench

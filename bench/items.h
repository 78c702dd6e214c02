// What every column fetches: named values whose ids and values have the usual sizes, and two sums over them. Knows
// neither a server nor a client.
#ifndef ZOLSTATS_BENCH_ITEMS_H
#define ZOLSTATS_BENCH_ITEMS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

inline constexpr std::size_t ID_LENGTH = 16;
inline constexpr std::size_t VALUE_LENGTH = 10;

struct Item {
    std::string id;
    std::string value;
};

// Always the same items for the same count.
std::vector<Item> makeItems(std::size_t count);

// The name that each server knows so many items by, and the count that a name tells; 0 if it tells none.
std::string nameOf(std::size_t count);
std::size_t countOf(std::string_view name);

// The sum of all bytes of a text, taken as words: next to nothing, but it has to read each byte.
inline std::uint64_t wordSum(std::string_view text) {
    std::uint64_t sum = 0;
    while (!text.empty()) {
        std::uint64_t word = 0;
        if (text.size() >= sizeof word) {
            std::memcpy(&word, text.data(), sizeof word);
            text.remove_prefix(sizeof word);
        } else {
            word = static_cast<unsigned char>(text.front());
            text.remove_prefix(1);
        }
        sum += word;
    }
    return sum;
}

// What a walk has seen, as cheaply as can be: it is part of what is timed. The order of the items does not matter.
struct Checksum {
    std::size_t items = 0;
    std::uint64_t sum = 0;

    void add(std::string_view id, std::string_view value) {
        ++items;
        sum += wordSum(id) + 3 * wordSum(value);
    }
    bool operator==(const Checksum&) const = default;
};

// What a walk has seen, thoroughly: that a value stands behind its own id, too. Never timed.
struct Digest {
    std::size_t items = 0;
    std::uint64_t sum = 0;

    void add(std::string_view id, std::string_view value);
    bool operator==(const Digest&) const = default;
};

template <class Sum>
Sum sumOf(const std::vector<Item>& items) {
    Sum sum;
    for (const Item& item : items) {
        sum.add(item.id, item.value);
    }
    return sum;
}

}  // namespace bench

#endif

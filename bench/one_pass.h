// The ideal that the library's parser and walk are measured against: call data rewritten in one pass into a packed
// buffer, and that buffer walked in place. Written for answers such as the comparison asks for: one response, short
// values. Lengths are held against what is there, as any client must.
// The layout of call data is written down in docs/protocol.md.
#ifndef ZOLSTATS_BENCH_ONE_PASS_H
#define ZOLSTATS_BENCH_ONE_PASS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "requests.h"

namespace bench {

// Items as lengths of 32 bits in host order, each in front of its text: id, value, id, value ...
class PackedItems {
  public:
    // So many bytes behind the call data must be readable, too.
    static constexpr std::size_t READ_AHEAD = 16;

    // Throws std::runtime_error where the call data is not as described.
    void parse(std::string_view callData) {
        Cursor in{callData.data(), callData.data() + callData.size()};
        const std::size_t count = readResponseHead(in);
        makeRoom(callData.size(), count);
        char* out = bytes_.get();
        for (std::size_t item = 0; item < count; ++item) {
            out = copyItem(in, item == 0 ? FIRST_ITEM_HEAD : ITEM_HEAD, out);
        }
        end_ = out;
    }

    // Calls each(id, value).
    template <class Each>
    void walk(Each each) const {
        for (const char* at = bytes_.get(); at != end_;) {
            const std::string_view id = readText(at);
            const std::string_view value = readText(at);
            each(id, value);
        }
    }

  private:
    struct Cursor {
        const char* at;
        const char* end;

        [[nodiscard]] std::size_t left() const { return static_cast<std::size_t>(end - at); }

        const char* take(std::size_t count) {
            if (left() < count) {
                throw std::runtime_error("the call data ends early");
            }
            const char* taken = at;
            at += count;
            return taken;
        }
        std::size_t takeLength() { return loadLength(take(2)); }
    };

    // Behind an object's mark: a class descriptor, or a reference to it. Then a block of data, which a mark ends.
    static constexpr std::size_t CLASS_NAME_LENGTH = sizeof "com.velmor.zol.stats.Statistic" - 1;
    static constexpr std::size_t FIRST_ITEM_HEAD = 1 + 1 + 2 + CLASS_NAME_LENGTH + 8 + 5;
    static constexpr std::size_t ITEM_HEAD = 1 + 5;
    static constexpr char SHORT_BLOCK = 0x77;
    // Of an item: its two lengths.
    static constexpr std::size_t LARGEST_GROWTH = 2 * (sizeof(std::uint32_t) - sizeof(std::uint16_t));

    static std::size_t loadLength(const char* at) {
        return std::size_t{static_cast<unsigned char>(at[0])} << 8 | static_cast<unsigned char>(at[1]);
    }

    // Up to the items; gives how many there are.
    static std::size_t readResponseHead(Cursor& in) {
        in.take(1 + 6);
        in.take(in.takeLength() + 13);
        in.take(in.takeLength() + 13);
        in.take(*in.take(1) == SHORT_BLOCK ? 1 : 4);
        in.take(in.takeLength() + 4);
        const std::size_t count = loadWord(in.take(4));
        if (count > in.left() / ITEM_HEAD) {
            throw std::runtime_error("more items than there is room for");
        }
        return count;
    }

    static char* copyItem(Cursor& in, std::size_t head, char* out) {
        const std::size_t left = in.left();
        const char* block = in.at + head;
        if (left < head + 2 || block[0] != SHORT_BLOCK) {
            throw std::runtime_error("no short value where one should be");
        }
        const std::size_t length = static_cast<unsigned char>(block[1]);
        const char* texts = block + 2;
        const std::size_t idLength = loadLength(texts);
        if (left < head + 2 + length + 1 || length < idLength + 4) {
            throw std::runtime_error("a value that does not end");
        }
        in.at = texts + length + 1;
        out = writeText(out, texts + 2, idLength);
        return writeText(out, texts + 4 + idLength, length - 4 - idLength);
    }

    static char* writeText(char* out, const char* text, std::size_t length) {
        const auto stored = static_cast<std::uint32_t>(length);
        std::memcpy(out, &stored, sizeof stored);
        copyInChunks(out + sizeof stored, text, length);
        return out + sizeof stored + length;
    }

    // Copies more than there is, where both sides have room for it: a call of memcpy() would take longer than all else.
    static void copyInChunks(char* to, const char* from, std::size_t length) {
        for (std::size_t copied = 0; copied < length; copied += READ_AHEAD) {
            std::memcpy(to + copied, from + copied, READ_AHEAD);
        }
    }

    static std::string_view readText(const char*& at) {
        std::uint32_t length = 0;
        std::memcpy(&length, at, sizeof length);
        const std::string_view text(at + sizeof length, length);
        at += sizeof length + length;
        return text;
    }

    void makeRoom(std::size_t callDataLength, std::size_t count) {
        const std::size_t most = callDataLength + count * LARGEST_GROWTH + READ_AHEAD;
        if (most > capacity_) {
            bytes_ = std::make_unique_for_overwrite<char[]>(most);
            capacity_ = most;
        }
    }

    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = 0;
    const char* end_ = nullptr;
};

}  // namespace bench

#endif

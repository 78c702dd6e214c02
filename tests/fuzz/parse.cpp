// Fuzz target: both parsers on arbitrary call data, held against a second reading of the protocol.
// Not how call data reaches a parser (see session.cpp), nor the walk of what no parser wrote (result_set.cpp).
// The layout of call data is written down in docs/protocol.md.
//
// Input: one byte of options, then the call data.
//     bit 0     0: statistics, 1: ids
//     bits 1-3  the buffer's capacity at the start, an index of CAPACITIES
//     bit 4     trace everything
#include <cstring>
#include <string>

#include "sets.h"
#include "stapi_zol_resultsetbuffer.h"
#include "stapi_zol_statcomms.h"
#include "support/bytes.h"
#include "support/message_buffer.h"
#include "trace.h"

namespace {

using testing_support::Bytes;
using testing_support::integer;
using testing_support::TERMINATOR;

// A set's header has room in every buffer. Then sizes around its terminator and around the end of small sets;
// the last is that of a new connection.
constexpr int CAPACITIES[] = {12, 13, 15, 16, 20, 100, 1024, 32768};

// ---- What a set must hold, from a reading of the call data that is written apart from the library's

struct Malformed {};

class Expected {
  public:
    Expected(std::string_view callData, bool stats) : rest_(callData), stats_(stats) {}

    // The whole set. Throws Malformed.
    Bytes set() {
        const std::int32_t responses = read(1) == 1 ? readWord() : 1;
        set_ = (stats_ ? "ZOLSTSET" : "ZOLIDSET") + integer(responses);
        for (std::int32_t index = 0; index < responses; ++index) {
            response();
        }
        return set_ + TERMINATOR;
    }

  private:
    // Bytes that nobody looks at may be missing at the end.
    void skip(std::size_t count) {
        missing_ = missing_ || count > rest_.size();
        rest_.remove_prefix(std::min(count, rest_.size()));
    }
    std::string_view take(std::size_t count) {
        if (missing_ || count > rest_.size()) {
            throw Malformed{};
        }
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return taken;
    }
    std::uint32_t read(std::size_t count) {
        std::uint32_t value = 0;
        for (const char byte : take(count)) {
            value = value << 8 | static_cast<std::uint8_t>(byte);
        }
        return value;
    }
    std::int32_t readWord() { return static_cast<std::int32_t>(read(4)); }
    std::size_t readLength() {
        const std::uint32_t length = read(2);
        return length < 32768 ? length : throw Malformed{};
    }
    int marker() const { return missing_ || rest_.empty() ? -1 : static_cast<std::uint8_t>(rest_.front()); }

    std::size_t addLength() {
        const std::size_t length = readLength();
        set_ += integer(static_cast<std::int32_t>(length));
        return length;
    }
    std::int32_t addWord() {
        const std::int32_t value = readWord();
        set_ += integer(value);
        return value;
    }
    void addBytes(std::size_t count) { set_ += take(count); }

    void response() {
        skip(6);
        skip(readLength() + 13);
        skip(readLength() + 13);
        skip(read(1) == 0x77 ? 1 : 4);
        addBytes(addLength());
        if (addWord() < 0) {
            skip(1);
            return;
        }
        const std::int32_t count = addWord();
        stats_ ? statistics(count) : ids(count);
    }

    void ids(std::int32_t count) {
        for (std::int32_t item = 0; item < count; ++item) {
            addBytes(addLength());
        }
        skip(1);
    }

    void statistics(std::int32_t count) {
        if (count <= 0 && (missing_ || rest_.size() < 4)) {
            return;
        }
        skip(2);
        skip(readLength() + 8);
        for (std::int32_t item = 0; item < count; ++item) {
            statistic();
        }
    }

    void statistic() {
        skip(5);
        const bool isLong = read(1) == 0x7A;
        skip(isLong ? 2 : 1);
        const std::size_t block = isLong ? readLength() : 0;
        const std::size_t idLength = addLength();
        addBytes(idLength);
        const std::size_t dataLength = addLength();
        if (isLong && block < 4 + idLength) {
            throw Malformed{};
        }
        const std::size_t here = isLong ? std::min(dataLength, block - 4 - idLength) : dataLength;
        addBytes(here);
        if (here < dataLength) {
            furtherBlocks(static_cast<std::int64_t>(dataLength - here));
        }
        skip(2);
    }

    // A block is added whole even where less remains.
    void furtherBlocks(std::int64_t remaining) {
        while (remaining > 0 && marker() == 0x7A) {
            skip(3);
            const std::size_t count = readLength();
            addBytes(count);
            remaining -= static_cast<std::int64_t>(count);
        }
        if (marker() == 0x77) {
            while (remaining > 0) {
                skip(1);
                const std::size_t count = read(1);
                addBytes(count);
                remaining -= static_cast<std::int64_t>(count);
            }
        }
        if (remaining > 0 && marker() < 0) {
            throw Malformed{};
        }
    }

    std::string_view rest_;
    bool stats_;
    bool missing_ = false;  // bytes that were skipped: nothing can be read any more
    Bytes set_;
};

struct Outcome {
    int rc;
    Bytes set;
};

// Malformed call data leaves an empty set.
Outcome expect(std::string_view callData, bool stats) {
    try {
        return {0, Expected(callData, stats).set()};
    } catch (const Malformed&) {
        return {ZOLSTATS_EXCHANGE_FAILED, (stats ? "ZOLSTSET" : "ZOLIDSET") + integer(0) + TERMINATOR};
    }
}

// ---- The run

// A parser's buffer, which has nothing behind its capacity; and its token, for the walk.
struct ParsedSet {
    explicit ParsedSet(int startCapacity)
        : capacity(startCapacity), buffer(Bytes(static_cast<std::size_t>(startCapacity), '?')) {}

    int parse(const Bytes& callData, bool stats) {
        const testing_support::MessageBuffer input(callData);  // it ends where the call data does
        const auto parser = stats ? static_cast<Parser>(zolstats::parseStatsData) : zolstats::parseIdsData;
        return parser(input.data, static_cast<int>(callData.size()), &buffer.data, &capacity);
    }

    ResultSetToken token() {
        ResultSetToken token{};
        token.owner = zolstats::OWNER_USER;
        token.head = token.next = buffer.data;
        token.resultSetBufferLen = capacity;
        return token;
    }

    int capacity;
    testing_support::MessageBuffer buffer;

  private:
    using Parser = int (*)(const unsigned char*, int, unsigned char**, int*);
};

// The smallest doubling of the start that holds the set. Malformed data may have needed more before.
void checkCapacity(int start, const ParsedSet& parsed, const Outcome& expected) {
    int enough = start;
    while (static_cast<std::size_t>(enough) < expected.set.size()) {
        enough *= 2;
    }
    fuzz::require(parsed.capacity >= enough, "the set and its terminator are within the capacity");
    fuzz::require(expected.rc != 0 || parsed.capacity == enough, "the buffer grows no more than it must");
}

void walkAll(ParsedSet& parsed, bool stats, int rc) {
    ResultSetToken token = parsed.token();
    const std::size_t limit = static_cast<std::size_t>(parsed.capacity) / 4;
    const fuzz::Items items = fuzz::itemsOf(&token, stats, limit);
    fuzz::require(rc == 0 || items.empty(), "a failed parse leaves an empty set");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned options = input.byte();
    const bool stats = (options & 1) == 0;
    const int capacity = CAPACITIES[options >> 1 & 7];
    const Bytes callData(input.rest());
    fuzz::traceEverything((options & 16) != 0);

    const Outcome expected = expect(callData, stats);
    ParsedSet parsed(capacity);
    fuzz::require(parsed.parse(callData, stats) == expected.rc, "the code is that of the second reading");
    fuzz::require(parsed.buffer.data != nullptr, "the buffer is there");
    checkCapacity(capacity, parsed, expected);
    fuzz::require(parsed.buffer.bytes(expected.set.size()) == expected.set, "the set is as it should be");
    walkAll(parsed, stats, expected.rc);
    return 0;
}

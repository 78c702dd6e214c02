// Fuzz target: walks, copies, id queries and dumps of a result set with arbitrary bytes in its buffer.
// No parser wrote them and no Gateway sent them; parse.cpp and session.cpp have those.
// The layout of a buffer is told in stapi_zol_resultsetbuffer.h.
//
// Input: one byte of options, then the bytes of the buffer.
//     bits 0-1  put before them: 1: "ZOLSTSET", 2: "ZOLIDSET", otherwise nothing
//     bit 2     put a terminator behind them
//     bit 3     the set belongs to a connection, otherwise it is a copy
//     bit 4     trace everything
#include <cstring>
#include <string>

#include "sets.h"
#include "support/hand_made_set.h"
#include "trace.h"

namespace {

using fuzz::Item;
using fuzz::Items;
using fuzz::require;
using testing_support::Bytes;
using testing_support::HandMadeSet;
using testing_support::TERMINATOR;

constexpr std::size_t HEADER_LENGTH = 12;
constexpr std::size_t SLACK = 16;  // of every buffer, for the last line of a dump
constexpr std::size_t ID_QUERY_LIMIT = 31999;

enum class Kind { Stats, Ids, Neither };

Kind kindOf(std::string_view bytes) {
    if (bytes.starts_with("ZOLSTSET")) {
        return Kind::Stats;
    }
    return bytes.starts_with("ZOLIDSET") ? Kind::Ids : Kind::Neither;
}

// ---- What a walk must give, from a reading of the buffer that is written apart from the library's

struct EndOfBuffer {};

class Expected {
  public:
    Expected(std::string_view buffer, Kind kind)
        : rest_(buffer.substr(std::min(buffer.size(), HEADER_LENGTH))), kind_(kind) {
        const bool hasElements = buffer.size() >= HEADER_LENGTH && buffer.substr(8, 4) != TERMINATOR;
        try {
            while (hasElements && !atEnd()) {
                readElement();
            }
            endsProperly = buffer.size() >= HEADER_LENGTH;
        } catch (const EndOfBuffer&) {
            endsProperly = false;
        }
    }

    Items items;
    bool endsProperly;  // at a terminator, not at the end of the capacity

  private:
    [[nodiscard]] bool atEnd() const {
        return rest_.size() < 4 ? throw EndOfBuffer{} : rest_.starts_with(TERMINATOR);
    }
    std::string_view take(std::size_t count) {
        if (count > rest_.size()) {
            throw EndOfBuffer{};
        }
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return taken;
    }
    std::int32_t integer() {
        std::int32_t value = 0;
        std::memcpy(&value, take(sizeof value).data(), sizeof value);
        return value;
    }
    std::string text() {
        const std::int32_t length = integer();
        return std::string(length < 0 ? throw EndOfBuffer{} : take(static_cast<std::size_t>(length)));
    }

    // There is one item at least, even if none is announced.
    void readElement() {
        const Item element{text(), integer()};
        if (element.code < 0) {
            items.push_back(element);
            return;
        }
        const std::int32_t count = integer();
        readItem(element);
        for (std::int32_t index = 1; index < count && !atEnd(); ++index) {
            readItem(element);
        }
    }
    void readItem(Item item) {
        item.id = text();
        item.data = kind_ == Kind::Stats ? text() : "";
        items.push_back(std::move(item));
    }

    std::string_view rest_;
    Kind kind_;
};

// The ids of the elements with code 0, as far as they fit.
std::string idQueryOf(const Items& items) {
    std::string query;
    bool first = true;
    for (const Item& item : items) {
        if (item.code == 0 && query.size() + item.id.size() < ID_QUERY_LIMIT) {
            query += (first ? "" : ":") + item.id;
            first = false;
        }
    }
    return query;
}

// ---- The run

Items itemsOf(ResultSetToken* set, Kind kind, std::size_t size) {
    return fuzz::itemsOf(set, kind == Kind::Stats, size / 4);
}

Items itemsWithoutFirst(ResultSetToken* set, Kind kind, std::size_t size) {
    set->queryIndex = 0;
    return fuzz::itemsWithoutFirst(set, kind == Kind::Stats, size / 4);
}

void checkKinds(ResultSetToken* set, Kind kind) {
    const int wrong = set->head == nullptr ? ZOLSTATS_NO_BUFFER : ZOLSTATS_WRONG_CONTENT;
    StatData stat{};
    IdData id{};
    require(kind == Kind::Stats || getFirstStat(set, &stat) == wrong, "only statistics are statistics");
    require(kind == Kind::Stats || getNextStat(set, &stat) == wrong, "only statistics are statistics");
    require(kind == Kind::Ids || getFirstId(set, &id) == wrong, "only ids are ids");
    require(kind == Kind::Ids || getNextId(set, &id) == wrong, "only ids are ids");
}

void checkNeither(ResultSetToken* set) {
    const int wrong = set->head == nullptr ? ZOLSTATS_NO_BUFFER : ZOLSTATS_WRONG_CONTENT;
    ResultSetToken* copy = nullptr;
    char* query = nullptr;
    require(copyResultSet(set, &copy) == wrong && copy == nullptr, "what is no set is not copied");
    require(getIdQuery(set, &query) == wrong && query == nullptr, "what is no set has no ids");
    require(dumpResultSet(set) == wrong, "what is no set is not dumped");
}

void checkWalks(ResultSetToken* set, Kind kind, std::size_t size, const Expected& expected) {
    require(itemsOf(set, kind, size) == expected.items, "a walk gives the items of the buffer");
    require(itemsWithoutFirst(set, kind, size) == expected.items, "a walk may begin with a next call");
    if (expected.endsProperly) {
        set->resultSetBufferLen = 0;
        require(itemsOf(set, kind, size) == expected.items, "a good buffer needs no stated capacity");
        set->resultSetBufferLen = static_cast<std::int32_t>(size);
    }
}

void checkCopy(ResultSetToken* set, Kind kind, std::string_view bytes, const Expected& expected) {
    ResultSetToken* copy = nullptr;
    require(copyResultSet(set, &copy) == 0, "a set is copied");
    require(std::memcmp(copy->head, bytes.data(), bytes.size()) == 0, "the whole capacity is copied");
    require(itemsOf(copy, kind, bytes.size()) == expected.items, "a copy has the items of its source");
    require(freeResultSet(&copy) == 0 && copy == nullptr, "a copy is freed");
}

void checkIdQuery(ResultSetToken* set, const Items& items) {
    const std::string expected = idQueryOf(items);
    char* query = nullptr;
    const int rc = getIdQuery(set, &query);
    require(rc == (expected.empty() ? ZOLSTATS_NO_IDS : ZOLSTATS_OK), "an id query needs ids");
    require(rc != 0 || std::string(query, expected.size() + 1) == expected + '\0',
            "an id query lists the ids");
}

// A dump may look at the slack as well.
void dump(std::string_view bytes, Kind kind) {
    if (bytes.empty()) {
        return;  // no capacity is stated, so the buffer would have to be a good one
    }
    HandMadeSet set(Bytes(bytes).append(SLACK, '\0'));
    set->resultSetBufferLen = static_cast<std::int32_t>(bytes.size());
    const int rc = kind == Kind::Neither ? ZOLSTATS_WRONG_CONTENT : ZOLSTATS_OK;
    require(dumpResultSet(set.token()) == rc, "a set is dumped");
    require(dumpResultSetInternal(set.token()) == 0, "any buffer is dumped");
}

Bytes bufferOf(unsigned options, std::string_view content) {
    constexpr std::string_view BEGINNINGS[] = {"", "ZOLSTSET", "ZOLIDSET", ""};
    return Bytes(BEGINNINGS[options & 3]).append(content).append((options & 4) != 0 ? TERMINATOR : "");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned options = input.byte();
    const Bytes bytes = bufferOf(options, input.rest());
    const Kind kind = kindOf(bytes);
    fuzz::traceEverything((options & 16) != 0);

    HandMadeSet set(bytes);
    if ((options & 8) != 0) {
        set.belongToAConnection();
    }
    checkKinds(set.token(), kind);
    if (kind == Kind::Neither) {
        checkNeither(set.token());
    } else {
        const Expected expected(bytes, kind);
        checkWalks(set.token(), kind, bytes.size(), expected);
        checkCopy(set.token(), kind, bytes, expected);
        checkIdQuery(set.token(), expected.items);
    }
    dump(bytes, kind);
    return 0;
}

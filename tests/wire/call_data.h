// Call data as a Gateway sends it, put together piece by piece, and the parsers of the library run on it.
// Written apart from the stand-in Gateway's encoder, and able to build what a sane Gateway never sends.
// The layout is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_CALL_DATA_H
#define ZOLSTATS_TESTS_CALL_DATA_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <string_view>
#include <vector>

#include "stapi_zol_statcomms.h"
#include "support/bytes.h"
#include "support/hand_made_set.h"
#include "support/message_buffer.h"

namespace testing_support {

// ---- Java object streams

inline Bytes shortBlock(std::string_view content) {
    return hex("77") + static_cast<char>(content.size()) + Bytes(content);
}
inline Bytes longBlock(std::string_view content) {
    return hex("7A") + word(static_cast<std::uint32_t>(content.size())) + Bytes(content);
}

// A class and its superclass, up to the block marker.
inline Bytes objectHead(std::string_view className = "com.example.Answer",
                        std::string_view superName = "Base") {
    return hex("ACED0005 7372") + item(className) + hex("0102030405060708 0C 0000 78 72") + item(superName) +
           hex("1112131415161718 0C 0000 78 70");
}

// ---- Responses

inline Bytes oneResponse(std::string_view response) {
    return hex("00") + Bytes(response);
}
inline Bytes responses(const std::vector<Bytes>& each) {
    return hex("01") + word(static_cast<std::uint32_t>(each.size())) + joined(each);
}

inline Bytes rejection(std::string_view query, std::int32_t code) {
    return objectHead() + shortBlock(item(query) + word(code)) + hex("78");
}

inline Bytes idItems(const std::vector<Bytes>& ids) {
    Bytes items;
    for (const Bytes& id : ids) {
        items += item(id);
    }
    return items;
}
// Ids are one block however long it is.
inline Bytes idsResponse(std::string_view query, std::int32_t code, const std::vector<Bytes>& ids) {
    const Bytes content =
        item(query) + word(code) + word(static_cast<std::uint32_t>(ids.size())) + idItems(ids);
    return objectHead() + (content.size() < 256 ? shortBlock(content) : longBlock(content)) + hex("78");
}

// What stands between the item count and the first statistic's mark.
inline Bytes statisticClass(std::string_view className = "com.example.Statistic") {
    return hex("7372") + item(className) + hex("2122232425262728");
}

inline Bytes statsHead(std::string_view query, std::int32_t code, std::int32_t count) {
    return objectHead() + shortBlock(item(query) + word(code) + word(count));
}

// Each statistic is given by its blocks.
inline Bytes statsResponse(std::string_view query, std::int32_t code, const std::vector<Bytes>& statistics) {
    Bytes bytes = statsHead(query, code, static_cast<std::int32_t>(statistics.size())) + statisticClass();
    Bytes mark = hex("0C 0000 78 70");
    for (const Bytes& blocks : statistics) {
        bytes += mark + blocks;
        mark = hex("78 73  71 007E0004");
    }
    return bytes + hex("78 78");
}

inline Bytes statistic(std::string_view id, std::string_view data) {
    return shortBlock(item(id) + item(data));
}
// The first of several blocks: the length is that of all the data, of which the beginning is here.
inline Bytes firstBlock(std::string_view id, unsigned dataLength, std::string_view beginning) {
    return longBlock(item(id) + shortWord(dataLength) + Bytes(beginning));
}

// ---- Parsing

// A buffer of the given capacity and nothing beyond it, and the parsers that fill it.
class ParserTest : public testing::Test {
  protected:
    void useCapacity(int bytes) {
        capacity = bytes;
        buffer.hold(Bytes(static_cast<std::size_t>(bytes), '?'));
    }

    // Call data in memory that ends exactly where it does.
    int parseStats(const Bytes& callData) {
        const MessageBuffer input(callData);
        return zolstats::parseStatsData(input.data, static_cast<int>(callData.size()), &buffer.data,
                                        &capacity);
    }
    int parseIds(const Bytes& callData) {
        const MessageBuffer input(callData);
        return zolstats::parseIdsData(input.data, static_cast<int>(callData.size()), &buffer.data, &capacity);
    }

    // The bytes from the start of the buffer on, as many as are expected there.
    [[nodiscard]] Bytes set(const Bytes& expected) const { return buffer.bytes(expected.size()); }

    int capacity = 32768;
    MessageBuffer buffer{Bytes(32768, '?')};
};

}  // namespace testing_support

#endif

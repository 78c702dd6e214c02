// Replies of tens of megabytes: all that was sent is there, in order, and the library holds no more memory
// for it than it must. Memory is counted where the library asks for it rather than read from the system,
// since the Gateway is in the same process and the count is the same on every machine. How a set is walked is
// tested in api/api_result_set_test.cpp. The layout of a reply is written down in docs/protocol.md.
#include <string_view>

#include "api/client.h"
#include "library_memory.h"
#include "stapi_zol_resultsetbuffer.h"

namespace {

using namespace api;
using limits::LibraryMemory;

constexpr int MILLION = 1'000'000;
constexpr int THOUSAND = 1'000;
constexpr std::size_t LONGEST = 32767;  // bytes of an item

// No two items are alike, and a piece of one that is lost, doubled or out of place shows: the pattern repeats
// after a number of bytes that no block's length is a multiple of.
std::string patternFrom(std::size_t start, std::size_t length) {
    static const std::string pattern = [] {
        std::string bytes(LONGEST + 251, '\0');
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            bytes[at] = static_cast<char>(at % 251);
        }
        return bytes;
    }();
    return pattern.substr(start % 251, length);
}

std::string shortText(int number) {
    return std::to_string(number);
}
std::string longText(int number) {
    const std::string head = std::to_string(number) + ":";
    return head + patternFrom(static_cast<std::size_t>(number), LONGEST - head.size());
}

std::string_view view(const unsigned char* bytes, int length) {
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)};
}

// The number of the first item that is not as it should be; how many there are when all are.
template <class Record, class Check>
int firstWrong(ResultSetToken* set, int (*first)(ResultSetToken*, Record*),
               int (*next)(ResultSetToken*, Record*), Check isRight) {
    Record record{};
    int number = 0;
    int rc = first(set, &record);
    while (rc == 0 && isRight(number, record)) {
        ++number;
        rc = next(set, &record);
    }
    return number;
}

struct Large {
    const char* name;
    int count;
    std::string (*text)(int number);
    std::string (*encode)(const Large&);
    int (*ask)(void*, ResultSetToken**);
    int (*rightItems)(const Large&, ResultSetToken*);

    friend void PrintTo(const Large& large, std::ostream* out) { *out << large.name; }
};

std::string idOf(int number) {
    return "S" + std::to_string(number);
}

std::string encodedStats(const Large& large) {
    gateway::StatsResponse response{"Q", 0, {}};
    for (int number = 0; number < large.count; ++number) {
        response.statistics.push_back({idOf(number), large.text(number)});
    }
    return gateway::encodeStats({response});
}
std::string encodedIds(const Large& large) {
    gateway::IdsResponse response{"Q", 0, {}};
    for (int number = 0; number < large.count; ++number) {
        response.ids.push_back(large.text(number));
    }
    return gateway::encodeIds({response});
}

int rightStats(const Large& large, ResultSetToken* set) {
    return firstWrong<StatData>(set, getFirstStat, getNextStat, [&](int number, const StatData& stat) {
        return stat.queryElementRC == 0 && view(stat.statId, stat.statIdLen) == idOf(number) &&
               view(stat.statData, stat.statDataLen) == large.text(number);
    });
}
int rightIds(const Large& large, ResultSetToken* set) {
    return firstWrong<IdData>(set, getFirstId, getNextId, [&](int number, const IdData& id) {
        return id.queryElementRC == 0 && view(id.id, id.idLen) == large.text(number);
    });
}

const Large REPLIES[] = {
    {"AMillionShortStatistics", MILLION, shortText, encodedStats, getStats, rightStats},
    {"AThousandStatisticsOf32767Bytes", THOUSAND, longText, encodedStats, getStats, rightStats},
    {"AMillionShortIds", MILLION, shortText, encodedIds, getStatIds, rightIds},
    {"AThousandIdsOf32767Bytes", THOUSAND, longText, encodedIds, getStatIds, rightIds},
};

class LargeReply : public Connected, public testing::WithParamInterface<Large> {
  protected:
    LargeReply() : callData_(GetParam().encode(GetParam())) { gateway_.answerQueriesWith(callData_); }

    ResultSetToken* ask() {
        EXPECT_EQ(GetParam().ask(token_, &set_), 0);
        return set_;
    }
    static int rightItems(ResultSetToken* set) { return GetParam().rightItems(GetParam(), set); }
    [[nodiscard]] std::int64_t replyBytes() const { return static_cast<std::int64_t>(callData_.size()); }
    [[nodiscard]] std::int64_t bufferBytes() const { return set_->resultSetBufferLen; }

    // Up to the end of the terminator.
    std::int64_t setBytes() {
        while (nextItem(set_) == 0) {
        }
        return set_->next - set_->head + 4;
    }
    static int nextItem(ResultSetToken* set) {
        StatData stat{};
        IdData id{};
        return GetParam().ask == getStats ? getNextStat(set, &stat) : getNextId(set, &id);
    }

    // The payload is taken out of the whole message before that is freed. Then the buffer grows: it is less
    // than twice as large as the set, and while it is doubled the smaller one may still be there.
    static constexpr std::int64_t MESSAGE_AND_PAYLOAD = 2;
    // Requests, tokens and what the allocator adds.
    static constexpr std::int64_t SMALL_THINGS = 64 * 1024;
    const std::string callData_;
};

INSTANTIATE_TEST_SUITE_P(Of, LargeReply, testing::ValuesIn(REPLIES),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(LargeReply, IsThereWithEveryItem) {
    EXPECT_EQ(rightItems(ask()), GetParam().count);
    EXPECT_EQ(nextItem(set_), ZOLSTATS_NO_MORE_ITEMS);
}

TEST_P(LargeReply, KeepsWithinItsMemoryAndGivesItBack) {
    closeGatewayConnection(&token_);
    LibraryMemory memory;
    ASSERT_EQ(open(), 0);
    ask();
    EXPECT_GE(memory.highestBytes(), MESSAGE_AND_PAYLOAD * replyBytes()) << "it is counted";
    EXPECT_LE(memory.highestBytes(), replyBytes() * 5 / 2 + bufferBytes());
    EXPECT_LT(bufferBytes(), 2 * setBytes());

    memory.forgetHighest();
    const std::int64_t bufferIsThere = memory.heldBytes();
    ask();
    EXPECT_LE(memory.highestBytes(), MESSAGE_AND_PAYLOAD * replyBytes() + bufferIsThere + SMALL_THINGS);

    EXPECT_EQ(closeGatewayConnection(&token_), 0);
    EXPECT_EQ(memory.heldBytes(), 0);
}

class LargeCopy : public LargeReply {};
INSTANTIATE_TEST_SUITE_P(Of, LargeCopy, testing::Values(REPLIES[1]),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(LargeCopy, HasEveryByteAndOutlivesItsConnection) {
    const Copy copy = copyOf(ask());
    EXPECT_TRUE(view(copy->head, copy->resultSetBufferLen) == view(set_->head, set_->resultSetBufferLen));
    closeGatewayConnection(&token_);
    EXPECT_EQ(nextItem(copy.get()), 0);
}

}  // namespace

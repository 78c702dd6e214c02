// Answers that need more memory than there is, or than a length can count: the library says so, loses
// nothing, and never asks for a size that has wrapped around. No such amount is really taken here; what the
// allocator is asked for is looked at instead. How the buffer grows within its limits is tested in
// wire/call_data_limits_test.cpp. The layout of replies is written down in docs/protocol.md.
#include <climits>

#include "api/client.h"
#include "library_memory.h"
#include "stapi_zol_statcomms.h"
#include "support/trace_capture.h"
#include "wire/call_data.h"

namespace {

using namespace api;
using limits::LibraryMemory;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t MEGABYTE = std::size_t{1} << 20;
constexpr int LARGEST_DOUBLED = 0x3FFFFFFF;  // twice this still is a length
constexpr std::size_t SLACK = 16;            // bytes behind each buffer, for a dump's last line

// ---- The buffer's growth

class Doubling : public testing::Test {
  protected:
    // Doubles a buffer that is said to have this capacity, where no memory is to be had.
    int doubled(int capacityBytes) {
        buffer_.hold(testing_support::Bytes(64, '?'));
        capacity_ = capacityBytes;
        return reallocResultsSetBuffer(&buffer_.data, &capacity_, &cursor_, 12);
    }

    const LibraryMemory memory_{MEGABYTE};
    testing_support::MessageBuffer buffer_{testing_support::Bytes(64, '?')};
    int capacity_ = 0;
    unsigned char* cursor_ = nullptr;
};

TEST_F(Doubling, AsksForAllOfTheLargestBufferThatALengthCanCount) {
    EXPECT_EQ(doubled(LARGEST_DOUBLED), ZOLSTATS_NO_MEMORY);
    EXPECT_THAT(memory_.refused(), ElementsAre(std::size_t{0x7FFFFFFE} + SLACK));
    EXPECT_EQ(buffer_.data, nullptr);
}

TEST_F(Doubling, AsksForNothingBeyondThat) {
    for (const int capacityBytes : {LARGEST_DOUBLED + 1, INT_MAX - 1, INT_MAX}) {
        EXPECT_EQ(doubled(capacityBytes), ZOLSTATS_NO_MEMORY) << capacityBytes;
        EXPECT_EQ(buffer_.data, nullptr);
        EXPECT_EQ(capacity_, capacityBytes);
    }
    EXPECT_THAT(memory_.refused(), IsEmpty());
}

// ---- Parsing into a buffer of any capacity

class CapacityNearTheLimit : public testing_support::ParserTest, public testing::WithParamInterface<int> {
  protected:
    // Only the stated capacity is large.
    void stateCapacity() { capacity = GetParam(); }
};

INSTANTIATE_TEST_SUITE_P(Of, CapacityNearTheLimit,
                         testing::Values(LARGEST_DOUBLED, LARGEST_DOUBLED + 1, INT_MAX - 3, INT_MAX),
                         [](const auto& instance) { return std::to_string(instance.param); });

TEST_P(CapacityNearTheLimit, TakesStatisticsWithoutGrowing) {
    using namespace testing_support;
    stateCapacity();
    ASSERT_EQ(parseStats(oneResponse(statsResponse("q", 0, {statistic("A", "1")}))), 0);
    const Bytes expected = statsSet({answered("q", 0, {statItem("A", "1")})});
    EXPECT_EQ(set(expected), expected);
    EXPECT_EQ(capacity, GetParam());
}

TEST_P(CapacityNearTheLimit, TakesIdsWithoutGrowing) {
    using namespace testing_support;
    stateCapacity();
    ASSERT_EQ(parseIds(oneResponse(idsResponse("q", 0, {"A", "B"}))), 0);
    const Bytes expected = idsSet({answered("q", 0, {idItem("A"), idItem("B")})});
    EXPECT_EQ(set(expected), expected);
    EXPECT_EQ(capacity, GetParam());
}

using ParserWithoutMemory = testing_support::ParserTest;

// A value of three blocks, of which the first has room.
TEST_F(ParserWithoutMemory, GoesOnToNoFurtherBlock) {
    using namespace testing_support;
    useCapacity(1024);
    const Bytes part(600, 'd');
    const Bytes callData =
        oneResponse(statsResponse("q", 0, {firstBlock("A", 1800, part) + longBlock(part) + longBlock(part)}));
    const TraceCapture trace(ZOLSTATS_TRACE_DATA);
    const LibraryMemory memory(2048);
    EXPECT_EQ(parseStats(callData), ZOLSTATS_NO_MEMORY);
    EXPECT_THAT(trace.lines(2235), testing::SizeIs(1));
}

// ---- Over a connection

// Replies that have room while the set made of them has not, asked for by two queries: they differ in what
// becomes of the connection when they fail.
class BeyondMemory : public Connected {
  protected:
    void answerTooMuch() {
        gateway_.answerQueries([](const gateway::Request& request, const gateway::Reply&) {
            const bool stats = gateway::decodeAdmin(request.body).member == "GET_STATS";
            const std::string callData =
                stats ? gateway::encodeStats({{"Q", 0, std::vector(10'000, gateway::Statistic{"S", FILL})}})
                      : gateway::encodeIds({{"Q", 0, std::vector(10'000, FILL)}});
            return gateway::Reply{
                gateway::encodeReply(request, 0, gateway::adminReplyBody(5, 0, 0, callData))};
        });
    }
    // A reply that announces a body of so many bytes and sends none.
    void announce(std::uint32_t bodyBytes) {
        gateway_.answerQueries([bodyBytes](const gateway::Request& request, const gateway::Reply&) {
            std::string header = gateway::encodeReply(request, 0, "");
            for (std::size_t at = 0; at < 4; ++at) {
                header[header.size() - 4 + at] = static_cast<char>(bodyBytes >> (24 - 8 * at));
            }
            return gateway::Reply{header, gateway::Ending::Close};
        });
    }
    int askIds() { return getStatIds(token_, &set_); }
    int askGroup() { return getStatsByStatGroupId(token_, "G1", &set_); }

    // A reply takes a bit more than a megabyte, its buffer would have to have two.
    static inline const std::string FILL = std::string(110, 'f');
    static constexpr std::size_t MEMORY_BYTES = MEGABYTE * 3 / 2;
};

TEST_F(BeyondMemory, AnAnswerEndsItsConnection) {
    answerTooMuch();
    const LibraryMemory memory(MEMORY_BYTES);
    EXPECT_EQ(askIds(), ZOLSTATS_EXCHANGE_FAILED);
    EXPECT_EQ(askIds(), ZOLSTATS_TOKEN_NOT_FOUND);
    EXPECT_EQ(set_, nullptr);
    EXPECT_THAT(memory.refused(), ElementsAre(2 * MEGABYTE + SLACK));
}

TEST_F(BeyondMemory, AnAnswerForAGroupLeavesTheConnectionWithoutABuffer) {
    answerTooMuch();
    const LibraryMemory memory(MEMORY_BYTES);
    EXPECT_EQ(askGroup(), ZOLSTATS_EXCHANGE_FAILED);
    EXPECT_EQ(askGroup(), ZOLSTATS_NO_BUFFER);
    EXPECT_EQ(askIds(), ZOLSTATS_NO_BUFFER);
    EXPECT_EQ(set_, nullptr);
    EXPECT_THAT(memory.refused(), ElementsAre(2 * MEGABYTE + SLACK));
}

TEST_F(BeyondMemory, AnAnswerLosesNothing) {
    closeGatewayConnection(&token_);
    const LibraryMemory memory(MEMORY_BYTES);
    for (const bool ofAGroup : {false, true}) {
        gateway_.answerAsUsual();
        ASSERT_EQ(open(), 0);
        answerTooMuch();
        EXPECT_EQ(ofAGroup ? askGroup() : askIds(), ZOLSTATS_EXCHANGE_FAILED);
        closeGatewayConnection(&token_);
        EXPECT_EQ(memory.heldBytes(), 0);
    }
}

TEST_F(BeyondMemory, AnAnswerDoesNotKeepAnotherConnectionFromWorking) {
    answerTooMuch();
    const LibraryMemory memory(MEMORY_BYTES);
    EXPECT_EQ(askIds(), ZOLSTATS_EXCHANGE_FAILED);
    gateway_.answerAsUsual();
    ASSERT_EQ(open(), 0);
    EXPECT_EQ(askIds(), 0);
    EXPECT_EQ(idsOf(set_).size(), 3U);
}

TEST_F(BeyondMemory, AReplyOfTwoGibibytesLessOneIsAskedForWhole) {
    announce(INT_MAX);
    const LibraryMemory memory(MEGABYTE);
    EXPECT_EQ(askIds(), ZOLSTATS_EXCHANGE_FAILED);
    EXPECT_THAT(memory.refused(), ElementsAre(std::size_t{INT_MAX}));
}

TEST_F(BeyondMemory, AReplyOfTwoGibibytesAndMoreIsNotAskedForAtAll) {
    for (const std::uint32_t bodyBytes : {0x80000000U, 0xFFFFFFFFU}) {
        announce(bodyBytes);
        const LibraryMemory memory(MEGABYTE);
        EXPECT_EQ(askIds(), ZOLSTATS_EXCHANGE_FAILED);
        EXPECT_THAT(memory.refused(), IsEmpty());
        gateway_.answerAsUsual();
        ASSERT_EQ(open(), 0);
    }
}

}  // namespace

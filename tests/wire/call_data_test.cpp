// Well-formed call data, and the liberties with it that the parsers have always taken, rewritten into a
// result set buffer. Data that is cut off or lies about its lengths is tested in call_data_limits_test.cpp.
// The layout is written down in docs/protocol.md.
#include "wire/call_data.h"

#include <gmock/gmock.h>

#include "support/trace_capture.h"

namespace {

using namespace testing_support;

// The parsers with the call data's length and without must agree, and so must those that trace more than exceptions.
enum class Form { Bounded, Exported, Traced };

class CallData : public ParserTest, public testing::WithParamInterface<Form> {
  protected:
    CallData() : trace_(GetParam() == Form::Traced ? ZOLSTATS_TRACE_EVENTS : ZOLSTATS_TRACE_OFF) {}

    void expectStats(const Bytes& callData, const Bytes& expected) {
        expect(statsParser(callData), expected);
    }
    void expectIds(const Bytes& callData, const Bytes& expected) { expect(idsParser(callData), expected); }

  private:
    int statsParser(const Bytes& callData) {
        const MessageBuffer input(callData);
        return GetParam() == Form::Exported ? parseStatsData(input.data, &buffer.data, &capacity)
                                            : parseStats(callData);
    }
    int idsParser(const Bytes& callData) {
        const MessageBuffer input(callData);
        return GetParam() == Form::Exported ? parseIdsData(input.data, &buffer.data, &capacity)
                                            : parseIds(callData);
    }
    void expect(int rc, const Bytes& expected) {
        EXPECT_EQ(rc, 0);
        EXPECT_EQ(set(expected), expected);
        EXPECT_EQ(capacity, 32768);
    }

    TraceCapture trace_;
};

std::string nameOf(const testing::TestParamInfo<Form>& instance) {
    constexpr const char* NAMES[] = {"Bounded", "Exported", "Traced"};
    return NAMES[static_cast<int>(instance.param)];
}
const auto EACH_FORM = testing::Values(Form::Bounded, Form::Exported, Form::Traced);

INSTANTIATE_TEST_SUITE_P(Of, CallData, EACH_FORM, nameOf);

// No two of them are the same, up to 256.
Bytes differentBytes(std::size_t count) {
    Bytes bytes;
    while (bytes.size() < count) {
        bytes += static_cast<char>(bytes.size());
    }
    return bytes;
}

// ---- The form byte and the responses

TEST_P(CallData, WithForm0IsOneResponseAtOffset1) {
    expectIds(hex("00") + idsResponse("q", 0, {"A"}), idsSet({answered("q", 0, {idItem("A")})}));
}

TEST_P(CallData, WithForm2IsOneResponseAtOffset1) {
    expectIds(hex("02") + idsResponse("q", 0, {"A"}), idsSet({answered("q", 0, {idItem("A")})}));
}

TEST_P(CallData, WithForm255IsOneResponseAtOffset1) {
    expectStats(hex("FF") + statsResponse("q", 0, {statistic("A", "1")}),
                statsSet({answered("q", 0, {statItem("A", "1")})}));
}

TEST_P(CallData, WithForm1HasAsManyResponsesAsItCounts) {
    expectIds(hex("01 00000002") + idsResponse("p", 0, {"A"}) + idsResponse("q", 0, {"B"}) +
                  idsResponse("r", 0, {"C"}),
              idsSet({answered("p", 0, {idItem("A")}), answered("q", 0, {idItem("B")})}));
}

TEST_P(CallData, WithoutResponsesMakesAnEmptySet) {
    expectStats(hex("01 00000000"), hex("5A4F4C5354534554") + integer(0) + TERMINATOR);
    expectIds(hex("01 00000000"), hex("5A4F4C4944534554") + integer(0) + TERMINATOR);
}

TEST_P(CallData, WithANegativeCountHasNoResponses) {
    expectIds(hex("01 FFFFFFFE"), "ZOLIDSET" + integer(-2) + TERMINATOR);
    expectStats(hex("01 80000000"), "ZOLSTSET" + integer(INT32_MIN) + TERMINATOR);
}

TEST_P(CallData, OverwritesTheSetBeforeIt) {
    expectIds(responses({idsResponse("long query", 0, {"FIRST", "SECOND"})}),
              idsSet({answered("long query", 0, {idItem("FIRST"), idItem("SECOND")})}));
    expectIds(responses({}), idsSet({}));
}

// ---- The header of a response

TEST_P(CallData, IsReadOverClassNamesOfAnyLength) {
    const Bytes block = shortBlock(item("q") + word(0) + word(1) + item("A")) + hex("78");
    const Bytes expected = idsSet({answered("q", 0, {idItem("A")})});
    expectIds(oneResponse(objectHead("", "") + block), expected);
    expectIds(oneResponse(objectHead("c", Bytes(300, 's')) + block), expected);
    expectIds(oneResponse(objectHead(Bytes(32767, 'c'), Bytes(32767, 's')) + block), expected);
}

TEST_P(CallData, DoesNotLookAtTheBytesItStepsOver) {
    const Bytes response = Bytes(6, '?') + item("c") + Bytes(13, '?') + item("s") + Bytes(13, '?') +
                           hex("77 FF") + item("q") + word(0) + word(1) + item("A") + "?";
    expectIds(oneResponse(response), idsSet({answered("q", 0, {idItem("A")})}));
}

TEST_P(CallData, HasAQueryBehindALongBlocksMarker) {
    expectIds(oneResponse(objectHead() + longBlock(item("q") + word(0) + word(1) + item("A")) + hex("78")),
              idsSet({answered("q", 0, {idItem("A")})}));
}

TEST_P(CallData, TakesAnyOtherMarkerOfAResponseForALongBlocks) {
    expectStats(oneResponse(objectHead() + hex("75 FFFFFFFF") + item("q") + word(-1) + hex("78")),
                statsSet({rejected("q", -1)}));
}

TEST_P(CallData, KeepsTheQueryAsItStands) {
    const Bytes query = hex("00 0A 7F 80 FF C3A4");
    expectIds(oneResponse(idsResponse(query, 0, {})), idsSet({answered(query, 0, {})}));
    expectIds(oneResponse(idsResponse("", 0, {})), idsSet({answered("", 0, {})}));
}

TEST_P(CallData, KeepsAPositiveReturnCodeAndReadsItsItems) {
    expectIds(oneResponse(idsResponse("q", 7, {"A"})), idsSet({answered("q", 7, {idItem("A")})}));
    expectStats(oneResponse(statsResponse("q", 7, {statistic("A", "1")})),
                statsSet({answered("q", 7, {statItem("A", "1")})}));
}

TEST_P(CallData, OfARejectedQueryHoldsItsTextAndCodeAndNothingElse) {
    expectIds(oneResponse(rejection("bad", -5)),
              hex("5A4F4C4944534554") + integer(1) + integer(3) + "bad" + integer(-5) + TERMINATOR);
}

TEST_P(CallData, GoesOnFiveBytesAfterTheCodeOfARejectedQuery) {
    expectIds(responses({rejection("bad", -5), idsResponse("q", 0, {"A"}), rejection("worse", INT32_MIN)}),
              idsSet({rejected("bad", -5), answered("q", 0, {idItem("A")}), rejected("worse", INT32_MIN)}));
    expectStats(
        responses(
            {rejection("bad", -5), statsResponse("q", 0, {statistic("A", "1")}), rejection("worse", -1)}),
        statsSet({rejected("bad", -5), answered("q", 0, {statItem("A", "1")}), rejected("worse", -1)}));
}

// ---- Ids

TEST_P(CallData, OfIdsHoldsEachIdWithItsLength) {
    expectIds(oneResponse(idsResponse("q", 0, {"A", "", "LONGER_ID"})),
              "ZOLIDSET" + integer(1) + integer(1) + "q" + integer(0) + integer(3) + integer(1) + "A" +
                  integer(0) + integer(9) + "LONGER_ID" + TERMINATOR);
}

TEST_P(CallData, OfIdsSkipsOneByteBehindACountOfZero) {
    expectIds(responses({idsResponse("p", 0, {}), idsResponse("q", 0, {"A"})}),
              idsSet({answered("p", 0, {}), answered("q", 0, {idItem("A")})}));
}

TEST_P(CallData, OfIdsSkipsOneByteBehindANegativeCount) {
    const Bytes none = objectHead() + shortBlock(item("p") + word(0) + word(-3)) + hex("78");
    expectIds(responses({none, idsResponse("q", 0, {"A"})}),
              "ZOLIDSET" + integer(2) + counted("p") + integer(0) + integer(-3) +
                  answered("q", 0, {idItem("A")}) + TERMINATOR);
}

TEST_P(CallData, OfIdsIsOneRunHoweverLong) {
    const std::vector<Bytes> ids(200, "IDENTIFIER");
    expectIds(responses({idsResponse("q", 0, ids), idsResponse("r", 0, {"A"})}),
              idsSet({answered("q", 0, std::vector<Bytes>(200, idItem("IDENTIFIER"))),
                      answered("r", 0, {idItem("A")})}));
}

// Short texts are copied in other ways than long ones.
TEST_P(CallData, OfIdsTakesIdsOfEveryLength) {
    std::vector<Bytes> ids;
    std::vector<Bytes> expected;
    for (std::size_t length = 0; length < 70; ++length) {
        ids.push_back(differentBytes(length));
        expected.push_back(idItem(ids.back()));
    }
    expectIds(oneResponse(idsResponse("q", 0, ids)), idsSet({answered("q", 0, expected)}));
}

TEST_P(CallData, OfIdsTakesAnIdOf32767Bytes) {
    const Bytes id(32767, 'i');
    useCapacity(65536);
    const MessageBuffer input(oneResponse(idsResponse("q", 0, {id})));
    EXPECT_EQ(parseIdsData(input.data, &buffer.data, &capacity), 0);
    const Bytes expected = idsSet({answered("q", 0, {idItem(id)})});
    EXPECT_EQ(set(expected), expected);
}

// ---- Statistics in one block

TEST_P(CallData, OfStatisticsHoldsEachIdAndItsData) {
    expectStats(oneResponse(statsResponse("q", 0, {statistic("A", "12")})),
                "ZOLSTSET" + integer(1) + integer(1) + "q" + integer(0) + integer(1) + integer(1) + "A" +
                    integer(2) + "12" + TERMINATOR);
}

TEST_P(CallData, OfStatisticsReadsLaterObjectsBehindTheirReference) {
    expectStats(
        oneResponse(statsResponse("q", 0, {statistic("A", "1"), statistic("BB", ""), statistic("", "3")})),
        statsSet({answered("q", 0, {statItem("A", "1"), statItem("BB", ""), statItem("", "3")})}));
}

TEST_P(CallData, OfStatisticsReadsTheNextResponseBehindTheLastStatistic) {
    expectStats(responses({statsResponse("p", 0, {statistic("A", "1"), statistic("B", "2")}),
                           statsResponse("q", 0, {statistic("C", "3")})}),
                statsSet({answered("p", 0, {statItem("A", "1"), statItem("B", "2")}),
                          answered("q", 0, {statItem("C", "3")})}));
}

TEST_P(CallData, OfStatisticsIsReadOverAClassNameOfAnyLength) {
    for (const unsigned length : {0U, 1U, 300U, 32767U}) {
        expectStats(oneResponse(statsHead("q", 0, 1) + statisticClass(Bytes(length, 'c')) + Bytes(5, '?') +
                                statistic("A", "1")),
                    statsSet({answered("q", 0, {statItem("A", "1")})}));
    }
}

TEST_P(CallData, OfStatisticsTakesAnyOtherMarkerForAShortBlocks) {
    expectStats(
        oneResponse(statsResponse("q", 0, {hex("70 00") + item("A") + item("1"), statistic("B", "2")})),
        statsSet({answered("q", 0, {statItem("A", "1"), statItem("B", "2")})}));
}

TEST_P(CallData, OfStatisticsDoesNotLookAtTheLengthOfAShortBlock) {
    const Bytes data(300, 'd');
    expectStats(
        oneResponse(statsResponse("q", 0, {hex("77 01") + item("A") + item(data), statistic("B", "2")})),
        statsSet({answered("q", 0, {statItem("A", data), statItem("B", "2")})}));
}

TEST_P(CallData, OfStatisticsTakesIdsAndDataOfEveryLength) {
    std::vector<Bytes> statistics;
    std::vector<Bytes> expected;
    for (std::size_t length = 0; length < 70; ++length) {
        const Bytes id = differentBytes(length);
        const Bytes data = differentBytes(69 - length);
        statistics.push_back(statistic(id, data));
        expected.push_back(statItem(id, data));
    }
    expectStats(oneResponse(statsResponse("q", 0, statistics)), statsSet({answered("q", 0, expected)}));
}

// Runs of usual statistics are copied in another way than what may stand between them.
TEST_P(CallData, OfStatisticsTakesBlocksOfAllKindsInAnyOrder) {
    const Bytes inLongBlock = longBlock(item("LONG") + item("block"));
    const Bytes longer = statistic("A", Bytes(300, 'a'));  // the length of its short block wraps
    const Bytes tooShort = hex("77 00") + item("B") + item("too short a block");
    const Bytes tooLong = hex("77 FF") + item("C") + item("too long a block");
    std::vector<Bytes> statistics;
    std::vector<Bytes> expected;
    for (const Bytes& other : {inLongBlock, longer, tooShort, tooLong}) {
        statistics.insert(statistics.end(), {statistic("S1", "one"), other, other, statistic("S2", "two")});
    }
    for (const Bytes& other : {statItem("LONG", "block"), statItem("A", Bytes(300, 'a')),
                               statItem("B", "too short a block"), statItem("C", "too long a block")}) {
        expected.insert(expected.end(), {statItem("S1", "one"), other, other, statItem("S2", "two")});
    }
    expectStats(oneResponse(statsResponse("q", 0, statistics)), statsSet({answered("q", 0, expected)}));
}

TEST_P(CallData, OfStatisticsKeepsEveryByteOfTheData) {
    Bytes data;
    for (int value = 0; value < 240; ++value) {
        data += static_cast<char>(value + 16);
    }
    expectStats(oneResponse(statsResponse("q", 0, {statistic("A", data)})),
                statsSet({answered("q", 0, {statItem("A", data)})}));
}

TEST_P(CallData, OfStatisticsSkipsOverAClassNameEvenWithoutStatistics) {
    expectStats(responses({statsHead("p", 0, 0) + statisticClass("any"),
                           statsResponse("q", 0, {statistic("A", "1")})}),
                statsSet({answered("p", 0, {}), answered("q", 0, {statItem("A", "1")})}));
}

TEST_P(CallData, OfStatisticsSkipsOverAClassNameForANegativeCountToo) {
    expectStats(
        responses({statsHead("p", 0, -2) + statisticClass("any"), rejection("q", -1)}),
        "ZOLSTSET" + integer(2) + counted("p") + integer(0) + integer(-2) + rejected("q", -1) + TERMINATOR);
}

// ---- Statistics in several blocks

class Chunks : public CallData {
  protected:
    // The blocks of one statistic "A", between two others, make this of its data.
    void expectData(const Bytes& blocks, unsigned statedLength, const Bytes& data) {
        expectStats(
            oneResponse(statsResponse("q", 0, {statistic("Z", "0"), blocks, statistic("B", "2")})),
            statsSet({answered(
                "q", 0,
                {statItem("Z", "0"), counted("A") + integer(static_cast<std::int32_t>(statedLength)) + data,
                 statItem("B", "2")})}));
    }
};

INSTANTIATE_TEST_SUITE_P(Of, Chunks, EACH_FORM, nameOf);

TEST_P(Chunks, OneLongBlockHoldsAllTheData) {
    expectData(longBlock(item("A") + item("data")), 4, "data");
    expectData(longBlock(item("A") + item("")), 0, "");
}

TEST_P(Chunks, OneLongBlockMayBeLongerThanTheData) {
    // The rest of the block is not skipped: the next mark follows the data.
    expectData(hex("7A 000000FF") + item("A") + item("data"), 4, "data");
}

TEST_P(Chunks, ALongBlocksUpperLengthHalfDoesNotCount) {
    expectData(hex("7A FFFF0009") + item("A") + item("data"), 4, "data");
}

TEST_P(Chunks, TwoLongBlocksAreJoined) {
    const Bytes begin(1000, 'b');
    const Bytes end(500, 'e');
    expectData(firstBlock("A", 1500, begin) + longBlock(end), 1500, begin + end);
}

TEST_P(Chunks, ManyLongBlocksAreJoined) {
    expectData(
        firstBlock("A", 9, "one") + longBlock("two") + longBlock("") + longBlock("3") + longBlock("45"), 9,
        "onetwo345");
}

TEST_P(Chunks, ALongBlockIsFollowedByAShortOne) {
    expectData(firstBlock("A", 6, "one") + shortBlock("two"), 6, "onetwo");
}

TEST_P(Chunks, LongBlocksThenShortOnesAreJoined) {
    expectData(firstBlock("A", 12, "one") + longBlock("two") + shortBlock("345") + shortBlock("678"), 12,
               "onetwo345678");
}

TEST_P(Chunks, AfterAShortBlockTheMarkerIsNotLookedAtAgain) {
    expectData(firstBlock("A", 9, "one") + shortBlock("two") + hex("7A 03") + "345", 9, "onetwo345");
}

TEST_P(Chunks, AShortBlockMayBeEmptyOrFull) {
    const Bytes full(255, 'f');
    expectData(firstBlock("A", 258, "one") + shortBlock("") + shortBlock(full), 258, "one" + full);
}

TEST_P(Chunks, TheFirstBlockMayHoldNoDataAtAll) {
    expectData(firstBlock("A", 3, "") + longBlock("one"), 3, "one");
}

TEST_P(Chunks, ALongBlockIsAppendedWholeEvenIfItExceedsTheLength) {
    expectData(firstBlock("A", 4, "one") + longBlock("two"), 4, "onetwo");
}

TEST_P(Chunks, AShortBlockIsAppendedWholeEvenIfItExceedsTheLength) {
    expectData(firstBlock("A", 4, "one") + shortBlock("two"), 4, "onetwo");
}

TEST_P(Chunks, AFurtherLongBlocksUpperLengthHalfDoesNotCount) {
    expectData(firstBlock("A", 6, "one") + hex("7A FFFF0003") + "two", 6, "onetwo");
}

TEST_P(Chunks, AnyOtherMarkerEndsTheStatistic) {
    // Its two bytes are those behind the statistic, which stays shorter than it says.
    expectStats(
        oneResponse(statsHead("q", 0, 2) + statisticClass() + Bytes(5, '?') + firstBlock("A", 9, "one") +
                    hex("78 73  71 007E0004") + statistic("B", "2") + hex("78 78")),
        statsSet({answered("q", 0, {counted("A") + integer(9) + "one", statItem("B", "2")})}));
}

TEST_P(Chunks, AnyOtherMarkerBehindFurtherBlocksEndsTheStatistic) {
    expectData(firstBlock("A", 9, "one") + longBlock("two"), 9, "onetwo");
}

TEST_P(Chunks, ABlockBehindCompleteDataBelongsToNobody) {
    // Complete: the two bytes behind it are skipped whatever they are, here the start of a block.
    expectStats(
        oneResponse(statsHead("q", 0, 2) + statisticClass() + Bytes(5, '?') + firstBlock("A", 6, "one") +
                    longBlock("two") + hex("7A 00  71 007E0004") + statistic("B", "2") + hex("78 78")),
        statsSet({answered("q", 0, {statItem("A", "onetwo"), statItem("B", "2")})}));
}

}  // namespace

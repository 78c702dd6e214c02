// Call data byte by byte, against bytes written out by hand and against what Java wrote.
// Not which items answer which query: see answers_test.cpp.
// The layout is written down in docs/protocol.md.
#include <gtest/gtest.h>

#include "fixtures.h"
#include "support/bytes.h"
#include "wire.h"

namespace {

using gateway::encodeIds;
using gateway::encodeStats;
using gateway::IdsResponse;
using gateway::Statistic;
using gateway::StatsResponse;
using testing_support::Bytes;
using testing_support::hex;
using testing_support::item;
using testing_support::shortWord;
using testing_support::word;

// Stream magic, object, descriptor of the class and of its superclass, no further class.
Bytes responseStart(const Bytes& className, const Bytes& serial) {
    return hex("ACED0005 73 72") + item("com.velmor.zol.stats." + className) + hex(serial) +
           hex("0C 0000 78 72") + item("com.velmor.zol.stats.Response") + hex("5A4F4C0000000001") +
           hex("0C 0000 78 70");
}
Bytes idsStart() {
    return responseStart("IdsResponse", "5A4F4C0000000003");
}
Bytes statsStart() {
    return responseStart("StatsResponse", "5A4F4C0000000002");
}
Bytes firstStatistic() {
    return hex("73 72") + item("com.velmor.zol.stats.Statistic") + hex("5A4F4C0000000004 0C 0000 78 70");
}
const Bytes LATER_STATISTIC = hex("73 71 007E0003");

std::size_t countOf(const Bytes& bytes, const Bytes& part) {
    std::size_t count = 0;
    for (std::size_t at = bytes.find(part); at != Bytes::npos; at = bytes.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

// ---- Ids

TEST(IdsCallData, OfOneResponseIsNotCounted) {
    EXPECT_EQ(encodeIds({{"", 0, {"CPU", "MEMORY"}}}), hex("00") + idsStart() +
                                                           hex("77 17 0000 00000000 00000002") + item("CPU") +
                                                           item("MEMORY") + hex("78"));
}

TEST(IdsCallData, OfSeveralResponsesIsCounted) {
    EXPECT_EQ(encodeIds({{"CPU", 0, {"USER"}}, {"NO", -1, {}}}),
              hex("01 00000002") +                                                            //
                  idsStart() + hex("77 13 0003 435055 00000000 00000001 0004 55534552 78") +  //
                  idsStart() + hex("77 08 0002 4E4F FFFFFFFF 78"));
}

TEST(IdsCallData, OfNoResponseIsTheCountAlone) {
    EXPECT_EQ(encodeIds({}), hex("01 00000000"));
}

TEST(IdsCallData, WithoutItemsEndsBehindTheCount) {
    EXPECT_EQ(encodeIds({{"NONE", 0, {}}}),
              hex("00") + idsStart() + hex("77 0E 0004 4E4F4E45 00000000 00000000 78"));
}

TEST(IdsCallData, CarriesNoIdsWithANegativeCode) {
    EXPECT_EQ(encodeIds({{"NO", -5, {"CPU"}}}), hex("00") + idsStart() + hex("77 08 0002 4E4F FFFFFFFB 78"));
}

// A block of 255 bytes is a short one: 10 of them hold code, count and the query's length.
TEST(IdsCallData, TurnsToALongBlockBeyond255Bytes) {
    const Bytes query(245, 'q');
    EXPECT_EQ(encodeIds({{query, 0, {}}}),
              hex("00") + idsStart() + hex("77 FF") + item(query) + word(0) + word(0) + hex("78"));
    EXPECT_EQ(encodeIds({{query + 'q', 0, {}}}), hex("00") + idsStart() + hex("7A 00000100") +
                                                     item(query + 'q') + word(0) + word(0) + hex("78"));
}

TEST(IdsCallData, IsOneBlockHoweverLong) {
    const std::vector<std::string> ids(5000, "IDENTIFIER");
    Bytes content = item("") + word(0) + word(5000);
    for (const std::string& id : ids) {
        content += item(id);
    }
    EXPECT_EQ(encodeIds({{"", 0, ids}}), hex("00") + idsStart() + hex("7A 0000EA6A") + content + hex("78"));
}

// ---- Statistics

TEST(StatsCallData, DescribesTheClassWithTheFirstStatisticAndRefersToItLater) {
    EXPECT_EQ(encodeStats({{"CPU", 0, {{"USER", "1.5"}, {"IDLE", ""}, {"NICE", "2"}}}}),
              hex("00") + statsStart() + hex("77 0D 0003 435055 00000000 00000003") +  //
                  firstStatistic() + hex("77 0B 0004 55534552 0003 312E35 78") +       //
                  LATER_STATISTIC + hex("77 08 0004 49444C45 0000 78") +               //
                  LATER_STATISTIC + hex("77 09 0004 4E494345 0001 32 78") + hex("78"));
}

TEST(StatsCallData, DescribesTheClassAnewInEachResponse) {
    const Bytes response = statsStart() + hex("77 0B 0001 41 00000000 00000001") + firstStatistic() +
                           hex("77 06 0001 41 0001 31 78") + hex("78");
    EXPECT_EQ(encodeStats({{"A", 0, {{"A", "1"}}}, {"A", 0, {{"A", "1"}}}}),
              hex("01 00000002") + response + response);
}

TEST(StatsCallData, EndsARejectedElementBehindItsCode) {
    EXPECT_EQ(encodeStats({{"NO", -1, {{"A", "1"}}}}),
              hex("00") + statsStart() + hex("77 08 0002 4E4F FFFFFFFF 78"));
}

TEST(StatsCallData, WithoutItemsEndsBehindTheCount) {
    EXPECT_EQ(encodeStats({{"NONE", 0, {}}}),
              hex("00") + statsStart() + hex("77 0E 0004 4E4F4E45 00000000 00000000 78"));
}

TEST(StatsCallData, HasTheHeadOfAResponseInOneBlockHoweverLong) {
    const Bytes query(5000, 'q');
    EXPECT_EQ(encodeStats({{query, 0, {}}}),
              hex("00") + statsStart() + hex("7A 00001392") + item(query) + word(0) + word(0) + hex("78"));
}

// How a statistic is cut: from the length of its content (id, data and their lengths) to its blocks.
struct Cut {
    std::size_t contentLength;
    std::vector<std::pair<Bytes, std::size_t>> blocks;  // marker and length as they travel, and the length

    friend void PrintTo(const Cut& cut, std::ostream* out) { *out << cut.contentLength; }
};

const std::pair<Bytes, std::size_t> FULL{hex("7A 00000400"), 1024};

std::vector<std::pair<Bytes, std::size_t>> fullBlocks(std::size_t count,
                                                      const std::pair<Bytes, std::size_t>& last) {
    std::vector<std::pair<Bytes, std::size_t>> blocks(count, FULL);
    blocks.push_back(last);
    return blocks;
}

class StatisticCut : public testing::TestWithParam<Cut> {};

TEST_P(StatisticCut, IsMadeAtTheBlocksLengths) {
    const Bytes data = fixtures::pattern(GetParam().contentLength - 9);
    Bytes content = item("ABCDE") + item(data);
    Bytes expected = hex("00") + statsStart() + hex("77 0A 0000 00000000 00000001") + firstStatistic();
    for (const auto& [start, length] : GetParam().blocks) {
        expected += start + content.substr(0, length);
        content.erase(0, length);
    }
    ASSERT_EQ(content, "");
    EXPECT_EQ(encodeStats({{"", 0, {{"ABCDE", data}}}}), expected + hex("78 78"));
}

INSTANTIATE_TEST_SUITE_P(AtEachLimit, StatisticCut,
                         testing::Values(Cut{9, {{hex("77 09"), 9}}},                          //
                                         Cut{255, {{hex("77 FF"), 255}}},                      //
                                         Cut{256, {{hex("7A 00000100"), 256}}},                //
                                         Cut{1023, {{hex("7A 000003FF"), 1023}}},              //
                                         Cut{1024, {FULL}},                                    //
                                         Cut{1025, fullBlocks(1, {hex("77 01"), 1})},          //
                                         Cut{1279, fullBlocks(1, {hex("77 FF"), 255})},        //
                                         Cut{1280, fullBlocks(1, {hex("7A 00000100"), 256})},  //
                                         Cut{2048, fullBlocks(1, FULL)},                       //
                                         Cut{2049, fullBlocks(2, {hex("77 01"), 1})},          //
                                         Cut{32776, fullBlocks(32, {hex("77 08"), 8})}),
                         testing::PrintToStringParamName());

TEST(StatsCallData, TellsDataLengthsUpTo16Bits) {
    EXPECT_EQ(countOf(encodeStats({{"", 0, {{"A", std::string(32767, 'd')}}}}), hex("0001 41 7FFF")), 1U);
    EXPECT_EQ(countOf(encodeStats({{"", 0, {{"A", std::string(65535, 'd')}}}}), hex("0001 41 FFFF")), 1U);
    EXPECT_THROW(encodeStats({{"", 0, {{"A", std::string(65536, 'd')}}}}), std::length_error);
    EXPECT_THROW(encodeStats({{"", 0, {{std::string(65536, 'i'), ""}}}}), std::length_error);
}

// ---- What Java writes

class WrittenByJava : public testing::TestWithParam<fixtures::Fixture> {};

std::vector<StatsResponse> asStats(const std::vector<fixtures::Response>& responses) {
    std::vector<StatsResponse> result;
    for (const fixtures::Response& response : responses) {
        StatsResponse& target = result.emplace_back(StatsResponse{response.query, response.code, {}});
        for (const fixtures::Item& each : response.items) {
            target.statistics.push_back({each.id, each.data});
        }
    }
    return result;
}

std::vector<IdsResponse> asIds(const std::vector<fixtures::Response>& responses) {
    std::vector<IdsResponse> result;
    for (const fixtures::Response& response : responses) {
        IdsResponse& target = result.emplace_back(IdsResponse{response.query, response.code, {}});
        for (const fixtures::Item& each : response.items) {
            target.ids.push_back(each.id);
        }
    }
    return result;
}

class StatsWrittenByJava : public WrittenByJava {};
TEST_P(StatsWrittenByJava, AreTheSameBytes) {
    EXPECT_EQ(encodeStats(asStats(GetParam().responses)), fixtures::contentOf(GetParam()));
}

class IdsWrittenByJava : public WrittenByJava {};
TEST_P(IdsWrittenByJava, AreTheSameBytes) {
    EXPECT_EQ(encodeIds(asIds(GetParam().responses)), fixtures::contentOf(GetParam()));
}

std::string nameOf(const testing::TestParamInfo<fixtures::Fixture>& info) {
    return info.param.name;
}
INSTANTIATE_TEST_SUITE_P(Fixtures, StatsWrittenByJava, testing::ValuesIn(fixtures::stats()), nameOf);
INSTANTIATE_TEST_SUITE_P(Fixtures, IdsWrittenByJava, testing::ValuesIn(fixtures::ids()), nameOf);

}  // namespace

// The lines that the parsers trace on their way through call data.
// What they make of the data is tested in call_data_test.cpp.
// The line format is written down in docs/tracing.md.
#include <gmock/gmock.h>

#include "support/trace_capture.h"
#include "support/trace_reading.h"
#include "wire/call_data.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;

class ParserTrace : public ParserTest {
  protected:
    // The parser module's own lines.
    static std::vector<TraceLine> lines(const TraceCapture& trace) { return linesWithin(trace, 2200, 2299); }
};

TEST_F(ParserTrace, OfStatisticsTellsEachStep) {
    const MessageBuffer input(
        oneResponse(statsResponse("q", 0,
                                  {statistic("A", "12"), longBlock(item("B") + item("data")),
                                   firstBlock("C", 9, "one") + longBlock("two") + shortBlock("345")})));
    const void* data = input.data;
    const void* set = buffer.data;
    const TraceCapture trace(4);
    parseStatsData(input.data, &buffer.data, &capacity);
    EXPECT_THAT(
        lines(trace),
        ElementsAre(
            line(
                2220, "ENTRY",
                "stapi_zol_statcomms.parseStatsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d)",
                data, set, 32768),
            line(2221, "DEBUG", "stapi_zol_statcomms.parseStatsData received %d responses from the Gateway",
                 1),
            line(2222, "DEBUG", "stapi_zol_statcomms.parseStatsData reading %d stats for result %d", 3, 0),
            line(2231, "DEBUG", "stapi_zol_statcomms.parseStatsData block type=%2.8X ", 0x77U),
            line(2233, "DEBUG", "stapi_zol_statcomms.parseStatsData statistic ID length=%d ", 1),
            line(2239, "DEBUG", "stapi_zol_statcomms.parseStatsData statistic data length=%d ", 2),
            line(2231, "DEBUG", "stapi_zol_statcomms.parseStatsData block type=%2.8X ", 0x7AU),
            line(2232, "DEBUG", "stapi_zol_statcomms.parseStatsData chunklength=%d ", 9),
            line(2233, "DEBUG", "stapi_zol_statcomms.parseStatsData statistic ID length=%d ", 1),
            line(2238, "DEBUG", "stapi_zol_statcomms.parseStatsData written %d bytes.  ", 4),
            line(2231, "DEBUG", "stapi_zol_statcomms.parseStatsData block type=%2.8X ", 0x7AU),
            line(2232, "DEBUG", "stapi_zol_statcomms.parseStatsData chunklength=%d ", 8),
            line(2233, "DEBUG", "stapi_zol_statcomms.parseStatsData statistic ID length=%d ", 1),
            line(2234, "DEBUG",
                 "stapi_zol_statcomms.parseStatsData written %d of %d bytes. Remaining data = %d bytes ", 3,
                 9, 6),
            line(2236, "DEBUG", "stapi_zol_statcomms.parseStatsData block type=%2.8X ", 0x7AU),
            line(2235, "DEBUG",
                 "stapi_zol_statcomms.parseStatsData written %d bytes. Remaining data = %d bytes ", 3, 3),
            line(2236, "DEBUG", "stapi_zol_statcomms.parseStatsData block type=%2.8X ", 0x77U),
            line(2237, "DEBUG",
                 "stapi_zol_statcomms.parseStatsData written %d bytes. Remaining data = %d bytes ", 3, 0),
            line(2240, "DEBUG", "stapi_zol_statcomms.parseStatsData running total of parsed data = %d bytes ",
                 67),
            line(2241, "DEBUG", "stapi_zol_statcomms.parseStatsData parsed data total = %d bytes ", 67),
            line(
                2223, "EXIT",
                "stapi_zol_statcomms.parseStatsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d) rc=%d",
                data, set, 32768, 0)));
}

TEST_F(ParserTrace, OfStatisticsCountsResultsFromZeroAndTotalsAllButTheRejected) {
    const Bytes callData = responses({statsResponse("q", 0, {statistic("A", "12")}), rejection("bad", -1),
                                      statsResponse("r", 0, {statistic("B", "3")})});
    const TraceCapture trace(4);
    parseStats(callData);
    const char* reading = "stapi_zol_statcomms.parseStatsData reading %d stats for result %d";
    const char* total = "stapi_zol_statcomms.parseStatsData running total of parsed data = %d bytes ";
    EXPECT_THAT(
        trace.lines(2221),
        ElementsAre(line(2221, "DEBUG",
                         "stapi_zol_statcomms.parseStatsData received %d responses from the Gateway", 3)));
    EXPECT_THAT(trace.lines(2222),
                ElementsAre(line(2222, "DEBUG", reading, 1, 0), line(2222, "DEBUG", reading, 1, 2)));
    // Header 12, elements of 13 + 11, 4 + 3 + 4 and 13 + 10 bytes.
    EXPECT_THAT(trace.lines(2240),
                ElementsAre(line(2240, "DEBUG", total, 36), line(2240, "DEBUG", total, 70)));
    EXPECT_GT(position(trace, 2241), position(trace, 2240));
}

TEST_F(ParserTrace, OfStatisticsTotalsAfterTheTerminator) {
    const TraceCapture trace(4);
    parseStats(responses({}));
    EXPECT_GT(position(trace, 2241), 0);
    const std::vector<int> numbers = points(trace);
    EXPECT_EQ(std::vector<int>(numbers.end() - 3, numbers.end()), (std::vector<int>{2122, 2241, 2223}));
}

TEST_F(ParserTrace, OfAMarkerThatEndsAStatisticShowsIt) {
    const Bytes callData = oneResponse(statsHead("q", 0, 1) + statisticClass() + Bytes(5, '?') +
                                       firstBlock("A", 9, "one") + hex("70 78"));
    const TraceCapture trace(4);
    parseStats(callData);
    EXPECT_THAT(
        trace.lines(2236),
        ElementsAre(line(2236, "DEBUG", "stapi_zol_statcomms.parseStatsData block type=%2.8X ", 0x70U)));
}

TEST_F(ParserTrace, OfLengthsThatAreMissingShowsThemAs0) {
    const Bytes callData =
        oneResponse(statsHead("q", 0, 1) + statisticClass() + Bytes(5, '?') + hex("77 05"));
    const TraceCapture trace(4);
    EXPECT_EQ(parseStats(callData), -122);
    EXPECT_THAT(
        trace.lines(2233),
        ElementsAre(line(2233, "DEBUG", "stapi_zol_statcomms.parseStatsData statistic ID length=%d ", 0)));
    EXPECT_THAT(
        trace.lines(2239),
        ElementsAre(line(2239, "DEBUG", "stapi_zol_statcomms.parseStatsData statistic data length=%d ", 0)));
}

TEST_F(ParserTrace, OfIdsTellsEachStep) {
    const MessageBuffer input(responses({rejection("bad", -5), idsResponse("q", 7, {"A", "B"})}));
    const void* data = input.data;
    const void* set = buffer.data;
    const TraceCapture trace(4);
    parseIdsData(input.data, &buffer.data, &capacity);
    EXPECT_THAT(
        lines(trace),
        ElementsAre(
            line(2224, "ENTRY",
                 "stapi_zol_statcomms.parseIdsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d)",
                 data, set, 32768),
            line(2225, "DEBUG", "stapi_zol_statcomms.parseIdsData received %d responses from the Gateway", 2),
            line(2226, "DEBUG", "stapi_zol_statcomms.parseIdsData Query rc=%d or (hex=%8.8X)", -5,
                 0xFFFFFFFBU),
            line(2228, "DEBUG",
                 "stapi_zol_statcomms.parseIdsData Bad query id element(%d), move on to next one", 0),
            line(2226, "DEBUG", "stapi_zol_statcomms.parseIdsData Query rc=%d or (hex=%8.8X)", 7, 7U),
            line(2227, "DEBUG", "stapi_zol_statcomms.parseIdsData reading %d IDs for result %d", 2, 1),
            line(
                2229, "EXIT",
                "stapi_zol_statcomms.parseIdsData(rawData=%p, *resultSetBuffer=%p, *resultSetBufferLen=%d) rc=%d",
                data, set, 32768, 0)));
}

TEST_F(ParserTrace, OfARejectionCountsResponsesFromZero) {
    const Bytes callData =
        responses({idsResponse("q", 0, {"A"}), idsResponse("r", 0, {}), rejection("bad", -5)});
    const TraceCapture trace(4);
    parseIds(callData);
    EXPECT_THAT(trace.lines(2228),
                ElementsAre(line(
                    2228, "DEBUG",
                    "stapi_zol_statcomms.parseIdsData Bad query id element(%d), move on to next one", 2)));
}

TEST_F(ParserTrace, ShowsTheGrownBufferAtTheEnd) {
    useCapacity(16);
    const MessageBuffer input(oneResponse(idsResponse("query", 0, {})));
    const TraceCapture trace(3);
    parseIdsData(input.data, &buffer.data, &capacity);
    const void* data = input.data;
    const void* set = buffer.data;
    EXPECT_THAT(trace.lines(2229),
                ElementsAre(line(2229, "EXIT",
                                 "stapi_zol_statcomms.parseIdsData(rawData=%p, *resultSetBuffer=%p, "
                                 "*resultSetBufferLen=%d) rc=%d",
                                 data, set, 64, 0)));
}

TEST_F(ParserTrace, ShowsTheResultOfMalformedData) {
    const TraceCapture trace(3);
    parseStats("");
    EXPECT_THAT(trace.lines(2223).front().message, testing::EndsWith(" rc=-122"));
    EXPECT_LT(position(trace, 2243), position(trace, 2223));
}

}  // namespace

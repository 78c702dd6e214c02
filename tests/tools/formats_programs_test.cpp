// The formats for programs, where it takes a watch, a terminal or a host of statistics to see what they do.
// Not a test with the programs that read them: that is formats_test.py.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <cmath>

#include "samples.h"

namespace {

using namespace samples;
using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

const Sample MOVING = sample({changed({"G", "A", "10"}, 2.5L), restarted({"G", "B", "1"}), {"G", "C", "on"}});

// ---- When readings follow one another

TEST(Csv, HasItsHeaderOnlyAboveTheFirstBlock) {
    Layout layout{.format = Format::Csv, .columns = {Column::Id, Column::Value}};
    EXPECT_EQ(render({MOVING}, layout), "id,value\nA,10\nB,1\nC,on\n");
    layout.header = false;
    EXPECT_EQ(render({MOVING}, layout), "A,10\nB,1\nC,on\n");
}

TEST(Csv, HasAColumnForTheChangeFromTheFirstBlockOn) {
    const Layout layout{.format = Format::Csv, .changes = true};
    EXPECT_EQ(render({sample({{"G", "A", "1"}})}, layout),
              "time,host,port,group,id,value,change,code\n"
              "2024-02-29T23:59:59.007Z,gw,27400,G,A,1,,0\n");
    EXPECT_EQ(render({MOVING}, layout),
              "time,host,port,group,id,value,change,code\n"
              "2024-02-29T23:59:59.007Z,gw,27400,G,A,10,2.5,0\n"
              "2024-02-29T23:59:59.007Z,gw,27400,G,B,1,restart,0\n"
              "2024-02-29T23:59:59.007Z,gw,27400,G,C,on,,0\n");
}

TEST(Json, IsOneLineForEachBlock) {
    const std::string block = render({MOVING, failed()}, {.format = Format::Json});
    EXPECT_EQ(block.find('\n'), block.size() - 1);
}

TEST(Json, TellsTheChangePerSecondOrTheRestart) {
    for (const Format format : {Format::Json, Format::Ndjson}) {
        const std::string text = render({MOVING}, {.format = format});
        EXPECT_THAT(text, HasSubstr(R"("id":"A","value":10,"code":0,"change":2.5})"));
        EXPECT_THAT(text, HasSubstr(R"("id":"B","value":1,"code":0,"change":"restart"})"));
        EXPECT_THAT(text, HasSubstr(R"("id":"C","value":"on","code":0})"));
    }
}

TEST(Json, LeavesARateOutThatIsNoNumber) {
    for (const long double rate : {static_cast<long double>(NAN), static_cast<long double>(-INFINITY)}) {
        EXPECT_THAT(render({sample({changed({"G", "A", "1"}, rate)})}, {.format = Format::Json}),
                    Not(HasSubstr("change")));
    }
}

TEST(Json, EscapesAHostThatIsNoUtf8AndSaysSo) {
    for (const Format format : {Format::Json, Format::Ndjson}) {
        for (Sample answer : {sample({{"G", "A", "1"}}, "h\\\xff"), failed("h\\\xff")}) {
            const std::string text = render({answer}, {.format = format});
            EXPECT_THAT(text, HasSubstr(R"("host":"h\\\\\\xFF")"));
            EXPECT_THAT(text, HasSubstr(R"("escaped":true)"));
        }
    }
}

// ---- On a terminal

TEST(Programs, SendNothingButAsciiToATerminal) {
    const std::vector<Sample> odd{
        sample({{"G\x1b", "I\xc2\x9b\n", "\x9b\xff\xc3\xa9\t\x7f"}}, "h\x07\xc3\xa9")};
    for (const Format format :
         {Format::Table, Format::Json, Format::Ndjson, Format::Csv, Format::Prometheus, Format::Raw}) {
        for (const auto& columns :
             {std::vector<Column>{}, std::vector{Column::Host, Column::Group, Column::Id, Column::Value}}) {
            for (const Kind kind : {Kind::Groups, Kind::Ids, Kind::Statistics}) {
                for (const char byte :
                     render(odd, {.format = format, .columns = columns, .terminal = true}, kind)) {
                    ASSERT_TRUE(byte == '\n' || byte == '\t' || (byte >= ' ' && byte <= '~'))
                        << static_cast<int>(format) << ' ' << static_cast<int>(byte);
                }
            }
        }
    }
}

TEST(Raw, GivesTheBytesAsTheyAreToAProgram) {
    const std::string bytes("\0\n\xff\\", 4);
    EXPECT_EQ(render({sample({{"G", "A", bytes}})}, {.format = Format::Raw}), bytes + '\n');
    EXPECT_EQ(render({sample({{"G", "A", bytes}})}, {.format = Format::Raw, .terminal = true}),
              "\\x00\\x0A\\xFF\\\n");
}

TEST(Raw, SeparatesChosenColumnsWithTabsThatNoCellHas) {
    const Layout layout{.format = Format::Raw, .columns = {Column::Id, Column::Value}};
    EXPECT_EQ(render({sample({{"G", "A\t", "1\n\\"}, {"", "NO", {}, -1}})}, layout), "A\\x09\t1\\x0A\\\\\n");
}

// ---- Many

std::vector<Reading> many(std::size_t count) {
    std::vector<Reading> readings;
    for (std::size_t i = 0; i < count; ++i) {
        readings.push_back(changed({"G" + std::to_string(i / 100), "ID_" + std::to_string(i * 7919 % count),
                                    std::to_string(i * 104729) + ".25"},
                                   static_cast<long double>(i)));
    }
    return readings;
}

class OfMany : public testing::TestWithParam<Format> {};

TEST_P(OfMany, AHundredThousandStatisticsAreShownWithoutDelay) {
    const std::vector<Sample> answer{sample(many(100'000))};
    const auto start = std::chrono::steady_clock::now();
    render(answer, {.format = GetParam(), .order = Order::Value});
    // Far more than it takes, for a busy machine and a build with sanitizers: only a time that grows with
    // the square would be noticed, by minutes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

std::string nameOf(const testing::TestParamInfo<Format>& format) {
    constexpr std::array names{"table", "json", "ndjson", "csv", "prometheus", "raw"};
    return names.at(static_cast<std::size_t>(format.param));
}

INSTANTIATE_TEST_SUITE_P(Formats, OfMany,
                         testing::Values(Format::Table, Format::Json, Format::Ndjson, Format::Csv,
                                         Format::Prometheus, Format::Raw),
                         nameOf);

}  // namespace

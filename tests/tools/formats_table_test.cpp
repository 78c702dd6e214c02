// The tables for the eye: what stands in them where, also when readings follow one another.
// Not a test of the formats for programs.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <gtest/gtest.h>

#include <cmath>

#include "samples.h"

namespace {

using namespace samples;

const Layout TABLE{};
const Layout COLOURED{.colours = true};

Layout columns(std::vector<Column> columns) {
    return {.columns = std::move(columns)};
}

// ---- Groups with their statistics

TEST(Table, NamesTheGatewayWhereThereAreSeveral) {
    EXPECT_EQ(render({sample({{"G", "A", "1"}}, "one"), sample({{"G", "A", "2"}}, "::1")}, TABLE),
              "== one:27400\nG\n  A  1\n== [::1]:27400\nG\n  A  2\n");
    EXPECT_EQ(render({sample({{"G"}}, "one"), sample({{"H"}}, "two")}, TABLE, Kind::Groups),
              "== one:27400\nG\n== two:27400\nH\n");
}

TEST(Table, LeavesAGatewayOutThatFailed) {
    EXPECT_EQ(render({failed("one"), sample({{"G", "A", "2"}}, "two")}, TABLE), "== two:27400\nG\n  A  2\n");
}

TEST(Table, LeavesOutWhatWasRejected) {
    EXPECT_EQ(render({sample({{"", "NO", {}, -1}, {"G", "A", "1"}})}, TABLE), "G\n  A  1\n");
}

TEST(Table, ShowsAnOverlongIdWithoutMovingTheValuesOfOthers) {
    const std::string overlong(30000, 'x');
    const std::string table = render({sample({{"G", overlong, "1"}, {"G", "A", "2"}})}, TABLE);
    EXPECT_EQ(table.substr(table.find("  A")), "  A" + std::string(79, ' ') + "2\n");
}

TEST(Table, ShowsAStatisticWhoseIdIsEmpty) {
    EXPECT_EQ(render({sample({{"G", "", "1"}, {"G", "A", "2"}})}, TABLE), "G\n     1\n  A  2\n");
}

// ---- When readings follow one another

TEST(Table, TellsTheTimeOfEachOfSeveralReadings) {
    EXPECT_EQ(render({sample({{"G", "A", "1"}})}, {.changes = true}),
              "== 2024-02-29T23:59:59.007Z\nG\n  A  1\n");
    EXPECT_EQ(render({sample({{"G", "A", "1"}}), sample({})}, {.changes = true}),
              "== gw:27400 2024-02-29T23:59:59.007Z\nG\n  A  1\n== gw:27400 2024-02-29T23:59:59.007Z\n");
}

TEST(Table, ShowsTheChangeInAColumnOfItsOwn) {
    const Sample answer = sample({changed({"G", "RISES", "125"}, 12.5L),
                                  changed({"G", "FALLS", "7"}, -3),
                                  restarted({"G", "ANEW", "1"}),
                                  {"G", "TEXT", "on"}});
    EXPECT_EQ(render({answer}, TABLE),
              "G\n"
              "  RISES  125  +12.5/s\n"
              "  FALLS    7     -3/s\n"
              "  ANEW     1  restart\n"
              "  TEXT    on\n");
}

struct Rate {
    long double perSecond;
    const char* shown;
};

TEST(Table, ShowsAsManyDigitsOfARateAsAreSensible) {
    for (const auto& [perSecond, shown] :
         {Rate{0, "0/s"}, Rate{-0.0L, "0/s"}, Rate{1, "+1/s"}, Rate{1.0L / 3, "+0.33/s"},
          Rate{-2.5L, "-2.5/s"}, Rate{12.34L, "+12.3/s"}, Rate{123.45L, "+123/s"},
          Rate{1234567.8L, "+1234568/s"}, Rate{0.0123L, "+0.0123/s"}, Rate{0.00012L, "+0.00012/s"},
          Rate{1e300L, "+1e+300/s"}}) {
        EXPECT_EQ(render({sample({changed({"", "A", "1"}, perSecond)})}, TABLE),
                  std::string("A  1  ") + shown + '\n');
    }
}

TEST(Table, ShowsNoRateThatIsNoNumber) {
    for (const long double rate : {static_cast<long double>(NAN), static_cast<long double>(INFINITY)}) {
        EXPECT_EQ(render({sample({changed({"", "A", "1"}, rate)})}, TABLE), "A  1\n");
    }
}

// ---- Chosen columns

TEST(FlatTable, AlignsNumbersOnTheRightUnderTheNamesOfTheColumns) {
    const Sample answer =
        sample({{"CPU", "USER", "1.5"}, {"CPU", "STATE", "busy"}, {"MEMORY", "FREE", "123456"}});
    EXPECT_EQ(render({answer}, columns({Column::Group, Column::Id, Column::Value, Column::Code})),
              "group   id      value  code\n"
              "CPU     USER      1.5     0\n"
              "CPU     STATE  busy       0\n"
              "MEMORY  FREE   123456     0\n");
}

TEST(FlatTable, HasNoBlanksAtTheEndOfALine) {
    const Sample answer = sample({{"G", "A", ""}, {"G", "LONGER", "1"}});
    EXPECT_EQ(render({answer}, columns({Column::Id, Column::Value, Column::Group})),
              "id      value  group\nA              G\nLONGER      1  G\n");
    EXPECT_EQ(render({answer}, columns({Column::Id, Column::Value})), "id      value\nA\nLONGER      1\n");
}

TEST(FlatTable, LeavesItsHeaderOutWhenTold) {
    EXPECT_EQ(render({sample({{"G", "A", "1"}})}, {.columns = {Column::Id, Column::Value}, .header = false}),
              "A  1\n");
}

TEST(FlatTable, TellsHostPortAndTime) {
    EXPECT_EQ(
        render({sample({{"G", "A", "1"}})}, columns({Column::Time, Column::Host, Column::Port, Column::Id})),
        "time                      host   port  id\n"
        "2024-02-29T23:59:59.007Z  gw    27400  A\n");
}

TEST(FlatTable, NamesEachOfSeveralGatewaysWhereNoColumnDoes) {
    const std::vector<Sample> both{sample({{"G", "A", "1"}}, "one"), sample({{"G", "A", "2"}}, "two")};
    EXPECT_EQ(render(both, columns({Column::Value})), "value\n== one:27400\n    1\n== two:27400\n    2\n");
    EXPECT_EQ(render(both, columns({Column::Host, Column::Value})),
              "host  value\none       1\ntwo       2\n");
}

TEST(FlatTable, ShowsWhatWasRejected) {
    EXPECT_EQ(render({sample({{"", "NO_SUCH", {}, -1}, {"G", "A", "1"}})},
                     columns({Column::Id, Column::Value, Column::Code})),
              "id       value  code\nNO_SUCH           -1\nA            1     0\n");
}

TEST(FlatTable, LetsNoControlByteThrough) {
    const std::string table = render({sample({{"G\x1b", "A\n", "\x9b\xff"}}, "h\x07")},
                                     columns({Column::Host, Column::Group, Column::Id, Column::Value}));
    EXPECT_EQ(table, "host   group  id        value\nh\\x07  G\\x1B  A\\x0A  \\x9B\\xFF\n");
}

// ---- Colours

TEST(Table, MarksGroupsRestartsAndRejectionsWithColours) {
    const Sample answer = sample({restarted({"G", "A", "1"}), changed({"G", "B", "2"}, 1)});
    EXPECT_EQ(render({answer}, COLOURED),
              "\x1b[1mG\x1b[0m\n  A  1  \x1b[33mrestart\x1b[0m\n  B  2     +1/s\n");
    Layout flat = columns({Column::Group, Column::Id, Column::Code});
    flat.colours = true;
    EXPECT_EQ(render({sample({{"", "NO", {}, -1}, {"G", "A", "1"}})}, flat),
              "group  id  code\n"
              "       \x1b[31mNO\x1b[0m    \x1b[31m-1\x1b[0m\n"
              "\x1b[1mG\x1b[0m      A      0\n");
}

TEST(Table, HasNoColoursUnlessTold) {
    const std::vector<Sample> answer{sample({restarted({"G", "A", "1"}), {"", "NO", {}, -1}})};
    for (const Layout& layout : {TABLE, columns({Column::Group, Column::Change})}) {
        EXPECT_EQ(render(answer, layout).find('\x1b'), std::string::npos);
    }
}

}  // namespace

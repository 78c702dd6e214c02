// What --sort makes of the order of readings.
// Not a test of how they are laid out: the values alone are looked at.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <gtest/gtest.h>

#include "samples.h"

namespace {

using namespace samples;

Layout sortedBy(Order order) {
    return {.format = Format::Raw, .order = order};
}

std::vector<Reading> values(const std::vector<std::string>& values) {
    std::vector<Reading> readings;
    for (const std::string& value : values) {
        readings.push_back({"G", "ID", value});
    }
    return readings;
}

TEST(Order, IsTheGatewaysByDefault) {
    EXPECT_EQ(render({sample(values({"2", "b", "1", "a"}))}, sortedBy(Order::Gateway)), "2\nb\n1\na\n");
}

TEST(Order, ByValueComparesNumbersByWhatTheyAreWorth) {
    EXPECT_EQ(render({sample(values({"10", "9", "1e1", "-1", "09.5"}))}, sortedBy(Order::Value)),
              "-1\n9\n09.5\n10\n1e1\n");
}

TEST(Order, ByValueTellsNumbersApartThatNoTypeHolds) {
    EXPECT_EQ(
        render({sample(values({"98765432109876543210.2", "98765432109876543210.1", "1e400", "1e5000"}))},
               sortedBy(Order::Value)),
        "98765432109876543210.1\n98765432109876543210.2\n1e400\n1e5000\n");
}

TEST(Order, ByValueSetsTextsByTheirBytesAfterNumbers) {
    EXPECT_EQ(render({sample(values({"b", "7", "", "a", "B"}))}, sortedBy(Order::Value)), "7\n\nB\na\nb\n");
}

TEST(Order, ByValueSetsWhatHasNoneLast) {
    const Sample answer = sample({{"G", "REJECTED", {}, -1}, {"G", "TEXT", "t"}, {"G", "NUMBER", "1"}});
    EXPECT_EQ(render({answer}, {.format = Format::Csv, .columns = {Column::Id}, .order = Order::Value}),
              "id\nNUMBER\nTEXT\nREJECTED\n");
}

TEST(Order, LeavesWhatIsEqualAsItStood) {
    std::vector<std::string> equal;  // enough for a sort to go about them in another way than for a few
    for (int zeros = 0; zeros < 100; ++zeros) {
        equal.push_back("1." + std::string(static_cast<std::size_t>(zeros * 37 % 100 + 1), '0'));
    }
    std::string lines;
    for (const std::string& value : equal) {
        lines += value + '\n';
    }
    EXPECT_EQ(render({sample(values(equal))}, sortedBy(Order::Value)), lines);
}

TEST(Order, ByIdComparesIdsByTheirBytes) {
    const Sample answer = sample({{"G", "b", "1"}, {"H", "A", "2"}, {"G", "a", "3"}, {"G", "\xc3", "4"}});
    EXPECT_EQ(render({answer}, sortedBy(Order::Id)), "2\n3\n1\n4\n");
}

TEST(Order, ByIdIsThatOfTheNamesOfGroups) {
    EXPECT_EQ(render({sample({{"MEMORY"}, {"CPU"}})}, sortedBy(Order::Id), Kind::Groups), "CPU\nMEMORY\n");
}

TEST(Order, ByChangeSetsRestartsAndWhatHasNoneLast) {
    const Reading none{"G", "ID", "none"};
    const Sample answer = sample({none, restarted({"G", "ID", "restart"}), changed({"G", "ID", "up"}, 10),
                                  changed({"G", "ID", "still"}, 0), changed({"G", "ID", "down"}, -9.5L)});
    EXPECT_EQ(render({answer}, sortedBy(Order::Change)), "down\nstill\nup\nrestart\nnone\n");
}

TEST(Order, HoldsWithinEachGateway) {
    EXPECT_EQ(render({sample(values({"4", "3"})), sample(values({"2", "1"}))}, sortedBy(Order::Value)),
              "3\n4\n1\n2\n");
}

TEST(Order, HoldsWithinEachGroupOfTheTable) {
    const Sample answer = sample({{"G", "b", "4"}, {"G", "a", "3"}, {"H", "d", "2"}, {"H", "c", "1"}});
    EXPECT_EQ(render({answer}, {.order = Order::Value}), "G\n  a  3\n  b  4\nH\n  c  1\n  d  2\n");
    EXPECT_EQ(render({answer}, {.columns = {Column::Id}, .order = Order::Value, .header = false}),
              "c\nd\na\nb\n");
}

}  // namespace

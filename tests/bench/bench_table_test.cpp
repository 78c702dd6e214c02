// What a report looks like.
#include "table.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace bench;

std::string printed(const Table& table) {
    std::ostringstream out;
    table.print(out);
    return out.str();
}

TEST(BenchTable, AlignsNumbersToTheRightAndTextsToTheLeft) {
    Table table({"name", "time", "calls"});
    table.add({"a", "1.25", "read 1"});
    table.add({"longer", "12345", "none"});
    EXPECT_EQ(printed(table), "name     time  calls\na        1.25  read 1\nlonger  12345  none\n\n");
}

TEST(BenchTable, FillsShortRows) {
    Table table({"a", "b"});
    table.add({"x"});
    EXPECT_EQ(printed(table), "a  b\nx\n\n");
}

TEST(BenchTable, ShowsThreeDigitsOfANumber) {
    EXPECT_EQ(number(0.1234), "0.123");
    EXPECT_EQ(number(1.234), "1.23");
    EXPECT_EQ(number(12.34), "12.3");
    EXPECT_EQ(number(123.4), "123");
    EXPECT_EQ(number(12345.6), "12346");
    EXPECT_EQ(number(-1.234), "-1.23");
}

TEST(BenchTable, ShowsWholeNumbersAsSuch) {
    EXPECT_EQ(number(0), "0");
    EXPECT_EQ(number(8), "8");
    EXPECT_EQ(number(-3), "-3");
}

}  // namespace

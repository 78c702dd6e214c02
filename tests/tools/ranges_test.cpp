// What ranges of monitoring plugins say to values.
// Not the command that reads the values (check_test.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "range.h"

#include <gtest/gtest.h>

namespace {

using tools::decimalOf;
using tools::zolstat::Range;

bool alerts(const std::string& range, const std::string& value) {
    return Range::parse(range).value().alerts(decimalOf(value).value());
}

TEST(Range, OfOneNumberAlertsBelowZeroAndAboveIt) {
    EXPECT_FALSE(alerts("10", "0"));
    EXPECT_FALSE(alerts("10", "10"));
    EXPECT_TRUE(alerts("10", "-0.1"));
    EXPECT_TRUE(alerts("10", "10.1"));
}

TEST(Range, WithoutUpperEndAlertsBelowItsStartOnly) {
    EXPECT_FALSE(alerts("10:", "10"));
    EXPECT_FALSE(alerts("10:", "1e30"));
    EXPECT_TRUE(alerts("10:", "9.999"));
}

TEST(Range, WithoutLowerEndAlertsAboveItsEndOnly) {
    EXPECT_FALSE(alerts("~:10", "-1e30"));
    EXPECT_FALSE(alerts("~:10", "10"));
    EXPECT_TRUE(alerts("~:10", "10.001"));
}

TEST(Range, OfTwoNumbersAlertsOutsideOfBoth) {
    EXPECT_TRUE(alerts("10:20", "9"));
    EXPECT_FALSE(alerts("10:20", "10"));
    EXPECT_FALSE(alerts("10:20", "20"));
    EXPECT_TRUE(alerts("10:20", "21"));
}

TEST(Range, WithAnAtSignAlertsInsideEndsIncluded) {
    EXPECT_FALSE(alerts("@10:20", "9"));
    EXPECT_TRUE(alerts("@10:20", "10"));
    EXPECT_TRUE(alerts("@10:20", "20"));
    EXPECT_FALSE(alerts("@10:20", "21"));
    EXPECT_TRUE(alerts("@0:10", "5"));
    EXPECT_TRUE(alerts("@10", "10"));
}

TEST(Range, MayBeNegativeAFractionOrEmptyOfEnds) {
    EXPECT_FALSE(alerts("-20:-10", "-15"));
    EXPECT_TRUE(alerts("-20:-10", "-5"));
    EXPECT_TRUE(alerts("0.5:1.5", "0.25"));
    EXPECT_FALSE(alerts("~:", "-17"));
    EXPECT_FALSE(alerts("7:7", "7"));
}

class NoRange : public testing::TestWithParam<const char*> {};

TEST_P(NoRange, IsTakenForOne) {
    EXPECT_FALSE(Range::parse(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Texts, NoRange,
                         testing::Values("", "@", ":", ":10", "~", "10:~", "20:10", "a", "1:b", "1:2:3",
                                         "10 ", " 10", "1,5", "0x10", "inf", "nan", "@@1", "--1", "1e",
                                         "1.2.3"));

}  // namespace

// What zolstat takes for a number, what it is worth, and which of two is greater.
// Not a test of how numbers are shown.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "common/number.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using tools::decimalOf;
using tools::isJsonNumber;
using tools::numberOf;
using tools::plainText;

const std::string ZEROS(6000, '0');

TEST(Number, IsASignDigitsAFractionAndAnExponent) {
    EXPECT_EQ(numberOf("0"), 0.0L);
    EXPECT_EQ(numberOf("+12"), 12.0L);
    EXPECT_EQ(numberOf("-12.5"), -12.5L);
    EXPECT_EQ(numberOf("007"), 7.0L);
    EXPECT_EQ(numberOf("1e3"), 1000.0L);
    EXPECT_EQ(numberOf("25E-2"), 0.25L);
    EXPECT_EQ(numberOf("2.5e+1"), 25.0L);
}

TEST(Number, IsNoOtherText) {
    for (const char* text : {"",    "-",   "+",        ".",   ".5",    "5.",    "1e",  "1e+",
                             "e5",  " 1",  "1 ",       "1,5", "1.2.3", "--1",   "+-1", "0x10",
                             "inf", "nan", "Infinity", "1f",  "12%",   "1'000", "1_0", "\xd9\xa1"}) {
        EXPECT_EQ(numberOf(text), std::nullopt) << text;
        EXPECT_EQ(decimalOf(text), std::nullopt) << text;
        EXPECT_FALSE(isJsonNumber(text)) << text;
    }
    EXPECT_EQ(numberOf(std::string_view("1\0", 2)), std::nullopt);
}

TEST(Number, KeepsTwentyDigitsOfACounter) {
    EXPECT_EQ(*numberOf("18446744073709551615") - *numberOf("18446744073709551614"), 1.0L);
}

TEST(Number, BeyondTheTypesRangeIsNothingAtOneEndAndZeroAtTheOther) {
    EXPECT_EQ(numberOf("1e999999"), std::nullopt);
    EXPECT_EQ(numberOf("-1" + ZEROS), std::nullopt);
    EXPECT_EQ(numberOf("1" + ZEROS + "e-1"), std::nullopt);
    EXPECT_EQ(numberOf("1e-999999"), 0.0L);
    EXPECT_EQ(numberOf("0." + ZEROS + "1"), 0.0L);
    EXPECT_EQ(numberOf("0." + ZEROS + "1e3"), 0.0L);
    EXPECT_EQ(numberOf("1e99999999999999999999999999"), std::nullopt);
    EXPECT_EQ(numberOf("0e99999999999999999999999999"), 0.0L);
}

// Each is less than the next.
const std::vector<std::string> ASCENDING{
    "-1e400",
    "-98765432109876543210.2",
    "-98765432109876543210.1",
    "-2",
    "-1.5",
    "-1e-400",
    "0",
    "1e-400",
    "2e-400",
    "0.1",
    "0.11",
    "0.2",
    "1",
    "9",
    "10",
    "99999999999999999998",
    "99999999999999999999",
    "99999999999999999999.0000000000000000000000001",
    "1e400",
    "1e99999999999",
};

TEST(Number, IsComparedExactly) {
    for (std::size_t i = 0; i < ASCENDING.size(); ++i) {
        for (std::size_t j = 0; j < ASCENDING.size(); ++j) {
            EXPECT_EQ(*decimalOf(ASCENDING[i]) <=> *decimalOf(ASCENDING[j]), i <=> j)
                << ASCENDING[i] << ' ' << ASCENDING[j];
        }
    }
}

TEST(Number, IsComparedByWhatItIsWorth) {
    for (const char* text : {"1200", "01200", "+1200.0", "1.2e3", "12E+2", "120000e-2", "0.00012e7"}) {
        EXPECT_EQ(decimalOf(text), decimalOf("1200")) << text;
    }
    for (const char* text : {"0", "-0", "0.000", "0e5", "000"}) {
        EXPECT_EQ(decimalOf(text), decimalOf("0")) << text;
    }
}

TEST(Number, IsOneOfJsonToo) {
    for (const char* text : {"0", "-0", "0.5", "-12.250", "1e400", "1E+05", "98765432109876543210.125"}) {
        EXPECT_TRUE(isJsonNumber(text)) << text;
    }
    for (const char* text : {"+1", "01", "-01", "00", "007.5"}) {
        EXPECT_TRUE(decimalOf(text)) << text;
        EXPECT_FALSE(isJsonNumber(text)) << text;
    }
}

TEST(Number, IsWrittenPlainWithoutExponentOrPlus) {
    const std::pair<const char*, const char*> cases[] = {
        {"+7", "7"},         {"-0", "0"},       {"1e3", "1000"},
        {"15e-4", "0.0015"}, {"-2.50", "-2.5"}, {"12345678901234567890", "12345678901234567890"}};
    for (const auto& [text, plain] : cases) {
        EXPECT_EQ(plainText(decimalOf(text).value()), plain) << text;
    }
    EXPECT_EQ(plainText(decimalOf("1e309").value()), std::nullopt);
    EXPECT_EQ(plainText(decimalOf("1e-309").value()), std::nullopt);
}

}  // namespace

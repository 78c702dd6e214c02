// Tests of what a client may ask for by its headers: the format of the answer, and the time it may take.
// Not tests of the answers themselves (service_test.py).
// Nothing here comes from the protocol of the Gateways.
#include "negotiation.h"

#include <gmock/gmock.h>

namespace {

using std::chrono::milliseconds;
using tools::ExpositionFormat;
using tools::exporter::formatFor;
using tools::exporter::timeoutFor;

constexpr milliseconds OFFSET{500};
constexpr milliseconds OTHERWISE{9000};

// ---- Formats

TEST(Format, IsTextForThoseWhoDoNotSay) {
    EXPECT_EQ(formatFor(""), ExpositionFormat::Text);
    EXPECT_EQ(formatFor("*/*"), ExpositionFormat::Text);
    EXPECT_EQ(formatFor("text/html,application/xhtml+xml,*/*;q=0.8"), ExpositionFormat::Text);
}

TEST(Format, IsOpenMetricsForAPrometheusOfToday) {
    EXPECT_EQ(
        formatFor(
            "application/openmetrics-text;version=1.0.0,application/openmetrics-text;version=0.0.1;q=0.75,"
            "text/plain;version=0.0.4;q=0.5,*/*;q=0.1"),
        ExpositionFormat::OpenMetrics);
}

TEST(Format, IsTheOneOfHigherQuality) {
    EXPECT_EQ(formatFor("application/openmetrics-text; q=0.3, text/plain; q=0.5"), ExpositionFormat::Text);
    EXPECT_EQ(formatFor("text/plain; q=0.3 , application/openmetrics-text ; q=0.5"),
              ExpositionFormat::OpenMetrics);
}

TEST(Format, IsNotOneThatTheClientRefusesOrOfAnotherVersion) {
    EXPECT_EQ(formatFor("application/openmetrics-text;q=0"), ExpositionFormat::Text);
    EXPECT_EQ(formatFor("application/openmetrics-text;version=2.0.0"), ExpositionFormat::Text);
    EXPECT_EQ(formatFor("application/openmetrics-text;q=many,text/plain"), ExpositionFormat::Text);
}

TEST(Format, IsUnderstoodInQuotesAndInAnyCase) {
    for (const char* const accept :
         {"Application/OpenMetrics-Text", "application/openmetrics-text;Version=1.0.0",
          "application/openmetrics-text; version=\"1.0.0\"; charset=\"utf-8\"",
          "TEXT/plain;Q=0.4, application/openmetrics-text;q=0.5"}) {
        EXPECT_EQ(formatFor(accept), ExpositionFormat::OpenMetrics) << accept;
    }
    EXPECT_EQ(formatFor("TEXT/Plain, application/openmetrics-text;q=0.5"), ExpositionFormat::Text);
    EXPECT_EQ(formatFor("application/openmetrics-text;version=\"2.0.0\""), ExpositionFormat::Text);
}

// ---- Time

TEST(Timeout, IsWhatPrometheusAllowsLessTheOffset) {
    EXPECT_EQ(timeoutFor("10", OFFSET, OTHERWISE), milliseconds(9500));
    EXPECT_EQ(timeoutFor("2.25", OFFSET, OTHERWISE), milliseconds(1750));
}

TEST(Timeout, LeavesAShortScrapeHalfOfItsTime) {
    EXPECT_EQ(timeoutFor("0.4", OFFSET, OTHERWISE), milliseconds(200));
    EXPECT_EQ(timeoutFor("0.000001", OFFSET, OTHERWISE), milliseconds(1));
}

TEST(Timeout, IsTheOwnersWhereTheHeaderIsMissingOrMakesNoSense) {
    EXPECT_EQ(timeoutFor(std::nullopt, OFFSET, OTHERWISE), OTHERWISE);
    for (const char* text : {"", "0", "-1", "soon", "1 s", "nan", "inf"}) {
        EXPECT_EQ(timeoutFor(text, OFFSET, OTHERWISE), OTHERWISE) << text;
    }
}

TEST(Timeout, IsTwoMinutesAtMost) {
    EXPECT_EQ(timeoutFor("1e300", OFFSET, OTHERWISE), milliseconds(119500));
}

}  // namespace

// How metrics are written: both formats, escapes, and what would spoil a whole scrape.
// Not a test of which metrics there are, nor of the parsers that read them (expositions_test.py).
// Both formats are described by the Prometheus and OpenMetrics projects.
#include "common/exposition.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_view_literals;
using tools::exposedNumber;
using tools::Exposition;
using tools::ExpositionFormat;
using tools::Labels;
using tools::MetricType;

std::string both(ExpositionFormat format) {
    Exposition exposition(format);
    const auto counter =
        exposition.family("read_bytes_total", MetricType::Counter, "A \"count\"\\\nof two lines.");
    const auto untyped = exposition.family("x", MetricType::Untyped, "Any.");
    exposition.family("unused", MetricType::Gauge, "Does not show.");
    const auto gauge = exposition.family("took_seconds", MetricType::Gauge, "How long.");
    exposition.add(gauge, {{"phase", "open"}}, 0.25);
    exposition.add(untyped, {}, "+007.50");
    exposition.add(counter, {{"b", "1"}, {"a", "2"}}, "3");
    exposition.add(gauge, {{"phase", "walk"}}, 1.0);
    return exposition.text();
}

TEST(ExpositionText, HasFamiliesInTheirOrderAndLabelsAsGiven) {
    EXPECT_EQ(both(ExpositionFormat::Text),
              "# HELP read_bytes_total A \"count\"\\\\\\nof two lines.\n"
              "# TYPE read_bytes_total counter\n"
              "read_bytes_total{b=\"1\",a=\"2\"} 3\n"
              "# HELP x Any.\n"
              "# TYPE x untyped\n"
              "x +007.50\n"
              "# HELP took_seconds How long.\n"
              "# TYPE took_seconds gauge\n"
              "took_seconds{phase=\"open\"} 0.25\n"
              "took_seconds{phase=\"walk\"} 1\n");
}

TEST(ExpositionText, HasTheOtherWordsOfOpenMetrics) {
    EXPECT_EQ(both(ExpositionFormat::OpenMetrics),
              "# HELP read_bytes A \\\"count\\\"\\\\\\nof two lines.\n"
              "# TYPE read_bytes counter\n"
              "# UNIT read_bytes bytes\n"
              "read_bytes_total{b=\"1\",a=\"2\"} 3\n"
              "# HELP x Any.\n"
              "# TYPE x unknown\n"
              "x +007.50\n"
              "# HELP took_seconds How long.\n"
              "# TYPE took_seconds gauge\n"
              "# UNIT took_seconds seconds\n"
              "took_seconds{phase=\"open\"} 0.25\n"
              "took_seconds{phase=\"walk\"} 1\n"
              "# EOF\n");
}

// The sample of an exposition that has one.
std::string line(const Labels& labels, std::string_view number = "1") {
    Exposition exposition(ExpositionFormat::Text);
    exposition.add(exposition.family("x", MetricType::Gauge, "Help."), labels, number);
    const std::string text = exposition.text();
    return text.substr(text.find("\nx") + 1);
}

std::string shortest(double number) {
    Exposition exposition(ExpositionFormat::Text);
    exposition.add(exposition.family("x", MetricType::Gauge, "Help."), {}, number);
    const std::string text = exposition.text();
    return text.substr(text.find("\nx ") + 3, text.size() - text.find("\nx ") - 4);
}

TEST(ExpositionText, HasAtLeastItsEndInOpenMetrics) {
    EXPECT_EQ(Exposition(ExpositionFormat::Text).text(), "");
    EXPECT_EQ(Exposition(ExpositionFormat::OpenMetrics).text(), "# EOF\n");
}

TEST(ExpositionText, EscapesLabelsSoThatBytesCanBeHadBack) {
    EXPECT_EQ(line({{"a", "q\"b\\n\nx\0\xff"sv}}), "x{a=\"q\\\"b\\\\\\\\n\\\\x0Ax\\\\x00\\\\xFF\"} 1\n");
    EXPECT_EQ(line({{"a", "gr\xc3\xbc\xc3\x9f"}}), "x{a=\"gr\xc3\xbc\xc3\x9f\"} 1\n");
}

TEST(ExpositionText, HasTheShortestDigitsThatReadBackTheSame) {
    EXPECT_EQ(shortest(0.1), "0.1");
    EXPECT_EQ(shortest(1e300), "1e+300");
    EXPECT_EQ(shortest(-0.0), "-0");
    EXPECT_EQ(shortest(4096), "4096");
    EXPECT_EQ(shortest(std::numeric_limits<double>::quiet_NaN()), "NaN");
    EXPECT_EQ(shortest(-std::numeric_limits<double>::infinity()), "-Inf");
    EXPECT_EQ(shortest(std::numeric_limits<double>::infinity()), "+Inf");
}

TEST(ExpositionText, TellsASeriesOnce) {
    Exposition exposition(ExpositionFormat::Text);
    const auto x = exposition.family("x", MetricType::Gauge, "Help.");
    const auto y = exposition.family("y", MetricType::Gauge, "Help.");
    EXPECT_TRUE(exposition.add(x, {{"a", "1"}, {"b", "2"}}, "1"));
    EXPECT_FALSE(exposition.add(x, {{"a", "1"}, {"b", "2"}}, "2"));
    EXPECT_FALSE(exposition.add(x, {{"b", "2"}, {"a", "1"}}, "2"))
        << "the order of labels tells nothing apart";
    EXPECT_FALSE(exposition.add(x, {{"b", "2"}, {"a", "1"}, {"c", ""}}, "2")) << "nor does an empty one";
    EXPECT_TRUE(exposition.add(x, {{"a", "1,b=2:2"}}, "1"));
    EXPECT_TRUE(exposition.add(x, {{"a", "2"}, {"b", "1"}}, "1"));
    EXPECT_TRUE(exposition.add(y, {{"a", "1"}, {"b", "2"}}, "1"));
}

TEST(ExpositionText, KeepsTypeAndHelpOfTheFirstMention) {
    Exposition exposition(ExpositionFormat::Text);
    const auto first = exposition.family("x", MetricType::Gauge, "First.");
    EXPECT_EQ(exposition.family("x", MetricType::Untyped, "Second."), first);
    exposition.add(first, {}, "1");
    EXPECT_EQ(exposition.text(), "# HELP x First.\n# TYPE x gauge\nx 1\n");
}

// The types of families in OpenMetrics, by the names that they are told under.
std::string familiesOf(const std::vector<std::pair<std::string, MetricType>>& families) {
    Exposition exposition(ExpositionFormat::OpenMetrics);
    for (const auto& [name, type] : families) {
        exposition.add(exposition.family(name, type, "Help."), {}, "1");
    }
    std::istringstream lines(exposition.text());
    std::string found;
    for (std::string one; std::getline(lines, one);) {
        found += one.starts_with("# TYPE ") ? one.substr(7) + ';' : "";
    }
    return found;
}

TEST(ExpositionText, LeavesNoTwoFamiliesOneName) {
    constexpr auto counter = MetricType::Counter;
    constexpr auto gauge = MetricType::Gauge;
    EXPECT_EQ(familiesOf({{"a_total", counter}, {"a", gauge}}), "a_total unknown;a gauge;");
    EXPECT_EQ(familiesOf({{"a", gauge}, {"a_total", counter}}), "a gauge;a_total unknown;");
    EXPECT_EQ(familiesOf({{"a_total", counter}, {"a_created", gauge}}), "a_total unknown;a_created gauge;");
    EXPECT_EQ(familiesOf({{"a_total_total", counter}, {"a_total", counter}}),
              "a_total_total unknown;a counter;");
    EXPECT_EQ(familiesOf({{"a_total", counter}, {"a_created_total", counter}}),
              "a counter;a_created_total unknown;");
    EXPECT_EQ(familiesOf({{"a_total", counter}, {"b_total", counter}}), "a counter;b counter;");
}

TEST(ExpositionText, NamesItsFormats) {
    EXPECT_EQ(contentType(ExpositionFormat::Text), "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_EQ(contentType(ExpositionFormat::OpenMetrics),
              "application/openmetrics-text; version=1.0.0; charset=utf-8");
}

TEST(ExposedNumber, HasTheDigitsAsTheyCame) {
    for (const char* const digits : {"0", "-0", "007", "+5", "0.10", "-12.5e-3", "98765432109876543210.125",
                                     "1.7976931348623157e308", "1e-999"}) {
        EXPECT_EQ(exposedNumber(digits), digits);
    }
}

TEST(ExposedNumber, SpellsWhatIsNotFiniteAsPrometheusDoes) {
    EXPECT_EQ(exposedNumber("nan"), "NaN");
    EXPECT_EQ(exposedNumber("Infinity"), "+Inf");
    EXPECT_EQ(exposedNumber("-inf"), "-Inf");
}

TEST(ExposedNumber, IsMissingForTextsAndForWhatIsTooLarge) {
    for (const char* const text :
         {"", " 5", "5 ", "0x10", "1,5", ".5", "5.", "busy", "1e999", "-1e309", "1e", "--1"}) {
        EXPECT_EQ(exposedNumber(text), std::nullopt) << text;
    }
}

}  // namespace

// The pages as they come from the exporter: complete, escaped, and in bounds.
// Not a test of what browsers make of them (pages_test.py).
// Nothing here comes from the protocol of the Gateways.
#include "pages.h"

#include <gmock/gmock.h>

#include "page_files.h"
#include "page_template.h"
#include "sample_scrapes.h"

namespace tools::exporter {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;

std::string landing(const std::vector<Fleet::Member>& members, double secondsLater = 5) {
    return landingPage(members, secondsSince1970(SAMPLE_TIME + secondsLater)).body;
}

std::string landingWithFailure(Reason reason, const std::string& text) {
    return landing({memberOf(failedScrape(reason, text))});
}

TEST(PageTemplate, EscapesWhatFillsAHole) {
    EXPECT_EQ(filled("<b title='{{x}}'>", {{"x", "<&>\"'"}}), "<b title='&lt;&amp;&gt;&quot;&#39;'>");
}

TEST(PageTemplate, TakesMarkupOnlyWhereItSaysSo) {
    EXPECT_EQ(filled("a{{{x}}}b{{x}}c", {{"x", "<i>"}}), "a<i>b&lt;i&gt;c");
}

TEST(PageTemplate, FindsNoHolesInWhatFillsAHole) {
    EXPECT_EQ(filled("{{x}}{{{x}}}", {{"x", "{{y}}"}}), "{{y}}{{y}}");
}

TEST(PageTemplate, RefusesAHoleThatNothingFills) {
    EXPECT_THROW(filled("{{x}}", {}), std::logic_error);
    EXPECT_THROW(filled("{{x", {{"x", ""}}), std::logic_error);
}

TEST(UrlArgument, HasNoCharacterWithAMeaning) {
    EXPECT_EQ(asUrlArgument("[::1]:1"), "%5B%3A%3A1%5D%3A1");
    EXPECT_EQ(asUrlArgument("gw-1.example_a~&?#%+ \"<"), "gw-1.example_a~%26%3F%23%25%2B%20%22%3C");
}

TEST(LandingPage, TellsWhatTheLastScrapeFoundOut) {
    EXPECT_THAT(landing({memberOf(goodScrape())}),
                AllOf(HasSubstr(">127.0.0.1:27400</a>"), HasSubstr(">up</span>"), HasSubstr(">5 s ago<"),
                      HasSubstr("2023-11-14 22:13:20 UTC"), HasSubstr("data-field=\"open\">1.0<"),
                      HasSubstr("data-field=\"query\">2.5<"), HasSubstr("data-field=\"statistics\">2<")));
}

TEST(LandingPage, TellsWhyAGatewayIsDown) {
    EXPECT_THAT(landingWithFailure(Reason::Connect, "refused"),
                AllOf(HasSubstr(">down</span>"), HasSubstr(">connect: refused</span>"),
                      HasSubstr("data-field=\"statistics\"><")));
}

TEST(LandingPage, NamesTheGroupsThatAGatewayHasNot) {
    Scrape scrape = goodScrape();
    scrape.rejectedGroups = {"DISK", "<NET>"};
    EXPECT_THAT(landing({memberOf(scrape)}),
                AllOf(HasSubstr(">up</span>"), HasSubstr("has no group DISK, &lt;NET&gt;")));
}

TEST(LandingPage, TellsThatAGatewayWasNotAsked) {
    EXPECT_THAT(landing({{{"gw", 1}, true, nullptr}}), HasSubstr("1 Gateway: 0 up, 0 down, 1 not asked yet"));
}

TEST(LandingPage, CountsTheGatewaysByState) {
    EXPECT_THAT(landing({memberOf(goodScrape()),
                         memberOf(failedScrape(Reason::Lost, "")),
                         memberOf(failedScrape(Reason::Lost, "")),
                         {{"gw", 1}, true, nullptr}}),
                HasSubstr("4 Gateways: 1 up, 2 down, 1 not asked yet"));
}

TEST(LandingPage, TellsLongAgesInLargerUnits) {
    EXPECT_THAT(landing({memberOf(goodScrape())}, 119), HasSubstr(">119 s ago<"));
    EXPECT_THAT(landing({memberOf(goodScrape())}, 600), HasSubstr(">10 min ago<"));
    EXPECT_THAT(landing({memberOf(goodScrape())}, 36000), HasSubstr(">10 h ago<"));
    EXPECT_THAT(landing({memberOf(goodScrape())}, -3), HasSubstr(">0 s ago<"));
}

TEST(LandingPage, LeadsToMetricsTraceAndLiveViewOfAGateway) {
    EXPECT_THAT(landing({{{"::1", 1}, true, nullptr}}),
                AllOf(HasSubstr("href=\"probe?target=%5B%3A%3A1%5D%3A1\""),
                      HasSubstr("href=\"probe?debug=1&amp;target=%5B%3A%3A1%5D%3A1\""),
                      HasSubstr("href=\"live?target=%5B%3A%3A1%5D%3A1\"")));
}

TEST(LandingPage, ShowsTextsOfOthersAsText) {
    EXPECT_THAT(landingWithFailure(Reason::NotAGateway, "<script>alert('\x1b')</script>"),
                AllOf(Not(HasSubstr("<script>")), HasSubstr("&lt;script&gt;alert(&#39;\\x1B&#39;)")));
}

TEST(LivePage, HasTheTargetEscaped) {
    EXPECT_THAT(livePage({"\"><script>", 1}).body,
                AllOf(HasSubstr("data-target=\"&quot;&gt;&lt;script&gt;:1\""),
                      HasSubstr("probe?target=%22%3E%3Cscript%3E%3A1"), Not(HasSubstr("<script>"))));
}

TEST(Pages, LoadNothingFromElsewhereAndRunNoScriptOfTheirText) {
    for (const auto& [name, bytes] : PAGE_FILES) {
        EXPECT_THAT(std::string(bytes), Not(testing::ContainsRegex("(src|href|action)=\"(https?:)?//")))
            << name;
        EXPECT_THAT(std::string(bytes),
                    Not(testing::ContainsRegex(" on[a-z]+=\"|style=\"|innerHTML|eval\\(")))
            << name;
    }
}

TEST(Pages, AreKeptInBoundsByTheirHeaders) {
    for (const http::Response& response :
         {landingPage({}, {}), livePage({}), pageFile("/pages/live.js").value()}) {
        EXPECT_EQ(response.status, 200);
        EXPECT_THAT(
            response.headers,
            Contains(Pair("Content-Security-Policy",
                          "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
                          "img-src 'self' data:; base-uri 'none'; form-action 'self'; "
                          "frame-ancestors 'none'")));
    }
}

TEST(PageFiles, HaveTheirTypes) {
    EXPECT_EQ(pageFile("/pages/style.css")->contentType, "text/css; charset=utf-8");
    EXPECT_EQ(pageFile("/pages/landing.js")->contentType, "text/javascript; charset=utf-8");
    EXPECT_EQ(pageFile("/pages/favicon.svg")->contentType, "image/svg+xml");
}

TEST(PageFiles, AreNoOthersThanThose) {
    for (const char* path : {"/pages/", "/pages/landing.html", "/pages/pages.cmake", "/pages/../style.css",
                             "/style.css", "/pages/none.js", ""}) {
        EXPECT_FALSE(pageFile(path).has_value()) << path;
    }
}

}  // namespace
}  // namespace tools::exporter

// What patterns with wildcards fit, those for ids and those for targets.
// Not a test of who uses them.
// Nothing here comes from the protocol.
#include <gtest/gtest.h>

#include "pattern.h"

namespace {

using namespace std::string_literals;
using tools::BadEndpoint;
using tools::Endpoint;
using tools::exporter::Pattern;
using tools::exporter::TargetPattern;

bool fits(const std::string& pattern, const std::string& id) {
    return Pattern(pattern).fits(id);
}

bool admits(const std::string& pattern, const std::string& host, int port = 27400) {
    return TargetPattern(pattern).fits({host, port});
}

TEST(PatternOfIds, WithoutWildcardsFitsOnlyItself) {
    EXPECT_TRUE(fits("CPU.0[1]", "CPU.0[1]"));
    EXPECT_FALSE(fits("CPU", "CPU_"));
    EXPECT_FALSE(fits("CPU", "cpu"));
    EXPECT_FALSE(fits("CPU", ""));
    EXPECT_TRUE(fits("", ""));
    EXPECT_FALSE(fits("", "CPU"));
}

TEST(PatternOfIds, TakesAnyBytesForAStar) {
    EXPECT_TRUE(fits("*", ""));
    EXPECT_TRUE(fits("*", "a.b:c\n\0"s));
    EXPECT_TRUE(fits("A*C", "AC"));
    EXPECT_TRUE(fits("A*C", "ABCBC"));
    EXPECT_FALSE(fits("A*C", "ABCB"));
    EXPECT_TRUE(fits("**A**", "xAx"));
    EXPECT_TRUE(fits("*VERSION*", "THE_VERSION"));
}

TEST(PatternOfIds, TakesOneByteForAQuestionMark) {
    EXPECT_TRUE(fits("CPU?", "CPU1"));
    EXPECT_FALSE(fits("CPU?", "CPU"));
    EXPECT_FALSE(fits("CPU?", "CPU12"));
    EXPECT_TRUE(fits("?*", "x"));
    EXPECT_FALSE(fits("?*", ""));
}

TEST(PatternOfIds, IsNotSlowedDownByWhatItIsHeldAgainst) {
    std::string pattern;
    for (int i = 0; i < 50; ++i) {
        pattern += "*a";
    }
    EXPECT_FALSE(fits(pattern + "b", std::string(32767, 'a')));
    EXPECT_TRUE(fits(pattern, std::string(32767, 'a')));
}

TEST(PatternOfTargets, WithoutWildcardsFitsOneGateway) {
    EXPECT_TRUE(admits("db1.example.org:4000", "db1.example.org", 4000));
    EXPECT_FALSE(admits("db1.example.org:4000", "db1.example.org", 4001));
    EXPECT_FALSE(admits("db1.example.org:4000", "db1-example.org", 4000));
    EXPECT_FALSE(admits("example.org", "db1.example.org"));
    EXPECT_FALSE(admits("example.org", "example.org.evil.net"));
}

TEST(PatternOfTargets, MeansTheDefaultPortWhereItNamesNone) {
    EXPECT_TRUE(admits("db1", "db1", 27400));
    EXPECT_FALSE(admits("db1", "db1", 80));
    EXPECT_TRUE(admits("**", "127.0.0.1", 27400));
    EXPECT_FALSE(admits("**", "127.0.0.1", 22));
}

TEST(PatternOfTargets, TakesOnePartOfAHostForAStar) {
    EXPECT_TRUE(admits("*.example.org", "db1.example.org"));
    EXPECT_TRUE(admits("db*.example.org", "db1.example.org"));
    EXPECT_FALSE(admits("db*.example.org", "db.example.org"));
    EXPECT_FALSE(admits("*.example.org", "a.b.example.org"));
    EXPECT_FALSE(admits("*.example.org", ".example.org"));
    EXPECT_FALSE(admits("*", "127.0.0.1"));
    EXPECT_TRUE(admits("10.0.*.*", "10.0.3.255"));
    EXPECT_FALSE(admits("10.0.?.1", "10.0..1"));
}

TEST(PatternOfTargets, LetsNoNamesIntoANetworkOfAddresses) {
    EXPECT_FALSE(admits("192.168.1.*", "192.168.1.com"));
    EXPECT_FALSE(admits("192.168.1.1?", "192.168.1.1x"));
    EXPECT_FALSE(admits("10.**", "10.example.org"));
    EXPECT_FALSE(admits("1*", "1x"));
    EXPECT_TRUE(admits("192.168.1.*", "192.168.1.20"));
    EXPECT_TRUE(admits("192.168.1.1?", "192.168.1.17"));
    EXPECT_TRUE(admits("10.**", "10.0.3.255"));
    EXPECT_TRUE(admits("1*.example.org", "1x.example.org"));
}

TEST(PatternOfTargets, TakesAnythingForTwoStars) {
    EXPECT_TRUE(admits("**.example.org", "a.b.example.org"));
    EXPECT_TRUE(admits("**", "fe80::1"));
    EXPECT_FALSE(admits("**.example.org", "a.b.example.net"));
    EXPECT_TRUE(admits("**a*b", "a.axb"));
}

TEST(PatternOfTargets, HasWildcardsInThePortToo) {
    EXPECT_TRUE(admits("db1:*", "db1", 1));
    EXPECT_TRUE(admits("db1:274??", "db1", 27499));
    EXPECT_FALSE(admits("db1:274??", "db1", 27500));
    EXPECT_FALSE(admits("db1:274*", "db1", 274));
    EXPECT_TRUE(admits("**:*", "a.b.c", 65535));
}

TEST(PatternOfTargets, TakesNoHostForAPort) {
    EXPECT_FALSE(admits("**:27400", "evil:27400", 22));
    EXPECT_FALSE(admits("db1:*", "db1:x", 22));
}

TEST(PatternOfTargets, ComparesHostsWithoutRegardToCase) {
    EXPECT_TRUE(admits("DB1.Example.org", "db1.eXample.ORG"));
}

TEST(PatternOfTargets, NamesIpv6AddressesInBrackets) {
    EXPECT_TRUE(admits("[::1]:27400", "::1"));
    EXPECT_TRUE(admits("[fe80::**]:*", "fe80::1:2", 5));
    EXPECT_FALSE(admits("[fe80::*]:*", "fe80::1:2", 5));
}

TEST(PatternOfTargets, IsRefusedWhereItCouldFitNoGateway) {
    for (const char* const text :
         {"", ":27400", ":*", "db1:", "db1:0", "db1:65536", "db1:x*", "::*", "[::1]*", "http://db1:*",
          "@file", "gw[12].x:1", "é*:1", "a b:*", "\x1b[31m*"}) {
        EXPECT_THROW(TargetPattern{text}, BadEndpoint) << text;
    }
}

}  // namespace

// Targets of requests, taken apart.
// Not a test of what the server does with them.
// Nothing here comes from the protocol of the Gateways.
#include "http/target.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using tools::exporter::http::parseTarget;

TEST(HttpTarget, ATargetIsAPathAndArgumentsInTheirOrder) {
    const auto target = parseTarget("/probe?target=host:1&collect[]=A&collect[]=B&debug");
    ASSERT_TRUE(target);
    EXPECT_EQ(target->path, "/probe");
    EXPECT_THAT(target->arguments, ElementsAre(Pair("target", "host:1"), Pair("collect[]", "A"),
                                               Pair("collect[]", "B"), Pair("debug", "")));
}

TEST(HttpTarget, EscapesAreDecodedOnceAndAPlusIsASpaceInArgumentsOnly) {
    const auto target = parseTarget("/a+b%20c?x%3Dy=%2541+b&e=%C3%A9");
    ASSERT_TRUE(target);
    EXPECT_EQ(target->path, "/a+b c");
    EXPECT_THAT(target->arguments, ElementsAre(Pair("x=y", "%41 b"), Pair("e", "\xC3\xA9")));
}

TEST(HttpTarget, SeparatorsThatAreEscapedSeparateNothing) {
    const auto target = parseTarget("/a%3Fb?c=1%262=d");
    ASSERT_TRUE(target);
    EXPECT_EQ(target->path, "/a?b");
    EXPECT_THAT(target->arguments, ElementsAre(Pair("c", "1&2=d")));
}

TEST(HttpTarget, TheServersNameInFrontIsLeftOut) {
    ASSERT_TRUE(parseTarget("http://host:9740/metrics?a=b"));
    EXPECT_EQ(parseTarget("http://host:9740/metrics?a=b")->path, "/metrics");
    EXPECT_EQ(parseTarget("https://host")->path, "/");
}

TEST(HttpTarget, EmptyArgumentsAreNone) {
    ASSERT_TRUE(parseTarget("/?&&"));
    EXPECT_THAT(parseTarget("/?&&")->arguments, IsEmpty());
}

TEST(HttpTarget, BrokenEscapesAreRefused) {
    for (const auto* text : {"/%", "/%4", "/%4g", "/%zz", "/?a=%", "/?%-1=b", "/?a=%+1", "/%0x41"}) {
        EXPECT_FALSE(parseTarget(text)) << text;
    }
}

TEST(HttpTarget, ControlCharactersAreRefusedEscapedOrNot) {
    for (const auto* text : {"/%00", "/a%0d%0a", "/?a=%00", "/?%1b=b", "/?a=%7f", "/\x1b", "/?a=\x01"}) {
        EXPECT_FALSE(parseTarget(text)) << text;
    }
}

TEST(HttpTarget, SpacesAreRefusedUnlessEscaped) {
    EXPECT_FALSE(parseTarget("/a b"));
    EXPECT_FALSE(parseTarget("/?a=b c"));
    EXPECT_TRUE(parseTarget("/?a=b%20c"));
}

TEST(HttpTarget, WhatHasNoPathIsRefused) {
    for (const auto* text : {"", "*", "metrics", "?a=b", "host:443", "ftp://host/"}) {
        EXPECT_FALSE(parseTarget(text)) << text;
    }
}

}  // namespace

// The parsers on call data that a Java virtual machine wrote with its own ObjectOutputStream.
// Hand-made call data, the strange and the broken included, is read in call_data_test.cpp and
// call_data_limits_test.cpp. The layout is written down in docs/protocol.md, the files are told in
// fixtures/fixtures.h.
#include <gmock/gmock.h>

#include "fixtures/fixtures.h"
#include "wire/call_data.h"

namespace {

using namespace testing_support;

// The set that a fixture becomes.
Bytes element(const fixtures::Response& response, bool withData) {
    if (response.code < 0) {
        return rejected(response.query, response.code);
    }
    std::vector<Bytes> items;
    for (const fixtures::Item& each : response.items) {
        items.push_back(withData ? statItem(each.id, each.data) : idItem(each.id));
    }
    return answered(response.query, response.code, items);
}

std::vector<Bytes> elements(const fixtures::Fixture& fixture, bool withData) {
    std::vector<Bytes> each;
    for (const fixtures::Response& response : fixture.responses) {
        each.push_back(element(response, withData));
    }
    return each;
}

class JavaStream : public ParserTest, public testing::WithParamInterface<fixtures::Fixture> {
  protected:
    using Parser = int (*)(const unsigned char*, int, unsigned char**, int*);
    using TrustingParser = int (*)(const unsigned char*, unsigned char**, int*);

    void expectParsed(Parser parse, const Bytes& expected) {
        EXPECT_EQ(parse(input.data, length(), &buffer.data, &capacity), 0);
        EXPECT_EQ(set(expected), expected);
    }
    // Without a length, the skip behind a response that has no statistics may read some bytes more.
    void expectParsed(TrustingParser parse, const Bytes& expected) {
        input.hold(callData + Bytes(16, '\0'));
        EXPECT_EQ(parse(input.data, &buffer.data, &capacity), 0);
        EXPECT_EQ(set(expected), expected);
    }
    // endBytes stand at the end and are read by nobody.
    void expectMalformedWhenCutOff(Parser parse, std::size_t endBytes, const Bytes& empty) {
        for (std::size_t kept = 0; kept + endBytes < callData.size(); kept += step()) {
            SCOPED_TRACE(kept);
            input.hold(callData.substr(0, kept));
            EXPECT_EQ(parse(input.data, static_cast<int>(kept), &buffer.data, &capacity), -122);
            EXPECT_EQ(set(empty), empty);
        }
    }

    [[nodiscard]] int length() const { return static_cast<int>(callData.size()); }
    // Long files are cut at some of their offsets only.
    [[nodiscard]] std::size_t step() const { return 1 + callData.size() / 1000; }

    Bytes callData = fixtures::contentOf(GetParam());
    MessageBuffer input{callData};
};

class JavaStats : public JavaStream {
  protected:
    static Bytes answer() { return statsSet(elements(GetParam(), true)); }
    static std::size_t endBytes() {
        const fixtures::Response& last = GetParam().responses.back();
        return last.items.empty() ? 1 : 2;
    }
};

TEST_P(JavaStats, BecomeTheSetThatTheyTellOf) {
    expectParsed(static_cast<Parser>(zolstats::parseStatsData), answer());
}

TEST_P(JavaStats, BecomeTheSameSetWithoutTheirLength) {
    expectParsed(static_cast<TrustingParser>(parseStatsData), answer());
}

TEST_P(JavaStats, AreMalformedWhenCutOff) {
    expectMalformedWhenCutOff(zolstats::parseStatsData, endBytes(), statsSet({}));
}

class JavaIds : public JavaStream {
  protected:
    static Bytes answer() { return idsSet(elements(GetParam(), false)); }
    static std::size_t endBytes() { return GetParam().responses.empty() ? 0 : 1; }
};

TEST_P(JavaIds, BecomeTheSetThatTheyTellOf) {
    expectParsed(static_cast<Parser>(zolstats::parseIdsData), answer());
}

TEST_P(JavaIds, BecomeTheSameSetWithoutTheirLength) {
    expectParsed(static_cast<TrustingParser>(parseIdsData), answer());
}

TEST_P(JavaIds, AreMalformedWhenCutOff) {
    expectMalformedWhenCutOff(zolstats::parseIdsData, endBytes(), idsSet({}));
}

std::string fixtureName(const testing::TestParamInfo<fixtures::Fixture>& each) {
    return each.param.name;
}

INSTANTIATE_TEST_SUITE_P(File, JavaStats, testing::ValuesIn(fixtures::stats()), fixtureName);
INSTANTIATE_TEST_SUITE_P(File, JavaIds, testing::ValuesIn(fixtures::ids()), fixtureName);

}  // namespace

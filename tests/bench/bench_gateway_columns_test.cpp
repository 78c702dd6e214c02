// The columns that a Gateway serves ask for the same bytes, and are found out when they bring others.
#include <gmock/gmock.h>

#include "canned_gateway.h"
#include "column.h"
#include "requests.h"
#include "support/scripted_gateway.h"

namespace {

using namespace bench;
using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr std::size_t COUNT = 10;

Ports portsOf(const CannedGateway& gateway) {
    return {.gateway = gateway.port()};
}

class GatewayColumns : public testing::TestWithParam<const char*> {
  protected:
    const ColumnKind& kind() const { return columnKind(GetParam()); }
};
INSTANTIATE_TEST_SUITE_P(All, GatewayColumns, testing::Values("limit", "ideal", "steps", "zolstats"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(GatewayColumns, BringTheItemsThatWereChosen) {
    const CannedGateway gateway;
    const auto column = kind().connect(portsOf(gateway));
    for (const std::size_t count : {COUNT, std::size_t{1000}, std::size_t{1}}) {
        column->choose(count);
        EXPECT_NO_THROW(checkItems(*column, kind(), count));
        EXPECT_NO_THROW(checkChecksum(column->run(), kind(), sumOf<Checksum>(makeItems(count))));
    }
}

TEST_P(GatewayColumns, AreFoundOutWhenAValueIsWrong) {
    const CannedGateway gateway(true);
    const auto column = kind().connect(portsOf(gateway));
    column->choose(COUNT);
    EXPECT_THAT([&] { checkItems(*column, kind(), COUNT); },
                ThrowsMessage<std::runtime_error>(
                    HasSubstr(kind().name + " was to bring 10 items and brought others")));
}

TEST_P(GatewayColumns, AreFoundOutWhenItemsAreMissing) {
    const CannedGateway gateway;
    const auto column = kind().connect(portsOf(gateway));
    column->choose(COUNT);
    EXPECT_THAT([&] { checkItems(*column, kind(), COUNT + 1); },
                ThrowsMessage<std::runtime_error>(HasSubstr("was to bring 11 items and brought 10")));
}

TEST(BenchColumns, AWrongChecksumIsFoundOut) {
    const auto expected = sumOf<Checksum>(makeItems(COUNT));
    EXPECT_THROW(checkChecksum({}, columnKind("ideal"), expected), std::runtime_error);
    EXPECT_THROW(checkChecksum({COUNT, expected.sum + 1}, columnKind("libpq"), expected), std::runtime_error);
    EXPECT_NO_THROW(checkChecksum({}, columnKind("limit"), expected)) << "it looks at no item";
}

// Everything that a column sends, from opening to closing, to a Gateway that always says the same.
std::vector<std::string> requestsOf(const char* name) {
    CannedReplies replies;
    testing_support::ScriptedGateway gateway;
    gateway.answer([&replies](const gateway::Request& request, gateway::Reply usual) {
        usual.bytes = replies.find(request.bytes)->bytes;
        return usual;
    });
    {
        const auto column = columnKind(name).connect({.gateway = static_cast<std::uint16_t>(gateway.port())});
        column->choose(COUNT);
        column->run();
    }
    std::vector<std::string> requests;
    for (const gateway::Request& request : gateway.server().requests()) {
        requests.push_back(request.bytes);
    }
    return requests;
}

TEST(BenchColumns, TheBareOnesSendWhatTheLibrarySends) {
    const auto requests = requestsOf("zolstats");
    EXPECT_THAT(requests, testing::SizeIs(8));
    EXPECT_EQ(requestsOf("ideal"), requests);
    EXPECT_EQ(requestsOf("limit"), requests);
    EXPECT_EQ(requestsOf("steps"), requests);
}

}  // namespace

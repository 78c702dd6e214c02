// How often the columns without a client call the system: the ideal as rarely as can be, the one in steps as the library.
#include <gmock/gmock.h>

#include "canned_gateway.h"
#include "column.h"
#include "support/counted_system_calls.h"

namespace {

using namespace bench;
using testing::SizeIs;

std::vector<long> systemCallsOf(const std::string& kind) {
    const CannedGateway gateway;
    std::unique_ptr<Column> column;
    const auto prepare = [&] {
        column = columnKind(kind).connect({.gateway = gateway.port()});
        column->choose(10);
        column->run();
    };
    return testing_support::systemCallsOf(prepare, [&] { column->run(); });
}

TEST(BenchSystemCalls, OfTheIdealAreFour) {
    EXPECT_THAT(systemCallsOf("ideal"), SizeIs(4));
}

TEST(BenchSystemCalls, OfTheOneInStepsAreEight) {
    EXPECT_THAT(systemCallsOf("steps"), SizeIs(8));
}

}  // namespace

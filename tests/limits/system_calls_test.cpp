// How often the system is called: not at all for a walk, and no more for a query than its two exchanges need. How often
// memory is asked for is tested in api/api_allocation_test.cpp. What is promised stands in docs/performance.md.
#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "forked_gateway.h"
#include "support/counted_system_calls.h"
#include "zolstats/zolstats.h"

namespace {

using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;
using testing_support::systemCallsOf;

gateway::Options knowing(int count) {
    return limits::ForkedGateway::knowing([count] {
        gateway::Group group{"GROUP"};
        for (int index = 0; index < count; ++index) {
            group.statistics.push_back({"STATISTIC_" + std::to_string(100000 + index), "1234567890"});
        }
        return gateway::Snapshot{group};
    });
}

using Query = int (*)(void*, ResultSetToken**);

// The calls of an action behind a query, on a connection that has been in use: its buffer has grown, and so has the
// heap.
class SystemCalls : public testing::TestWithParam<int> {
  protected:
    std::vector<long> of(const std::function<void()>& action, Query query) {
        const auto prepare = [&] {
            check(openGatewayConnection(gateway_.port(), &token_, &version_));
            for (int round = 0; round < 3; ++round) {
                ask(query);
                action();
            }
        };
        return systemCallsOf(prepare, action);
    }
    void ask(Query query) { check(query(token_, &set_)); }

    template <class Record>
    void walk(int (*first)(ResultSetToken*, Record*), int (*next)(ResultSetToken*, Record*)) {
        Record record{};
        int items = 0;
        int rc = first(set_, &record);
        for (; rc == 0; rc = next(set_, &record)) {
            ++items;
        }
        check(rc == ZOLSTATS_NO_MORE_ITEMS && items == GetParam() ? 0 : rc);
    }

  private:
    // An exception lets the test fail: the action runs in a process of its own.
    static void check(int rc) {
        if (rc != 0) {
            throw std::runtime_error(std::to_string(rc));
        }
    }

    limits::ForkedGateway gateway_{knowing(GetParam())};
    void* token_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(Statistics, SystemCalls, testing::Values(1, 10, 100, 1000));

// Two exchanges: send, wait, receive the header, receive the body.
constexpr int OF_A_QUERY = 8;

TEST_P(SystemCalls, OfAQueryAreThoseOfItsExchanges) {
    EXPECT_THAT(of([this] { ask(getStats); }, getStats), SizeIs(Le(OF_A_QUERY)));
    EXPECT_THAT(of([this] { ask(getStatIds); }, getStatIds), SizeIs(Le(OF_A_QUERY)));
}

TEST_P(SystemCalls, OfAWalkAreNone) {
    EXPECT_THAT(of([this] { walk(getFirstStat, getNextStat); }, getStats), IsEmpty());
    EXPECT_THAT(of([this] { walk(getFirstId, getNextId); }, getStatIds), IsEmpty());
}

}  // namespace

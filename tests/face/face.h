// What tests of the C++ face share: a fixture with an open connection, readers of answers, and what a call throws. Uses
// what an application is given, zolstats.hpp, and of the library nothing else. The protocol is written down in
// docs/protocol.md.
#ifndef ZOLSTATS_TESTS_FACE_FACE_H
#define ZOLSTATS_TESTS_FACE_FACE_H

#include <gmock/gmock.h>

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "api/client.h"
#include "zolstats/zolstats.hpp"

namespace face {

using api::inAForkedChild;
using api::inAnotherThread;
using api::Item;
using testing_support::ScriptedGateway;
using zolstats::Connection;
using zolstats::Error;
using zolstats::Identifier;
using zolstats::Identifiers;
using zolstats::IdentifierSet;
using zolstats::StaleResult;
using zolstats::Statistic;
using zolstats::Statistics;
using zolstats::StatisticSet;

inline Item itemOf(const Statistic& item) {
    return {std::string(item.query), item.code, std::string(item.id), std::string(item.value)};
}
inline Item itemOf(const Identifier& item) {
    return {std::string(item.query), item.code, std::string(item.id)};
}

template <class Answer>
std::vector<Item> itemsOf(const Answer& answer) {
    std::vector<Item> items;
    for (const auto& item : answer) {
        items.push_back(itemOf(item));
    }
    return items;
}

// The code of the Error that an action throws; ZOLSTATS_OK if it throws none.
template <class Action>
int codeOf(Action action) {
    try {
        action();
    } catch (const Error& error) {
        EXPECT_EQ(error.code().category(), zolstats::category());
        return error.code().value();
    }
    return ZOLSTATS_OK;
}

template <class Action>
bool throwsStale(Action action) {
    try {
        action();
    } catch (const StaleResult&) {
        return true;
    }
    return false;
}

// The six queries, for tests of what they share. Where they take ids the sample asks for known ones.
struct Query {
    const char* name;
    const char* call;    // of zolstats.h
    const char* action;  // as the Gateway is asked
    std::vector<Item> (*ask)(Connection&);
    bool closesHere = false;  // the library leaves closing after a failure to its caller

    friend void PrintTo(const Query& query, std::ostream* out) { *out << query.name; }
};

inline const std::vector<Item> ALL_STATISTICS{{"", 0, "S1", "11"}, {"", 0, "S2", "22"}, {"", 0, "T1", "33"}};

inline const Query QUERIES[] = {
    {"Statistics", "getStats", "GET_STATS()", [](Connection& to) { return itemsOf(to.statistics()); }},
    {"StatisticIds", "getStatIds", "STAT_IDS()", [](Connection& to) { return itemsOf(to.statisticIds()); }},
    {"Groups", "getResourceGroupIds", "RESOURCE_GROUPS()",
     [](Connection& to) { return itemsOf(to.groups()); }},
    {"StatisticsOfGroups", "getStatsByStatGroupId", "GET_STATS(G1:G2)",
     [](Connection& to) { return itemsOf(to.statisticsOfGroups("G1:G2")); }, true},
    {"StatisticsById", "getStatsByStatId", "GET_STATS(T1:S1)",
     [](Connection& to) { return itemsOf(to.statisticsById("T1:S1")); }},
    {"IdsOfGroups", "getStatIdsByStatGroupId", "STAT_IDS(G2:G1)",
     [](Connection& to) { return itemsOf(to.idsOfGroups("G2:G1")); }},
};

inline std::string queryName(const testing::TestParamInfo<Query>& instance) {
    return instance.param.name;
}

// A Gateway, and a connection to it.
class Connected : public testing::Test {
  protected:
    [[nodiscard]] Connection open() const { return Connection::openLocal(gateway_.port()); }

    // Requests of a type that came so far, on any connection.
    std::size_t requestsOfType(std::uint32_t type) {
        std::size_t count = 0;
        for (const gateway::Request& request : gateway_.server().requests()) {
            count += request.type == type ? 1U : 0U;
        }
        return count;
    }
    std::size_t closeRequests() { return requestsOfType(CLOSE); }

    ScriptedGateway gateway_;
    Connection connection_ = open();

  private:
    static constexpr std::uint32_t CLOSE = 10;
};

}  // namespace face

#endif

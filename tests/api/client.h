// What tests of the public interface share: a client of a Gateway with small verbs, and readers of result
// sets. Uses what an application is given, zolstats.h, and nothing else of the library. The protocol is
// written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_API_CLIENT_H
#define ZOLSTATS_TESTS_API_CLIENT_H

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "support/scripted_gateway.h"
#include "zolstats/zolstats.h"

namespace api {

using testing_support::ScriptedGateway;

// An item of a set, or an element that was rejected (then without id and data).
struct Item {
    std::string query{};
    int code = 0;
    std::string id{};
    std::string data{};

    friend bool operator==(const Item&, const Item&) = default;
    friend void PrintTo(const Item& item, std::ostream* out) {
        *out << '\'' << item.query << "' code " << item.code << ": '" << item.id << "' = '" << item.data
             << '\'';
    }
};

inline std::string text(const unsigned char* bytes, int length) {
    return {bytes, bytes + length};
}

inline Item itemOf(const StatData& stat) {
    const std::string query = text(stat.queryElementPtr, stat.queryElementLen);
    return stat.queryElementRC < 0 ? Item{query, stat.queryElementRC}
                                   : Item{query, stat.queryElementRC, text(stat.statId, stat.statIdLen),
                                          text(stat.statData, stat.statDataLen)};
}
inline Item itemOf(const IdData& id) {
    const std::string query = text(id.queryElementPtr, id.queryElementLen);
    return id.queryElementRC < 0 ? Item{query, id.queryElementRC}
                                 : Item{query, id.queryElementRC, text(id.id, id.idLen)};
}

template <class Record>
std::vector<Item> itemsOf(ResultSetToken* set, int (*first)(ResultSetToken*, Record*),
                          int (*next)(ResultSetToken*, Record*)) {
    std::vector<Item> items;
    Record record{};
    int rc = first(set, &record);
    for (; rc == 0; rc = next(set, &record)) {
        items.push_back(itemOf(record));
    }
    EXPECT_EQ(rc, ZOLSTATS_NO_MORE_ITEMS);
    return items;
}
inline std::vector<Item> statsOf(ResultSetToken* set) {
    return itemsOf(set, getFirstStat, getNextStat);
}
inline std::vector<Item> idsOf(ResultSetToken* set) {
    return itemsOf(set, getFirstId, getNextId);
}

struct CopyDeleter {
    void operator()(ResultSetToken* copy) const { freeResultSet(&copy); }
};
using Copy = std::unique_ptr<ResultSetToken, CopyDeleter>;

inline Copy copyOf(ResultSetToken* source) {
    ResultSetToken* copy = nullptr;
    EXPECT_EQ(copyResultSet(source, &copy), 0);
    return Copy(copy);
}

// Run something in a thread of its own and give its result.
template <class Action>
auto inAnotherThread(Action action) {
    decltype(action()) result{};
    std::thread([&] { result = action(); }).join();
    return result;
}

// Run something in a forked child, which tells its result by its exit code; 0 to 255 is as much as fits.
template <class Action>
int inAForkedChild(Action action) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(action());
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status);
}

// A client with one connection, which is closed at the end.
class Connected : public testing::Test {
  protected:
    Connected() { EXPECT_EQ(open(), 0); }
    ~Connected() override { closeAllGatewayConnections(); }

    int open() { return openGatewayConnection(gateway_.port(), &token_, &version_); }

    // The set that a query must have answered with.
    ResultSetToken* stats() { return answered(getStats(token_, &set_)); }
    ResultSetToken* statIds() { return answered(getStatIds(token_, &set_)); }
    ResultSetToken* groupIds() { return answered(getResourceGroupIds(token_, &set_)); }
    ResultSetToken* statsOfIds(const char* ids) { return answered(getStatsByStatId(token_, ids, &set_)); }
    ResultSetToken* idsOfGroups(const char* ids) {
        return answered(getStatIdsByStatGroupId(token_, ids, &set_));
    }

    ScriptedGateway gateway_;
    void* token_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;

  private:
    ResultSetToken* answered(int rc) {
        EXPECT_EQ(rc, 0);
        return set_;
    }
};

}  // namespace api

#endif

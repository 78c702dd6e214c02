// What a client does with a connection, one step at a time, and each step as an operation that a test can let
// fail. Where it fails, and what is expected then, is told by the tests.
// What the calls give after a failure is written down in docs/return-codes.md.
#ifndef ZOLSTATS_TESTS_OPERATIONS_H
#define ZOLSTATS_TESTS_OPERATIONS_H

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "session.h"

namespace faults {

// A group of so many statistics that every answer about it outgrows a connection's first buffer once, and as
// many groups. The version is longer than there is room for at first.
inline gateway::Options largeGateway() {
    gateway::Options options;
    options.protocolVersion = PROTOCOL_VERSION;
    options.statistics = [] {
        gateway::Snapshot snapshot{{"all"}};
        for (int number = 100; number < 140; ++number) {
            const std::string id = std::to_string(number) + std::string(900, '-');
            snapshot.front().statistics.push_back({"statistic" + id, "7"});
            snapshot.push_back({"group" + id});
        }
        return snapshot;
    };
    return options;
}

class Client {
  public:
    explicit Client(int port) : port_(port) {}
    ~Client() {
        freeCopy();
        close();
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    int open() { return openGatewayConnection(port_, &token_, &version_); }
    int ask(const Query& query) { return query.ask(token_, "all", &set_); }
    int copy() {
        freeCopy();
        return copyResultSet(set_, &copy_);
    }
    int makeIdQuery() { return getIdQuery(set_, &ids_); }
    int close() { return closeGatewayConnection(&token_); }

  private:
    void freeCopy() {
        if (copy_ != nullptr) {
            EXPECT_EQ(freeResultSet(&copy_), 0);
        }
    }

    int port_;
    void* token_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;
    ResultSetToken* copy_ = nullptr;
    char* ids_ = nullptr;
};

// The steps before it never fail.
struct Operation {
    std::function<void(Client&)> before;
    std::function<int(Client&)> run;
};

inline void doNothing(Client&) {}
inline void openConnection(Client& client) {
    ASSERT_EQ(client.open(), 0);
}
inline void openAndAsk(Client& client) {
    openConnection(client);
    ASSERT_EQ(client.ask(QUERIES.front()), 0);
}

inline const Operation OPENING{doNothing, &Client::open};
inline const Operation COPYING{openAndAsk, &Client::copy};
inline const Operation MAKING_AN_ID_QUERY{openAndAsk, &Client::makeIdQuery};
inline const Operation CLOSING{openConnection, &Client::close};

inline Operation asking(const Query& query) {
    return {openConnection, [&query](Client& client) { return client.ask(query); }};
}

// What came of an operation in which one call failed.
struct Failure {
    int rc = 0;
    std::vector<int> exceptions{};  // the numbers of the lines that it left in the trace
    int again = 0;                  // the same operation at once, with nothing failing any more

    friend bool operator==(const Failure&, const Failure&) = default;
    friend void PrintTo(const Failure& failure, std::ostream* out) {
        *out << failure.rc << ' ' << testing::PrintToString(failure.exceptions) << ' ' << failure.again;
    }
};

}  // namespace faults

#endif

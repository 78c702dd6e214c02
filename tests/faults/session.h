// A client's whole session with a Gateway: open, all six queries, walk and copy each set, close.
// It goes on whatever fails and judges nothing; that is every_byte_test.cpp's business.
// What the Gateway answers is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_SESSION_H
#define ZOLSTATS_TESTS_SESSION_H

#include <array>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "api/client.h"
#include "server.h"

namespace faults {

using api::Item;

// ---- What the Gateway knows, as little as has every feature of a reply

// A text of any length in which no eight bytes are the same as eight others.
inline std::string numbered(std::size_t length) {
    std::string text;
    for (int number = 10000; text.size() < length; ++number) {
        text += std::to_string(number) + ' ';
    }
    return text.substr(0, length);
}

inline const std::string PROTOCOL_VERSION = numbered(70);      // more than the 63 there is room for at first
inline const std::string LONG_ID = "octets-" + numbered(230);  // makes a list of ids a long block
inline const std::string LONG_DATA = numbered(1900);           // two long blocks and a short one
inline const std::string UNKNOWN_ID = "nowhere" + numbered(250);  // makes a response's head a long block

inline gateway::Options smallGateway() {
    gateway::Options options;
    options.protocolVersion = PROTOCOL_VERSION;
    options.statistics = [] {
        return gateway::Snapshot{
            {"processor", {{"busy-time", "12.75 percent"}, {"idle-time", "87.25 percent"}}},
            {"network", {{LONG_ID, LONG_DATA}}}};
    };
    return options;
}

// ---- The queries

struct Query {
    const char* name;
    int (*ask)(void* token, const char* ids, ResultSetToken** set);  // those without ids pass over them
    const char* ids;                                                 // that a session asks for
    std::vector<Item> (*walk)(ResultSetToken* set);
    bool keepsConnection = false;  // even when it has failed
};

template <int (*Call)(void*, ResultSetToken**)>
int askForAll(void* token, const char*, ResultSetToken** set) {
    return Call(token, set);
}

inline const std::string ID_AND_UNKNOWN = "busy-time:" + UNKNOWN_ID;

inline const std::array QUERIES{
    Query{"getStats", askForAll<getStats>, nullptr, api::statsOf},
    Query{"getStatIds", askForAll<getStatIds>, nullptr, api::idsOf},
    Query{"getResourceGroupIds", askForAll<getResourceGroupIds>, nullptr, api::idsOf},
    Query{"getStatsByStatGroupId", getStatsByStatGroupId, "nowhere:processor", api::statsOf, true},
    Query{"getStatsByStatId", getStatsByStatId, ID_AND_UNKNOWN.c_str(), api::statsOf},
    Query{"getStatIdsByStatGroupId", getStatIdsByStatGroupId, "nowhere:processor", api::idsOf},
};

// ---- A session and what came of it

// The exchanges of a session: three to connect, two for the version, two for each query, one to close.
inline constexpr std::size_t CONNECTING_EXCHANGES = 3;
inline constexpr std::size_t OPENING_EXCHANGES = CONNECTING_EXCHANGES + 2;
inline constexpr std::size_t CLOSING_EXCHANGE = OPENING_EXCHANGES + 2 * std::tuple_size_v<decltype(QUERIES)>;
inline constexpr std::size_t EXCHANGES = CLOSING_EXCHANGE + 1;

struct Answer {
    int rc = 0;
    std::vector<Item> items{};
};

struct Outcome {
    int openRc = 0;
    std::string version{};
    std::vector<Answer> answers{};  // one for each query, none if the connection could not be opened
    int closeRc = 0;
};

// A set's items, read from the set and once more from a copy of it; both must be the same.
inline std::vector<Item> itemsOf(const Query& query, ResultSetToken* set) {
    std::vector<Item> items = query.walk(set);
    const api::Copy copy = api::copyOf(set);
    EXPECT_EQ(query.walk(copy.get()), items);
    char* ids = nullptr;
    EXPECT_THAT(getIdQuery(copy.get(), &ids), testing::AnyOf(ZOLSTATS_OK, ZOLSTATS_NO_IDS));
    return items;
}

inline Answer answerTo(const Query& query, void* token) {
    ResultSetToken* set = nullptr;
    const int rc = query.ask(token, query.ids, &set);
    EXPECT_EQ(rc == 0, set != nullptr);
    return set != nullptr ? Answer{rc, itemsOf(query, set)} : Answer{rc};
}

inline Outcome runSession(int port) {
    Outcome outcome;
    void* token = nullptr;
    char* version = nullptr;
    outcome.openRc = openGatewayConnection(port, &token, &version);
    EXPECT_EQ(outcome.openRc == 0, token != nullptr);
    if (token != nullptr) {
        outcome.version = version;
        for (const Query& query : QUERIES) {
            outcome.answers.push_back(answerTo(query, token));
        }
        outcome.closeRc = closeGatewayConnection(&token);
    }
    return outcome;
}

// What no session may leave more of than there was.
inline std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// The same as soon as it has come down to what is expected, or after a time in which it should have: the Gateway in
// this process may yet have to accept, and to close, a connection that its client has given up.
inline std::ptrdiff_t openDescriptorsInTheEnd(std::ptrdiff_t expected) {
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (openDescriptors() != expected && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(1ms);
    }
    return openDescriptors();
}

}  // namespace faults

#endif

// Fuzz target: a whole session over the public calls, from open to close, with a peer that answers anything.
// What the answers must come to is not worked out here (parse.cpp and exchange.cpp do that for their parts);
// sessions must keep to their rules, and nothing be lost. The protocol is written down in docs/protocol.md.
//
// Input: one byte of options, then the replies of the session in their order: handshake, two authorisation
// steps, initialise and protocol version; initialise and answer for each of six queries; close.
//     bits 0-2 of the options  which query comes first
//     bit 3                    ask for a copy and a dump of every set
//     bit 4                    trace everything
// A reply is one byte that says what it is made of, and what that needs; lengths have two bytes, big-endian:
//     0  the usual reply                                   3  a length and that many bytes, sent as they are
//     1  the usual reply, an offset in it, a length, and   4  the usual header around a body: length, bytes
//        that many bytes to write there                    5  the usual header and prefix around call data:
//     2  nothing, and the stream ends here                    length, bytes
// Where the input ends, the usual replies follow.
#include <array>
#include <string>
#include <vector>

#include "sets.h"
#include "support/answering_gateway.h"
#include "trace.h"
#include "wire.h"

namespace {

using fuzz::Items;
using fuzz::require;
using testing_support::AnsweringGateway;
using testing_support::Bytes;
using testing_support::message;

constexpr std::size_t MAX_SESSION_LENGTH = 256 * 1024;
constexpr std::size_t MAX_ITEMS = MAX_SESSION_LENGTH;  // an item takes more than one byte of it

// ---- The queries

struct Query {
    bool stats;
    bool dropsConnection;  // when it fails
    int (*ask)(void* token, ResultSetToken** set);
};

constexpr std::array<Query, 6> QUERIES{{
    {true, true, getStats},
    {false, true, getStatIds},
    {false, true, getResourceGroupIds},
    {true, false,
     [](void* token, ResultSetToken** set) { return getStatsByStatGroupId(token, "G1:G2", set); }},
    {true, true, [](void* token, ResultSetToken** set) { return getStatsByStatId(token, "S1:NOPE", set); }},
    {false, true,
     [](void* token, ResultSetToken** set) { return getStatIdsByStatGroupId(token, "G1", set); }},
}};

Bytes usualCallData(bool stats) {
    static const Bytes STATS = gateway::encodeStats(
        {{"G1", 0, {{"S1", "11"}, {"S2", Bytes(260, '2')}}}, {"NOPE", -1}, {"S1", 0, {{"S1", ""}}}});
    static const Bytes IDS = gateway::encodeIds({{"G1", 0, {"S1", "S2"}}, {"NOPE", -1}, {"G2", 0, {"T1"}}});
    return stats ? STATS : IDS;
}

// ---- The replies

struct Reply {
    testing_support::Header header;
    Bytes prefix{};  // of the body, before the payload
    Bytes payload{};

    [[nodiscard]] Bytes withBody(std::string_view body) const { return message(header, body); }
    [[nodiscard]] Bytes usual() const { return withBody(prefix + payload); }
};

std::vector<Reply> usualReplies(unsigned firstQuery) {
    using testing_support::word;
    const testing_support::Header auth{.name = "Auth"};
    const testing_support::Header admin{.name = "Admin"};
    const Reply authorisation{auth, word(0) + word(0) + word(1) + word(2) + word(3)};
    const Reply initialise{admin, word(0) + word(0) + word(0x1234)};
    std::vector<Reply> replies{{{.name = "BASE", .type = 5}},
                               authorisation,
                               authorisation,
                               initialise,
                               {admin, gateway::adminReplyBody(1, 0, 0, ""), gateway::encodeText("1_1")}};
    for (std::size_t index = 0; index < QUERIES.size(); ++index) {
        const bool stats = QUERIES[(firstQuery + index) % QUERIES.size()].stats;
        replies.push_back(initialise);
        replies.push_back({admin, gateway::adminReplyBody(5, 0, 0, ""), usualCallData(stats)});
    }
    replies.push_back({{.name = "BASE", .type = 10}});
    return replies;
}

void overwrite(Bytes& bytes, std::size_t offset, std::string_view with) {
    const std::size_t at = std::min(offset, bytes.size());
    bytes.replace(at, std::min(with.size(), bytes.size() - at), with.substr(0, bytes.size() - at));
}

std::string_view counted(fuzz::Input& input) {
    return input.bytes(input.half());
}

Bytes replyAsTold(fuzz::Input& input, const Reply& reply, bool& ends) {
    switch (input.byte() % 6) {
        case 1: {
            Bytes bytes = reply.usual();
            const std::size_t offset = input.half();
            overwrite(bytes, offset, counted(input));
            return bytes;
        }
        case 2:
            ends = true;
            return "";
        case 3:
            return Bytes(counted(input));
        case 4:
            return reply.withBody(counted(input));
        case 5:
            return reply.withBody(reply.prefix + Bytes(counted(input)));
        default:
            return reply.usual();
    }
}

Bytes sessionAsTold(fuzz::Input& input, unsigned firstQuery) {
    Bytes session;
    bool ends = false;
    for (const Reply& reply : usualReplies(firstQuery)) {
        if (!ends && session.size() < MAX_SESSION_LENGTH) {
            session += replyAsTold(input, reply, ends);
        }
    }
    return session;
}

// ---- The client

bool isOneOf(int rc, std::initializer_list<int> codes) {
    return std::find(codes.begin(), codes.end(), rc) != codes.end();
}

void checkIdQuery(ResultSetToken* set) {
    char* ids = nullptr;
    const int rc = getIdQuery(set, &ids);
    require(isOneOf(rc, {ZOLSTATS_OK, ZOLSTATS_NO_IDS}), "the ids of an answer can be asked for");
    require(rc != 0 || std::string_view(ids).size() < 32000, "an id query is a text");
}

void checkCopy(ResultSetToken* set, bool stats, const Items& items) {
    ResultSetToken* copy = nullptr;
    require(copyResultSet(set, &copy) == 0, "an answer can be copied");
    require(fuzz::itemsOf(copy, stats, MAX_ITEMS) == items, "a copy has the items of its source");
    require(freeResultSet(&copy) == 0, "a copy can be freed");
}

void useAnswer(ResultSetToken* set, bool stats, bool copies) {
    const Items items = fuzz::itemsWithoutFirst(set, stats, MAX_ITEMS);
    require(fuzz::itemsOf(set, stats, MAX_ITEMS) == items, "an answer can be walked again");
    checkIdQuery(set);
    if (copies) {
        checkCopy(set, stats, items);
        require(dumpResultSet(set) == 0, "an answer can be dumped");
    }
    require(freeResultSet(&set) == ZOLSTATS_NOT_A_COPY, "an answer belongs to its connection");
}

// Is the connection still there afterwards?
bool askOnce(const Query& query, void* token, bool copies) {
    ResultSetToken* set = nullptr;
    const int rc = query.ask(token, &set);
    if (rc == 0) {
        useAnswer(set, query.stats, copies);
        return true;
    }
    require(isOneOf(rc, {ZOLSTATS_CONNECTION_LOST, ZOLSTATS_EXCHANGE_FAILED, ZOLSTATS_NO_BUFFER}),
            "a query has one of its codes");
    require(set == nullptr, "a failed query gives no answer");
    return !query.dropsConnection || rc == ZOLSTATS_NO_BUFFER;
}

void askAll(void* token, unsigned firstQuery, bool copies) {
    bool connected = true;
    for (std::size_t index = 0; index < QUERIES.size() && connected; ++index) {
        connected = askOnce(QUERIES[(firstQuery + index) % QUERIES.size()], token, copies);
    }
    ResultSetToken* set = nullptr;
    require(connected || getStats(token, &set) == ZOLSTATS_TOKEN_NOT_FOUND,
            "a failed query ends the connection");
    const int rc = closeGatewayConnection(&token);
    require(rc == (connected ? ZOLSTATS_OK : ZOLSTATS_TOKEN_NOT_FOUND), "a connection is closed once");
}

void runSession(int port, unsigned firstQuery, bool copies) {
    void* token = nullptr;
    char* version = nullptr;
    const int rc = openGatewayConnection(port, &token, &version);
    require(isOneOf(rc, {ZOLSTATS_OK, ZOLSTATS_CONNECTION_LOST, ZOLSTATS_EXCHANGE_FAILED,
                         ZOLSTATS_CONNECT_FAILED, ZOLSTATS_NO_MEMORY}),
            "opening has one of its codes");
    if (rc == 0) {
        require(std::string_view(version).size() < 32768, "the protocol version is a text");
        askAll(token, firstQuery, copies);
    }
}

// One listener for all runs. Every connection is told its whole session at once.
AnsweringGateway& gatewayOfAllRuns() {
    static AnsweringGateway gateway("");
    return gateway;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned options = input.byte();
    const unsigned firstQuery = options & 7;
    fuzz::traceEverything((options & 16) != 0);

    AnsweringGateway& gateway = gatewayOfAllRuns();
    gateway.answer(sessionAsTold(input, firstQuery));
    runSession(gateway.port(), firstQuery, (options & 8) != 0);
    require(closeAllGatewayConnections() == 0, "all connections are closed");
    gateway.hangUp();
    return 0;
}

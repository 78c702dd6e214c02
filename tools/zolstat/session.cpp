// A connection to the Gateway as C++: the calls of the library turned into records and exceptions.
// Not the place for decisions about what to ask or show; those are the commands'.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "session.h"

#include <fmt/format.h>

namespace zolstat {
namespace {

const char* describe(int code) {
    switch (code) {
#define ZOLSTAT_CASE(name, number, text) \
    case number:                         \
        return text;
        ZOLSTATS_RETURN_CODES(ZOLSTAT_CASE)
#undef ZOLSTAT_CASE
        default:
            return "the library failed in an unknown way";
    }
}

template <typename Failure = CallFailed>
void check(int code) {
    if (code != ZOLSTATS_OK) {
        throw Failure(code);
    }
}

std::string text(const unsigned char* bytes, std::int32_t length) {
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)};
}

std::string read(const IdData& record) {
    return text(record.id, record.idLen);
}

Statistic read(const StatData& record) {
    return {text(record.statId, record.statIdLen), text(record.statData, record.statDataLen)};
}

// One call of an iteration: getFirstStat, getNextStat, getFirstId or getNextId.
template <typename Record>
using Step = int (*)(ResultSetToken*, Record*);

template <typename Item, typename Record>
Answer<Item> walk(ResultSetToken* set, Step<Record> first, Step<Record> next) {
    Answer<Item> answer;
    Record record{};
    int code = first(set, &record);
    for (; code == ZOLSTATS_OK; code = next(set, &record)) {
        if (record.queryElementRC < 0) {
            answer.code = record.queryElementRC;
        } else {
            answer.items.push_back(read(record));
        }
    }
    if (code != ZOLSTATS_NO_MORE_ITEMS) {
        throw CallFailed(code);
    }
    return answer;
}

Ids walkIds(ResultSetToken* set) {
    return walk<std::string>(set, getFirstId, getNextId);
}

Statistics walkStatistics(ResultSetToken* set) {
    return walk<Statistic>(set, getFirstStat, getNextStat);
}

// Passes the query's arguments on and hands out its result set.
template <typename Query, typename... Arguments>
ResultSetToken* ask(Query query, void* token, Arguments... arguments) {
    ResultSetToken* set = nullptr;
    check(query(token, arguments..., &set));
    return set;
}

}  // namespace

CallFailed::CallFailed(int code) : std::runtime_error(fmt::format("{} ({})", describe(code), code)) {}

void setTrace(int level, const std::string& fileName) {
    // The file first, so that the trace's opening line goes there too.
    if (!fileName.empty()) {
        check(setAPITraceFile(fileName.c_str()));
    }
    check(setAPITraceLevel(level));
}

Session::Session(const std::string& host, int port) {
    char* protocolVersion = nullptr;
    check<OpenFailed>(openRemoteGatewayConnection(host.c_str(), port, &token_, &protocolVersion));
}

// Most queries close the connection themselves when they fail, one leaves that to its caller. Closing twice
// does no harm: a token that is no longer open is recognised.
Session::~Session() {
    closeGatewayConnection(&token_);
}

Ids Session::groups() {
    return walkIds(ask(getResourceGroupIds, token_));
}

Ids Session::ids() {
    return walkIds(ask(getStatIds, token_));
}

Ids Session::idsOfGroup(const std::string& group) {
    return walkIds(ask(getStatIdsByStatGroupId, token_, group.c_str()));
}

Statistics Session::statisticsOfGroup(const std::string& group) {
    return walkStatistics(ask(getStatsByStatGroupId, token_, group.c_str()));
}

Statistics Session::statistic(const std::string& id) {
    return walkStatistics(ask(getStatsByStatId, token_, id.c_str()));
}

}  // namespace zolstat

// The usual reply to each request: who may ask, what is asked for, and which statistics answer it.
// Not the layout of anything: see wire.cpp and calldata.cpp.
// The protocol is written down in docs/protocol.md.
#include "answers.h"

#include <algorithm>
#include <random>
#include <string_view>
#include <utility>

namespace gateway {
namespace {

constexpr std::string_view STATISTICS_BEAN =
    "DefaultDomain:ProdId=com.velmor.zol,Activity=Control,type=Stats";
constexpr std::string_view STRING_TYPE = "java.lang.String";
constexpr std::string_view PROTOCOL = "protocol";

// A reader takes lengths for signed, and an element of a query is echoed as a text.
constexpr std::size_t MAX_ELEMENT_LENGTH = 32767;
// A group of many statistics asked for some thousand times in one query would fill any memory.
constexpr std::size_t MAX_ANSWER_BYTES = 256 * 1024 * 1024;

// A call that failed inside the Gateway: the client is told so by the exception flag.
struct Failed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::uint32_t randomWord() {
    thread_local std::mt19937 generator{std::random_device{}()};
    return static_cast<std::uint32_t>(generator());
}

std::string refuseInHeader(const Request& request, ReturnCode code) {
    return encodeReply(request, static_cast<std::int32_t>(code), "");
}

// Refusals are told in step 0: in a reply with another step a client does not look at the code.
std::string authReply(const Request& request, std::uint32_t step, Refusal refusal,
                      const std::array<std::uint32_t, 3>& words) {
    return encodeReply(request, 0, authReplyBody(step, static_cast<std::uint32_t>(refusal), words));
}

std::string adminReply(const Request& request, std::uint8_t exceptionFlag, std::string_view payload) {
    return encodeReply(request, 0, adminReplyBody(decodeCallType(request.body), 0, exceptionFlag, payload));
}

std::string refuseAdmin(const Request& request, Refusal refusal) {
    const std::uint32_t type = decodeCallType(request.body);
    const auto code = static_cast<std::uint32_t>(refusal);
    return encodeReply(request, 0,
                       type == static_cast<std::uint32_t>(CallType::Initialise)
                           ? initialiseReplyBody(code, 0)
                           : adminReplyBody(type, code, 0, ""));
}

// ---- Queries

std::vector<std::string> elementsOf(std::string_view query) {
    std::vector<std::string> elements;
    for (;;) {
        const std::size_t length = std::min(query.find(':'), query.size());
        elements.emplace_back(query.substr(0, length));
        if (length == query.size()) {
            return elements;
        }
        query.remove_prefix(length + 1);
    }
}

const Group* findGroup(const Snapshot& snapshot, const std::string& id) {
    const auto found =
        std::find_if(snapshot.begin(), snapshot.end(), [&](const Group& group) { return group.id == id; });
    return found != snapshot.end() ? &*found : nullptr;
}

std::vector<std::string> idsOf(const Group& group) {
    std::vector<std::string> ids;
    for (const Statistic& statistic : group.statistics) {
        ids.push_back(statistic.id);
    }
    return ids;
}

// How each action answers: everything that it can tell, and what it tells for one element of a query, if
// anything.
struct Stats {
    using Response = StatsResponse;
    using Items = std::vector<Statistic>;

    static Items all(const Snapshot& snapshot) {
        Items items;
        for (const Group& group : snapshot) {
            items.insert(items.end(), group.statistics.begin(), group.statistics.end());
        }
        return items;
    }
    static std::optional<Items> of(const Snapshot& snapshot, const std::string& id) {
        if (const Group* group = findGroup(snapshot, id)) {
            return group->statistics;
        }
        for (const Group& group : snapshot) {
            for (const Statistic& statistic : group.statistics) {
                if (statistic.id == id) {
                    return Items{statistic};
                }
            }
        }
        return std::nullopt;
    }
};

struct StatIds {
    using Response = IdsResponse;
    using Items = std::vector<std::string>;

    static Items all(const Snapshot& snapshot) {
        Items items;
        for (const Group& group : snapshot) {
            const Items ids = idsOf(group);
            items.insert(items.end(), ids.begin(), ids.end());
        }
        return items;
    }
    static std::optional<Items> of(const Snapshot& snapshot, const std::string& id) {
        const Group* group = findGroup(snapshot, id);
        return group != nullptr ? std::optional(idsOf(*group)) : std::nullopt;
    }
};

struct ResourceGroups {
    using Response = IdsResponse;
    using Items = std::vector<std::string>;

    static Items all(const Snapshot& snapshot) {
        Items items;
        for (const Group& group : snapshot) {
            items.push_back(group.id);
        }
        return items;
    }
    static std::optional<Items> of(const Snapshot& snapshot, const std::string& id) {
        return findGroup(snapshot, id) != nullptr ? std::optional(Items{id}) : std::nullopt;
    }
};

std::size_t weight(const std::string& id) {
    return id.size();
}
std::size_t weight(const Statistic& statistic) {
    return statistic.id.size() + statistic.data.size();
}

template <class Response>
std::size_t weight(const Response& response) {
    const auto& [query, code, items] = response;
    std::size_t sum = query.size();
    for (const auto& item : items) {
        sum += weight(item);
    }
    return sum;
}

template <class Query>
typename Query::Response respond(const Snapshot& snapshot, const std::string& element) {
    if (element.size() > MAX_ELEMENT_LENGTH) {
        throw Failed("an id of " + std::to_string(element.size()) + " bytes");
    }
    auto items = Query::of(snapshot, element);
    if (!items) {
        return {element, UNKNOWN_ID, {}};
    }
    return {element, 0, std::move(*items)};
}

template <class Query>
std::vector<typename Query::Response> respondToEach(const Snapshot& snapshot, const std::string& query) {
    std::vector<typename Query::Response> responses;
    std::size_t total = 0;
    for (const std::string& element : elementsOf(query)) {
        responses.push_back(respond<Query>(snapshot, element));
        total += weight(responses.back());
        if (total > MAX_ANSWER_BYTES) {
            throw Failed("an answer of more than " + std::to_string(MAX_ANSWER_BYTES) + " bytes");
        }
    }
    return responses;
}

// An empty query asks for everything, which is one response.
template <class Query>
std::vector<typename Query::Response> respondTo(const Snapshot& snapshot, const std::string& query) {
    if (query.empty()) {
        return {{query, 0, Query::all(snapshot)}};
    }
    return respondToEach<Query>(snapshot, query);
}

struct ActionRow {
    std::string_view name;
    Action action;
    std::string (*answer)(const Snapshot&, const std::string& query);
};
constexpr ActionRow ACTIONS[] = {
    {"GET_STATS", Action::GetStats,
     [](const Snapshot& snapshot, const std::string& query) {
         return encodeStats(respondTo<Stats>(snapshot, query));
     }},
    {"STAT_IDS", Action::StatIds,
     [](const Snapshot& snapshot, const std::string& query) {
         return encodeIds(respondTo<StatIds>(snapshot, query));
     }},
    {"RESOURCE_GROUPS", Action::ResourceGroups,
     [](const Snapshot& snapshot, const std::string& query) {
         return encodeIds(respondTo<ResourceGroups>(snapshot, query));
     }},
};

void require(bool condition, const std::string& problem) {
    if (!condition) {
        throw Failed(problem);
    }
}

const ActionRow& actionOf(const AdminCall& call) {
    const auto* found = std::find_if(std::begin(ACTIONS), std::end(ACTIONS),
                                     [&](const ActionRow& row) { return row.name == call.member; });
    require(found != std::end(ACTIONS), "no such action");
    require(call.signature == STRING_TYPE, "no such signature");
    return *found;
}

std::string getAttribute(Knowledge& knowledge, const AdminCall& call) {
    require(call.member == PROTOCOL, "no such attribute");
    knowledge.activity.count(Action::GetAttribute);
    return encodeText(knowledge.protocolVersion);
}

std::string invoke(Knowledge& knowledge, const AdminCall& call) {
    const ActionRow& row = actionOf(call);
    knowledge.activity.count(row.action);
    return row.answer(knowledge.statistics(), call.argument);
}

// ---- Texts for the log

constexpr std::size_t MAX_SHOWN_LENGTH = 200;

std::string printable(std::string_view text) {
    std::string shown(text.substr(0, MAX_SHOWN_LENGTH));
    std::replace_if(
        shown.begin(), shown.end(), [](char character) { return character < ' ' || character > '~'; }, '?');
    return text.size() > MAX_SHOWN_LENGTH ? shown + "..." : shown;
}

std::string describeAdmin(const std::string& body) {
    const AdminCall call = decodeAdmin(body);
    switch (call.type) {
        case CallType::Initialise:
            return "initialise";
        case CallType::GetAttribute:
            return "get " + printable(call.member);
        case CallType::Invoke:
            return "invoke " + printable(call.member) + " \"" + printable(call.argument) + '"';
    }
    return "call type " + std::to_string(decodeCallType(body));
}

}  // namespace

struct Conversation::Route {
    std::string_view name;
    std::uint32_t type;
    Reply (Conversation::*handle)(const Request&);
};

Reply Conversation::answer(const Request& request) {
    static constexpr Route ROUTES[] = {{"BASE", 5, &Conversation::shakeHands},
                                       {"BASE", 10, &Conversation::close},
                                       {"Auth", 1, &Conversation::authorise},
                                       {"Admin", 1, &Conversation::administer}};
    ++knowledge_.activity.requestsTotal;
    const auto* route = std::find_if(std::begin(ROUTES), std::end(ROUTES), [&](const Route& each) {
        return each.name == request.name && each.type == request.type;
    });
    if (route == std::end(ROUTES)) {
        return {refuseInHeader(request, ReturnCode::UnknownRequest)};
    }
    try {
        return (this->*route->handle)(request);
    } catch (const Malformed&) {
        return {refuseInHeader(request, ReturnCode::Malformed)};
    }
}

Reply Conversation::shakeHands(const Request& request) {
    checkHandshake(request.body);
    knowledge_.activity.count(Action::Handshake);
    handshaken_ = true;
    return {encodeReply(request, 0, "")};
}

Reply Conversation::close(const Request& request) {
    knowledge_.activity.count(Action::Close);
    return {encodeReply(request, 0, ""), Ending::Close};
}

Reply Conversation::authorise(const Request& request) {
    const AuthCall call = decodeAuth(request.body);
    knowledge_.activity.count(Action::Authorise);
    return call.step == 0 ? handOutWords(request) : compareWords(request, call);
}

Reply Conversation::handOutWords(const Request& request) {
    if (!handshaken_) {
        return {authReply(request, 0, Refusal::NoHandshake, {})};
    }
    words_ = {randomWord(), randomWord(), randomWord()};
    return {authReply(request, 0, Refusal::None, *words_)};
}

// The words are good for one attempt, so that they cannot be guessed at; a failed one ends an earlier
// authorisation too.
Reply Conversation::compareWords(const Request& request, const AuthCall& call) {
    const auto expected = std::exchange(words_, std::nullopt);
    authorised_ = expected && std::equal(expected->begin(), expected->end(), call.words.begin()) &&
                  call.words.back() == 0;
    return {authorised_ ? authReply(request, call.step, Refusal::None, {})
                        : authReply(request, 0, Refusal::WrongWords, {})};
}

Reply Conversation::administer(const Request& request) {
    const Refusal refusal = objection(request);
    if (refusal != Refusal::None) {
        return {refuseAdmin(request, refusal)};
    }
    const bool initialising =
        decodeCallType(request.body) == static_cast<std::uint32_t>(CallType::Initialise);
    return initialising ? initialise(request) : carryOut(request);
}

Refusal Conversation::objection(const Request& request) const {
    const std::uint32_t type = decodeCallType(request.body);
    if (!authorised_) {
        return Refusal::NotAuthorised;
    }
    const bool needsId = type != static_cast<std::uint32_t>(CallType::Initialise);
    return needsId && adminId_ != decodeAdminId(request.body) ? Refusal::WrongAdminId : Refusal::None;
}

Reply Conversation::initialise(const Request& request) {
    decodeAdmin(request.body);
    knowledge_.activity.count(Action::Initialise);
    adminId_ = randomWord();
    return {encodeReply(request, 0, initialiseReplyBody(0, *adminId_))};
}

Reply Conversation::carryOut(const Request& request) {
    try {
        return {adminReply(request, 0, payload(decodeAdmin(request.body)))};
    } catch (const Malformed&) {
        return {adminReply(request, 1, "")};
    } catch (const Failed&) {
        return {adminReply(request, 1, "")};
    }
}

std::string Conversation::payload(const AdminCall& call) {
    require(call.bean == STATISTICS_BEAN, "no such bean");
    switch (call.type) {
        case CallType::GetAttribute:
            return getAttribute(knowledge_, call);
        case CallType::Invoke:
            return invoke(knowledge_, call);
        default:
            throw Failed("no such call");
    }
}

std::string describe(const Request& request) {
    const std::string title = printable(request.name) + " type " + std::to_string(request.type);
    try {
        if (request.name == "Admin") {
            return title + ", " + describeAdmin(request.body);
        }
        return request.name == "Auth" ? title + ", step " + std::to_string(decodeAuth(request.body).step)
                                      : title;
    } catch (const Malformed& problem) {
        return title + ", malformed: " + problem.what();
    }
}

}  // namespace gateway

// A connection to one Gateway: how it is found among its addresses, and what is made of its answers.
// Not the place for decisions about what to ask or show; those are the commands'.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "session.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace tools::zolstat {
namespace {

// What a look takes at most on top of a limit that has passed already.
std::chrono::milliseconds limitOfAGlance(std::chrono::milliseconds limit) {
    constexpr std::chrono::milliseconds longest{1000};
    return limit.count() == 0 ? longest : std::clamp(limit / 10, std::chrono::milliseconds{1}, longest);
}

// Some codes say that opening failed, but not whether a Gateway was there: then a bare connect tells.
bool leavesOpenWhoAnswered(int code) {
    return code == ZOLSTATS_CONNECT_FAILED || code == ZOLSTATS_CONNECTION_LOST ||
           code == ZOLSTATS_EXCHANGE_FAILED || code == ZOLSTATS_CONNECT_TIMED_OUT;
}

// A limit as a user gives it.
std::string inSeconds(std::chrono::milliseconds limit) {
    return fmt::format("{} s", std::chrono::duration<double>(limit).count());
}

Failure openFailure(int code, const Endpoint& address, std::chrono::milliseconds limit) {
    if (!leavesOpenWhoAnswered(code) || !connectBarely(address.host, address.port, limitOfAGlance(limit))) {
        return {ExitCode::NoConnection, code, explain(code)};
    }
    if (code == ZOLSTATS_CONNECT_TIMED_OUT) {
        return {ExitCode::NoConnection, code,
                fmt::format("something listens there, but it did not answer as a Gateway within {} ({})",
                            inSeconds(limit), code)};
    }
    return {ExitCode::NoGateway, code,
            fmt::format("something listens there, but it does not answer as a Gateway does, or refuses ({})",
                        code)};
}

bool comesLessFar(const Failure& one, const Failure& other) {
    return one.exitCode < other.exitCode;
}

std::string read(const zolstats::Identifier& item) {
    return std::string(item.id);
}

Statistic read(const zolstats::Statistic& item) {
    return {std::string(item.id), std::string(item.value)};
}

}  // namespace

Failure queryFailure(const zolstats::Error& error) {
    const int code = error.code().value();
    return {ExitCode::ConnectionLost, code, explain(code)};
}

Session::Session(const Endpoint& gateway, std::chrono::milliseconds limit)
    : Session(gateway, limit, open(gateway, limit)) {}

// If no address is good, the failure that came furthest is told: some of them may well be none of the Gateway's.
Session::Opened Session::open(const Endpoint& gateway, std::chrono::milliseconds limit) {
    std::vector<Failure> failures;
    zolstats::setTimeout(limit);
    for (const std::string& address : resolve(gateway.host)) {
        try {
            return {address, zolstats::Connection::openRemote(address, gateway.port)};
        } catch (const zolstats::Error& error) {
            failures.push_back(openFailure(error.code().value(), {address, gateway.port}, limit));
        }
    }
    if (failures.empty()) {
        failures.push_back(
            {ExitCode::NoConnection, ZOLSTATS_HOST_NOT_FOUND, explain(ZOLSTATS_HOST_NOT_FOUND)});
    }
    throw SessionFailed(*std::max_element(failures.begin(), failures.end(), comesLessFar));
}

Session::Session(Endpoint gateway, std::chrono::milliseconds limit, Opened opened)
    : gateway_(std::move(gateway)),
      limit_(limit),
      address_(std::move(opened.address)),
      connection_(std::move(opened.connection)) {}

// Asks and walks. The library tells a query that took too long as a connection lost; the clock tells them apart.
template <typename Item, typename Query>
Answer<Item> Session::ask(Query query) const {
    const auto start = std::chrono::steady_clock::now();
    try {
        Answer<Item> answer;
        for (const auto& item : query()) {
            if (item.rejected()) {
                answer.code = item.code;
            } else {
                answer.items.push_back(read(item));
            }
        }
        return answer;
    } catch (const zolstats::Error& error) {
        Failure failure = queryFailure(error);
        if (limit_.count() > 0 && std::chrono::steady_clock::now() - start >= limit_) {
            failure.text =
                fmt::format("the Gateway did not answer within {} ({})", inSeconds(limit_), failure.code);
        }
        throw SessionFailed(std::move(failure));
    }
}

Ids Session::groups() {
    return ask<std::string>([&] { return connection_.groups(); });
}

Ids Session::ids() {
    return ask<std::string>([&] { return connection_.statisticIds(); });
}

Ids Session::idsOfGroup(const std::string& group) {
    return ask<std::string>([&] { return connection_.idsOfGroups(group); });
}

Statistics Session::statisticsOfGroup(const std::string& group) {
    return ask<Statistic>([&] { return connection_.statisticsOfGroups(group); });
}

Statistics Session::statistic(const std::string& id) {
    return ask<Statistic>([&] { return connection_.statisticsById(id); });
}

}  // namespace tools::zolstat

// zolstat ping: how long each step takes on the way to a Gateway's statistics.
// Not the statistics themselves (command_stats.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <memory>
#include <optional>

#include "ask.h"
#include "command.h"
#include "console.h"
#include "interruption.h"
#include "json_document.h"
#include "patience.h"
#include "watch/signals.h"

namespace tools::zolstat {
namespace {

constexpr int MAX_COUNT = 1000000;

enum Step : std::size_t { Resolve, Connect, Open, Query, Walk, StepCount };
constexpr std::array<const char*, StepCount> STEP_NAMES{"resolve", "connect", "open", "query", "walk"};

// Once through all steps, or as far as it went.
struct Round {
    std::array<double, StepCount> timesMs{};  // valid before `step`
    std::size_t step = Resolve;               // the one under way, or StepCount at the end
    std::string address{};
    std::ptrdiff_t statistics = 0;
    std::optional<Failure> failure{};
};

// All rounds with one Gateway; the last one may have failed. None if they were interrupted before the first.
struct Rounds {
    Endpoint gateway;
    std::array<std::vector<double>, StepCount> timesMs{};
    int completed = 0;
    Round last{};
};

struct Spread {
    double minimum;
    double median;
    double maximum;
};

template <typename Work>
auto timeStep(Round& round, Work work) {
    const auto start = std::chrono::steady_clock::now();
    auto result = work();
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    round.timesMs.at(round.step++) = taken.count();
    return result;
}

int codeOfConnect(int error) {
    switch (error) {
        case ECONNREFUSED:
            return ZOLSTATS_CONNECTION_REFUSED;
        case ETIMEDOUT:
            return ZOLSTATS_CONNECT_TIMED_OUT;
        case ENETUNREACH:
        case EHOSTUNREACH:
            return ZOLSTATS_NETWORK_UNREACHABLE;
        default:
            return ZOLSTATS_CONNECT_FAILED;
    }
}

[[noreturn]] void failToConnect(int code) {
    throw SessionFailed({ExitCode::NoConnection, code, explain(code)});
}

bool connectOrFail(const Endpoint& gateway, std::chrono::milliseconds limit) {
    if (!connectBarely(gateway.host, gateway.port, limit)) {
        failToConnect(codeOfConnect(errno));
    }
    return true;
}

std::vector<std::string> resolveOrFail(const std::string& host) {
    std::vector<std::string> addresses = resolve(host);
    if (addresses.empty()) {
        failToConnect(ZOLSTATS_HOST_NOT_FOUND);
    }
    return addresses;
}

void visit(const Endpoint& address, const Options& options, Patience& patience, Round& round) {
    Session session = [&] {
        const Patience::Waiting waiting = patience.waitFor(address);
        timeStep(round, [&] { return connectOrFail(address, options.timeout); });
        return timeStep(round, [&] { return Session(address, options.timeout); });
    }();
    round.address = address.host;
    const auto answer = timeStep(round, [&] { return session.connection().statistics(); });
    round.statistics = timeStep(round, [&] { return std::ranges::distance(answer); });
}

// Does what may fail; a failure is the round's.
template <typename Work>
void attempt(Round& round, Work work) {
    try {
        work();
    } catch (const SessionFailed& failed) {
        round.failure = failed.failure();
    } catch (const zolstats::Error& error) {
        round.failure = queryFailure(error);
    }
}

// What all Gateways are visited with.
struct Journey {
    const Options& options;
    int count;
    Patience patience{};
    Interruption interruption{};

    bool goesOnAfter(const Rounds& rounds) const {
        return rounds.completed < count && !rounds.last.failure && !interruption.noted();
    }
};

// As a session does, each address is tried, and of the failures that which came furthest is told.
Round go(const Endpoint& gateway, const Options& options, Patience& patience) {
    Round start;
    std::vector<std::string> addresses;
    attempt(start, [&] { addresses = timeStep(start, [&] { return resolveOrFail(gateway.host); }); });
    Round furthest = start;
    for (const std::string& address : addresses) {
        Round round = start;
        attempt(round, [&] { visit({address, gateway.port}, options, patience, round); });
        if (round.step > furthest.step || !furthest.failure) {
            furthest = round;
        }
        if (furthest.step > Open) {
            break;
        }
    }
    return furthest;
}

Rounds goOften(const Endpoint& gateway, Journey& journey) {
    Rounds rounds{gateway};
    while (journey.goesOnAfter(rounds)) {
        rounds.last = go(gateway, journey.options, journey.patience);
        for (std::size_t step = 0; step < rounds.last.step; ++step) {
            rounds.timesMs.at(step).push_back(rounds.last.timesMs.at(step));
        }
        rounds.completed += rounds.last.failure ? 0 : 1;
    }
    return rounds;
}

Spread spreadOf(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    const std::size_t middle = times.size() / 2;
    const double median = times.size() % 2 == 1 ? times[middle] : (times[middle - 1] + times[middle]) / 2;
    return {times.front(), median, times.back()};
}

std::string rowOf(const std::vector<double>& times, bool once) {
    const auto [minimum, median, maximum] = spreadOf(times);
    return once ? fmt::format("{:>11.3f}", median)
                : fmt::format("{:>11.3f}{:>11.3f}{:>11.3f}", minimum, median, maximum);
}

std::string tableOf(const Rounds& rounds, bool once) {
    std::string text =
        fmt::format("{}{}: {} {}, {} statistics, times in ms\n", nameOf(rounds.gateway),
                    rounds.last.address.empty() ? "" : " at " + rounds.last.address, rounds.completed,
                    rounds.completed == 1 ? "round" : "rounds", rounds.last.statistics);
    text += once ? "" : fmt::format("{:9}{:>11}{:>11}{:>11}\n", "", "minimum", "median", "maximum");
    for (std::size_t step = 0; step < StepCount; ++step) {
        const std::vector<double>& times = rounds.timesMs.at(step);
        const bool failed = rounds.last.failure && step == rounds.last.step;
        if (!times.empty() || failed) {
            text += fmt::format("  {:<7}{}{}\n", STEP_NAMES.at(step), times.empty() ? "" : rowOf(times, once),
                                failed ? "     failed" : "");
        }
    }
    return text;
}

nlohmann::ordered_json stepsAsJson(const Rounds& rounds) {
    auto steps = nlohmann::ordered_json::object();
    for (std::size_t step = 0; step < StepCount; ++step) {
        if (const std::vector<double>& times = rounds.timesMs.at(step); !times.empty()) {
            const auto [minimum, median, maximum] = spreadOf(times);
            steps[STEP_NAMES.at(step)] = {{"minimum", minimum}, {"median", median}, {"maximum", maximum}};
        }
    }
    return steps;
}

nlohmann::ordered_json asJson(const Rounds& rounds) {
    nlohmann::ordered_json gateway{{"host", rounds.gateway.host},
                                   {"port", rounds.gateway.port},
                                   {"address", nullptr},
                                   {"rounds", rounds.completed},
                                   {"statistics", rounds.last.statistics},
                                   {"steps", stepsAsJson(rounds)}};
    if (!rounds.last.address.empty()) {
        gateway["address"] = rounds.last.address;
    }
    if (const auto& failure = rounds.last.failure) {
        gateway["error"] = {{"step", STEP_NAMES.at(rounds.last.step)},
                            {"exit_code", static_cast<int>(failure->exitCode)},
                            {"code", failure->code},
                            {"message", failure->text}};
    }
    return gateway;
}

std::string tableOf(const std::vector<Rounds>& all, bool once) {
    std::string text;
    for (const Rounds& rounds : all) {
        text += tableOf(rounds, once);
    }
    return text;
}

std::string documentOf(const std::vector<Rounds>& all) {
    auto document = beginDocument("ping");
    document["unit"] = "ms";
    for (const Rounds& rounds : all) {
        document["gateways"].push_back(asJson(rounds));
    }
    return textOf(document);
}

ExitCode tell(const std::vector<Rounds>& all, bool once, bool json) {
    ExitCode heaviest = ExitCode::Fine;
    for (const Rounds& rounds : all) {
        if (const auto& failure = rounds.last.failure) {
            heaviest = std::max(heaviest, failure->exitCode);
            complainOf(nameOf(rounds.gateway),
                       fmt::format("{}: {}", STEP_NAMES.at(rounds.last.step), failure->text));
        }
    }
    writeLastOutput(json ? documentOf(all) : tableOf(all, once));
    return heaviest;
}

Run attachPing(CLI::App& line) {
    const auto count = std::make_shared<int>(1);
    line.add_option("-c,--count", *count, "How often, 1 to 1000000")
        ->capture_default_str()
        ->type_name("N")
        ->check(CLI::Range(1, MAX_COUNT).description(""));
    return [count](const Options& options) {
        const bool json = wantsJson(options.layout, "ping");
        Journey journey{options, *count};
        const auto all =
            forEachGateway(options, [&](const Endpoint& gateway) { return goOften(gateway, journey); });
        const ExitCode heaviest = tell(all, *count == 1, json);
        return journey.interruption.noted() ? watch::endedBy(SIGINT) : heaviest;
    };
}

}  // namespace

const Command pingCommand{"ping", "Time each step on the way to a Gateway's statistics", "zolstat ping -c 10",
                          attachPing};

}  // namespace tools::zolstat

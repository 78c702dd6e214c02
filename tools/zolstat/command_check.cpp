// zolstat check: statistics held against ranges, as a plugin of a monitoring system.
// Not the place for ranges (range.h) or for how plugins end (plugin.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "ask.h"
#include "command.h"
#include "console.h"
#include "plugin.h"
#include "range.h"

namespace tools::zolstat {
namespace {

// A statistic, and where it begins to matter.
struct Watched {
    std::string id;
    std::optional<Range> warning{};
    std::optional<Range> critical{};
};
using WatchList = std::vector<Watched>;
using Level = std::optional<Range> Watched::*;

// What one statistic, or a Gateway as a whole, comes to.
struct Finding {
    PluginState state = PluginState::Unknown;
    std::string text;
    std::string datum{};  // empty: there is no number
};

Watched& entryOf(WatchList& list, const std::string& id) {
    const auto known =
        std::find_if(list.begin(), list.end(), [&](const Watched& watched) { return watched.id == id; });
    return known != list.end() ? *known : list.emplace_back(Watched{id});
}

void addThreshold(WatchList& list, const char* option, Level level, const std::string& text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::optional<Range> range =
        colon < text.size() ? Range::parse(text.substr(colon + 1)) : std::nullopt;
    if (!range || colon == 0) {
        throw CLI::ValidationError(
            option,
            fmt::format("'{}' is not ID:RANGE with a range such as 10, 10:, ~:10, 10:20 or @10:20", text));
    }
    Watched& watched = entryOf(list, text.substr(0, colon));
    if (watched.*level) {
        throw CLI::ValidationError(option, fmt::format("there are two ranges for '{}'", watched.id));
    }
    watched.*level = range;
}

void addThresholds(CLI::App& line, const std::shared_ptr<WatchList>& list, const char* option, Level level,
                   const char* help) {
    const auto add = [=](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            addThreshold(*list, option, level, text);
        }
    };
    const std::string names = fmt::format("-{},{}", option[2], option);
    line.add_option_function<std::vector<std::string>>(names, add, help)
        ->type_name("ID:RANGE")
        ->expected(1)
        ->allow_extra_args(false)  // what follows is no range
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

// The Gateway takes the name of a group, too, and then tells all that the group has.
Reading readingOf(const std::string& id, Statistics answer) {
    Reading reading{"", id, {}, answer.code};
    if (answer.items.size() == 1 && answer.items.front().id == id) {
        reading.value = std::move(answer.items.front().value);
    } else if (!answer.items.empty()) {
        reading.group = id;
    }
    return reading;
}

void readEach(const WatchList& list, Session& session, Sample& sample) {
    for (const Watched& watched : list) {
        sample.readings.push_back(readingOf(watched.id, session.statistic(watched.id)));
    }
}

std::string shortened(const std::string& text) {
    constexpr std::size_t longest = 60;
    return text.size() <= longest ? text : text.substr(0, longest) + "...";
}

std::string textOf(const std::optional<Range>& range) {
    return range ? range->text() : "";
}

Finding alertFor(const Watched& watched, const Decimal& value) {
    if (watched.critical && watched.critical->alerts(value)) {
        return {PluginState::Critical, fmt::format(" (critical {})", watched.critical->text())};
    }
    if (watched.warning && watched.warning->alerts(value)) {
        return {PluginState::Warning, fmt::format(" (warning {})", watched.warning->text())};
    }
    return {PluginState::Ok, ""};
}

Finding judge(const Watched& watched, const Reading& reading, const std::string& label) {
    if (!reading.value) {
        return {PluginState::Unknown, label + ": there is no such statistic" +
                                          (reading.group.empty() ? "" : ", but a group of that name")};
    }
    const std::optional<Decimal> value = decimalOf(*reading.value);
    if (!value) {
        return {PluginState::Unknown,
                fmt::format("{} = '{}' is not a number", label, shortened(*reading.value))};
    }
    Finding finding = alertFor(watched, *value);
    finding.text = fmt::format("{} = {}{}", label, shortened(*reading.value), finding.text);
    if (const auto plain = plainText(*value)) {
        finding.datum = performanceDatum(label, *plain, textOf(watched.warning), textOf(watched.critical));
    }
    return finding;
}

// Only where there are several Gateways do the statistics carry the names of theirs.
std::vector<Finding> judge(const WatchList& list, const std::vector<Sample>& samples) {
    std::vector<Finding> findings;
    for (const Sample& sample : samples) {
        const std::string name = nameOf(sample.gateway);
        if (sample.failure) {
            findings.push_back({PluginState::Unknown, fmt::format("{}: {}", name, sample.failure->text)});
        }
        for (std::size_t index = 0; index < sample.readings.size(); ++index) {
            const std::string label = (samples.size() > 1 ? name + ' ' : "") + list[index].id;
            findings.push_back(judge(list[index], sample.readings[index], label));
        }
    }
    return findings;
}

ExitCode tell(std::vector<Finding> findings) {
    PluginState state = PluginState::Ok;
    std::vector<std::string> data;
    for (const Finding& finding : findings) {
        state = worse(state, finding.state);
        if (!finding.datum.empty()) {
            data.push_back(finding.datum);
        }
    }
    // The worst first: a pager may show no more than the beginning of the line.
    std::stable_sort(findings.begin(), findings.end(), [](const Finding& one, const Finding& other) {
        return one.state != other.state && worse(one.state, other.state) == one.state;
    });
    std::vector<std::string> texts;
    std::transform(findings.begin(), findings.end(), std::back_inserter(texts),
                   [](const Finding& finding) { return finding.text; });
    writeOutput(pluginLine(state, fmt::format("{}", fmt::join(texts, "; ")), data));
    return exitCodeOf(state);
}

Run attachCheck(CLI::App& line) {
    const auto list = std::make_shared<WatchList>();
    addThresholds(line, list, "--warning", &Watched::warning,
                  "Warn when the statistic is outside of START:END (both included):\n"
                  "10 is 0:10, 10: has no upper end, ~:10 no lower one, @10:20 warns inside");
    addThresholds(line, list, "--critical", &Watched::critical,
                  "The same for what is critical; both as often as needed");
    return [list](const Options& options) {
        if (list->empty()) {
            throw UsageError("'check' needs a --warning or a --critical");
        }
        requireFormat(options.layout, {Format::Table},
                      "'check' has no format but the line of a monitoring plugin");
        const auto read = [&](Session& session, Sample& sample) { readEach(*list, session, sample); };
        return tell(judge(*list, askAll(options, read)));
    };
}

}  // namespace

const Command checkCommand{"check", "Hold statistics against ranges, as a monitoring plugin",
                           "zolstat check --warning LOAD_1_MINUTE:4 --critical LOAD_1_MINUTE:8", attachCheck,
                           true};

}  // namespace tools::zolstat

// One question to all Gateways of a command.
// Not the place for what is asked (selection.cpp, the commands) or how answers are shown (formats/).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "ask.h"

#include <fmt/format.h>

#include <algorithm>

#include "command.h"
#include "console.h"
#include "formats/format.h"
#include "patience.h"

namespace tools::zolstat {
namespace {

Session openPatiently(const Endpoint& gateway, std::chrono::milliseconds timeout, Patience& patience) {
    const Patience::Waiting waiting = patience.waitFor(gateway);
    return Session(gateway, timeout);
}

Sample ask(const Endpoint& gateway, std::chrono::milliseconds timeout, const Question& question,
           Patience& patience) {
    Sample sample{gateway};
    try {
        Session session = openPatiently(gateway, timeout, patience);
        question(session, sample);
    } catch (const SessionFailed& failed) {
        sample.readings.clear();
        sample.failure = failed.failure();
    }
    sample.time = std::chrono::system_clock::now();
    return sample;
}

// What the user has for a default may be meant for 'zolstat watch', and is left aside here.
Layout withoutChange(Layout layout) {
    const bool hasColumn = std::erase(layout.columns, Column::Change) > 0;
    const bool hasOrder = layout.order == Order::Change;
    if ((hasColumn && layout.columnsAreExplicit) || (hasOrder && layout.orderIsExplicit)) {
        throw UsageError("a change shows only from one reading to the next: 'change' is for 'zolstat watch'");
    }
    layout.order = hasOrder ? Order::Gateway : layout.order;
    return layout;
}

}  // namespace

ExitCode askAndShow(const Options& options, const Question& question, Kind kind) {
    const Layout layout = withoutChange(options.layout);
    return show(askAll(options, question), kind, layout);
}

std::vector<Sample> askAll(const Options& options, const Question& question) {
    Patience patience;
    return forEachGateway(
        options, [&](const Endpoint& gateway) { return ask(gateway, options.timeout, question, patience); });
}

void complain(const std::vector<Sample>& samples) {
    for (const Sample& sample : samples) {
        for (const std::string& complaint : sample.complaints) {
            complainOf(nameOf(sample.gateway), complaint);
        }
        if (sample.failure) {
            complainOf(nameOf(sample.gateway), sample.failure->text);
        }
    }
}

ExitCode exitCodeOf(const std::vector<Sample>& samples) {
    ExitCode heaviest = ExitCode::Fine;
    for (const Sample& sample : samples) {
        if (sample.failure) {
            heaviest = std::max(heaviest, sample.failure->exitCode);
        } else if (!sample.complaints.empty()) {
            heaviest = std::max(heaviest, ExitCode::Rejected);
        }
    }
    return heaviest;
}

ExitCode show(const std::vector<Sample>& samples, Kind kind, const Layout& layout) {
    complain(samples);
    writeLastOutput(render(samples, kind, layout));
    return exitCodeOf(samples);
}

}  // namespace tools::zolstat

// One question to all Gateways of a command: asked at the same time, answered as samples in their order.
// Not the place for what is asked (selection.h, the commands) or how answers are shown (formats/).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_ASK_H
#define ZOLSTAT_ASK_H

#include <functional>
#include <future>
#include <type_traits>
#include <vector>

#include "options.h"
#include "sample.h"
#include "session.h"

namespace tools::zolstat {

// Fills the readings and complaints of a sample; may throw SessionFailed.
using Question = std::function<void(Session&, Sample&)>;

// Calls `ask` for each Gateway in a thread of its own; what it returns is in the order of the Gateways.
template <typename Ask>
std::vector<std::invoke_result_t<Ask, const Endpoint&>> forEachGateway(const Options& options, Ask ask) {
    std::vector<std::future<std::invoke_result_t<Ask, const Endpoint&>>> asked;
    for (const Endpoint& gateway : options.gateways) {
        asked.push_back(std::async(std::launch::async, [&] { return ask(gateway); }));
    }
    std::vector<std::invoke_result_t<Ask, const Endpoint&>> answers;
    for (auto& answer : asked) {
        answers.push_back(answer.get());
    }
    return answers;
}

// Opens a connection to each Gateway in a thread of its own. One that fails does not stop the others: its sample holds
// the failure.
std::vector<Sample> askAll(const Options& options, const Question& question);

// Asks and shows, as a command does that reads once. Throws UsageError if the layout needs a reading before
// that.
ExitCode askAndShow(const Options& options, const Question& question, Kind kind);

// Shows the samples on standard output, what went wrong on standard error, and tells the exit code for both.
ExitCode show(const std::vector<Sample>& samples, Kind kind, const Layout& layout);

// Writes failures and complaints to standard error, each with the name of its Gateway.
void complain(const std::vector<Sample>& samples);

// The heaviest of what went wrong.
ExitCode exitCodeOf(const std::vector<Sample>& samples);

}  // namespace tools::zolstat

#endif

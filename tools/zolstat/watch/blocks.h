// A watch as text: one block of it in each interval, for pipes, files and simple terminals.
// Not the layout of a block (formats/).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_BLOCKS_H
#define ZOLSTAT_WATCH_BLOCKS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "feeder.h"
#include "layout.h"
#include "mailbox.h"
#include "patience.h"
#include "signals.h"
#include "state.h"

namespace tools::zolstat::watch {

class Blocks {
  public:
    Blocks(const Layout& layout, const Plan& plan, Mailbox& mailbox, Signals& signals);

    // Prints so many blocks, or without end. A block comes as soon as every Gateway has answered or is known
    // to be down, and at the end of its interval at the latest: with those that have answered by then, or not
    // at all if none has.
    ExitCode print(std::optional<std::uint64_t> count);

  private:
    enum class Until { AllReady, TheMoment };

    void waitUntil(Moment moment, Until until);
    void takeSignal();
    void takeDeliveries();
    void write(int descriptor, std::string_view text);
    bool printBlock();
    bool isReady(std::size_t gateway) const;
    bool areAllReady() const;

    Layout layout_;
    Ticks ticks_;
    Mailbox& mailbox_;
    Signals& signals_;
    std::vector<GatewayState> states_;
    Patience patience_;
    std::map<std::size_t, Patience::Waiting> waits_;  // for the first word of each Gateway
    std::vector<bool> answered_;                      // since the last block
    std::optional<ExitCode> ending_;                  // by a signal, or because nobody reads on
};

}  // namespace tools::zolstat::watch

#endif

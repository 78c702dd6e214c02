// A watch on a whole terminal: deliveries, keys and signals brought together.
// Not what is visible (view_model.h) and not drawing (screen.h).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_FULL_SCREEN_H
#define ZOLSTAT_WATCH_FULL_SCREEN_H

#include <cstdint>
#include <optional>
#include <vector>

#include "feeder.h"
#include "mailbox.h"
#include "screen.h"
#include "signals.h"
#include "state.h"
#include "view_model.h"

namespace tools::zolstat::watch {

class FullScreen {
  public:
    FullScreen(const Layout& layout, const Plan& plan, Mailbox& mailbox, Signals& signals);

    // Until the user has enough, or so many readings have come from every Gateway.
    ExitCode show(std::optional<std::uint64_t> count);

  private:
    void takeDeliveries();
    void takeKeys();
    void takeSignals();
    void handle(int signal);
    void showContent();
    bool hasSeen(std::optional<std::uint64_t> count) const;

    Ticks ticks_;
    Mailbox& mailbox_;
    Signals& signals_;
    std::vector<GatewayState> states_;
    std::vector<std::uint64_t> counts_;  // of the deliveries of each Gateway
    Content content_;
    Moment contentDue_{};
    ViewModel model_;
    Screen screen_;
    std::optional<ExitCode> ending_;
};

}  // namespace tools::zolstat::watch

#endif

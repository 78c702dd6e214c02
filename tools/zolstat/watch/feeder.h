// One thread for each Gateway, which reads it again and again and comes back when it is lost.
// Not the place where anything is shown: what was read goes into the mailbox.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_FEEDER_H
#define ZOLSTAT_WATCH_FEEDER_H

#include <memory>
#include <vector>

#include "common/detachable_thread.h"
#include "mailbox.h"
#include "options.h"
#include "schedule.h"

namespace tools::zolstat::watch {

// So often it is looked up which groups there are: some come and go while a connection lasts.
constexpr std::chrono::seconds LIFE_OF_A_SELECTION{30};

struct Plan {
    std::vector<Endpoint> gateways;
    Arguments names;
    std::chrono::milliseconds timeout;  // for each call of the library
    Ticks ticks;
    Moment::duration lifeOfASelection = LIFE_OF_A_SELECTION;
};

class Feeder {
  public:
    explicit Feeder(const Plan& plan);
    // Gives the threads a moment to take leave of their Gateways. Those that wait for one are left behind,
    // since nothing but their time limit would end that; the process then ends without taking its static
    // objects apart.
    ~Feeder();
    Feeder(const Feeder&) = delete;
    Feeder& operator=(const Feeder&) = delete;

    Mailbox& mailbox();

  private:
    class Shared;
    class Reader;
    void end();

    std::shared_ptr<Shared> shared_;  // by the workers too: they may outlive this object
    std::vector<DetachableThread> workers_;
};

}  // namespace tools::zolstat::watch

#endif

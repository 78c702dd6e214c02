// Where the workers put what Gateways have told, and the view takes it.
// Not the place where anything is asked (feeder.h) or shown.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_MAILBOX_H
#define ZOLSTAT_WATCH_MAILBOX_H

#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "descriptor.h"
#include "sample.h"
#include "trend.h"

namespace tools::zolstat::watch {

// What one Gateway has told at one moment, or why it could not.
struct Delivery {
    Sample sample;
    std::vector<Moment> moments{};  // when each reading was taken
    Moment moment{};                // when it was all there
    Moment nextTry{};               // after a failure
    std::uint64_t connection = 0;   // its number, so that a loss shows that nobody has seen
};

// Of each Gateway the newest delivery only: a view that is slow, or stopped, sees fewer of them, and nothing
// piles up.
class Mailbox {
  public:
    using Deliveries = std::map<std::size_t, Delivery>;  // by the number of the Gateway

    Mailbox();

    void post(std::size_t gateway, Delivery delivery);  // may be called by any thread
    Deliveries take();
    // Readable while there is something to take, so that a view can wait for it and for keys at once.
    int descriptor() const { return event_.number(); }

  private:
    std::mutex mutex_;
    Deliveries deliveries_;
    Descriptor event_;
};

}  // namespace tools::zolstat::watch

#endif

// Where the workers put what Gateways have told, and the view takes it.
// Not the place where anything is asked (feeder.cpp) or shown.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "mailbox.h"

#include <sys/eventfd.h>

#include <utility>

namespace tools::zolstat::watch {

Mailbox::Mailbox() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd") {}

void Mailbox::post(std::size_t gateway, Delivery delivery) {
    const std::lock_guard lock(mutex_);
    deliveries_.insert_or_assign(gateway, std::move(delivery));
    eventfd_write(event_.number(), 1);
}

Mailbox::Deliveries Mailbox::take() {
    const std::lock_guard lock(mutex_);
    eventfd_t count = 0;
    eventfd_read(event_.number(), &count);
    return std::exchange(deliveries_, {});
}

}  // namespace tools::zolstat::watch

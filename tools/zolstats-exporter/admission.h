// How many requests may be worked on at a time.
// Not a queue: who comes too late is told so at once.
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_ADMISSION_H
#define EXPORTER_ADMISSION_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace tools::exporter {

// Every call may come from any thread.
class Admission {
  public:
    explicit Admission(std::size_t most) : most_(most) {}

    // A place, for as long as this object lives.
    class Ticket {
      public:
        explicit Ticket(Admission& admission) : admission_(&admission) {}
        ~Ticket() { leave(); }
        Ticket(Ticket&& other) noexcept : admission_(std::exchange(other.admission_, nullptr)) {}
        Ticket& operator=(Ticket&&) = delete;

      private:
        void leave() const {
            if (admission_ != nullptr) {
                --admission_->inside_;
            }
        }
        Admission* admission_;
    };

    // Nothing if there is no place.
    std::optional<Ticket> enter() {
        Ticket ticket(*this);
        if (++inside_ <= most_) {
            return ticket;
        }
        ++refused_;
        return std::nullopt;
    }

    std::size_t inside() const { return inside_; }
    std::uint64_t refused() const { return refused_; }

  private:
    std::size_t most_;
    std::atomic<std::size_t> inside_{0};
    std::atomic<std::uint64_t> refused_{0};
};

}  // namespace tools::exporter

#endif

// A file descriptor that closes itself.
// Not a stream: reading and writing stay with the owner.
// The protocol that the Gateway speaks is written down in docs/protocol.md.
#ifndef ZOLSTATS_GATEWAY_DESCRIPTOR_H
#define ZOLSTATS_GATEWAY_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace gateway {

class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }

    [[nodiscard]] int number() const { return number_; }
    void close() {
        if (number_ >= 0) {
            ::close(std::exchange(number_, -1));
        }
    }

  private:
    int number_;
};

}  // namespace gateway

#endif

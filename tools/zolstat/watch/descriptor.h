// A file descriptor that closes itself.
// Not for sockets of the library, which are its own.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_DESCRIPTOR_H
#define ZOLSTAT_WATCH_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace tools::zolstat::watch {

class Descriptor {
  public:
    // Takes over what a system call named `call` has returned; throws std::system_error if that is a failure.
    Descriptor(int number, const char* call) : number_(number) {
        if (number == -1) {
            throw std::system_error(errno, std::generic_category(), call);
        }
    }
    ~Descriptor() { close(number_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

  private:
    int number_;
};

}  // namespace tools::zolstat::watch

#endif

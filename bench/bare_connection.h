// A connection to a Gateway without the library: the same requests, and nothing that could be left out. It is what the
// library is measured against, and no client: it trusts every reply.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_BENCH_BARE_CONNECTION_H
#define ZOLSTATS_BENCH_BARE_CONNECTION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "descriptor.h"

namespace bench {

// Bytes that are overwritten without being cleared before, and some more for a parser that reads ahead.
class ReplyBuffer {
  public:
    char* data() { return bytes_.get(); }
    [[nodiscard]] std::size_t capacity() const { return capacity_; }
    // Keeps the first bytes of it.
    void grow(std::size_t capacity, std::size_t kept);

  private:
    std::unique_ptr<char[]> bytes_;
    std::size_t capacity_ = 0;
};

class BareConnection {
  public:
    // Opening and closing make the system calls that the library makes for it. Throws std::system_error.
    explicit BareConnection(std::uint16_t port);
    ~BareConnection();
    BareConnection(const BareConnection&) = delete;
    BareConnection& operator=(const BareConnection&) = delete;

    [[nodiscard]] std::uint32_t adminId() const { return adminId_; }

    // One send() and, where the reply comes in one piece, one recv(); a reply's header has that length. Gives the
    // whole reply, which stands until the next exchange.
    std::string_view exchange(std::string_view request, std::size_t headerLength);
    // The same as the library reads: what it waits for, a header, a body.
    std::string_view exchangeInSteps(std::string_view request, std::size_t headerLength);

  private:
    void send(std::string_view request);
    std::size_t receive(std::size_t at, std::size_t size, int flags);
    void introduce();

    gateway::Descriptor socket_;
    ReplyBuffer buffer_;
    std::uint32_t adminId_ = 0;
};

}  // namespace bench

#endif

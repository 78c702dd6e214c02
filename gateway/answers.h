// What a Gateway answers: the usual reply to each request of one connection.
// Knows no socket; the bytes are put together in wire.h.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_GATEWAY_ANSWERS_H
#define ZOLSTATS_GATEWAY_ANSWERS_H

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "statistics.h"
#include "wire.h"

namespace gateway {

// The code of an element of a query that is neither a group nor a statistic, or not one that was asked for.
inline constexpr std::int32_t UNKNOWN_ID = -1;

// Return codes of a reply's header, where its body has no place for a refusal.
enum class ReturnCode : std::int32_t { Fine = 0, UnknownRequest = 101, Malformed = 102 };

// Why an authorisation or an administrative call was refused.
enum class Refusal : std::uint32_t {
    None = 0,
    NoHandshake = 1,
    WrongWords = 2,
    NotAuthorised = 3,
    WrongAdminId = 4
};

// What happens to the connection after the reply; Reset drops it without the usual end of the stream.
enum class Ending { KeepOpen, Close, Reset };

struct Reply {
    std::string bytes;  // none: nothing is sent
    Ending ending = Ending::KeepOpen;
};

// What the answers of all connections draw upon.
struct Knowledge {
    std::function<Snapshot()> statistics;
    std::string protocolVersion;
    Activity activity;
};

// One connection, from its handshake to its close.
class Conversation {
  public:
    explicit Conversation(Knowledge& knowledge) : knowledge_(knowledge) {}

    Reply answer(const Request& request);

  private:
    struct Route;

    Reply shakeHands(const Request& request);
    Reply authorise(const Request& request);
    Reply administer(const Request& request);
    Reply close(const Request& request);

    Reply handOutWords(const Request& request);
    Reply compareWords(const Request& request, const AuthCall& call);
    Reply initialise(const Request& request);
    Reply carryOut(const Request& request);
    [[nodiscard]] Refusal objection(const Request& request) const;
    std::string payload(const AdminCall& call);

    Knowledge& knowledge_;
    bool handshaken_ = false;
    bool authorised_ = false;
    std::optional<std::array<std::uint32_t, 3>> words_;
    std::optional<std::uint32_t> adminId_;
};

// A request in a few words, for a log: printable whatever the client sent.
std::string describe(const Request& request);

}  // namespace gateway

#endif

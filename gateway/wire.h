// The bytes that a Gateway receives and sends: requests taken apart, replies and call data put together.
// Knows no socket and no thread, and decides nothing about what is asked.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_GATEWAY_WIRE_H
#define ZOLSTATS_GATEWAY_WIRE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "statistics.h"

namespace gateway {

// The longest request name is "Admin"; a name beyond this length is garbage.
inline constexpr std::size_t MAX_NAME_LENGTH = 24;
// An argument has at most 65535 bytes and the other texts of a body a few hundred: twice that is ample.
inline constexpr std::size_t MAX_BODY_LENGTH = 128 * 1024;

// One whole request as it came.
struct Request {
    std::uint32_t version = 0;
    std::uint32_t type = 0;
    std::int32_t word12 = 0;
    std::int32_t word16 = 0;
    std::string name;
    std::uint8_t flag = 0;
    std::string body;
    std::string bytes;  // header and body exactly as received
};

// The stream cannot be followed any further: what comes next is not a request, or one beyond all bounds.
struct BadFraming : std::runtime_error {
    using std::runtime_error::runtime_error;
};
// A body that does not hold what its request must hold.
struct Malformed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Collects what arrives on a connection and gives out whole requests.
class RequestReader {
  public:
    void append(std::string_view received) { pending_.append(received); }
    // The next request, or nothing as long as bytes of it are missing. Throws BadFraming.
    std::optional<Request> next();

  private:
    std::string pending_;
};

struct AuthCall {
    std::uint32_t step = 0;
    std::array<std::uint32_t, 4> words{};  // valid in step 1
};
AuthCall decodeAuth(std::string_view body);  // throws Malformed

enum class CallType : std::uint32_t { Initialise = 0, GetAttribute = 1, Invoke = 5 };

struct AdminCall {
    CallType type = CallType::Initialise;
    std::uint32_t adminId = 0;  // not in an initialising call; nor is anything below
    std::string bean;
    std::string member;     // the attribute to get or the action to invoke
    std::string argument;   // of an action
    std::string signature;  // of an action: the type of its argument
};
std::uint32_t decodeCallType(std::string_view body);  // throws Malformed
std::uint32_t decodeAdminId(std::string_view body);   // throws Malformed
AdminCall decodeAdmin(std::string_view body);         // throws Malformed
void checkHandshake(std::string_view body);           // throws Malformed

// A whole reply to a request: header and body.
std::string encodeReply(const Request& request, std::int32_t returnCode, std::string_view body);

std::string authReplyBody(std::uint32_t step, std::uint32_t code, const std::array<std::uint32_t, 3>& words);
std::string initialiseReplyBody(std::uint32_t authCode, std::uint32_t adminId);
std::string adminReplyBody(std::uint32_t callType, std::uint32_t authCode, std::uint8_t exceptionFlag,
                           std::string_view payload);

// The payload that answers for an attribute: one Java string. Throws std::length_error above 65535 bytes, as
// do all that write texts.
std::string encodeText(std::string_view text);

// The payload that answers for an action: one response for each element of the query. A response with a
// negative code carries no items.
struct StatsResponse {
    std::string query;
    std::int32_t code = 0;
    std::vector<Statistic> statistics{};
};
struct IdsResponse {
    std::string query;
    std::int32_t code = 0;
    std::vector<std::string> ids{};
};
std::string encodeStats(const std::vector<StatsResponse>& responses);
std::string encodeIds(const std::vector<IdsResponse>& responses);

}  // namespace gateway

#endif

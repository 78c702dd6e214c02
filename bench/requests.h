// The requests that the library sends, byte for byte, for clients without it.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_BENCH_REQUESTS_H
#define ZOLSTATS_BENCH_REQUESTS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace bench {

// Replies: a header of fixed size but for the name, and where its last field, the length of the body, stands.
inline constexpr std::size_t HEADER_LENGTH = 29;  // without the name
inline constexpr std::size_t BASE_HEADER_LENGTH = HEADER_LENGTH + 4;
inline constexpr std::size_t AUTH_HEADER_LENGTH = HEADER_LENGTH + 4;
inline constexpr std::size_t ADMIN_HEADER_LENGTH = HEADER_LENGTH + 5;
// The call data of an answer to a query stands behind the header, the call type, a code and a flag.
inline constexpr std::size_t CALL_DATA_AT = ADMIN_HEADER_LENGTH + 9;
// The answer to an initialising request holds the admin id behind the header, the call type and a code.
inline constexpr std::size_t ADMIN_ID_AT = ADMIN_HEADER_LENGTH + 8;

std::uint32_t loadWord(const char* bytes);

std::string handshakeRequest();
std::string firstAuthRequest();
// The words: the twelve bytes that the reply to the first request holds behind its first two words.
std::string secondAuthRequest(std::string_view words);
std::string initialiseRequest();
std::string protocolRequest(std::uint32_t adminId);
// All statistics of a group.
std::string statisticsRequest(std::uint32_t adminId, std::string_view group);
std::string closeRequest();

}  // namespace bench

#endif

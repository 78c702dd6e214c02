// What each byte of a recorded reply is for, and so what a client may make of it when it is another.
// No parser: it knows the replies of one healthy session and looks up in them what that session has read.
// The layout of the replies is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_REPLY_BYTES_H
#define ZOLSTATS_TESTS_REPLY_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "session.h"

namespace faults {

enum class Role {
    Ignored,     // nothing depends on it
    Eyecatcher,  // without it nothing is a reply
    Refusal,     // anything but 0 is a refusal, behind which the connection goes on
    NameLength,
    BodyLength,
    CallType,   // 0 would be the reply to an initialising call, which has no payload
    Structure,  // of call data: a length, a count, a code, a mark
    Value       // handed out to the application as it is
};

// Where a value stands in what the application has got: a text of one item or, for a query's text, of several.
struct Value {
    std::size_t firstItem = 0;
    std::size_t lastItem = 0;
    std::string Item::*text = nullptr;  // null: the protocol version
    std::size_t at = 0;
};

struct ReplyByte {
    Role role = Role::Structure;
    Value value{};  // if that is its role
};
using ReplyBytes = std::vector<ReplyByte>;

inline constexpr std::size_t NAME_LENGTH_AT = 20;

// The big-endian word at an offset of a reply.
std::uint32_t wordAt(const std::string& reply, std::size_t offset);

// Where the length of a reply's body stands.
std::size_t bodyLengthAt(const std::string& reply);

ReplyBytes handshakeOrCloseBytes(const std::string& reply);
ReplyBytes authorisationBytes(const std::string& reply);
ReplyBytes initialisationBytes(const std::string& reply);
ReplyBytes versionBytes(const std::string& reply, const std::string& version);
ReplyBytes queryBytes(const std::string& reply, const std::vector<Item>& items);

}  // namespace faults

#endif

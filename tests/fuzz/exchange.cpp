// Fuzz target: the exchange of one request for its reply, and each kind of request, on whatever the peer sends.
// Not the payload of a reply (parse.cpp) and not a whole connection (session.cpp).
// The wire format is written down in docs/protocol.md.
//
// Input: one byte that chooses an entry of ASKS, one byte of options, then all that the peer sends before its
// stream ends.
//     bits 0-3 of the options  what an entry may vary, see there
//     bit 4                    trace everything
#include <array>
#include <cstring>
#include <string>

#include "input.h"
#include "stapi_zol_gwycon.h"
#include "stapi_zol_socketcomms.h"
#include "stapi_zol_statcomms.h"
#include "support/message_buffer.h"
#include "support/peer.h"
#include "trace.h"
#include "zolstats/zolstats.h"

namespace {

using fuzz::require;
using testing_support::MessageBuffer;

// What a socket pair takes without anybody reading.
constexpr std::size_t MAX_STREAM_LENGTH = 64 * 1024;
constexpr std::size_t FIXED_LENGTH = 29;  // a header without its name

std::uint32_t wordAt(std::string_view bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (const char byte : bytes.substr(offset, 4)) {
        value = value << 8 | static_cast<std::uint8_t>(byte);
    }
    return value;
}

// ---- What an exchange must come to, from a reading of the stream that is written apart from the library's

struct Expected {
    int rc = ZOLSTATS_EXCHANGE_FAILED;
    bool mayLackMemory = false;  // the announced body is larger than what came
    std::string_view body{};
};

Expected expect(std::string_view stream, std::size_t nameLength) {
    const std::size_t headerLength = nameLength + FIXED_LENGTH;
    if (stream.size() < headerLength || !stream.starts_with("Gate") || wordAt(stream, 20) > nameLength) {
        return {};
    }
    const auto bodyLength = static_cast<std::int32_t>(wordAt(stream, 25 + wordAt(stream, 20)));
    const auto size = static_cast<std::size_t>(std::max(bodyLength, 0));
    if (size > stream.size() - headerLength) {
        return {.mayLackMemory = true};
    }
    return {static_cast<std::int32_t>(wordAt(stream, 16)), false, stream.substr(headerLength, size)};
}

void check(int rc, const FlowReasons& reasons, const Expected& expected) {
    require(rc == expected.rc || (expected.mayLackMemory && rc == ZOLSTATS_NO_MEMORY),
            "an exchange ends as its reply says");
    require(expected.rc == 0 || expected.rc == ZOLSTATS_EXCHANGE_FAILED || reasons.gwyRc == rc,
            "the Gateway's code is kept as the reason");
}

// Of several exchanges, a failed one is the last.
void checkFirst(int rc, const FlowReasons& reasons, const Expected& expected) {
    if (expected.rc != 0) {
        check(rc, reasons, expected);
    }
}

// ---- The entries

struct Run {
    const testing_support::Peer& peer;
    std::string_view stream;
    unsigned options;
    FlowReasons reasons{};

    [[nodiscard]] int socket() const { return peer.descriptor(); }
};

constexpr std::string_view CLOSE_REQUEST(
    "Gate\x00\x70\x00\x00\x00\x00\x00\x0A\x00\x00\x00\x00\xFF\xFF\xFF\xFF\x00\x00\x00\x04"
    "BASE\x00\x00\x00\x00\x00",
    33);

// Option: which request's name, and with it the length that its reply is read with.
void flowAny(Run& run) {
    constexpr std::array NAMES{"BASE", "Auth", "Admin", "", "A name of 24 characters."};
    const char* name = NAMES[run.options % NAMES.size()];
    MessageBuffer message(CLOSE_REQUEST);
    RequestHeader header{};
    const int rc = flow(run.socket(), static_cast<int>(CLOSE_REQUEST.size()), &message.data, name, &header,
                        &run.reasons);
    const Expected expected = expect(run.stream, std::strlen(name));
    check(rc, run.reasons, expected);
    if (rc == 0) {
        const std::string_view left = expected.body.empty() ? CLOSE_REQUEST : expected.body;
        require(message.bytes(left.size()) == left, "the buffer holds the body, or still the request");
    }
}

void shakeHands(Run& run) {
    const int rc = flowHandshakeRequest(run.socket(), &run.reasons);
    check(rc, run.reasons, expect(run.stream, 4));
}

void close(Run& run) {
    const int rc = flowCloseRequest(run.socket(), &run.reasons);
    check(rc, run.reasons, expect(run.stream, 4));
}

// Both steps, as a new connection makes them.
void authorise(Run& run) {
    const int rc = authorizeConnection(run.socket(), &run.reasons);
    checkFirst(rc, run.reasons, expect(run.stream, 4));
    require(rc != zolstats::AUTH_REFUSED || run.reasons.authRc != 0 || run.reasons.gwyRc == rc,
            "a refusal has its reason");
}

void prepare(AdminRequest& request, int callType) {
    request.header.requestType = zolstats::REQUEST_CALL;
    request.header.returnCode = 0;
    request.header.name = zolstats::ADMIN_REQUEST_NAME;
    request.callType = callType;
    request.country = zolstats::ADMIN_CLIENT_COUNTRY;
    request.language = zolstats::ADMIN_CLIENT_LANGUAGE;
    request.blankString = "";
    request.mbeanName = zolstats::STATS_MBEAN_NAME;
    request.attributeName = zolstats::STATS_MBEAN_PROTOCOL_VERSION;
    request.actionName = "GET_STATS";
    request.argument = "S1:S2";
    request.signature = zolstats::STATS_MBEAN_SIG;
    request.callLength = callType == zolstats::ADMIN_INVOKE ? calculateCallLength(request)
                                                            : calculateGetAttrCallLength(request);
    request.header.bodyLength = request.callLength + zolstats::ADMIN_CALL_PREFIX_LENGTH;
}

// Only a call that succeeded has a payload, and all of it can be read.
void checkPayload(int rc, const AdminRequest& request) {
    require(rc == 0 || request.callData == nullptr, "a failed call has no payload");
    if (request.callData != nullptr) {
        const std::string payload(reinterpret_cast<const char*>(request.callData), request.header.bodyLength);
        require(payload.size() <= MAX_STREAM_LENGTH, "a payload is no larger than what came");
    }
}

// An initialising call and another on the same record. Option: the other's type.
void administer(Run& run) {
    constexpr std::array TYPES{1, 5, 2};
    AdminRequest request{};
    int rc = getInitAdminRequest(run.socket(), &request, &run.reasons);
    checkFirst(rc, run.reasons, expect(run.stream, 5));
    if (rc == 0) {
        prepare(request, TYPES[run.options % TYPES.size()]);
        rc = flowAdminRequest(run.socket(), &request, &run.reasons);
    }
    checkPayload(rc, request);
    std::free(request.callData);
}

constexpr void (*ASKS[])(Run&) = {flowAny, shakeHands, close, authorise, administer};

// ---- What went out: whole messages, whatever the peer made of the record that is used again

void checkRequests(std::string_view sent) {
    while (!sent.empty()) {
        require(sent.size() >= FIXED_LENGTH && sent.starts_with("Gate"), "a request begins with its header");
        const std::size_t nameLength = wordAt(sent, 20);
        require(nameLength <= sent.size() - FIXED_LENGTH, "a request has its name");
        const std::size_t length = FIXED_LENGTH + nameLength + wordAt(sent, 25 + nameLength);
        require(length <= sent.size(), "a request is sent whole");
        sent.remove_prefix(length);
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const unsigned which = input.byte();
    const unsigned options = input.byte();
    const std::string_view stream = input.bytes(MAX_STREAM_LENGTH);
    fuzz::traceEverything((options & 16) != 0);

    const testing_support::Peer peer;
    peer.reply(stream);
    peer.endReplies();
    Run run{peer, stream, options & 15};
    ASKS[which % std::size(ASKS)](run);
    checkRequests(peer.received());
    return 0;
}

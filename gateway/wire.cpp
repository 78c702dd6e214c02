// Messages of the protocol: framing of requests and replies, and the bodies of the calls.
// Not the call data that answers a query: see calldata.cpp.
// The protocol is written down in docs/protocol.md.
#include "wire.h"

#include "bytes.h"

namespace gateway {
namespace {

constexpr std::string_view EYECATCHER = "Gate";
constexpr std::size_t HANDSHAKE_FILLER = 10;
constexpr std::string_view STRING_STREAM("\xAC\xED\x00\x05\x74", 5);

// More bytes of the message must arrive. Not an error.
struct Incomplete : std::runtime_error {
    using std::runtime_error::runtime_error;
};
using MessageReader = Reader<Incomplete>;
using BodyReader = Reader<Malformed>;

void checkEyecatcher(std::string_view received) {
    if (!received.starts_with(EYECATCHER.substr(0, received.size()))) {
        throw BadFraming("bad eyecatcher");
    }
}

std::size_t bounded(std::uint32_t length, std::size_t limit, const char* what) {
    if (length > limit) {
        throw BadFraming(std::string(what) + " of " + std::to_string(length) + " bytes");
    }
    return length;
}

Request readRequest(MessageReader& message) {
    Request request;
    message.raw(EYECATCHER.size());
    request.version = message.word();
    request.type = message.word();
    request.word12 = static_cast<std::int32_t>(message.word());
    request.word16 = static_cast<std::int32_t>(message.word());
    request.name = message.raw(bounded(message.word(), MAX_NAME_LENGTH, "a name"));
    request.flag = message.integer<std::uint8_t>();
    request.body = message.raw(bounded(message.word(), MAX_BODY_LENGTH, "a body"));
    return request;
}

void expect(bool condition, const char* problem) {
    if (!condition) {
        throw Malformed(problem);
    }
}

void readInvocation(BodyReader& body, AdminCall& call) {
    expect(body.word() == 1, "not one argument");
    expect(body.raw(STRING_STREAM.size()) == STRING_STREAM, "the argument is no Java string");
    call.argument = body.text();
    expect(body.word() == 1, "not one type in the signature");
    call.signature = body.text();
}

}  // namespace

std::optional<Request> RequestReader::next() {
    checkEyecatcher(std::string_view(pending_).substr(0, EYECATCHER.size()));
    MessageReader message(pending_);
    try {
        Request request = readRequest(message);
        const std::size_t length = pending_.size() - message.left();
        request.bytes = pending_.substr(0, length);
        pending_.erase(0, length);
        return request;
    } catch (const Incomplete&) {
        return std::nullopt;
    }
}

AuthCall decodeAuth(std::string_view bytes) {
    BodyReader body(bytes);
    AuthCall call{body.word()};
    expect(call.step <= 1, "no such step");
    for (std::uint32_t& word : call.words) {
        word = call.step == 1 ? body.word() : 0;
    }
    body.end();
    return call;
}

std::uint32_t decodeCallType(std::string_view bytes) {
    return BodyReader(bytes).word();
}

std::uint32_t decodeAdminId(std::string_view bytes) {
    BodyReader body(bytes);
    body.word();
    return body.word();
}

AdminCall decodeAdmin(std::string_view bytes) {
    BodyReader body(bytes);
    AdminCall call;
    call.type = static_cast<CallType>(body.word());
    if (call.type != CallType::Initialise) {
        call.adminId = body.word();
        const std::uint32_t length = body.word();
        expect(length == body.left(), "the call length is not that of the call");
        for (int unused = 0; unused < 3; ++unused) {  // country, language, blank
            body.text();
        }
        call.bean = body.text();
        call.member = body.text();
        if (call.type == CallType::Invoke) {
            readInvocation(body, call);
        }
    }
    body.end();
    return call;
}

void checkHandshake(std::string_view bytes) {
    BodyReader body(bytes);
    body.text();  // language
    body.text();  // country
    body.raw(HANDSHAKE_FILLER);
    body.end();
}

std::string encodeReply(const Request& request, std::int32_t returnCode, std::string_view body) {
    Writer reply;
    reply.raw(EYECATCHER).word(request.version).word(request.type).word(0U).word(returnCode);
    reply.word(static_cast<std::uint32_t>(request.name.size())).raw(request.name).byte(0);
    return reply.word(static_cast<std::uint32_t>(body.size())).raw(body).take();
}

std::string authReplyBody(std::uint32_t step, std::uint32_t code, const std::array<std::uint32_t, 3>& words) {
    Writer body;
    body.word(step).word(code);
    for (const std::uint32_t word : words) {
        body.word(word);
    }
    return body.take();
}

std::string initialiseReplyBody(std::uint32_t authCode, std::uint32_t adminId) {
    return Writer().word(0U).word(authCode).word(adminId).take();
}

std::string adminReplyBody(std::uint32_t callType, std::uint32_t authCode, std::uint8_t exceptionFlag,
                           std::string_view payload) {
    return Writer().word(callType).word(authCode).byte(exceptionFlag).raw(payload).take();
}

std::string encodeText(std::string_view text) {
    return Writer().byte(0).raw(STRING_STREAM).text(text).take();
}

}  // namespace gateway

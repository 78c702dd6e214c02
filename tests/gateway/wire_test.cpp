// Framing of requests and replies, and the bodies of the calls, against bytes written out by hand.
// Not what is answered: see answers_test.cpp. Not call data: see calldata_test.cpp.
// The protocol is written down in docs/protocol.md.
#include "wire.h"

#include <gtest/gtest.h>

#include "requests.h"

namespace {

using namespace requests;
using gateway::BadFraming;
using gateway::Malformed;
using gateway::Request;
using gateway::RequestReader;

std::optional<Request> readFrom(std::string_view bytes) {
    RequestReader reader;
    reader.append(bytes);
    return reader.next();
}

Bytes headerWithName(std::size_t length) {
    return message({std::string(length, 'n')}, "");
}

Bytes headerAnnouncingName(std::uint32_t length) {
    return "Gate" + hex("00700000 00000001 00000000 00000000") + word(length);
}

Bytes headerAnnouncingBody(std::uint32_t length) {
    const Bytes whole = message({"Admin"}, "");
    return whole.substr(0, whole.size() - 4) + word(length);
}

// ---- Requests

TEST(RequestReader, TakesAHandshakeApart) {
    const auto request =
        readFrom(hex("47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000012"
                     "0002656E00024742 00000000000000000000"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->version, 0x00700000U);
    EXPECT_EQ(request->type, 5U);
    EXPECT_EQ(request->word12, 0);
    EXPECT_EQ(request->word16, 0);
    EXPECT_EQ(request->name, "BASE");
    EXPECT_EQ(request->flag, 0);
    EXPECT_EQ(request->body, HANDSHAKE_BODY);
    EXPECT_EQ(request->bytes, HANDSHAKE);
}

TEST(RequestReader, TakesARequestWithoutABodyApart) {
    const auto request =
        readFrom(hex("47617465 00700000 0000000A 00000000 FFFFFFFF 00000004 42415345 00 00000000"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->type, 10U);
    EXPECT_EQ(request->word16, -1);
    EXPECT_EQ(request->body, "");
    EXPECT_EQ(request->bytes.size(), 33U);
}

TEST(RequestReader, TakesEachFieldFromItsOwnPlace) {
    const auto request =
        readFrom(hex("47617465 01020304 05060708 090A0B0C F0E0D0C0 00000001 58 7F 00000002 2122"));
    ASSERT_TRUE(request);
    EXPECT_EQ(request->version, 0x01020304U);
    EXPECT_EQ(request->type, 0x05060708U);
    EXPECT_EQ(request->word12, 0x090A0B0C);
    EXPECT_EQ(request->word16, static_cast<std::int32_t>(0xF0E0D0C0U));
    EXPECT_EQ(request->name, "X");
    EXPECT_EQ(request->flag, 0x7F);
    EXPECT_EQ(request->body, "!\"");
}

TEST(RequestReader, WaitsForTheLastByte) {
    RequestReader reader;
    for (std::size_t index = 0; index + 1 < HANDSHAKE.size(); ++index) {
        reader.append(HANDSHAKE.substr(index, 1));
        EXPECT_FALSE(reader.next()) << index;
    }
    reader.append(HANDSHAKE.substr(HANDSHAKE.size() - 1));
    EXPECT_TRUE(reader.next());
}

TEST(RequestReader, HasNothingWithoutBytes) {
    EXPECT_FALSE(RequestReader().next());
}

TEST(RequestReader, GivesOutRequestsThatCameTogetherOneByOne) {
    RequestReader reader;
    reader.append(HANDSHAKE + CLOSE + HANDSHAKE.substr(0, 3));
    EXPECT_EQ(reader.next()->bytes, HANDSHAKE);
    EXPECT_EQ(reader.next()->bytes, CLOSE);
    EXPECT_FALSE(reader.next());
    reader.append(HANDSHAKE.substr(3));
    EXPECT_EQ(reader.next()->bytes, HANDSHAKE);
}

TEST(RequestReader, RefusesAWrongEyecatcherAtItsFirstWrongByte) {
    EXPECT_THROW(readFrom("g"), BadFraming);
    EXPECT_THROW(readFrom("Gats"), BadFraming);
    EXPECT_NO_THROW(readFrom("Gat"));
}

TEST(RequestReader, AcceptsNamesUpTo24Characters) {
    EXPECT_EQ(readFrom(headerWithName(24))->name.size(), 24U);
    EXPECT_EQ(readFrom(headerWithName(0))->name, "");
}

TEST(RequestReader, RefusesALongerNameBeforeItComes) {
    EXPECT_FALSE(readFrom(headerAnnouncingName(24)));
    EXPECT_THROW(readFrom(headerAnnouncingName(25)), BadFraming);
    EXPECT_THROW(readFrom(headerAnnouncingName(0xFFFFFFFF)), BadFraming);
}

TEST(RequestReader, AcceptsBodiesUpTo128KiB) {
    const Bytes body(131072, 'b');
    EXPECT_EQ(readFrom(message({"Admin"}, body))->body, body);
}

TEST(RequestReader, RefusesALongerBodyBeforeItComes) {
    EXPECT_FALSE(readFrom(headerAnnouncingBody(131072)));
    EXPECT_THROW(readFrom(headerAnnouncingBody(131073)), BadFraming);
    EXPECT_THROW(readFrom(headerAnnouncingBody(0x7FFFFFFF)), BadFraming);
    EXPECT_THROW(readFrom(headerAnnouncingBody(0xFFFFFFFF)), BadFraming);
}

// ---- Bodies

// Whether a decoder takes a body whole, and neither a shorter nor a longer one.
template <class Decode>
void expectExactLength(const Bytes& body, Decode decode) {
    EXPECT_NO_THROW(decode(body));
    EXPECT_THROW(decode(body + '\0'), Malformed);
    for (std::size_t length = 0; length < body.size(); ++length) {
        EXPECT_THROW(decode(body.substr(0, length)), Malformed) << length;
    }
}

TEST(Handshake, HasTwoTextsAndTenBytes) {
    expectExactLength(HANDSHAKE_BODY, [](const Bytes& body) { gateway::checkHandshake(body); });
}

TEST(AuthBody, OfTheFirstStepIsTheStepAlone) {
    EXPECT_EQ(gateway::decodeAuth(hex("00000000")).step, 0U);
    expectExactLength(hex("00000000"), [](const Bytes& body) { gateway::decodeAuth(body); });
}

TEST(AuthBody, OfTheSecondStepHasFourWords) {
    const Bytes body = hex("00000001 11111111 22222222 33333333 00000000");
    const gateway::AuthCall call = gateway::decodeAuth(body);
    EXPECT_EQ(call.step, 1U);
    EXPECT_EQ(call.words, (std::array<std::uint32_t, 4>{0x11111111, 0x22222222, 0x33333333, 0}));
    expectExactLength(body, [](const Bytes& part) { gateway::decodeAuth(part); });
}

TEST(AuthBody, HasNoFurtherStep) {
    EXPECT_THROW(gateway::decodeAuth(hex("00000002")), Malformed);
}

void decodeAdmin(const Bytes& body) {
    gateway::decodeAdmin(body);
}

TEST(AdminBody, OfAnInitialisingCallIsTheCallTypeAlone) {
    EXPECT_EQ(gateway::decodeAdmin(hex("00000000")).type, gateway::CallType::Initialise);
    expectExactLength(hex("00000000"), decodeAdmin);
}

TEST(AdminBody, NamesAnAttribute) {
    const Bytes body =
        hex("00000001 01020304 00000055 0002 5553 0002 656E 0000 003F") + BEAN + hex("0008") + "protocol";
    const gateway::AdminCall call = gateway::decodeAdmin(body);
    EXPECT_EQ(call.type, gateway::CallType::GetAttribute);
    EXPECT_EQ(call.adminId, 0x01020304U);
    EXPECT_EQ(call.bean, BEAN);
    EXPECT_EQ(call.member, "protocol");
}

TEST(AdminBody, NamesAnActionAndItsArgument) {
    const Bytes body = hex("00000005 01020304 0000007B 0002 5553 0002 656E 0000 003F") + BEAN + hex("0009") +
                       "GET_STATS" + hex("00000001 ACED000574 0004") + "CPU:" + hex("00000001 0010") +
                       "java.lang.String";
    const gateway::AdminCall call = gateway::decodeAdmin(body);
    EXPECT_EQ(call.type, gateway::CallType::Invoke);
    EXPECT_EQ(call.adminId, 0x01020304U);
    EXPECT_EQ(call.bean, BEAN);
    EXPECT_EQ(call.member, "GET_STATS");
    EXPECT_EQ(call.argument, "CPU:");
    EXPECT_EQ(call.signature, "java.lang.String");
}

// The call length always fits here, so that it is the texts that run out or leave something over.
TEST(AdminBody, IsUsedUpByItsTexts) {
    expectExactLength(attributeCall("protocol"),
                      [](const Bytes& call) { decodeAdmin(adminBody(1, word(7), call)); });
    expectExactLength(invocation("GET_STATS", "CPU"),
                      [](const Bytes& call) { decodeAdmin(adminBody(5, word(7), call)); });
}

TEST(AdminBody, HasTheLengthThatItTells) {
    Bytes body = adminBody(1, word(7), attributeCall("protocol"));
    body[11] = static_cast<char>(body[11] + 1);
    EXPECT_THROW(decodeAdmin(body), Malformed);
    body[11] = static_cast<char>(body[11] - 2);
    EXPECT_THROW(decodeAdmin(body), Malformed);
}

// Replaces the one place where `from` stands.
Bytes replaced(Bytes bytes, const Bytes& from, const Bytes& to) {
    return bytes.replace(bytes.find(from), from.size(), to);
}

TEST(AdminBody, HasOneArgumentOfOneTypeInAStringStream) {
    const Bytes stream = hex("ACED000574");
    const Bytes call = invocation("GET_STATS", "CPU");
    const auto decode = [](const Bytes& changed) { decodeAdmin(adminBody(5, word(7), changed)); };
    EXPECT_NO_THROW(decode(call));
    EXPECT_THROW(decode(replaced(call, word(1) + stream, word(2) + stream)), Malformed);
    EXPECT_THROW(decode(replaced(call, stream, hex("ACED000573"))), Malformed);
    EXPECT_THROW(decode(replaced(call, "CPU" + word(1), "CPU" + word(0))), Malformed);
}

TEST(AdminBody, TakesAnArgumentOf65535Bytes) {
    const Bytes body = adminBody(5, word(7), invocation("GET_STATS", std::string(65535, 'a')));
    EXPECT_EQ(gateway::decodeAdmin(body).argument.size(), 65535U);
    EXPECT_LE(body.size(), gateway::MAX_BODY_LENGTH);
}

// ---- Replies

Request requestNamed(const std::string& name) {
    Request request;
    request.version = 0x00700000;
    request.type = 1;
    request.word12 = 5;
    request.word16 = 6;
    request.name = name;
    request.flag = 7;
    return request;
}

TEST(Reply, HasTheRequestsNameAndVersionAndTheReturnCodeInTheSecondWord) {
    EXPECT_EQ(gateway::encodeReply(requestNamed("Auth"), -2, "body"),
              hex("47617465 00700000 00000001 00000000 FFFFFFFE 00000004 41757468 00 00000004 626F6479"));
}

TEST(Reply, MayHaveNoBody) {
    EXPECT_EQ(gateway::encodeReply(requestNamed("Admin"), 0, ""),
              hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000000"));
}

TEST(ReplyBody, OfAnAuthorisationHasStepCodeAndWords) {
    EXPECT_EQ(gateway::authReplyBody(1, 2, {3, 4, 5}), hex("00000001 00000002 00000003 00000004 00000005"));
}

TEST(ReplyBody, OfAnInitialisingCallHasTheAdminId) {
    EXPECT_EQ(gateway::initialiseReplyBody(2, 0x01020304), hex("00000000 00000002 01020304"));
}

TEST(ReplyBody, OfAFurtherCallHasTheExceptionFlagAndThePayload) {
    EXPECT_EQ(gateway::adminReplyBody(5, 2, 1, "pay"), hex("00000005 00000002 01 706179"));
    EXPECT_EQ(gateway::adminReplyBody(1, 0, 0, ""), hex("00000001 00000000 00"));
}

TEST(AttributePayload, HasTheTextsLengthAtOffset6) {
    EXPECT_EQ(gateway::encodeText("1.0"), hex("00 ACED0005 74 0003 312E30"));
    EXPECT_EQ(gateway::encodeText(""), hex("00 ACED0005 74 0000"));
}

TEST(AttributePayload, HasNoMoreThan65535Bytes) {
    EXPECT_EQ(gateway::encodeText(std::string(65535, 'v')).size(), 8U + 65535U);
    EXPECT_THROW(gateway::encodeText(std::string(65536, 'v')), std::length_error);
}

}  // namespace

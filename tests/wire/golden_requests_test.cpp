// Every request that reaches a Gateway, whole and byte for byte.
// What is made of the replies is tested beside each module.
// The wire format is written down in docs/protocol.md.
#include <gmock/gmock.h>

#include "stapi_zol_gwycon.h"
#include "stapi_zol_gwytok.h"
#include "stapi_zol_socketcomms.h"
#include "stapi_zol_statcomms.h"
#include "stapi_zol_statquery.h"
#include "support/bytes.h"
#include "support/message_buffer.h"
#include "support/peer.h"

namespace {

using namespace testing_support;

class Golden : public testing::Test {
  protected:
    Peer peer;
    FlowReasons reasons{};
    MessageBuffer set{Bytes(32768, '\0')};
    int capacity = 32768;
};

// "DefaultDomain:ProdId=com.velmor.zol,Activity=Control,type=Stats", 63 bytes.
const Bytes MBEAN_NAME =
    hex("003F 44656661756C74446F6D61696E 3A 50726F644964 3D 636F6D2E76656C6D6F722E7A6F6C 2C"
        "4163746976697479 3D 436F6E74726F6C 2C 74797065 3D 5374617473");

TEST_F(Golden, Handshake) {
    peer.endReplies();
    flowHandshakeRequest(peer.descriptor(), &reasons);
    EXPECT_EQ(peer.received(),
              hex("47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000012"
                  "0002 656E 0002 4742 00000000000000000000"));
}

TEST_F(Golden, Close) {
    peer.endReplies();
    flowCloseRequest(peer.descriptor(), &reasons);
    EXPECT_EQ(peer.received(),
              hex("47617465 00700000 0000000A 00000000 FFFFFFFF 00000004 42415345 00 00000000"));
}

TEST_F(Golden, BothStepsOfTheAuthorisation) {
    peer.reply(message({"Auth"}, word(0) + word(0) + hex("11121314 21222324 31323334")));
    peer.reply(message({"Auth"}, word(1) + word(0)));
    EXPECT_EQ(authorizeConnection(peer.descriptor(), &reasons), 0);
    EXPECT_EQ(peer.received(),
              hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000004"
                  "00000000"
                  "47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014"
                  "00000001 11121314 21222324 31323334 00000000"));
}

TEST_F(Golden, TheSecondStepSendsTheFirstRepliesVersionAndStatusWord) {
    peer.reply(message({"Auth", 9, 0x0A0B0C0D, 0, 0x00710000, 0},
                       word(0) + word(0) + hex("11121314 21222324 31323334 41424344")));
    peer.reply(message({"Auth"}, word(1) + word(0)));
    EXPECT_EQ(authorizeConnection(peer.descriptor(), &reasons), 0);
    EXPECT_EQ(peer.received().substr(37),
              hex("47617465 00710000 00000001 00000000 0A0B0C0D 00000004 41757468 00 00000014"
                  "00000001 11121314 21222324 31323334 00000000"));
}

TEST_F(Golden, InitialisingOfAdministration) {
    AdminRequest admin{};
    peer.endReplies();
    getInitAdminRequest(peer.descriptor(), &admin, &reasons);
    EXPECT_EQ(peer.received(),
              hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000004 00000000"));
}

class GoldenCall : public Golden {
  protected:
    GoldenCall() { peer.reply(message({"Admin"}, word(0) + word(0) + hex("A1A2A3A4"))); }

    // Everything behind the initialising request.
    [[nodiscard]] Bytes call() const { return peer.received().substr(38); }
};

TEST_F(GoldenCall, ForTheProtocolVersion) {
    GatewayToken token{};
    token.socket = peer.descriptor();
    peer.endReplies();
    statProtocolVer(&token, &reasons);
    EXPECT_EQ(call(), hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000061"
                          "00000001 A1A2A3A4 00000055"
                          "0002 5553 0002 656E 0000") +
                          MBEAN_NAME + hex("0008 70726F746F636F6C"));
}

// Up to the name of the bean: header, call type, id, length, country, language, the empty text.
Bytes invocation(std::uint32_t callLength) {
    return hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00") +
           word(callLength + 12) + hex("00000005 A1A2A3A4") + word(callLength) +
           hex("0002 5553 0002 656E 0000") + MBEAN_NAME;
}

const Bytes SIGNATURE = hex("00000001 0010 6A6176612E6C616E672E537472696E67");

TEST_F(GoldenCall, ForAllStatistics) {
    peer.endReplies();
    commsStats(peer.descriptor(), &set.data, &capacity);
    EXPECT_EQ(call(), invocation(119) + hex("0009 4745545F5354415453 00000001 ACED000574 0000") + SIGNATURE);
}

TEST_F(GoldenCall, ForAllStatisticIds) {
    peer.endReplies();
    commsStatIds(peer.descriptor(), &set.data, &capacity);
    EXPECT_EQ(call(), invocation(118) + hex("0008 535441545F494453 00000001 ACED000574 0000") + SIGNATURE);
}

TEST_F(GoldenCall, ForAllResourceGroups) {
    peer.endReplies();
    commsResourceGroupsIds(peer.descriptor(), &set.data, &capacity);
    EXPECT_EQ(call(), invocation(125) + hex("000F 5245534F555243455F47524F555053 00000001 ACED000574 0000") +
                          SIGNATURE);
}

TEST_F(GoldenCall, ForStatisticsOfGroups) {
    peer.endReplies();
    commsStatsByStatGroupId(peer.descriptor(), &set.data, &capacity, "A:Bb");
    EXPECT_EQ(call(),
              invocation(123) + hex("0009 4745545F5354415453 00000001 ACED000574 0004 413A4262") + SIGNATURE);
}

TEST_F(GoldenCall, ForStatisticsById) {
    peer.endReplies();
    commsStatsByStatId(peer.descriptor(), &set.data, &capacity, "A:Bb");
    EXPECT_EQ(call(),
              invocation(123) + hex("0009 4745545F5354415453 00000001 ACED000574 0004 413A4262") + SIGNATURE);
}

TEST_F(GoldenCall, ForStatisticIdsOfGroups) {
    peer.endReplies();
    commsStatIdsByStatGroupId(peer.descriptor(), &set.data, &capacity, "A:Bb");
    EXPECT_EQ(call(),
              invocation(122) + hex("0008 535441545F494453 00000001 ACED000574 0004 413A4262") + SIGNATURE);
}

TEST_F(GoldenCall, WithTheLongestTextThatAnItemHolds) {
    const Bytes ids(65535, 'i');
    peer.endReplies();
    commsStatsByStatId(peer.descriptor(), &set.data, &capacity, ids.c_str());
    EXPECT_EQ(call(), invocation(119 + 65535) + hex("0009 4745545F5354415453 00000001 ACED000574 FFFF") +
                          ids + SIGNATURE);
}

}  // namespace

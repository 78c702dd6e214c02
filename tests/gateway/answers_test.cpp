// What a Gateway answers on one connection: who may ask, and which statistics answer which query.
// No sockets here: see server_test.cpp. The layout of call data is tested in calldata_test.cpp.
// The protocol is written down in docs/protocol.md.
#include "answers.h"

#include <gmock/gmock.h>

#include "requests.h"

namespace {

using namespace requests;
using gateway::encodeIds;
using gateway::encodeStats;
using gateway::Ending;
using gateway::Reply;

const gateway::Snapshot SNAPSHOT{
    {"CPU", {{"CPU_USER", "1.5"}, {"CPU_IDLE", "98.25"}}},
    {"NOTHING", {}},
    {"LOAD", {{"LOAD_1", "0.07"}}},
};

class Answers : public testing::Test {
  protected:
    Answers() {
        knowledge_.statistics = [this] { return snapshot_; };
        knowledge_.protocolVersion = "3.2";
    }

    Reply ask(const Bytes& bytes) {
        gateway::RequestReader reader;
        reader.append(bytes);
        return conversation_->answer(reader.next().value());
    }
    // The body of an answer that is fine as far as its header goes.
    Bytes bodyOf(const Bytes& name, const Bytes& request) {
        const Bytes reply = ask(request).bytes;
        const Bytes body = reply.substr(29 + name.size());
        EXPECT_EQ(reply, message({name, name == "BASE" ? 5U : 1U}, body));
        return body;
    }
    Bytes askForWords() { return bodyOf("Auth", ASK_FOR_WORDS).substr(8); }
    void authorise() {
        ask(HANDSHAKE);
        ask(handBack(askForWords()));
    }
    Bytes initialise() { return bodyOf("Admin", INITIALISE).substr(8); }
    Bytes query(const Bytes& action, const Bytes& argument) {
        const Bytes body = bodyOf("Admin", invoke(initialise(), action, argument));
        EXPECT_EQ(body.substr(0, 9), word(5) + word(0) + '\0');
        return body.substr(9);
    }

    gateway::Snapshot snapshot_ = SNAPSHOT;
    gateway::Knowledge knowledge_;
    std::optional<gateway::Conversation> conversation_{knowledge_};
};

class AuthorisedAnswers : public Answers {
  protected:
    AuthorisedAnswers() { authorise(); }
};

// ---- Handshake and authorisation

TEST_F(Answers, ReturnTheHandshake) {
    EXPECT_EQ(ask(HANDSHAKE).bytes, message({"BASE", 5}, ""));
}

TEST_F(Answers, RefuseAMalformedHandshakeInTheHeader) {
    EXPECT_EQ(ask(message({"BASE", 5}, HANDSHAKE_BODY + "x")).bytes, message({"BASE", 5, 0, 102}, ""));
}

TEST_F(Answers, ReturnTheRequestsVersion) {
    EXPECT_EQ(ask(message({"BASE", 5, 0, 0, 0x00600000}, HANDSHAKE_BODY)).bytes,
              message({"BASE", 5, 0, 0, 0x00600000}, ""));
}

TEST_F(Answers, CloseTheConnectionAfterACloseRequest) {
    const Reply reply = ask(CLOSE);
    EXPECT_EQ(reply.bytes, message({"BASE", 10}, ""));
    EXPECT_EQ(reply.ending, Ending::Close);
    EXPECT_EQ(ask(HANDSHAKE).ending, Ending::KeepOpen);
}

TEST_F(Answers, RefuseAnUnknownRequestInTheHeader) {
    EXPECT_EQ(ask(message({"Base", 5}, HANDSHAKE_BODY)).bytes, message({"Base", 5, 0, 101}, ""));
    EXPECT_EQ(ask(message({"BASE", 6}, HANDSHAKE_BODY)).bytes, message({"BASE", 6, 0, 101}, ""));
    EXPECT_EQ(ask(message({"Auth", 2}, word(0))).bytes, message({"Auth", 2, 0, 101}, ""));
}

TEST_F(Answers, HandOutThreeWords) {
    ask(HANDSHAKE);
    const Bytes body = bodyOf("Auth", ASK_FOR_WORDS);
    EXPECT_EQ(body.substr(0, 8), word(0) + word(0));
    EXPECT_EQ(body.size(), 20U);
}

TEST_F(Answers, HandOutOtherWordsOnEachConnection) {
    ask(HANDSHAKE);
    const Bytes first = askForWords();
    conversation_.emplace(knowledge_);
    ask(HANDSHAKE);
    EXPECT_NE(askForWords(), first);
}

TEST_F(Answers, RefuseWordsBeforeAHandshake) {
    EXPECT_EQ(bodyOf("Auth", ASK_FOR_WORDS).substr(0, 8), word(0) + word(1));
}

TEST_F(Answers, AcceptTheWordsThatWereHandedOut) {
    ask(HANDSHAKE);
    EXPECT_EQ(bodyOf("Auth", handBack(askForWords())).substr(0, 8), word(1) + word(0));
}

TEST_F(Answers, RefuseWordsOfWhichAnyBitIsWrong) {
    ask(HANDSHAKE);
    for (std::size_t bit = 0; bit < 96; ++bit) {
        Bytes words = askForWords();
        words[bit / 8] = static_cast<char>(words[bit / 8] ^ (1 << bit % 8));
        EXPECT_EQ(bodyOf("Auth", handBack(words)).substr(0, 8), word(0) + word(2)) << bit;
    }
}

TEST_F(Answers, RefuseAFourthWordOtherThanZero) {
    ask(HANDSHAKE);
    const Bytes request = message({"Auth"}, word(1) + askForWords() + word(1));
    EXPECT_EQ(bodyOf("Auth", request).substr(0, 8), word(0) + word(2));
}

TEST_F(Answers, RefuseTheSecondStepBeforeTheFirst) {
    ask(HANDSHAKE);
    EXPECT_EQ(bodyOf("Auth", handBack(Bytes(12, '\0'))).substr(0, 8), word(0) + word(2));
}

TEST_F(Answers, AcceptWordsForOneAttemptOnly) {
    ask(HANDSHAKE);
    const Bytes words = askForWords();
    ask(handBack(Bytes(12, 'x')));
    EXPECT_EQ(bodyOf("Auth", handBack(words)).substr(0, 8), word(0) + word(2));
}

TEST_F(Answers, RefuseAnAuthorisationOfAnotherLengthInTheHeader) {
    EXPECT_EQ(ask(message({"Auth"}, "")).bytes, message({"Auth", 1, 0, 102}, ""));
    EXPECT_EQ(ask(message({"Auth"}, word(1) + Bytes(12, 'x'))).bytes, message({"Auth", 1, 0, 102}, ""));
}

// ---- Administration

TEST_F(Answers, RefuseEveryAdminCallBeforeAuthorisation) {
    ask(HANDSHAKE);
    askForWords();
    EXPECT_EQ(bodyOf("Admin", INITIALISE), word(0) + word(3) + word(0));
    EXPECT_EQ(bodyOf("Admin", getAttribute(word(0), "protocol")), word(1) + word(3) + '\0');
    EXPECT_EQ(bodyOf("Admin", invoke(word(0), "GET_STATS", "")), word(5) + word(3) + '\0');
}

TEST_F(AuthorisedAnswers, RefuseEverythingAfterAFailedAuthorisation) {
    ask(handBack(Bytes(12, 'x')));
    EXPECT_EQ(bodyOf("Admin", INITIALISE), word(0) + word(3) + word(0));
}

TEST_F(AuthorisedAnswers, HandOutAnAdminId) {
    EXPECT_EQ(bodyOf("Admin", INITIALISE).substr(0, 8), word(0) + word(0));
    EXPECT_EQ(initialise().size(), 4U);
}

TEST_F(AuthorisedAnswers, TellTheProtocolVersion) {
    EXPECT_EQ(bodyOf("Admin", getAttribute(initialise(), "protocol")),
              hex("00000001 00000000 00") + hex("00 ACED0005 74 0003 332E32"));
}

TEST_F(AuthorisedAnswers, AcceptAnAdminIdUntilTheNextIsHandedOut) {
    const Bytes first = initialise();
    EXPECT_EQ(bodyOf("Admin", getAttribute(first, "protocol")).substr(4, 4), word(0));
    EXPECT_EQ(bodyOf("Admin", getAttribute(first, "protocol")).substr(4, 4), word(0));
    const Bytes second = initialise();
    EXPECT_EQ(bodyOf("Admin", getAttribute(first, "protocol")), word(1) + word(4) + '\0');
    EXPECT_EQ(bodyOf("Admin", getAttribute(second, "protocol")).substr(4, 4), word(0));
}

TEST_F(AuthorisedAnswers, RefuseCallsBeforeAnAdminIdWasHandedOut) {
    EXPECT_EQ(bodyOf("Admin", invoke(word(0), "GET_STATS", "")), word(5) + word(4) + '\0');
}

TEST_F(AuthorisedAnswers, RefuseAWrongAdminId) {
    Bytes id = initialise();
    id[3] = static_cast<char>(id[3] ^ 1);
    EXPECT_EQ(bodyOf("Admin", invoke(id, "GET_STATS", "")), word(5) + word(4) + '\0');
}

TEST_F(AuthorisedAnswers, RaiseTheExceptionFlagForWhatTheGatewayDoesNotHave) {
    const Bytes id = initialise();
    const auto invocationOf = [&](const Bytes& call) { return message({"Admin"}, adminBody(5, id, call)); };
    EXPECT_EQ(bodyOf("Admin", getAttribute(id, "Protocol")), word(1) + word(0) + '\1');
    EXPECT_EQ(bodyOf("Admin", getAttribute(id, "protocol", BEAN + 's')), word(1) + word(0) + '\1');
    EXPECT_EQ(bodyOf("Admin", invoke(id, "GET_STAT", "")), word(5) + word(0) + '\1');
    EXPECT_EQ(bodyOf("Admin", invocationOf(invocation("GET_STATS", "", "bean"))), word(5) + word(0) + '\1');
    EXPECT_EQ(bodyOf("Admin", invocationOf(invocation("GET_STATS", "", BEAN, "int"))),
              word(5) + word(0) + '\1');
    EXPECT_EQ(bodyOf("Admin", message({"Admin"}, adminBody(2, id, attributeCall("protocol")))),
              word(2) + word(0) + '\1');
}

TEST_F(AuthorisedAnswers, RaiseTheExceptionFlagForACallThatIsCutShort) {
    const Bytes call = invocation("GET_STATS", "CPU");
    const Bytes body = adminBody(5, initialise(), call.substr(0, call.size() - 1));
    EXPECT_EQ(bodyOf("Admin", message({"Admin"}, body)), word(5) + word(0) + '\1');
}

TEST_F(AuthorisedAnswers, RefuseABodyWithoutItsFirstWordsInTheHeader) {
    EXPECT_EQ(ask(message({"Admin"}, "")).bytes, message({"Admin", 1, 0, 102}, ""));
    EXPECT_EQ(ask(message({"Admin"}, hex("000000"))).bytes, message({"Admin", 1, 0, 102}, ""));
    EXPECT_EQ(ask(message({"Admin"}, word(5) + hex("000000"))).bytes, message({"Admin", 1, 0, 102}, ""));
    EXPECT_EQ(ask(message({"Admin"}, word(0) + '\0')).bytes, message({"Admin", 1, 0, 102}, ""));
}

// ---- Queries

TEST_F(AuthorisedAnswers, TellAllStatisticsInOneResponse) {
    EXPECT_EQ(query("GET_STATS", ""),
              encodeStats({{"", 0, {{"CPU_USER", "1.5"}, {"CPU_IDLE", "98.25"}, {"LOAD_1", "0.07"}}}}));
}

TEST_F(AuthorisedAnswers, TellAllIdsInOneResponse) {
    EXPECT_EQ(query("STAT_IDS", ""), encodeIds({{"", 0, {"CPU_USER", "CPU_IDLE", "LOAD_1"}}}));
}

TEST_F(AuthorisedAnswers, TellAllGroupsInOneResponse) {
    EXPECT_EQ(query("RESOURCE_GROUPS", ""), encodeIds({{"", 0, {"CPU", "NOTHING", "LOAD"}}}));
}

TEST_F(AuthorisedAnswers, TellTheStatisticsOfGroupsAndSingleOnes) {
    EXPECT_EQ(query("GET_STATS", "LOAD:CPU_IDLE:NOTHING:CPU"),
              encodeStats({{"LOAD", 0, {{"LOAD_1", "0.07"}}},
                           {"CPU_IDLE", 0, {{"CPU_IDLE", "98.25"}}},
                           {"NOTHING", 0, {}},
                           {"CPU", 0, {{"CPU_USER", "1.5"}, {"CPU_IDLE", "98.25"}}}}));
}

TEST_F(AuthorisedAnswers, TellTheIdsOfGroupsButNotOfStatistics) {
    EXPECT_EQ(query("STAT_IDS", "CPU:CPU_USER:NOTHING"),
              encodeIds({{"CPU", 0, {"CPU_USER", "CPU_IDLE"}}, {"CPU_USER", -1, {}}, {"NOTHING", 0, {}}}));
}

TEST_F(AuthorisedAnswers, TellWhichGroupsThereAre) {
    EXPECT_EQ(query("RESOURCE_GROUPS", "LOAD:LOAD_1:CPU"),
              encodeIds({{"LOAD", 0, {"LOAD"}}, {"LOAD_1", -1, {}}, {"CPU", 0, {"CPU"}}}));
}

TEST_F(AuthorisedAnswers, RejectUnknownIdsElementByElement) {
    EXPECT_EQ(query("GET_STATS", "NO:CPU_USER:cpu"),
              encodeStats({{"NO", -1, {}}, {"CPU_USER", 0, {{"CPU_USER", "1.5"}}}, {"cpu", -1, {}}}));
}

TEST_F(AuthorisedAnswers, AnswerAListOfOneWithoutACount) {
    EXPECT_EQ(query("GET_STATS", "LOAD_1")[0], '\0');
    EXPECT_EQ(query("GET_STATS", "NO")[0], '\0');
    EXPECT_EQ(query("GET_STATS", "LOAD:CPU").substr(0, 5), hex("01 00000002"));
}

TEST_F(AuthorisedAnswers, TakeEmptyElementsForUnknownIds) {
    EXPECT_EQ(query("STAT_IDS", "LOAD:"), encodeIds({{"LOAD", 0, {"LOAD_1"}}, {"", -1, {}}}));
    EXPECT_EQ(query("STAT_IDS", ":"), encodeIds({{"", -1, {}}, {"", -1, {}}}));
    EXPECT_EQ(query("STAT_IDS", "LOAD::LOAD").substr(0, 5), hex("01 00000003"));
}

TEST_F(AuthorisedAnswers, AnswerAnElementAsOftenAsItIsAsked) {
    EXPECT_EQ(query("STAT_IDS", "LOAD:LOAD"), encodeIds({{"LOAD", 0, {"LOAD_1"}}, {"LOAD", 0, {"LOAD_1"}}}));
}

TEST_F(AuthorisedAnswers, ReadTheStatisticsAnewAtEachQuery) {
    query("GET_STATS", "LOAD_1");
    snapshot_[2].statistics[0].data = "0.08";
    EXPECT_EQ(query("GET_STATS", "LOAD_1"), encodeStats({{"LOAD_1", 0, {{"LOAD_1", "0.08"}}}}));
}

TEST_F(AuthorisedAnswers, HaveNothingToTellWithoutGroups) {
    snapshot_.clear();
    EXPECT_EQ(query("GET_STATS", ""), encodeStats({{"", 0, {}}}));
    EXPECT_EQ(query("RESOURCE_GROUPS", ""), encodeIds({{"", 0, {}}}));
}

TEST_F(AuthorisedAnswers, TakeAListOf32KiB) {
    Bytes list = "LOAD_1";
    while (list.size() < 32768) {
        list += ":NO";
    }
    const Bytes payload = query("GET_STATS", list);
    EXPECT_EQ(payload.substr(0, 5), hex("01") + word(static_cast<std::int32_t>(1 + (list.size() - 6) / 3)));
}

TEST_F(AuthorisedAnswers, EchoElementsUpTo32767Bytes) {
    const Bytes id = initialise();
    const Bytes longest(32767, 'i');
    EXPECT_EQ(bodyOf("Admin", invoke(id, "STAT_IDS", longest)).substr(9), encodeIds({{longest, -1, {}}}));
    EXPECT_EQ(bodyOf("Admin", invoke(id, "STAT_IDS", longest + 'i')), word(5) + word(0) + '\1');
}

TEST_F(AuthorisedAnswers, FailRatherThanGrowBeyondAllBounds) {
    snapshot_ = {{"G", std::vector<gateway::Statistic>(300, {"S", std::string(32767, 'd')})}};
    Bytes list = "G";
    for (int count = 0; count < 26; ++count) {
        list += ":G";
    }
    const Bytes id = initialise();
    EXPECT_EQ(bodyOf("Admin", invoke(id, "GET_STATS", "G")).substr(4, 5), word(0) + '\0');
    const Bytes refusal = bodyOf("Admin", invoke(id, "GET_STATS", list + ":G"));
    EXPECT_EQ(refusal.size(), 9U);
    EXPECT_EQ(refusal.substr(0, 9), word(5) + word(0) + '\1');
}

TEST_F(AuthorisedAnswers, CountRequestsByAction) {
    query("STAT_IDS", "");
    query("STAT_IDS", "CPU");
    ask(CLOSE);
    std::vector<std::uint64_t> counts(knowledge_.activity.requests.begin(),
                                      knowledge_.activity.requests.end());
    EXPECT_THAT(counts, testing::ElementsAre(1, 2, 2, 0, 0, 2, 0, 1));
    EXPECT_EQ(knowledge_.activity.requestsTotal, 8U);
}

// ---- Lines for the log

std::string lineFor(const Bytes& bytes) {
    gateway::RequestReader reader;
    reader.append(bytes);
    return gateway::describe(reader.next().value());
}

TEST(Description, TellsWhatIsAsked) {
    EXPECT_EQ(lineFor(HANDSHAKE), "BASE type 5");
    EXPECT_EQ(lineFor(CLOSE), "BASE type 10");
    EXPECT_EQ(lineFor(ASK_FOR_WORDS), "Auth type 1, step 0");
    EXPECT_EQ(lineFor(handBack(Bytes(12, 'w'))), "Auth type 1, step 1");
    EXPECT_EQ(lineFor(INITIALISE), "Admin type 1, initialise");
    EXPECT_EQ(lineFor(getAttribute(word(1), "protocol")), "Admin type 1, get protocol");
    EXPECT_EQ(lineFor(invoke(word(1), "GET_STATS", "CPU:LOAD")),
              "Admin type 1, invoke GET_STATS \"CPU:LOAD\"");
}

TEST(Description, IsOnePrintableLineWhateverIsSent) {
    EXPECT_EQ(lineFor(message({"a\nb\x1B"}, "")), "a?b? type 1");
    EXPECT_EQ(lineFor(invoke(word(1), "GET_STATS", "\r\n\xFF")), "Admin type 1, invoke GET_STATS \"???\"");
    EXPECT_EQ(lineFor(message({"Admin"}, "")), "Admin type 1, malformed: 4 bytes are missing");
    EXPECT_EQ(lineFor(message({"Admin"}, adminBody(9, word(1), attributeCall("a")))),
              "Admin type 1, call type 9");
}

TEST(Description, ShowsTheBeginningOfALongArgument) {
    EXPECT_EQ(lineFor(invoke(word(1), "GET_STATS", std::string(201, 'a'))),
              "Admin type 1, invoke GET_STATS \"" + std::string(200, 'a') + "...\"");
    EXPECT_EQ(lineFor(invoke(word(1), "GET_STATS", std::string(200, 'a'))),
              "Admin type 1, invoke GET_STATS \"" + std::string(200, 'a') + "\"");
}

}  // namespace

// How one Gateway is scraped: what is read of it, who shares a scrape, and how long it may take.
// Not the Gateways of a process together (fleet_test.cpp).
// The protocol is written down in docs/protocol.md.
#include "worker.h"

#include <optional>

#include "common/growing_pause.h"
#include "support/answering_gateway.h"
#include "support/scripted_gateway.h"
#include "support/slow_gateway.h"
#include "tools/steered_gateway.h"
#include "worker_fixture.h"

namespace tools::exporter {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::ScriptedGateway;

const gateway::Snapshot CPU_AND_DISK{{"CPU", {{"USER", "1"}, {"IDLE", "99"}}}, {"DISK", {{"READS", "7"}}}};
constexpr Habits PATIENT{.firstPause = 1h, .longestPause = 1h};
constexpr Habits HASTY{.firstPause = 1ms, .longestPause = 1ms};

Clock::time_point in(Clock::duration time) {
    return Clock::now() + time;
}

// A worker for some port.
class WorkerOf {
  public:
    explicit WorkerOf(int port, Habits habits = {}) { worker_.emplace(at(port), habits); }

    std::shared_future<ScrapeResult> start(const Selection& groups = {}, Clock::duration time = AMPLE) {
        return worker_->scrape(groups, in(time));
    }
    Scrape scrape(const Selection& groups = {}, Clock::duration time = AMPLE) {
        return *start(groups, time).get();
    }
    std::string outcome(Clock::duration time = AMPLE) { return outcomeOf(scrape({}, time)); }
    void destroy() { worker_.reset(); }
    Worker& operator*() { return *worker_; }

  private:
    std::optional<Worker> worker_;
};

class ExporterWorker : public testing::Test {
  protected:
    // Under way at a Gateway that answers no more.
    std::shared_future<ScrapeResult> startAndHang(Clock::duration time = AMPLE) {
        const std::size_t before = gateway_.server().requests().size();
        gateway_.hang();
        auto scrape = worker_.start({}, time);
        gateway_.server().waitForRequests(before + 1);
        return scrape;
    }

    SteeredGateway gateway_{CPU_AND_DISK};
    WorkerOf worker_{gateway_.port()};
};

// ---- What is read

TEST_F(ExporterWorker, ReadsAllGroupsInTheOrderOfTheGateway) {
    const Scrape scrape = worker_.scrape();
    EXPECT_EQ(outcomeOf(scrape), "ok");
    EXPECT_THAT(scrape.groups, ElementsAre("CPU", "DISK"));
    EXPECT_THAT(readingsOf(scrape), ElementsAre("CPU.USER=1", "CPU.IDLE=99", "DISK.READS=7"));
    EXPECT_EQ(scrape.protocolVersion, "1.0");
    EXPECT_EQ(scrape.gateway, at(gateway_.port()));
}

TEST_F(ExporterWorker, ReadsTheGroupsThatAreAskedForInThatOrder) {
    EXPECT_THAT(readingsOf(worker_.scrape({"DISK", "CPU"})),
                ElementsAre("DISK.READS=7", "CPU.USER=1", "CPU.IDLE=99"));
}

TEST_F(ExporterWorker, ReadsTheOtherGroupsWhereOneIsUnknown) {
    const Scrape scrape = worker_.scrape({"NONE", "DISK", "BAD:NAME", ""});
    EXPECT_EQ(outcomeOf(scrape), "ok");
    EXPECT_THAT(scrape.rejectedGroups, ElementsAre("NONE", "BAD:NAME", ""));
    EXPECT_THAT(scrape.groups, ElementsAre("DISK"));
    EXPECT_THAT(readingsOf(scrape), ElementsAre("DISK.READS=7"));
}

// No honest Gateway answers a question for one group in two parts.
TEST(ExporterHostileAnswer, LeavesNoReadingsOfAGroupThatIsRejectedInItsMiddle) {
    ScriptedGateway gateway;
    gateway.answerQueriesWith(gateway::encodeStats({{"CPU", 0, {{"USER", "1"}}}, {"CPU", -5, {}}}));
    WorkerOf worker(gateway.port());
    const Scrape scrape = worker.scrape({"CPU"});
    EXPECT_THAT(scrape.rejectedGroups, ElementsAre("CPU"));
    EXPECT_THAT(scrape.groups, IsEmpty());
    EXPECT_THAT(scrape.readings, IsEmpty());
}

TEST_F(ExporterWorker, TakesNoStatisticForAGroup) {
    const Scrape scrape = worker_.scrape({"USER", "DISK"});
    EXPECT_THAT(scrape.rejectedGroups, ElementsAre("USER"));
    EXPECT_THAT(scrape.groups, ElementsAre("DISK"));
    EXPECT_THAT(readingsOf(scrape), ElementsAre("DISK.READS=7"));
}

TEST_F(ExporterWorker, ReadsAGroupWhoseOnlyStatisticHasItsName) {
    gateway_.set(gateway::Snapshot{{"LOAD", {{"LOAD", "3"}}}});
    EXPECT_THAT(readingsOf(worker_.scrape({"LOAD"})), ElementsAre("LOAD.LOAD=3"));
}

TEST_F(ExporterWorker, ReadsWhatFollowsAGroupWithoutStatistics) {
    gateway_.set(gateway::Snapshot{{"EMPTY", {}}, {"DISK", {{"READS", "7"}}}});
    const Scrape scrape = worker_.scrape();
    EXPECT_THAT(scrape.groups, ElementsAre("EMPTY", "DISK"));
    EXPECT_THAT(readingsOf(scrape), ElementsAre("DISK.READS=7"));
}

TEST_F(ExporterWorker, CountsListedGroupsThatCannotBeAskedForAndReadsTheOthersOnce) {
    gateway_.set(
        gateway::Snapshot{{"A:B", {{"X", "1"}}}, {"", {}}, {"DISK", {{"READS", "7"}}}, {"DISK", {}}});
    const Scrape scrape = worker_.scrape();
    EXPECT_EQ(outcomeOf(scrape), "ok");
    EXPECT_THAT(scrape.groups, ElementsAre("DISK"));
    EXPECT_EQ(scrape.unreadableGroups, 2U);
    EXPECT_THAT(scrape.rejectedGroups, IsEmpty());
}

TEST_F(ExporterWorker, TellsHowLongEachPhaseTook) {
    const Phases first = worker_.scrape().took;
    EXPECT_GT(first.open.count(), 0);
    EXPECT_GT(first.query.count(), 0);
    EXPECT_GT(first.walk.count(), 0);
    EXPECT_EQ(worker_.scrape().took.open.count(), 0);
}

TEST_F(ExporterWorker, KnowsItsLastScrape) {
    EXPECT_EQ((*worker_).last(), nullptr);
    const ScrapeResult result = worker_.start().get();
    EXPECT_EQ((*worker_).last(), result);
}

// ---- Sharing

TEST_F(ExporterWorker, AsksOnceForAllWhoComeMeanwhile) {
    const auto first = startAndHang();
    const auto second = worker_.start();
    const auto other = worker_.start({"CPU"});
    const auto sameAsOther = worker_.start({"CPU"});
    gateway_.answer();
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(other.get(), sameAsOther.get());
    EXPECT_THAT(other.get()->groups, ElementsAre("CPU"));
    // Opening takes five requests and each query two: for the list, CPU, DISK and CPU once more.
    EXPECT_EQ(gateway_.server().requests().size(), 5U + 4 * 2);
}

TEST_F(ExporterWorker, AsksAnewForWhoComesAfterwards) {
    const ScrapeResult first = worker_.start().get();
    gateway_.set("2");
    EXPECT_THAT(readingsOf(worker_.scrape()), ElementsAre("CPU.USER=2", "CPU.IDLE=99", "DISK.READS=7"));
}

TEST_F(ExporterWorker, GoesOnForWhoJoinsWithMoreTime) {
    worker_.scrape();
    const auto end = in(300ms);
    const auto hurried = startAndHang(300ms);
    const auto patient = worker_.start({}, AMPLE);
    EXPECT_EQ(outcomeOf(*resultBy(end, hurried, {}, end)), "timeout");
    gateway_.server().waitForConnections(2);  // the first one was given up
    gateway_.answer();
    EXPECT_EQ(outcomeOf(*patient.get()), "ok");
}

TEST_F(ExporterWorker, RefusesProbesBeyondThoseThatMayWaitButNotTheOwner) {
    const auto first = startAndHang();
    for (std::size_t i = 0; i < MOST_WAITING; ++i) {
        worker_.start({"OF PROBE " + std::to_string(i)});
    }
    EXPECT_THROW(worker_.start({"ONE MORE"}), TooManyWaiting);
    EXPECT_NO_THROW(worker_.start({"OF PROBE 0"}));
    const auto last = worker_.start({"OF PROBE 7"});
    const auto owners = (*worker_).scrape({"CPU"}, in(AMPLE), Rank::Owner);
    gateway_.answer();
    EXPECT_EQ(outcomeOf(*owners.get()), "ok");
    EXPECT_EQ(outcomeOf(*last.get()), "ok");
    EXPECT_LT(owners.get()->time, last.get()->time);
}

// ---- Time

TEST_F(ExporterWorker, BeginsAnewWhereACallHangsThoughItsClientIsPatient) {
    WorkerOf worker(gateway_.port(), {.longestCall = 200ms});
    EXPECT_EQ(worker.outcome(), "ok");
    gateway_.hang();
    const Stopwatch watch;
    const auto scrape = worker.start({}, 1h);
    gateway_.server().waitForConnections(2);
    gateway_.answer();
    EXPECT_EQ(outcomeOf(*scrape.get()), "ok");
    EXPECT_LT(watch.time(), 10s);
}

TEST_F(ExporterWorker, EndsByTheDeadlineThoughTheGatewayHangs) {
    worker_.scrape();
    gateway_.hang();
    const Stopwatch watch;
    EXPECT_EQ(worker_.outcome(200ms), "timeout");
    EXPECT_GE(watch.time(), 200ms);
    EXPECT_LT(watch.time(), 5s);
    gateway_.answer();
    EXPECT_EQ(worker_.outcome(), "ok");
}

TEST_F(ExporterWorker, DoesNotAskWhenNoTimeIsLeft) {
    EXPECT_EQ(worker_.outcome(-1ms), "timeout");
    EXPECT_THAT(gateway_.server().requests(), IsEmpty());
    EXPECT_EQ(worker_.outcome(), "ok");
}

void expectTimeoutInTime(int port) {
    const Stopwatch watch;
    EXPECT_EQ(WorkerOf(port).outcome(300ms), "timeout");
    EXPECT_LT(watch.time(), 5s);
}

TEST(ExporterDeadline, HoldsWhereAPortTakesNoConnection) {
    const testing_support::FullQueue port;
    expectTimeoutInTime(port.port());
}

TEST(ExporterDeadline, HoldsWhereAPortOnlyAccepts) {
    const testing_support::LoopbackPort port;
    port.listen(1);
    expectTimeoutInTime(port.number());
}

TEST(ExporterDeadline, HoldsWhereTheRepliesOfOpeningTrickle) {
    const testing_support::SlowGateway port("", testing_support::connectReplies() +
                                                    testing_support::adminInitReply() +
                                                    testing_support::protocolReply(std::string(1000, '1')));
    expectTimeoutInTime(port.port());
}

TEST(ExporterDeadline, HoldsWhereTheReplyToAQueryTrickles) {
    const testing_support::SlowGateway port(
        testing_support::openReplies(),
        testing_support::adminInitReply() +
            testing_support::message({.name = "Admin"}, testing_support::Bytes(1000, '\0')));
    expectTimeoutInTime(port.port());
}

// ---- Failures

TEST(ExporterFailure, IsThatNothingListens) {
    const testing_support::LoopbackPort port;
    EXPECT_EQ(WorkerOf(port.number()).outcome(), "connect");
}

TEST(ExporterFailure, IsThatAHostStandsForNoAddress) {
    Worker worker({"no-such-host.invalid", 27400}, {});
    EXPECT_EQ(outcomeOf(*worker.scrape({}, in(AMPLE)).get()), "resolve");
}

TEST(ExporterFailure, IsThatNoGatewayAnswers) {
    testing_support::AnsweringGateway web("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(WorkerOf(web.port()).outcome(), "not_a_gateway");
}

TEST(ExporterFailure, IsThatTheGatewayRefuses) {
    testing_support::AnsweringGateway refusing(testing_support::handshakeReply(-1));
    EXPECT_EQ(WorkerOf(refusing.port()).outcome(), "not_a_gateway");
}

TEST(ExporterFailure, IsThatTheConnectionIsLostMeanwhile) {
    ScriptedGateway gateway;
    gateway.answerQueries([](const auto&, const auto&) {
        return gateway::Reply{"", gateway::Ending::Reset};
    });
    WorkerOf worker(gateway.port(), PATIENT);
    const Scrape scrape = worker.scrape();
    EXPECT_EQ(outcomeOf(scrape), "lost");
    EXPECT_THAT(scrape.readings, IsEmpty());
    gateway.answerAsUsual();
    EXPECT_EQ(worker.outcome(), "ok");
}

// ---- The connection

TEST_F(ExporterWorker, KeepsTheConnection) {
    worker_.scrape();
    worker_.scrape();
    EXPECT_EQ(handshakes(gateway_.server()), 1U);
}

TEST_F(ExporterWorker, HasNoGapWhenTheGatewayIsRestartedBetweenScrapes) {
    worker_.scrape();
    gateway_.die();
    gateway_.comeBack();
    EXPECT_EQ(worker_.outcome(), "ok");
    EXPECT_EQ(handshakes(gateway_.server()), 1U);
}

TEST(ExporterConnection, IsReopenedOnceOnlyWithinAScrape) {
    ScriptedGateway gateway;
    WorkerOf worker(gateway.port());
    worker.scrape();
    gateway.answerQueries([](const auto&, const auto&) {
        return gateway::Reply{"", gateway::Ending::Reset};
    });
    EXPECT_EQ(worker.outcome(), "lost");
    EXPECT_EQ(handshakes(gateway.server()), 2U);
}

// The moment between its taking leave and its being idle.
void waitUntilIdle(const Worker& worker) {
    while (!worker.isIdle()) {
        std::this_thread::yield();
    }
}

TEST_F(ExporterWorker, ClosesTheConnectionWhenNobodyAsksForLong) {
    WorkerOf idle(gateway_.port(), {.idle = 1ms});
    EXPECT_EQ(idle.outcome(), "ok");
    gateway_.server().waitForConnections(0);
    waitUntilIdle(*idle);
    EXPECT_EQ(idle.outcome(), "ok");
    EXPECT_FALSE((*worker_).isIdle());
}

TEST_F(ExporterWorker, DoesNotWaitForAGatewayThatHangsWhenItIsClosed) {
    WorkerOf idle(gateway_.port(), {.idle = 300ms});
    EXPECT_EQ(idle.outcome(), "ok");
    const std::size_t before = gateway_.server().requests().size();
    gateway_.hang();
    const Stopwatch watch;
    gateway_.server().waitForRequests(before + 1);
    waitUntilIdle(*idle);
    EXPECT_LT(watch.time(), 5s);
}

// ---- Pauses

TEST(ExporterPauses, DoubleUpToTheLongest) {
    GrowingPause pause(500ms, 15s);
    for (const auto expected : {500ms, 1000ms, 2000ms, 4000ms, 8000ms, 15000ms, 15000ms}) {
        EXPECT_EQ(pause.next(), expected);
    }
    pause.reset();
    EXPECT_EQ(pause.next(), 500ms);
}

gateway::Reply hangUp(const gateway::Request&, const gateway::Reply&) {
    return {"", gateway::Ending::Close};
}

TEST(ExporterPauses, LetScrapesFailAsTheLastAttemptDid) {
    ScriptedGateway gateway;
    gateway.answer(hangUp);
    WorkerOf worker(gateway.port(), PATIENT);
    const Scrape attempt = worker.scrape();
    EXPECT_EQ(outcomeOf(attempt), "not_a_gateway");
    gateway.answerAsUsual();
    const Scrape inPause = worker.scrape();
    EXPECT_EQ(outcomeOf(inPause), "not_a_gateway");
    EXPECT_THAT(inPause.failure->text, HasSubstr(attempt.failure->text + "; the next try is due 3"));
    EXPECT_EQ(handshakes(gateway.server()), 1U);
}

TEST(ExporterPauses, GrowWithEachFurtherAttempt) {
    ScriptedGateway gateway;
    gateway.answer(hangUp);
    WorkerOf worker(gateway.port(), {.firstPause = 5ms, .longestPause = 1h});
    const Stopwatch watch;
    while (handshakes(gateway.server()) < 5) {
        worker.scrape();
    }
    EXPECT_GE(watch.time(), 5ms + 10ms + 20ms + 40ms);
}

TEST(ExporterPauses, AreNotForcedOnOthersByWhoeverAllowsNoTime) {
    SteeredGateway gateway(CPU_AND_DISK);
    WorkerOf worker(gateway.port(), PATIENT);
    gateway.hang();
    EXPECT_EQ(worker.outcome(20ms), "timeout");
    gateway.answer();
    EXPECT_EQ(worker.outcome(), "ok");
}

TEST(ExporterPauses, EndWithTheFirstConnection) {
    SteeredGateway gateway(CPU_AND_DISK);
    WorkerOf worker(gateway.port(), HASTY);
    worker.scrape();
    gateway.die();
    EXPECT_EQ(worker.outcome(), "connect");
    gateway.comeBack();
    while (worker.outcome() != "ok") {
    }
    EXPECT_EQ(handshakes(gateway.server()), 1U);
}

// ---- The end

TEST(ExporterEnd, EndsAQueryThatIsUnderWay) {
    ScriptedGateway gateway;
    gateway.answerQueries([](const auto&, const auto&) { return gateway::Reply{""}; });
    WorkerOf worker(gateway.port());
    const auto scrape = worker.start();
    gateway.server().waitForRequests(5 + 2);
    worker.destroy();
    EXPECT_EQ(outcomeOf(*scrape.get()), "internal");
    gateway.server().waitForConnections(0);
}

void waitForConnection(const testing_support::LoopbackPort& port) {
    pollfd wait{port.descriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&wait, 1, 10'000), 1);
}

TEST(ExporterEnd, ComesAtOnceThoughOpeningHangs) {
    const testing_support::LoopbackPort port;
    port.listen(1);
    WorkerOf worker(port.number());
    const auto scrape = worker.start();
    waitForConnection(port);
    const Stopwatch watch;
    worker.destroy();
    EXPECT_LT(watch.time(), 10s);
    EXPECT_EQ(outcomeOf(*scrape.get()), "internal");
}

}  // namespace
}  // namespace tools::exporter

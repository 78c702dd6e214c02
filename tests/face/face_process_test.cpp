// What holds for the process or the thread: version, trace, time limit. What the lines of a trace look like is tested in
// api/api_trace_test.cpp. What each call promises stands in zolstats.hpp.
#include <chrono>
#include <limits>

#include "api/trace_file.h"
#include "face.h"

namespace {

using namespace face;
using namespace std::chrono_literals;
using api::StandardErrorCapture;
using api::TemporaryFile;
using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using zolstats::TraceLevel;

TEST(Process, TellsTheVersionOfTheInterface) {
    EXPECT_EQ(zolstats::apiVersion(), "1_1_0_1");
}

// ---- Trace

class Trace : public Connected {
  protected:
    Trace() { api::resetTrace(); }
    ~Trace() override { api::resetTrace(); }
    Trace(const Trace&) = delete;
    Trace& operator=(const Trace&) = delete;

    TemporaryFile file_;
};

TEST_F(Trace, IsOffAtFirst) {
    EXPECT_EQ(zolstats::traceLevel(), TraceLevel::off);
}

struct Level {
    TraceLevel level;
    int number;
};

TEST_F(Trace, HasTheLevelsOfTheLibrary) {
    const Level levels[] = {{TraceLevel::all, 5},    {TraceLevel::data, 4},       {TraceLevel::calls, 3},
                            {TraceLevel::events, 2}, {TraceLevel::exceptions, 1}, {TraceLevel::off, 0}};
    zolstats::setTraceFile(file_.name());
    for (const Level& each : levels) {
        zolstats::setTraceLevel(each.level);
        int number = -1;
        EXPECT_EQ(getAPITraceLevel(&number), ZOLSTATS_OK);
        EXPECT_EQ(number, each.number);
        EXPECT_EQ(zolstats::traceLevel(), each.level);
    }
}

TEST_F(Trace, RefusesALevelThatIsNone) {
    EXPECT_EQ(codeOf([] { zolstats::setTraceLevel(static_cast<TraceLevel>(6)); }), ZOLSTATS_BAD_TRACE_LEVEL);
    EXPECT_EQ(codeOf([] { zolstats::setTraceLevel(static_cast<TraceLevel>(-1)); }), ZOLSTATS_BAD_TRACE_LEVEL);
    EXPECT_EQ(zolstats::traceLevel(), TraceLevel::off);
}

TEST_F(Trace, GoesToAFile) {
    zolstats::setTraceFile(file_.name());
    zolstats::setTraceLevel(TraceLevel::calls);
    connection_.groups();
    EXPECT_THAT(file_.text(), HasSubstr("getResourceGroupIds"));
}

TEST_F(Trace, GoesBackToStandardError) {
    const StandardErrorCapture standardError;
    zolstats::setTraceFile(file_.name());
    zolstats::setTraceLevel(TraceLevel::calls);
    zolstats::traceToStandardError();
    connection_.groups();
    zolstats::setTraceLevel(TraceLevel::off);
    EXPECT_THAT(standardError.text(), HasSubstr("getResourceGroupIds"));
    EXPECT_THAT(file_.text(), Not(HasSubstr("getResourceGroupIds")));
}

TEST_F(Trace, GoesOnWhereItWentWhenTheNewFileCannotBeOpened) {
    zolstats::setTraceFile(file_.name());
    EXPECT_EQ(codeOf([] { zolstats::setTraceFile("/nowhere/at/all"); }), ZOLSTATS_TRACE_FILE_FAILED);
    zolstats::setTraceLevel(TraceLevel::calls);
    connection_.groups();
    EXPECT_THAT(file_.text(), HasSubstr("getResourceGroupIds"));
}

TEST_F(Trace, RefusesAFileNameCutShortAtANul) {
    const std::string name = std::string(file_.name()) + std::string("\0x", 2);
    EXPECT_THROW(zolstats::setTraceFile(name), std::invalid_argument);
}

TEST_F(Trace, ShowsTheStateWhateverTheLevel) {
    zolstats::setTraceFile(file_.name());
    zolstats::writeState();
    EXPECT_THAT(file_.text(), HasSubstr("zolstats state dump: API Version=1_1_0_1 Trace Level=0"));
    EXPECT_THAT(file_.text(), HasSubstr("Total number of Gateway Token List entries=1"));
}

TEST_F(Trace, ShowsAnAnswerWhateverTheLevel) {
    zolstats::setTraceFile(file_.name());
    connection_.groups().dump();
    const std::string ofTheView = file_.text();
    connection_.groups().copy().dump();
    EXPECT_THAT(ofTheView, HasSubstr("G1"));
    EXPECT_GT(file_.text().size(), ofTheView.size());
}

// ---- Time limit

class TimeLimit : public Connected {
  protected:
    ~TimeLimit() override { setAPITimeout(0); }

    template <class Duration>
    static milliseconds limitAfter(Duration limit) {
        zolstats::setTimeout(limit);
        return zolstats::timeout();
    }
    template <class Duration>
    static void expectRefused(Duration limit) {
        zolstats::setTimeout(1234ms);
        EXPECT_EQ(codeOf([limit] { zolstats::setTimeout(limit); }), ZOLSTATS_BAD_TIMEOUT);
        EXPECT_EQ(zolstats::timeout(), 1234ms) << "it stays as it was";
    }
};

TEST_F(TimeLimit, IsNoneAtFirst) {
    EXPECT_EQ(zolstats::timeout(), 0ms);
}

TEST_F(TimeLimit, ReachesTheLibraryInMilliseconds) {
    zolstats::setTimeout(2s);
    int number = 0;
    ASSERT_EQ(getAPITimeout(&number), ZOLSTATS_OK);
    EXPECT_EQ(number, 2000);
}

TEST_F(TimeLimit, TakesAnyUnit) {
    EXPECT_EQ(limitAfter(1ms), 1ms);
    EXPECT_EQ(limitAfter(90min), 90min);
    EXPECT_EQ(limitAfter(1.5s), 1500ms);
    EXPECT_EQ(limitAfter(0h), 0ms);
}

TEST_F(TimeLimit, IsRoundedUpSinceZeroWouldBeNone) {
    EXPECT_EQ(limitAfter(1ns), 1ms);
    EXPECT_EQ(limitAfter(1001us), 2ms);
    EXPECT_EQ(limitAfter(0.25ms), 1ms);
}

TEST_F(TimeLimit, IsOneDayAtMost) {
    EXPECT_EQ(limitAfter(24h), 24h);
    expectRefused(milliseconds(ZOLSTATS_MAX_TIMEOUT + 1));
    expectRefused(24h + 1ns);
}

TEST_F(TimeLimit, RefusesWhatIsHuge) {
    expectRefused(milliseconds::max());
    expectRefused(std::chrono::hours::max());
    expectRefused(std::chrono::nanoseconds::max());
    expectRefused(milliseconds((std::int64_t{1} << 32) + 5));  // 5 in 32 bits
    expectRefused(std::chrono::duration<double>(std::numeric_limits<double>::infinity()));
}

TEST_F(TimeLimit, RefusesWhatIsNegativeOrNoNumber) {
    expectRefused(-1ms);
    expectRefused(-1ns);
    expectRefused(milliseconds::min());
    expectRefused(std::chrono::hours::min());
    expectRefused(milliseconds(-(std::int64_t{1} << 32) + 5));
    expectRefused(std::chrono::duration<double>(std::numeric_limits<double>::quiet_NaN()));
}

TEST_F(TimeLimit, IsOfItsThread) {
    zolstats::setTimeout(5s);
    EXPECT_EQ(inAnotherThread([] { return zolstats::timeout(); }), 0ms);
}

TEST_F(TimeLimit, EndsAQueryAndClosesItsConnection) {
    gateway_.answerQueries([](const auto&, const auto&) { return gateway::Reply{}; });
    zolstats::setTimeout(50ms);
    EXPECT_EQ(codeOf([this] { connection_.statistics(); }), ZOLSTATS_CONNECTION_LOST);
    EXPECT_FALSE(connection_.isOpen());
    gateway_.server().waitForConnections(0);
}

TEST_F(TimeLimit, EndsTheOpeningOfAConnection) {
    gateway_.answer([](const auto&, const auto&) { return gateway::Reply{}; });
    zolstats::setTimeout(50ms);
    try {
        const Connection none = open();
        ADD_FAILURE();
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), std::errc::timed_out);
    }
    gateway_.answerAsUsual();
}

}  // namespace

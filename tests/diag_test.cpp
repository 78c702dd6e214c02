// Tests of the trace facility: its globals and their initialisation, clock and ids, the frame and thresholds
// of a line. Not here: storage dumps and several threads (trace/), which lines the modules write (each
// module's test). Levels, line format and dumps are written down in docs/tracing.md.
#include "stapi_zol_diag.h"

#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>

#include "support/trace_capture.h"
#include "support/watched_trace.h"

using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing_support::isHeld;
using testing_support::line;
using testing_support::printed;
using testing_support::TraceCapture;
using testing_support::TraceLine;
using testing_support::WatchedTrace;
using zolstats::trace;
using zolstats::traceData;
using zolstats::TraceKind;
using zolstats::TracePoint;
using zolstats::TraceStyle;

namespace {

constexpr TracePoint exceptionLine{101, TraceKind::Exception, "exception\n"};
constexpr TracePoint eventLine{102, TraceKind::Event, "event\n"};
constexpr TracePoint entryLine{103, TraceKind::Entry, "entry\n"};
constexpr TracePoint exitLine{104, TraceKind::Exit, "exit\n"};
constexpr TracePoint debugLine{105, TraceKind::Debug, "debug\n"};
constexpr TracePoint dataLine{106, TraceKind::Data, "data=%p len=%d stopword=%8.8X\n"};
constexpr TracePoint shortNumber{7, TraceKind::Event, "seven\n"};
constexpr TracePoint longNumber{12345, TraceKind::Event, "many\n"};
constexpr TracePoint valuesLine{108, TraceKind::Event, "d=%d s=%s x=%x p=%p\n"};
constexpr TracePoint keptTimeLine{109, TraceKind::Entry, "kept\n", TraceStyle::KeptTimestamp};
constexpr TracePoint unlockedLine{110, TraceKind::Exception, "unlocked\n", TraceStyle::Unlocked};

void traceEveryKind() {
    static constexpr unsigned char AREA[] = {'a', 'b', 'c', 'd'};
    trace<exceptionLine>();
    trace<eventLine>();
    trace<entryLine>();
    trace<exitLine>();
    trace<debugLine>();
    traceData<dataLine>({AREA, sizeof AREA, 0, 0});
}

// ---- Globals

struct TraceGlobals {
    int level = statAPITrace;
    FILE* handle = statAPITraceHandle;
    const char* filename = statAPITraceFilename;
    std::string format{traceFmtStr, sizeof traceFmtStr};
    std::uint32_t lockState = traceLock.state;
    std::string stamp{timeStamp, sizeof timeStamp};
    std::string date{dateBuf, sizeof dateBuf};
    unsigned pid = tracePid;
    unsigned tid = traceTid;
    unsigned copiedTid = iTid;
    int dump = statAPIDump;
};

// Taken before main(), when no call has initialised the library yet.
const TraceGlobals beforeTheFirstCall;

TEST(TraceGlobals, AreEmptyBeforeTheFirstCall) {
    EXPECT_EQ(beforeTheFirstCall.level, 0);
    EXPECT_EQ(beforeTheFirstCall.handle, nullptr);
    EXPECT_EQ(beforeTheFirstCall.filename, nullptr);
    EXPECT_EQ(beforeTheFirstCall.lockState, 0U);
    EXPECT_EQ(beforeTheFirstCall.pid, 0U);
    EXPECT_EQ(beforeTheFirstCall.tid, 0U);
    EXPECT_EQ(beforeTheFirstCall.copiedTid, 0U);
    EXPECT_EQ(beforeTheFirstCall.dump, 0);
    EXPECT_EQ(beforeTheFirstCall.stamp, std::string(24, '\0'));
    EXPECT_EQ(beforeTheFirstCall.date, std::string(10, '\0'));
}

TEST(TraceGlobals, TheFormatStartsAsThePrefixAndZeros) {
    const std::string prefix = "%s [0x%8.8X,0x%8.8X] [%4.4d] %-6.6s ";
    ASSERT_THAT(prefix, SizeIs(36));
    EXPECT_EQ(beforeTheFirstCall.format, prefix + std::string(292 - 36, '\0'));
}

TEST(TraceGlobals, TheDefaultDestinationIsCalledStderr) {
    EXPECT_STREQ(defaultTraceFilename, "stderr");
}

// ---- Initialisation

// Makes the library forget that its trace was initialised.
class InitTrace : public testing::Test {
  protected:
    InitTrace() {
        stapiInit();
        forget();
    }
    ~InitTrace() override {
        forget();
        initTrace();
    }
    static void forget() {
        std::free(statAPITraceFilename);
        statAPITraceFilename = nullptr;
        statAPITraceHandle = nullptr;
        traceLock = LockRecord{};
    }
};

TEST_F(InitTrace, DirectsTheTraceToStandardError) {
    EXPECT_EQ(initTrace(), 0);
    EXPECT_EQ(statAPITraceHandle, stderr);
    EXPECT_STREQ(statAPITraceFilename, "stderr");
}

TEST_F(InitTrace, MakesAFreeTraceLock) {
    initTrace();
    EXPECT_EQ(isLockInitialized(&traceLock), static_cast<int>(0xFFEEDDCC));
    EXPECT_FALSE(isHeld(traceLock));
}

TEST_F(InitTrace, MakesANameBufferOf1024Bytes) {
    initTrace();
    std::memset(statAPITraceFilename, 'n', 1024);
    EXPECT_EQ(statAPITraceFilename[1023], 'n');
}

TEST_F(InitTrace, ARepeatedCallOnlyResetsTheDestination) {
    initTrace();
    char* const buffer = statAPITraceFilename;
    std::strcpy(buffer, "elsewhere");
    statAPITraceHandle = stdout;
    EXPECT_EQ(initTrace(), 0);
    EXPECT_EQ(statAPITraceHandle, stderr);
    EXPECT_EQ(statAPITraceFilename, buffer);
    EXPECT_STREQ(statAPITraceFilename, "elsewhere");
}

TEST_F(InitTrace, ARepeatedCallAllocatesNoNameBuffer) {
    initializeLock(&traceLock);
    EXPECT_EQ(initTrace(), 0);
    EXPECT_EQ(statAPITraceFilename, nullptr);
}

TEST_F(InitTrace, WritesNothing) {
    testing::internal::CaptureStderr();
    initTrace();
    initTrace();
    EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty());
}

TEST_F(InitTrace, ALineAskedForBeforeItGoesToStandardError) {
    testing::internal::CaptureStderr();
    __atomic_store_n(&statAPITrace, 2, __ATOMIC_RELAXED);
    trace<eventLine>();
    __atomic_store_n(&statAPITrace, 0, __ATOMIC_RELAXED);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("[0102] EVENT  event\n"));
}

// ---- Clock and ids

class Clock : public testing::Test {
  protected:
    // Half an hour off and west of Greenwich, so that universal time would show.
    Clock() { useZone("TST3:30"); }
    ~Clock() override {
        unsetenv("TZ");
        tzset();
    }

    static void useZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    static long long millisecondsNow() {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
    }
    // The time that a time stamp tells, in milliseconds.
    static long long millisecondsOf(const char* stamp) {
        tm local{};
        const char* end = strptime(stamp, "%d/%m/%y %H:%M:%S:", &local);
        return end == nullptr ? -1 : std::mktime(&local) * 1000LL + std::atoi(end);
    }
    static std::string dateNow() {
        const std::time_t now = std::time(nullptr);
        tm local{};
        std::array<char, 16> text{};
        std::strftime(text.data(), text.size(), "%d/%m/%y", localtime_r(&now, &local));
        return text.data();
    }

    std::array<char, 24> stamp{};
    std::array<char, 10> date{};
};

TEST_F(Clock, ATimestampIsOfFixedForm) {
    EXPECT_EQ(getTimestamp(stamp.data()), stamp.data());
    EXPECT_THAT(stamp.data(), MatchesRegex("[0-9]{2}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}:[0-9]{3}"));
    EXPECT_EQ(std::strlen(stamp.data()), 21U);
}

TEST_F(Clock, ATimestampTellsLocalTimeToTheMillisecond) {
    const long long before = millisecondsNow();
    getTimestamp(stamp.data());
    const long long after = millisecondsNow();
    EXPECT_THAT(millisecondsOf(stamp.data()), testing::AllOf(testing::Ge(before), testing::Le(after)));
}

TEST_F(Clock, ATraceDateIsTheLocalDate) {
    for (const char* zone : {"EAST-14", "WEST12"}) {
        useZone(zone);
        const std::string before = dateNow();
        EXPECT_EQ(getTraceDate(date.data()), date.data());
        EXPECT_THAT(std::string(date.data()), testing::AnyOf(before, dateNow()));
    }
}

TEST(PidTid, AreThoseOfTheCaller) {
    unsigned pid = 0;
    unsigned tid = 0;
    getPidTid(&pid, &tid);
    EXPECT_EQ(pid, static_cast<unsigned>(getpid()));
    EXPECT_EQ(tid, static_cast<unsigned>(pthread_self()));
}

TEST(PidTid, AreEachLeftOutForANullPointer) {
    unsigned pid = 0;
    unsigned tid = 0;
    getPidTid(&pid, nullptr);
    getPidTid(nullptr, &tid);
    getPidTid(nullptr, nullptr);
    EXPECT_EQ(pid, static_cast<unsigned>(getpid()));
    EXPECT_EQ(tid, static_cast<unsigned>(pthread_self()));
}

TEST(CompareTids, IsTrueForTheSameThreadOnly) {
    EXPECT_NE(compareTids(pthread_self(), pthread_self()), 0);
    pthread_t other{};
    std::thread([&other] { other = pthread_self(); }).join();
    EXPECT_EQ(compareTids(pthread_self(), other), 0);
}

// ---- Lines

std::string idsOfThisThread() {
    return printed("[0x%8.8X,0x%8.8X]", static_cast<unsigned>(getpid()),
                   static_cast<unsigned>(pthread_self()));
}

// What follows the time stamp of the only line traced.
std::string behindTheTimestamp(const TraceCapture& capture) {
    return capture.text().substr(21);
}

struct LevelWord {
    void (*write)();
    const char* expected;
    int lowestLevel;
};

class LineKind : public testing::TestWithParam<LevelWord> {
  protected:
    static std::string tracedAt(int level) {
        const TraceCapture capture(level);
        GetParam().write();
        return capture.text();
    }
};

TEST_P(LineKind, HasItsNumberAndItsWordInSixColumns) {
    EXPECT_EQ(tracedAt(GetParam().lowestLevel).substr(21), " " + idsOfThisThread() + GetParam().expected);
}

TEST_P(LineKind, IsWrittenFromItsLevelOn) {
    for (int level = 0; level <= 5; ++level) {
        EXPECT_EQ(!tracedAt(level).empty(), level >= GetParam().lowestLevel) << "level " << level;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Words, LineKind,
    testing::Values(LevelWord{[] { trace<exceptionLine>(); }, " [0101] *EXC*  exception\n", 1},
                    LevelWord{[] { trace<eventLine>(); }, " [0102] EVENT  event\n", 2},
                    LevelWord{[] { trace<entryLine>(); }, " [0103] ENTRY  entry\n", 3},
                    LevelWord{[] { trace<exitLine>(); }, " [0104] EXIT   exit\n", 3},
                    LevelWord{[] { trace<debugLine>(); }, " [0105] DEBUG  debug\n", 4},
                    LevelWord{[] {
                                  traceData<dataLine>({nullptr, 3, 0xAB, 0});
                              },
                              " [0106] DATA   data=(nil) len=3 stopword=000000AB\n", 4}));

TEST(TraceLevels, LevelZeroWritesNothing) {
    const TraceCapture capture(0);
    traceEveryKind();
    EXPECT_THAT(capture.text(), IsEmpty());
}

TEST(TraceLevels, LevelFiveWritesWhatLevelFourWrites) {
    const TraceCapture four(4);
    traceEveryKind();
    const std::vector<TraceLine> atFour = four.lines();
    const TraceCapture five(5);
    traceEveryKind();
    EXPECT_THAT(atFour, SizeIs(6));
    EXPECT_EQ(five.lines(), atFour);
}

TEST(TraceLines, ANumberIsShownWithAtLeastFourDigits) {
    const TraceCapture capture(2);
    trace<shortNumber>();
    trace<longNumber>();
    EXPECT_THAT(capture.text(), testing::AllOf(testing::HasSubstr("] [0007] EVENT  seven\n"),
                                               testing::HasSubstr("] [12345] EVENT  many\n")));
}

TEST(TraceLines, ShowTheirValues) {
    const TraceCapture capture(2);
    trace<valuesLine>(-5, "text", 0xBEEFU, static_cast<const void*>(&capture));
    EXPECT_EQ(behindTheTimestamp(capture),
              " " + idsOfThisThread() + printed(" [0108] EVENT  d=-5 s=text x=beef p=%p\n", &capture));
}

TEST(TraceLines, AShortLineAfterALongOneKeepsNothingOfIt) {
    const TraceCapture capture(2);
    trace<valuesLine>(1, "a text that is a good deal longer", 2U, static_cast<const void*>(nullptr));
    trace<eventLine>();
    EXPECT_THAT(capture.text(), EndsWith("] [0102] EVENT  event\n"));
}

TEST(TraceLines, LeaveTheirPrefixInTheGlobals) {
    const TraceCapture capture(2);
    trace<eventLine>();
    EXPECT_EQ(capture.lines().at(0).prefix, std::string(timeStamp) + " " + idsOfThisThread());
    EXPECT_EQ(tracePid, static_cast<unsigned>(getpid()));
    EXPECT_EQ(traceTid, static_cast<unsigned>(pthread_self()));
    EXPECT_EQ(iTid, traceTid);
    EXPECT_STREQ(traceFmtStr, "%s [0x%8.8X,0x%8.8X] [%4.4d] %-6.6s event\n");
}

TEST(TraceLines, ShowTheThreadThatWritesThem) {
    const TraceCapture capture(2);
    std::string ids;
    std::thread([&ids] {
        ids = idsOfThisThread();
        trace<eventLine>();
    }).join();
    EXPECT_EQ(behindTheTimestamp(capture), " " + ids + " [0102] EVENT  event\n");
}

TEST(TraceLines, TakeANewTimestamp) {
    const TraceCapture capture(3);
    std::strcpy(timeStamp, "01/02/03 04:05:06:789");
    trace<entryLine>();
    EXPECT_THAT(capture.lines().at(0).prefix, testing::Not(testing::StartsWith("01/02/03 04:05:06:789")));
}

TEST(TraceLines, MayCarryTheTimestampOfTheLineBefore) {
    const TraceCapture capture(3);
    std::strcpy(timeStamp, "01/02/03 04:05:06:789");
    trace<keptTimeLine>();
    EXPECT_THAT(capture.lines().at(0).prefix, testing::StartsWith("01/02/03 04:05:06:789"));
}

TEST(TraceLines, LeaveErrnoAsTheyFindIt) {
    const std::unique_ptr<FILE, int (*)(FILE*)> full(std::fopen("/dev/full", "w"), &std::fclose);
    const TraceCapture capture(4);
    statAPITraceHandle = full.get();
    errno = 4711;
    traceEveryKind();
    EXPECT_EQ(errno, 4711);
}

TEST(TraceLines, AreWrittenOutAtOnceUnderTheTraceLock) {
    const WatchedTrace watched(2);
    trace<eventLine>();
    ASSERT_THAT(watched.writes(), SizeIs(1));
    EXPECT_THAT(watched.writes().front().bytes, EndsWith("[0102] EVENT  event\n"));
    EXPECT_TRUE(watched.writes().front().underLock);
    EXPECT_FALSE(isHeld(traceLock));
}

TEST(TraceLines, OfTheLocksAreWrittenOutAtOnceWithoutTheTraceLock) {
    const WatchedTrace watched(2);
    trace<unlockedLine>();
    ASSERT_THAT(watched.writes(), SizeIs(1));
    EXPECT_THAT(watched.writes().front().bytes, EndsWith("[0110] *EXC*  unlocked\n"));
    EXPECT_FALSE(watched.writes().front().underLock);
}

#define TEN "0123456789"
#define FIFTY TEN TEN TEN TEN TEN
#define TEXT_OF_250 FIFTY FIFTY FIFTY FIFTY FIFTY
constexpr TracePoint longestLine{111, TraceKind::Event, TEXT_OF_250 "1234\n"};

TEST(TraceLines, ATemplateMayHave255Characters) {
    const TraceCapture capture(2);
    trace<longestLine>();
    EXPECT_THAT(capture.lines(), ElementsAre(line(111, "EVENT", TEXT_OF_250 "1234")));
    EXPECT_STREQ(traceFmtStr + 36, TEXT_OF_250 "1234\n");
}

TEST(TraceLines, ATemplateOf256CharactersDoesNotCompile) {
    EXPECT_TRUE((std::is_constructible_v<TracePoint, int, TraceKind, const char(&)[256]>));
    EXPECT_FALSE((std::is_constructible_v<TracePoint, int, TraceKind, const char(&)[257]>));
}

TEST(DataLines, HaveTheirDumpBelow) {
    const std::string area = "abcd";
    const TraceCapture capture(4);
    traceData<dataLine>({area.data(), 4, 0, 0});
    const std::vector<TraceLine> lines = capture.lines();
    EXPECT_THAT(lines, ElementsAre(line(106, "DATA", "data=%p len=4 stopword=00000000", area.data())));
    EXPECT_THAT(lines.at(0).below, ElementsAre(EndsWith(": 61626364" + std::string(27, ' ') + " : abcd")));
}

TEST(DataLines, AndTheirDumpAreWrittenUnderOneLock) {
    const std::string area = "abcd";
    const WatchedTrace watched(4);
    traceData<dataLine>({area.data(), 4, 0, 0});
    EXPECT_THAT(watched.text(), EndsWith(" : abcd\n"));
    EXPECT_THAT(watched.writes(), Each(testing::Field(&WatchedTrace::Write::underLock, true)));
    EXPECT_FALSE(isHeld(traceLock));
}

// ---- Version objects

#define DECLARE_VERSION(module)                         \
    extern "C" const char version4stapi_zol_##module[]; \
    extern "C" const char copyright4stapi_zol_##module[];
}  // namespace
DECLARE_VERSION(gwycon)
DECLARE_VERSION(gwytok)
DECLARE_VERSION(impl)
DECLARE_VERSION(resultsetbuffer)
DECLARE_VERSION(socketcomms)
DECLARE_VERSION(statcomms)
DECLARE_VERSION(statquery)
namespace {

TEST(VersionObjects, AreTheSameTextInAllModules) {
    const std::string text = version4stapi_zol_diag;
    EXPECT_THAT(text, MatchesRegex("\nQuorvane Version [0-9]+\\.[0-9]+\\.[0-9]+\\.[0-9]+ Build Level "
                                   "[A-Za-z0-9]+-[0-9]{8}-[0-9]{4}"));
    EXPECT_THAT((std::array<std::string, 8>{version4stapi_zol_gwycon, version4stapi_zol_gwytok,
                                            version4stapi_zol_impl, version4stapi_zol_lock,
                                            version4stapi_zol_resultsetbuffer, version4stapi_zol_socketcomms,
                                            version4stapi_zol_statcomms, version4stapi_zol_statquery}),
                Each(text));
}

TEST(VersionObjects, HaveACopyrightNoticeBesideThem) {
    EXPECT_THAT(
        (std::array<std::string, 9>{
            copyright4stapi_zol_diag, copyright4stapi_zol_gwycon, copyright4stapi_zol_gwytok,
            copyright4stapi_zol_impl, copyright4stapi_zol_lock, copyright4stapi_zol_resultsetbuffer,
            copyright4stapi_zol_socketcomms, copyright4stapi_zol_statcomms, copyright4stapi_zol_statquery}),
        Each(testing::HasSubstr("Copyright")));
}

}  // namespace

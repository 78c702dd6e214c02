// Trace control through the public interface: levels, destinations, the banner that begins a trace, versions,
// and the dump of the library's state. Lines of other calls are compared in those calls' tests. Levels, line
// format and banner are written down in docs/tracing.md.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <iterator>
#include <set>
#include <sstream>

#include "client.h"
#include "trace_file.h"

namespace {

using namespace api;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using testing::Values;

constexpr char NO_SUCH_FOLDER[] = "no such folder/trace";
constexpr char BANNER[] =
    "\\*\\*\\* [0-9][0-9]/[0-9][0-9]/[0-9][0-9] Velmor Quorvane ZOLSTATS DLL trace V[0-9]+\\.[0-9]+\\.[0-9]+\\.[0-9]+ "
    "API V1_1_0_1 Build Level [^ ]+ \\*\\*\\*";

std::vector<std::string> rowsOf(const std::string& text) {
    std::vector<std::string> rows;
    std::istringstream stream(text);
    for (std::string row; std::getline(stream, row);) {
        rows.push_back(row);
    }
    return rows;
}

std::size_t bannersIn(const std::string& text) {
    std::size_t count = 0;
    for (std::size_t at = text.find("*** "); at != std::string::npos; at = text.find("*** ", at + 1)) {
        count += text.compare(at + 12, 16, " Velmor Quorvane") == 0 ? 1U : 0U;
    }
    return count;
}

int levelNow() {
    int level = -1;
    EXPECT_EQ(getAPITraceLevel(&level), 0);
    return level;
}

class TraceControl : public testing::Test {
  protected:
    TraceControl() { resetTrace(); }
    ~TraceControl() override { resetTrace(); }

    static void setLevel(int level) { ASSERT_EQ(setAPITraceLevel(level), 0); }
    static void setFile(const char* name) { ASSERT_EQ(setAPITraceFile(name), 0); }
    static void setFile(const TemporaryFile& file) { setFile(file.name()); }

    TemporaryFile file_;
};

// ---- Levels

TEST_F(TraceControl, TakesTheLevels0To5) {
    for (const int level : {5, 4, 3, 2, 1, 0}) {
        const StandardErrorCapture quiet;
        EXPECT_EQ(setAPITraceLevel(level), 0);
        EXPECT_EQ(levelNow(), level);
    }
}

TEST_F(TraceControl, RefusesOtherLevelsAndKeepsTheLevel) {
    setFile(file_);
    setLevel(2);
    for (const int level : {6, 7, -1, INT_MAX, INT_MIN}) {
        EXPECT_EQ(setAPITraceLevel(level), -104) << level;
        EXPECT_EQ(levelNow(), 2);
    }
}

TEST_F(TraceControl, TellsOfARefusedLevelOnlyWhenTracingIsOn) {
    setFile(file_);
    EXPECT_EQ(setAPITraceLevel(6), -104);
    EXPECT_THAT(file_.text(), IsEmpty());
    setLevel(1);
    EXPECT_EQ(setAPITraceLevel(6), -104);
    EXPECT_EQ(setAPITraceLevel(-1), -104);
    EXPECT_THAT(
        file_.lines(),
        ElementsAre(
            line(1095, "*EXC*", "API.setAPITraceLevel() Supplied trace state value %d was invalid", 6),
            line(1095, "*EXC*", "API.setAPITraceLevel() Supplied trace state value %d was invalid", -1)));
}

TEST_F(TraceControl, NeedsAPlaceForTheLevel) {
    EXPECT_EQ(getAPITraceLevel(nullptr), -109);
    EXPECT_THAT(traced([] { getAPITraceLevel(nullptr); }),
                ElementsAre(line(1092, "*EXC*", "API.getAPITraceLevel() Supplied pointer is NULL")));
}

TEST_F(TraceControl, AtLevel0WritesNothingHoweverCallsFail) {
    setFile(file_);
    getAPITraceLevel(nullptr);
    setAPITraceLevel(9);
    setAPITraceFile(NO_SUCH_FOLDER);
    closeGatewayConnection(nullptr);
    freeResultSet(nullptr);
    EXPECT_THAT(file_.text(), IsEmpty());
}

class LevelWords : public TraceControl,
                   public testing::WithParamInterface<std::pair<int, std::vector<std::string>>> {};

INSTANTIATE_TEST_SUITE_P(
    Of, LevelWords,
    Values(std::pair{1, std::vector<std::string>{"*EXC*"}},
           std::pair{2, std::vector<std::string>{"*EXC*", "EVENT"}},
           std::pair{3, std::vector<std::string>{"*EXC*", "EVENT", "ENTRY", "EXIT"}},
           std::pair{4, std::vector<std::string>{"*EXC*", "EVENT", "ENTRY", "EXIT", "DEBUG", "DATA"}},
           std::pair{5, std::vector<std::string>{"*EXC*", "EVENT", "ENTRY", "EXIT", "DEBUG", "DATA"}}),
    [](const auto& instance) { return "Level" + std::to_string(instance.param.first); });

TEST_P(LevelWords, AreThoseOfTheLevelAndTheOnesBefore) {
    const ScriptedGateway gateway;
    const auto lines = tracedByAll(
        [&gateway] {
            void* token = nullptr;
            char* version = nullptr;
            ResultSetToken* set = nullptr;
            openGatewayConnection(gateway.port(), &token, &version);
            getStats(token, &set);
            closeGatewayConnection(&token);
            closeGatewayConnection(&token);
        },
        GetParam().first);
    std::set<std::string> words;
    for (const TraceLine& each : lines) {
        words.insert(each.level);
    }
    EXPECT_THAT(words, testing::UnorderedElementsAreArray(GetParam().second));
}

// ---- The banner

TEST_F(TraceControl, BeginsATraceInAFileWithTheBanner) {
    setFile(file_);
    setLevel(1);
    EXPECT_THAT(rowsOf(file_.text()), IsEmpty()) << "it is not flushed of its own accord";
    setLevel(0);
    setFile(nullptr);
    EXPECT_THAT(rowsOf(file_.text()), ElementsAre(MatchesRegex(BANNER)));
}

TEST_F(TraceControl, OfANewFileWhileTracingStartsWithBannerAndExitLine) {
    setLevel(0);
    setFile(file_);
    setLevel(3);
    const TemporaryFile second;
    setFile(second);
    const std::vector<std::string> rows = rowsOf(second.text());
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_THAT(rows[0], MatchesRegex(BANNER));
    EXPECT_THAT(
        second.lines(),
        ElementsAre(line(1101, "EXIT", "API.setAPITraceFile(traceFile=%p) new trace destination=%s rc=%d",
                         static_cast<const void*>(second.name()), second.name(), 0)));
}

TEST_F(TraceControl, WritesTheBannerAgainEachTimeTracingOnStandardErrorIsSwitchedOn) {
    const StandardErrorCapture standardError;
    for (std::size_t times = 1; times <= 3; ++times) {
        setLevel(3);
        setLevel(0);
        EXPECT_EQ(bannersIn(standardError.text()), times);
    }
}

TEST_F(TraceControl, WritesNoBannerWhenTheLevelOnlyRises) {
    const StandardErrorCapture standardError;
    setLevel(1);
    setLevel(3);
    setLevel(1);
    EXPECT_EQ(bannersIn(standardError.text()), 1U);
}

TEST_F(TraceControl, WritesOneBannerMoreWhenAFileIsSetAfterTheLevel) {
    const StandardErrorCapture standardError;
    setLevel(1);
    setFile(file_);
    setLevel(0);
    setLevel(1);
    setFile(nullptr);
    EXPECT_EQ(bannersIn(file_.text()), 1U) << "the one that came with the file is remembered";
    EXPECT_EQ(bannersIn(standardError.text()), 2U) << "one with the level, one with the return";
}

TEST_F(TraceControl, ToAFileThatWasNamedAtLevel0HasABannerForEachStart) {
    setFile(file_);
    setLevel(1);
    setLevel(0);
    setLevel(1);
    setLevel(0);
    setFile(nullptr);
    EXPECT_EQ(bannersIn(file_.text()), 2U);
}

TEST_F(TraceControl, RecordsTheBannerOfAFailedSwitch) {
    const StandardErrorCapture standardError;
    setLevel(1);
    EXPECT_EQ(setAPITraceFile(NO_SUCH_FOLDER), -130);
    EXPECT_EQ(bannersIn(standardError.text()), 2U) << "written to the destination that stays";
    EXPECT_EQ(setAPITraceFile(NO_SUCH_FOLDER), -130);
    setLevel(0);
    setLevel(1);
    EXPECT_EQ(bannersIn(standardError.text()), 2U);
}

TEST_F(TraceControl, RecordsTheBannerOfAnUnchangedDestination) {
    const StandardErrorCapture standardError;
    setLevel(1);
    setFile(nullptr);
    EXPECT_EQ(bannersIn(standardError.text()), 2U);
    setFile(nullptr);
    setLevel(0);
    setLevel(1);
    EXPECT_EQ(bannersIn(standardError.text()), 2U);
}

// ---- Destinations

TEST_F(TraceControl, IsAppendedToAFile) {
    {
        std::ofstream stream(file_.name());
        stream << "what was there\n";
    }
    setFile(file_);
    setLevel(1);
    getAPITraceLevel(nullptr);
    EXPECT_THAT(file_.text(), StartsWith("what was there\n*** "));
    EXPECT_EQ(file_.lines().size(), 1U);
}

TEST_F(TraceControl, LeavesStandardErrorForAFileAndComesBack) {
    const StandardErrorCapture standardError;
    setFile(file_);
    setLevel(1);
    getAPITraceLevel(nullptr);
    EXPECT_THAT(standardError.text(), IsEmpty());
    setFile(nullptr);
    getAPITraceLevel(nullptr);
    EXPECT_EQ(file_.lines().size(), 1U);
    EXPECT_THAT(standardError.text(),
                HasSubstr("[1092] *EXC*  API.getAPITraceLevel() Supplied pointer is NULL\n"));
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator folder("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(folder), end(folder)));
}

TEST_F(TraceControl, ClosesTheFileThatItLeaves) {
    const std::size_t before = openDescriptors();
    const TemporaryFile second;
    for (int times = 0; times < 3; ++times) {
        setFile(file_);
        setFile(second);
        EXPECT_EQ(openDescriptors(), before + 1);
    }
    setFile(nullptr);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(TraceControl, TellsWhatTheDestinationWasAndIs) {
    setFile(file_);
    setLevel(4);
    const TemporaryFile second;
    setFile(second);
    EXPECT_THAT(file_.lines(),
                Contains(line(1097, "ENTRY", "API.setAPITraceFile(traceFile=%p) current trace destination=%s",
                              static_cast<const void*>(second.name()), file_.name())));
    EXPECT_THAT(
        second.lines(),
        ElementsAre(
            line(1098, "DEBUG", "API.setAPITraceFile() Trace file switched to new destination. Filename=%s",
                 second.name()),
            line(1101, "EXIT", "API.setAPITraceFile(traceFile=%p) new trace destination=%s rc=%d",
                 static_cast<const void*>(second.name()), second.name(), 0)));
}

TEST_F(TraceControl, TellsThatItReturnsToStandardError) {
    const StandardErrorCapture standardError;
    setFile(file_);
    setLevel(4);
    setFile(nullptr);
    setLevel(0);
    EXPECT_THAT(testing_support::traceLines(standardError.text()),
                Contains(line(1098, "DEBUG",
                              "API.setAPITraceFile() Trace file switched to new destination. Filename=%s",
                              "stderr")));
}

TEST_F(TraceControl, TellsThatStandardErrorStaysTheDestination) {
    for (const int level : {4, 5}) {
        const StandardErrorCapture standardError;
        setLevel(level);
        setFile(nullptr);
        setLevel(0);
        EXPECT_THAT(
            testing_support::traceLines(standardError.text()),
            AllOf(Contains(line(1099, "DEBUG",
                                "API.setAPITraceFile() Trace file destination is unchanged. Filename=%s",
                                "stderr")),
                  Contains(line(1101, "EXIT",
                                "API.setAPITraceFile(traceFile=%p) new trace destination=%s rc=%d",
                                static_cast<void*>(nullptr), "stderr", 0))));
    }
}

TEST_F(TraceControl, KeepsItsDestinationWhenAFileCannotBeOpened) {
    setFile(file_);
    setLevel(1);
    EXPECT_EQ(setAPITraceFile(NO_SUCH_FOLDER), -130);
    EXPECT_EQ(setAPITraceFile("."), -130);
    EXPECT_EQ(setAPITraceFile(""), -130);
    getAPITraceLevel(nullptr);
    EXPECT_THAT(
        file_.lines(),
        ElementsAre(
            line(1100, "*EXC*",
                 "API.setAPITraceFile(%s) file append failed with errno=%d. Trace file destination is "
                 "unchanged. Filename=%s",
                 NO_SUCH_FOLDER, ENOENT, file_.name()),
            line(1100, "*EXC*",
                 "API.setAPITraceFile(%s) file append failed with errno=%d. Trace file destination is "
                 "unchanged. Filename=%s",
                 ".", EISDIR, file_.name()),
            line(1100, "*EXC*",
                 "API.setAPITraceFile(%s) file append failed with errno=%d. Trace file destination is "
                 "unchanged. Filename=%s",
                 "", ENOENT, file_.name()),
            line(1092, "*EXC*", "API.getAPITraceLevel() Supplied pointer is NULL")));
}

// A name for the file that is that long: the folder over and over, then the file.
std::string spelledWith(std::size_t length, const char* file) {
    const std::string padding(length - std::string(file).size() - 2, '/');
    return "." + padding + "/" + file;
}

TEST_F(TraceControl, TakesFileNamesOfAnyLengthAndShowsTheFirst1023Characters) {
    for (const std::size_t length : {1022U, 1023U, 1024U, 1025U, 4000U}) {
        const std::string name = spelledWith(length, file_.name());
        ASSERT_EQ(name.size(), length);
        setFile(name.c_str());
        dumpState();
        EXPECT_THAT(file_.text(), HasSubstr("statAPITraceFile=" + name.substr(0, 1023) + "\n"));
    }
}

TEST_F(TraceControl, DoesNotPassItsFileToProgramsThatAreExecuted) {
    const auto isOurs = [this](const std::filesystem::path& descriptor) {
        struct ::stat open {};
        struct ::stat ours {};
        return ::stat(descriptor.c_str(), &open) == 0 && ::stat(file_.name(), &ours) == 0 &&
               open.st_ino == ours.st_ino;
    };
    setFile(file_);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        if (isOurs(entry.path())) {
            EXPECT_NE(::fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
            return;
        }
    }
    FAIL() << "the trace file is not open";
}

// ---- Version

TEST_F(TraceControl, TellsTheVersionOfTheInterface) {
    char* first = nullptr;
    char* second = nullptr;
    EXPECT_EQ(getStatsAPIVersion(&first), 0);
    EXPECT_EQ(getStatsAPIVersion(&second), 0);
    EXPECT_STREQ(first, "1_1_0_1");
    EXPECT_EQ(first, second);
}

TEST_F(TraceControl, NeedsAPlaceForTheVersion) {
    EXPECT_EQ(getStatsAPIVersion(nullptr), -109);
    EXPECT_THAT(traced([] { getStatsAPIVersion(nullptr); }),
                ElementsAre(line(1089, "*EXC*", "API.getStatsAPIVersion() Supplied pointer is NULL")));
}

// ---- State dump

const std::string RULE = std::string(80, '-') + "\n";
const std::string EMPTY_LIST = "Gateway Token List dump\n" + RULE + "The Gateway Token List is EMPTY\n" +
                               RULE + "Total number of Gateway Token List entries=0\n" + RULE;

TEST_F(TraceControl, DumpsTheStateThoughTracingIsOff) {
    setFile(file_);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_EQ(file_.text(), "zolstats state dump: API Version=1_1_0_1 Trace Level=0 statAPITraceFile=" +
                                std::string(file_.name()) + "\n" + EMPTY_LIST);
}

TEST_F(TraceControl, DumpsTheStateToStandardErrorUnlessToldOtherwise) {
    const StandardErrorCapture standardError;
    EXPECT_EQ(dumpState(), 0);
    EXPECT_EQ(
        standardError.text(),
        "zolstats state dump: API Version=1_1_0_1 Trace Level=0 statAPITraceFile=stderr\n" + EMPTY_LIST);
}

TEST_F(TraceControl, FramesTheStateWithEntryAndExitFromLevel3On) {
    setFile(file_);
    setLevel(2);
    dumpState();
    EXPECT_THAT(file_.text(), Not(HasSubstr("API.dumpState()")));
    EXPECT_THAT(file_.text(), HasSubstr("Trace Level=2 "));
    EXPECT_THAT(traced([] { dumpState(); }, ZOLSTATS_TRACE_CALLS),
                ElementsAre(line(1106, "ENTRY", "API.dumpState()"), line(1107, "EXIT", "API.dumpState()")));
}

TEST_F(TraceControl, DumpsOpenConnectionsWithTheirSets) {
    const ScriptedGateway gateway;
    void* token = nullptr;
    char* version = nullptr;
    ResultSetToken* set = nullptr;
    ASSERT_EQ(openGatewayConnection(gateway.port(), &token, &version), 0);
    ASSERT_EQ(getStatIds(token, &set), 0);
    setFile(file_);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_EQ(closeGatewayConnection(&token), 0);
    EXPECT_THAT(file_.text(),
                AllOf(HasSubstr("Gateway Token List entry -0001- : "),
                      HasSubstr(" port(" + std::to_string(gateway.port()) + ")"), HasSubstr(" owner(API) "),
                      HasSubstr(" : ZOLIDSET"), HasSubstr("entries=1\n")));
}

TEST_F(TraceControl, KeepsTheTimeOfTheLineBeforeInTheEntryOfADump) {
    setFile(file_);
    setLevel(3);
    const std::vector<TraceLine> before = [this] {
        getAPITraceLevel(nullptr);
        dumpState();
        return file_.lines();
    }();
    const auto entry =
        std::find_if(before.begin(), before.end(), [](const TraceLine& each) { return each.point == 1106; });
    ASSERT_NE(entry, before.end());
    EXPECT_EQ(entry->prefix, std::prev(entry)->prefix);
}

}  // namespace

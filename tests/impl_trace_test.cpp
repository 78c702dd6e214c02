// What the public calls trace that need no Gateway: trace control, versions, text copies, the walk, and
// result sets. What is traced on a connection is tested in impl_query_trace_test.cpp. Levels and line format
// are written down in docs/tracing.md.
#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <set>
#include <string>

#include "stapi_zol_impl.h"
#include "support/api_trace.h"
#include "support/hand_made_set.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// ---- Versions and trace level

TEST(ApiTrace, OfGetAPITraceLevel) {
    int level = 0;
    EXPECT_THAT(
        traced([&] { getAPITraceLevel(&level); }),
        ElementsAre(line(1091, "ENTRY", "API.getAPITraceLevel(traceStatePtr=%p)", address(&level)),
                    line(1093, "EXIT", "API.getAPITraceLevel(traceStatePtr=%p) rc=%d", address(&level), 0)));
    EXPECT_EQ(level, 4);
}

TEST(ApiTrace, OfGetAPITraceLevelWithoutAPlaceForIt) {
    EXPECT_THAT(traced([] { getAPITraceLevel(nullptr); }),
                ElementsAre(line(1091, "ENTRY", "API.getAPITraceLevel(traceStatePtr=%p)", address(nullptr)),
                            line(1092, "*EXC*", "API.getAPITraceLevel() Supplied pointer is NULL"),
                            line(1093, "EXIT", "API.getAPITraceLevel(traceStatePtr=%p) rc=%d",
                                 address(nullptr), -109)));
}

TEST(ApiTrace, OfGetStatsAPIVersion) {
    char* version = nullptr;
    EXPECT_THAT(traced([&] { getStatsAPIVersion(&version); }),
                ElementsAre(line(1088, "ENTRY", "API.getStatsAPIVersion(&apiVersPtr=%p)", address(&version)),
                            line(1090, "EXIT", "API.getStatsAPIVersion(apiVersPtr=%p), rc=%d",
                                 address(&version), 0)));
}

TEST(ApiTrace, OfGetStatsAPIVersionWithoutAPlaceForIt) {
    EXPECT_THAT(traced([] { getStatsAPIVersion(nullptr); }),
                ElementsAre(line(1088, "ENTRY", "API.getStatsAPIVersion(&apiVersPtr=%p)", address(nullptr)),
                            line(1089, "*EXC*", "API.getStatsAPIVersion() Supplied pointer is NULL"),
                            line(1090, "EXIT", "API.getStatsAPIVersion(apiVersPtr=%p), rc=%d",
                                 address(nullptr), -109)));
}

TEST(ApiTrace, OfSetAPITraceLevelGoesByTheLevelInForceAtEachLine) {
    EXPECT_THAT(
        traced([] { setAPITraceLevel(3); }),
        ElementsAre(
            line(1094, "ENTRY", "API.setAPITraceLevel(traceState=%d) current trace level=%d", 3, 4),
            line(1096, "EXIT", "API.setAPITraceLevel(traceState=%d) new trace level=%d rc=%d", 3, 3, 0)));
    EXPECT_THAT(
        traced([] { setAPITraceLevel(2); }),
        ElementsAre(line(1094, "ENTRY", "API.setAPITraceLevel(traceState=%d) current trace level=%d", 2, 4)));
    EXPECT_THAT(traced([] { setAPITraceLevel(5); }, EVENTS),
                ElementsAre(line(1096, "EXIT", "API.setAPITraceLevel(traceState=%d) new trace level=%d rc=%d",
                                 5, 5, 0)));
}

TEST(ApiTrace, OfSetAPITraceLevelTellsOfALevelThatThereIsNot) {
    for (const int level : {-1, 6}) {
        EXPECT_THAT(
            traced([level] { setAPITraceLevel(level); }),
            ElementsAre(
                line(1094, "ENTRY", "API.setAPITraceLevel(traceState=%d) current trace level=%d", level, 4),
                line(1095, "*EXC*", "API.setAPITraceLevel() Supplied trace state value %d was invalid",
                     level),
                line(1096, "EXIT", "API.setAPITraceLevel(traceState=%d) new trace level=%d rc=%d", level, 4,
                     -104)));
    }
}

// ---- Trace destination. The capture's own stream is no file of the library: it must not be switched away
// from.

TEST(ApiTrace, OfSetAPITraceFileWithAFileThatCannotBeOpened) {
    const char* name = "/no such directory/trace";
    const std::string current = statAPITraceFilename != nullptr ? statAPITraceFilename : "stderr";
    const auto lines = traced([name] { setAPITraceFile(name); });
    EXPECT_THAT(
        lines, ElementsAre(
                   line(1097, "ENTRY", "API.setAPITraceFile(traceFile=%p) current trace destination=%s",
                        address(name), current.c_str()),
                   line(1100, "*EXC*",
                        "API.setAPITraceFile(%s) file append failed with errno=%d. Trace file destination is "
                        "unchanged. Filename=%s",
                        name, ENOENT, current.c_str()),
                   line(1101, "EXIT", "API.setAPITraceFile(traceFile=%p) new trace destination=%s rc=%d",
                        address(name), current.c_str(), -130)));
}

// ---- State dump

// Its entry needs a line before it, whose time it carries.
TEST(ApiTrace, OfDumpState) {
    traced([] { freeResultSet(nullptr); });
    const auto lines = traced([] { dumpState(); });
    EXPECT_THAT(lines,
                ElementsAre(line(1106, "ENTRY", "API.dumpState()"), line(1107, "EXIT", "API.dumpState()")));
}

TEST(ApiTrace, OfDumpStateBeginsWithTheTimeOfTheLineBefore) {
    const TraceCapture trace(ALL);
    const std::string earlier = "01/02/03 04:05:06:789";
    std::snprintf(timeStamp, sizeof timeStamp, "%s", earlier.c_str());
    dumpState();
    EXPECT_EQ(trace.lines(1106).at(0).prefix.substr(0, earlier.size()), earlier);
    EXPECT_NE(trace.lines(1107).at(0).prefix.substr(0, earlier.size()), earlier);
}

// ---- Copies of texts

TEST(ApiTrace, OfDup2ASCIIString) {
    char* copy = nullptr;
    const char* text = "GROUP";
    const auto lines = traced([&] { dup2ASCIIString(text, &copy); });
    EXPECT_THAT(
        lines, ElementsAre(
                   line(1108, "ENTRY", "stapi_zol_impl.dup2ASCIIString(dataPtr=%p, &outputPtr=%p) ",
                        address(text), address(&copy)),
                   line(1109, "DEBUG", "stapi_zol_impl.dup2ASCIIString() called malloc for %d bytes. rc=%p",
                        6, copy),
                   line(1112, "DEBUG",
                        "stapi_zol_impl.dup2ASCIIString() using memcpy() on writePtr(%p) bytes(%d)", copy, 6),
                   line(1115, "EXIT", "stapi_zol_impl.dup2ASCIIString() readByteCount=%d rc=%d", 6, 0)));
    std::free(copy);
}

TEST(ApiTrace, OfDup2ASCIIStringWithATextThatIsTooLong) {
    char* copy = nullptr;
    const std::string text(32766, 'x');
    EXPECT_THAT(
        traced([&] { dup2ASCIIString(text.c_str(), &copy); }),
        ElementsAre(
            line(1108, "ENTRY", "stapi_zol_impl.dup2ASCIIString(dataPtr=%p, &outputPtr=%p) ",
                 address(text.c_str()), address(&copy)),
            line(1114, "*EXC*",
                 "stapi_zol_impl.dup2ASCIIString() supplied input data pointer was NULL or overlength"),
            line(1115, "EXIT", "stapi_zol_impl.dup2ASCIIString() readByteCount=%d rc=%d", 32767, -2)));
}

TEST(ApiTrace, OfDup2ASCIIStringWithoutATextOrAPlaceForIt) {
    char* copy = nullptr;
    const TraceLine invalid = line(
        1114, "*EXC*", "stapi_zol_impl.dup2ASCIIString() supplied input data pointer was NULL or overlength");
    EXPECT_THAT(
        traced([&] { dup2ASCIIString(nullptr, &copy); }),
        ElementsAre(testing::Field(&TraceLine::point, 1108), invalid,
                    line(1115, "EXIT", "stapi_zol_impl.dup2ASCIIString() readByteCount=%d rc=%d", 0, -2)));
    EXPECT_THAT(traced([&] { dup2ASCIIString("text", nullptr); }), Contains(invalid));
}

// ---- Result sets as a whole

class SetTrace : public testing::Test {
  protected:
    ResultSetToken* token() { return set_.token(); }
    void* tokenAddress() { return set_.token(); }
    ResultSetToken* copy() {
        ResultSetToken* made = nullptr;
        EXPECT_EQ(copyResultSet(token(), &made), 0);
        return made;
    }
    void loseBuffer() { set_->head = nullptr; }
    void spoilContent() { *set_.at(0) = 'z'; }

    HandMadeSet set_{idsSet({answered("Q", 0, {idItem("A"), idItem("BB"), idItem("C")})})};
};

TEST_F(SetTrace, OfACopy) {
    ResultSetToken* made = nullptr;
    const auto lines = traced([&] { copyResultSet(token(), &made); });
    EXPECT_THAT(
        lines, ElementsAre(line(1072, "ENTRY", "API.copyResultSet(srcRsPtr=%p,&tarRsPtr=%p)", tokenAddress(),
                                address(&made)),
                           line(1075, "EVENT",
                                "API.copyResultSet(srcRs=%p,&tarRsPtr=%p) Created result set token(%p)",
                                tokenAddress(), address(&made), address(made)),
                           line(1076, "DEBUG", "API.copyResultSet Called malloc for %d bytes. rc=%p",
                                set_->resultSetBufferLen, address(made->head)),
                           line(1135, "EVENT", "API.copyResultSet Copied resultsetbuffer from %p to %p",
                                address(set_->head), address(made->head)),
                           line(1079, "EXIT", "API.copyResultSet(srcRs=%p,tarRsPtr=%p) rc=%d", tokenAddress(),
                                address(&made), 0)));
    freeResultSet(&made);
}

TEST_F(SetTrace, OfACopyWithoutABufferToCopy) {
    ResultSetToken* made = nullptr;
    loseBuffer();
    EXPECT_THAT(
        traced([&] { copyResultSet(token(), &made); }),
        ElementsAre(line(1072, "ENTRY", "API.copyResultSet(srcRsPtr=%p,&tarRsPtr=%p)", tokenAddress(),
                         address(&made)),
                    line(1073, "*EXC*", "API.copyResultSet(srcRs=%p) resultSetBuf is NULL - no data to copy",
                         tokenAddress()),
                    line(1079, "EXIT", "API.copyResultSet(srcRs=%p,tarRsPtr=%p) rc=%d", tokenAddress(),
                         address(&made), -110)));
}

TEST_F(SetTrace, OfACopyOfUnknownContent) {
    ResultSetToken* made = nullptr;
    spoilContent();
    EXPECT_THAT(
        traced([&] { copyResultSet(token(), &made); }, EXCEPTIONS),
        ElementsAre(line(1074, "*EXC*", "API.copyResultSet Resultset does not contain recognised content")));
}

TEST_F(SetTrace, OfACopyHasNoExceptionForNullPointers) {
    ResultSetToken* made = nullptr;
    EXPECT_THAT(traced([&] { copyResultSet(nullptr, &made); }, EVENTS), IsEmpty());
    EXPECT_THAT(traced([&] { copyResultSet(token(), nullptr); }, EVENTS), IsEmpty());
}

TEST_F(SetTrace, OfFreeingACopy) {
    ResultSetToken* made = copy();
    void* const token = made;
    void* const buffer = made->head;
    EXPECT_THAT(
        traced([&] { freeResultSet(&made); }),
        ElementsAre(line(1080, "ENTRY", "API.freeResultSet(&rsPtr=%p)", address(&made)),
                    line(1085, "DEBUG", "API.freeResultSet() free result set buffer storage (%p)", buffer),
                    line(1136, "EVENT", "API.freeResultSetFreed result set %p", token),
                    line(1087, "EXIT", "API.freeResultSet(&rsPtr=%p) rc=%d", address(&made), 0)));
}

TEST_F(SetTrace, OfFreeingWithoutAnAddress) {
    EXPECT_THAT(
        traced([] { freeResultSet(nullptr); }),
        ElementsAre(line(1080, "ENTRY", "API.freeResultSet(&rsPtr=%p)", address(nullptr)),
                    line(1081, "*EXC*", "API.freeResultSet(&rsPtr=%p) Supplied result set pointer is NULL",
                         address(nullptr)),
                    line(1087, "EXIT", "API.freeResultSet(&rsPtr=%p) rc=%d", address(nullptr), -125)));
}

TEST_F(SetTrace, OfFreeingANullSet) {
    ResultSetToken* none = nullptr;
    EXPECT_THAT(
        traced([&] { freeResultSet(&none); }, EXCEPTIONS),
        ElementsAre(line(1082, "*EXC*", "API.freeResultSet(&rsPtr=%p) Supplied result set token is NULL",
                         address(&none))));
}

TEST_F(SetTrace, OfFreeingAConnectionsSet) {
    set_.belongToAConnection();
    ResultSetToken* theirs = token();
    EXPECT_THAT(
        traced([&] { freeResultSet(&theirs); }, EXCEPTIONS),
        ElementsAre(line(1083, "*EXC*", "API.freeResultSet(rsPtr=%p) Cannot free result sets with owner=%d",
                         tokenAddress(), 34952)));
}

TEST_F(SetTrace, OfFreeingACopyWithoutABuffer) {
    ResultSetToken* made = copy();
    void* const token = made;
    std::free(made->head);
    made->head = nullptr;
    const auto lines = traced([&] { freeResultSet(&made); });
    EXPECT_THAT(lines, Contains(line(1086, "*EXC*",
                                     "API.freeResultSet(rsPtr=%p) Result set buffer pointer was already null",
                                     token)));
    EXPECT_THAT(lines, Contains(line(1136, "EVENT", "API.freeResultSetFreed result set %p", token)));
    EXPECT_THAT(lines, Not(Contains(testing::Field(&TraceLine::point, 1085))));
}

TEST_F(SetTrace, OfADump) {
    EXPECT_THAT(traced([&] { dumpResultSet(token()); }),
                ElementsAre(line(1102, "ENTRY", "API.dumpResultSet(rsPtr=%p)", tokenAddress()),
                            line(1105, "EXIT", "API.dumpResultSet(rsPtr=%p) rc=%d", tokenAddress(), 0)));
}

TEST_F(SetTrace, OfADumpWithoutABuffer) {
    loseBuffer();
    EXPECT_THAT(
        traced([&] { dumpResultSet(token()); }, EXCEPTIONS),
        ElementsAre(line(1103, "*EXC*", "API.dumpResultSet(rsPtr=%p) resultSetBuf is NULL - no data to dump",
                         tokenAddress())));
}

TEST_F(SetTrace, OfADumpOfUnknownContent) {
    spoilContent();
    EXPECT_THAT(
        traced([&] { dumpResultSet(token()); }, EXCEPTIONS),
        ElementsAre(line(1104, "*EXC*", "API.dumpResultSet Resultset does not contain recognised content")));
}

TEST_F(SetTrace, OfAnIdQuery) {
    char* text = nullptr;
    const auto lines = traced([&] { getIdQuery(token(), &text); });
    EXPECT_EQ(lines.front(), line(1040, "ENTRY", "API.getIdQuery(rsPtr=%p,idQueryStringPtr=%p)",
                                  tokenAddress(), address(&text)));
    EXPECT_EQ(
        lines.at(lines.size() - 2),
        line(1141, "EVENT", "API.getIdQuery Created query string %s from results in result set token %p",
             "A:BB:C", tokenAddress()));
    EXPECT_EQ(lines.back(),
              line(1042, "EXIT", "API.getIdQuery(rsPtr=%p) goodIdCount=%d rc=%d", tokenAddress(), 3, 0));
}

TEST_F(SetTrace, OfAnIdQueryOfUnknownContent) {
    char* text = nullptr;
    spoilContent();
    EXPECT_THAT(
        traced([&] { getIdQuery(token(), &text); }),
        ElementsAre(
            line(1040, "ENTRY", "API.getIdQuery(rsPtr=%p,idQueryStringPtr=%p)", tokenAddress(),
                 address(&text)),
            line(1041, "*EXC*", "API.getIdQuery Resultset does not contain recognised content"),
            line(1042, "EXIT", "API.getIdQuery(rsPtr=%p) goodIdCount=%d rc=%d", tokenAddress(), 0, -119)));
}

TEST_F(SetTrace, OfAnIdQueryWithoutABufferHasNoExceptionOfItsOwn) {
    char* text = nullptr;
    loseBuffer();
    EXPECT_THAT(traced([&] { getIdQuery(token(), &text); }, EVENTS), IsEmpty());
}

TEST_F(SetTrace, OfAnIdQueryGoesThroughTheWorkersWithoutThePublicCalls) {
    char* text = nullptr;
    EXPECT_THAT(traced([&] { getIdQuery(token(), &text); }, CALLS),
                Not(Contains(testing::Field(&TraceLine::point, testing::Ge(1150)))));
}

// ---- Levels

TEST_F(SetTrace, AppearsFromItsLevelOn) {
    const auto run = [this](int level) {
        return traced(
            [this] {
                char* text = nullptr;
                getIdQuery(token(), &text);
                freeResultSet(nullptr);
            },
            level);
    };
    const auto levelWords = [&run](int level) {
        std::set<std::string> words;
        for (const TraceLine& each : run(level)) {
            words.insert(each.level);
        }
        return words;
    };
    EXPECT_THAT(levelWords(0), IsEmpty());
    EXPECT_THAT(levelWords(EXCEPTIONS), ElementsAre("*EXC*"));
    EXPECT_THAT(levelWords(EVENTS), ElementsAre("*EXC*", "EVENT"));
    EXPECT_THAT(levelWords(CALLS), ElementsAre("*EXC*", "ENTRY", "EVENT", "EXIT"));
    EXPECT_THAT(levelWords(ALL), ElementsAre("*EXC*", "DEBUG", "ENTRY", "EVENT", "EXIT"));
    EXPECT_EQ(run(5), run(ALL));
}

}  // namespace

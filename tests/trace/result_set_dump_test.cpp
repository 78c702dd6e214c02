// Tests of the dump of a result set: its frame, where it ends, and that it reads nothing outside the buffer.
// Not here: how a storage dump looks in general (storage_dump_test.cpp).
// The layout of a buffer is written down in source/stapi_zol_resultsetbuffer.h.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "stapi_zol_resultsetbuffer.h"
#include "support/bytes.h"
#include "support/trace_capture.h"
#include "support/watched_trace.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::Bytes;
using testing_support::digits;
using testing_support::integer;
using testing_support::isHeld;
using testing_support::line;
using testing_support::printed;
using testing_support::TERMINATOR;
using testing_support::TraceCapture;
using testing_support::WatchedTrace;

namespace {

class ResultSetDump : public testing::Test {
  protected:
    struct Free {
        void operator()(unsigned char* memory) const { std::free(memory); }
    };

    // A set in a buffer that has no byte more than the library gives one.
    void fill(const Bytes& content, int unused = 0) {
        const int capacity = static_cast<int>(content.size()) + unused;
        buffer.reset(zolstats::allocateResultSetBuffer(capacity));
        std::copy(content.begin(), content.end(), buffer.get());
        set.owner = 0x8888;
        set.head = buffer.get();
        set.next = buffer.get() + 5;
        set.resultSetBufferLen = capacity;
    }
    [[nodiscard]] std::string title() const {
        return printed("Dump of ResultSet(%p) owner(8888) head(%p) next(%p)\n", &set, set.head, set.next) +
               RULE;
    }
    [[nodiscard]] std::string at(std::size_t offset) const {
        return printed("0x%8.8X: ",
                       static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(buffer.get() + offset)));
    }
    // The dump of the set as it is written at level 0.
    std::string dumped() {
        const TraceCapture capture(0);
        EXPECT_EQ(dumpResultSetInternal(&set), 0);
        return capture.text();
    }
    [[nodiscard]] int bytesShown() {
        const TraceCapture capture(3);
        dumpResultSetInternal(&set);
        const std::string exit = capture.lines().back().message;
        return std::stoi(exit.substr(exit.find("dumped=") + 7));
    }

    static inline const std::string RULE = std::string(80, '-') + "\n";
    const Bytes emptySet = "ZOLSTSET" + integer(0) + TERMINATOR;

    std::unique_ptr<unsigned char, Free> buffer;
    ResultSetToken set{};
};

TEST_F(ResultSetDump, ShowsTheHeaderOfAnEmptySetAndStopsThere) {
    fill(emptySet);
    EXPECT_EQ(dumped(), title() + at(0) + "5A4F4C53 54534554 00000000          : ZOLSTSET....\n" + RULE);
    EXPECT_EQ(bytesShown(), 12);
}

TEST_F(ResultSetDump, ShowsAllLinesOfALongerSet) {
    fill("ZOLIDSET" + integer(1) + testing_support::counted("all") + integer(0) + integer(0) + TERMINATOR,
         100);
    EXPECT_EQ(dumped(), title() + at(0) + "5A4F4C49 44534554 " + digits(integer(1)) + " " +
                            digits(integer(3)) + " : ZOLIDSET........ \n" +  //
                            at(16) + "616C6C00 00000000 000000            : all........\n" + RULE);
    EXPECT_EQ(bytesShown(), 27);
}

TEST_F(ResultSetDump, ReadsNoFurtherThanTheSlackWhenTheTerminatorStartsALine) {
    fill("ZOLSTSET" + integer(0) + "four" + TERMINATOR);
    EXPECT_EQ(dumped(), title() + at(0) + "5A4F4C53 54534554 00000000 666F7572 : ZOLSTSET....four \n" +  //
                            at(16) + digits(TERMINATOR) + " 00000000 00000000 00000000 : \n" + RULE);
    EXPECT_EQ(bytesShown(), 16);
}

TEST_F(ResultSetDump, WithoutATerminatorEndsAtTheCapacity) {
    fill("ZOLSTSET" + integer(9));
    EXPECT_EQ(dumped(), title() + at(0) + "5A4F4C53 54534554 " + digits(integer(9)) +
                            "          : ZOLSTSET....\n" + RULE);
    EXPECT_EQ(bytesShown(), 12);
}

TEST_F(ResultSetDump, OfATokenWithoutABufferIsEmpty) {
    set.owner = 0x9999;
    EXPECT_EQ(dumped(),
              printed("Dump of ResultSet(%p) owner(9999) head((nil)) next((nil))\n", &set) + RULE + RULE);
    EXPECT_EQ(bytesShown(), 0);
}

TEST_F(ResultSetDump, IsTracedWithTheBytesShown) {
    fill(emptySet);
    const TraceCapture trace(4);
    dumpResultSetInternal(&set);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(2139, "ENTRY", "stapi_zol_resultsetbuffer.dumpResultSetInternal(rsPtr=%p)", &set),
                    line(2140, "EXIT",
                         "stapi_zol_resultsetbuffer.dumpResultSetInternal(rsPtr=%p) bytes dumped=%d rc=%d",
                         &set, 12, 0)));
    EXPECT_THAT(trace.lines().front().below, testing::SizeIs(4));
}

TEST_F(ResultSetDump, OfANullTokenGivesMinus103AndShowsNothing) {
    const TraceCapture trace(4);
    EXPECT_EQ(dumpResultSetInternal(nullptr), -103);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2139, "ENTRY", "stapi_zol_resultsetbuffer.dumpResultSetInternal(rsPtr=(nil))"),
            line(2140, "EXIT",
                 "stapi_zol_resultsetbuffer.dumpResultSetInternal(rsPtr=(nil)) bytes dumped=0 rc=-103")));
    EXPECT_THAT(trace.lines().front().below, IsEmpty());
}

TEST_F(ResultSetDump, IsWrittenOutUnderOneTraceLock) {
    fill(emptySet);
    const WatchedTrace watched(0);
    dumpResultSetInternal(&set);
    EXPECT_THAT(watched.text(),
                testing::AllOf(testing::StartsWith("Dump of ResultSet("), testing::EndsWith(RULE)));
    EXPECT_THAT(watched.writes(), Each(testing::Field(&WatchedTrace::Write::underLock, true)));
    EXPECT_FALSE(isHeld(traceLock));
}

TEST_F(ResultSetDump, ABufferIsZeroedWithSixteenBytesMoreThanItsCapacity) {
    for (const int capacity : {0, 1, 32768}) {
        const auto size = static_cast<std::size_t>(capacity) + 16;
        buffer.reset(zolstats::allocateResultSetBuffer(capacity));
        EXPECT_EQ(Bytes(buffer.get(), buffer.get() + size), Bytes(size, '\0'));
    }
}

}  // namespace

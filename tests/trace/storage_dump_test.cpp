// Tests of the storage dump: its lines and their halves, where it ends, and what it does without a stop word.
// Not here: the lines that have a dump below them (diag_test.cpp), dumps of result sets
// (result_set_dump_test.cpp). How a dump looks is written down in docs/tracing.md.
#include <gmock/gmock.h>

#include <cstdint>
#include <string>

#include "stapi_zol_diag.h"
#include "support/bytes.h"
#include "support/trace_capture.h"
#include "support/watched_trace.h"

using testing::EndsWith;
using testing::IsEmpty;
using testing_support::Bytes;
using testing_support::digits;
using testing_support::integer;
using testing_support::printed;
using testing_support::TERMINATOR;
using testing_support::TraceCapture;
using testing_support::WatchedTrace;

namespace {

constexpr std::uint32_t STOP_WORD = 0x0E0F0E0F;

class StorageDump : public testing::Test {
  protected:
    static constexpr int PER_LINE = 16;

    // The address column of the line that starts at an offset of the area.
    static std::string at(const Bytes& area, std::size_t offset) {
        return printed("0x%8.8X: ",
                       static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(area.data() + offset)));
    }
    int dumpLength(const Bytes& area, int length, int lineLength = PER_LINE) {
        return traceOutStorage(area.data(), length, 0, lineLength, 1);
    }
    int dumpToStopWord(const Bytes& area, std::uint32_t stopWord = STOP_WORD) {
        return traceOutStorage(area.data(), 0, stopWord, PER_LINE, 0);
    }
    [[nodiscard]] std::string dumped() const { return trace_.text(); }

  private:
    TraceCapture trace_{0};
};

TEST_F(StorageDump, AFullLineHasFourGroupsAndABlankAtItsEnd) {
    const Bytes area = "0123456789ABCDEF";
    EXPECT_EQ(dumpLength(area, 16), 16);
    EXPECT_EQ(dumped(), at(area, 0) + "30313233 34353637 38394142 43444546 : 0123456789ABCDEF \n");
}

TEST_F(StorageDump, TwentyBytesGiveASecondLinePaddedToFullWidth) {
    const Bytes area = "0123456789ABCDEFGHIP";
    EXPECT_EQ(dumpLength(area, 20), 20);
    EXPECT_EQ(dumped(), at(area, 0) + "30313233 34353637 38394142 43444546 : 0123456789ABCDEF \n" +  //
                            at(area, 16) + "47484950                            : GHIP\n");
}

TEST_F(StorageDump, TheColumnsAlignForEveryLength) {
    const Bytes area(PER_LINE, 'z');
    for (int length = 1; length <= PER_LINE; ++length) {
        const TraceCapture capture(0);
        EXPECT_EQ(dumpLength(area, length), length);
        EXPECT_EQ(capture.text().find(" : "), 12U + 35U) << "length " << length;
    }
}

TEST_F(StorageDump, ALengthOfOneLineAndOneByteTakesTwoLines) {
    const Bytes area = "0123456789ABCDEFG";
    EXPECT_EQ(dumpLength(area, 17), 17);
    EXPECT_THAT(dumped(), EndsWith(" \n" + at(area, 16) + "47                                  : G\n"));
}

TEST_F(StorageDump, AShorterLineHasItsGroupsToo) {
    const Bytes area = "01234567ab";
    EXPECT_EQ(dumpLength(area, 10, 8), 10);
    EXPECT_EQ(dumped(), at(area, 0) + "30313233 34353637 : 01234567\n" +  //
                            at(area, 8) + "6162              : ab\n");
}

TEST_F(StorageDump, ALongerLineHasAWiderGapBehindEverySixteenBytes) {
    const Bytes area = "0123456789ABCDEFghijklmnopqrstuv";
    EXPECT_EQ(dumpLength(area, 32, 32), 32);
    EXPECT_EQ(dumped(), at(area, 0) +
                            "30313233 34353637 38394142 43444546  6768696A 6B6C6D6E 6F707172 73747576 : " +
                            "0123456789ABCDEF ghijklmnopqrstuv \n");
}

TEST_F(StorageDump, AStopWordEndsItBeforeTheWord) {
    const Bytes area = "hello" + TERMINATOR + "unseen and unread";
    EXPECT_EQ(dumpToStopWord(area), 5);
    EXPECT_EQ(dumped(), at(area, 0) + "68656C6C 6F                         : hello\n");
}

TEST_F(StorageDump, AStopWordMayStraddleTwoLines) {
    const Bytes area = "0123456789ABCD" + TERMINATOR + "unseen and unread";
    EXPECT_EQ(dumpToStopWord(area), 14);
    EXPECT_EQ(dumped(), at(area, 0) + "30313233 34353637 38394142 4344     : 0123456789ABCD\n");
}

TEST_F(StorageDump, AStopWordAtTheStartShowsTheWholeLineInHexadecimalAndCountsZero) {
    const Bytes area = TERMINATOR + "unseen and unread";
    EXPECT_EQ(dumpToStopWord(area), 0);
    EXPECT_EQ(dumped(), at(area, 0) + digits(TERMINATOR) + " 756E7365 656E2061 6E642075 : \n");
}

TEST_F(StorageDump, AStopWordBehindAFullLineShowsOneMoreLineInHexadecimal) {
    const Bytes area = "0123456789ABCDEF" + TERMINATOR + "unseen and unread";
    EXPECT_EQ(dumpToStopWord(area), 16);
    EXPECT_EQ(dumped(), at(area, 0) + "30313233 34353637 38394142 43444546 : 0123456789ABCDEF \n" +  //
                            at(area, 16) + digits(TERMINATOR) + " 756E7365 656E2061 6E642075 : \n");
}

TEST_F(StorageDump, TheStopWordIsTheCallersAndInHostOrder) {
    const Bytes area = TERMINATOR + integer(0x01020304) + "unseen and unread";
    EXPECT_EQ(dumpToStopWord(area, 0x01020304), 4);
    EXPECT_EQ(dumped(), at(area, 0) + digits(TERMINATOR) + "                            : ....\n");
}

TEST_F(StorageDump, AnIncompleteStopWordDoesNotEndIt) {
    const Bytes area = "ab" + TERMINATOR.substr(0, 3) + "c" + TERMINATOR + "unseen and unread";
    EXPECT_EQ(dumpToStopWord(area), 6);
}

TEST_F(StorageDump, AStopWordMeansNothingWhereALengthIsGiven) {
    const Bytes area = "abcd" + TERMINATOR;
    EXPECT_EQ(traceOutStorage(area.data(), 8, STOP_WORD, PER_LINE, 1), 8);
    EXPECT_EQ(dumped(), at(area, 0) + "61626364 " + digits(TERMINATOR) + "                   : abcd....\n");
}

TEST_F(StorageDump, TheFlagHasNoEffect) {
    const Bytes area = "ab" + TERMINATOR + "0123456789";
    traceOutStorage(area.data(), 0, STOP_WORD, PER_LINE, 0);
    const std::string without = dumped();
    traceOutStorage(area.data(), 0, STOP_WORD, PER_LINE, 1);
    EXPECT_EQ(dumped(), without + without);
}

TEST_F(StorageDump, WithNeitherLengthNorStopWordThereIsNothingToShow) {
    EXPECT_EQ(traceOutStorage("0123456789ABCDEF", 0, 0, PER_LINE, 0), 0);
    EXPECT_THAT(dumped(), IsEmpty());
}

TEST_F(StorageDump, OnlyPrintableAsciiShowsAsItself) {
    for (unsigned byte = 0; byte <= 0xFF; ++byte) {
        const Bytes area(1, static_cast<char>(byte));
        const bool printable = byte >= 0x20 && byte <= 0x7E;
        const TraceCapture capture(0);
        dumpLength(area, 1);
        EXPECT_EQ(capture.text(), at(area, 0) + printed("%2.2X", byte) + std::string(33, ' ') + " : " +
                                      (printable ? area : ".") + "\n");
    }
}

TEST_F(StorageDump, TheHalvesReportWhatTheyShow) {
    const Bytes area = "abcd" + TERMINATOR + "unseen and unread";
    EXPECT_EQ(writeStorageLineHex(area.data(), PER_LINE, 0, STOP_WORD), 4);
    EXPECT_EQ(writeStorageLineChar(area.data(), PER_LINE, 0, STOP_WORD, 0), 4);
    EXPECT_EQ(writeStorageLineHex(area.data(), PER_LINE, 3, 0), 3);
    EXPECT_EQ(writeStorageLineChar(area.data(), PER_LINE, 3, 0, 1), 3);
    EXPECT_EQ(dumped(), "61626364                           abcd616263                             abc");
}

TEST_F(StorageDump, AWholeLineReportsWhatItShows) {
    const Bytes area = "abcdefghijklmnopqrst";
    EXPECT_EQ(writeStorageLineDual(area.data(), PER_LINE, 20, 0, 1), 16);
    EXPECT_EQ(writeStorageLineDual(area.data(), PER_LINE, 5, 0, 1), 5);
    EXPECT_THAT(dumped(), EndsWith(at(area, 0) + "61626364 65                         : abcde\n"));
}

TEST_F(StorageDump, EveryByteIsWrittenOutAtOnce) {
    const Bytes area = "abc";
    const WatchedTrace watched(0);
    dumpLength(area, 3);
    ASSERT_THAT(watched.writes(), testing::SizeIs(testing::Ge(4U)));
    EXPECT_EQ(watched.writes().at(0).bytes, at(area, 0) + "61");
    EXPECT_EQ(watched.writes().at(1).bytes, "62");
    EXPECT_EQ(watched.writes().at(2).bytes, "63");
    EXPECT_THAT(watched.text(), EndsWith(" : abc\n"));
}

// ---- Areas that may lack their stop word

class DumpedArea : public StorageDump {
  protected:
    static int dump(const Bytes& area, int capacity) {
        return zolstats::dumpStorageArea({area.data(), 0, STOP_WORD, capacity});
    }
};

TEST_F(DumpedArea, IsNotDumpedWhenItIsNull) {
    EXPECT_EQ(zolstats::dumpStorageArea({nullptr, 0, STOP_WORD, 100}), 0);
    EXPECT_EQ(zolstats::dumpStorageArea({nullptr, 100, 0, 0}), 0);
    EXPECT_THAT(dumped(), IsEmpty());
}

TEST_F(DumpedArea, EndsAtItsStopWord) {
    EXPECT_EQ(dump("abcdefgh" + TERMINATOR, 12), 8);
}

TEST_F(DumpedArea, WithoutItsStopWordIsShownUpToItsCapacity) {
    const Bytes area = "abcdefghijklmnopqrst";
    EXPECT_EQ(dump(area, 20), 20);
    EXPECT_EQ(dumped(), at(area, 0) + "61626364 65666768 696A6B6C 6D6E6F70 : abcdefghijklmnop \n" +  //
                            at(area, 16) + "71727374                            : qrst\n");
}

TEST_F(DumpedArea, WhoseStopWordReachesPastItsCapacityIsShownUpToThat) {
    EXPECT_EQ(dump("abcdefgh" + TERMINATOR, 11), 11);
}

TEST_F(DumpedArea, OfUnstatedCapacityIsTrustedToHaveItsStopWord) {
    EXPECT_EQ(dump("abcdefgh" + TERMINATOR + "unseen", 0), 8);
    EXPECT_EQ(dump("abcdefgh" + TERMINATOR + "unseen", -1), 8);
}

}  // namespace

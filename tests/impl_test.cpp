// The public calls' own helpers: initialisation on first use, and the copies of texts.
// The walk, the result sets and the queries have test files of their own.
// What each call promises stands in zolstats.h.
#include "stapi_zol_impl.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "stapi_zol_diag.h"
#include "stapi_zol_gwytok.h"
#include "support/trace_capture.h"

namespace {

using namespace testing_support;
using testing::ExitedWithCode;
using testing::MatchesRegex;
using testing::Values;

// ---- First use. Each of these needs a process in which the library was not used before.

class FirstUse : public testing::Test {
  protected:
    FirstUse() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

// Ends a process of a test: with 0 if everything held, else with the number of the first claim that did not.
[[noreturn]] void endProcess(std::initializer_list<bool> claims) {
    int number = 0;
    for (const bool claim : claims) {
        ++number;
        if (!claim) {
            std::_Exit(number);
        }
    }
    std::_Exit(0);
}

TEST_F(FirstUse, FindsNothingReady) {
    EXPECT_EXIT(endProcess({statAPITrace == 0, statAPITraceHandle == nullptr, statAPITraceFilename == nullptr,
                            isLockInitialized(&traceLock) == 0}),
                ExitedWithCode(0), "");
}

TEST_F(FirstUse, DirectsTheTraceToStandardErrorAndLeavesItOff) {
    EXPECT_EXIT(
        {
            const int rc = stapiInit();
            endProcess({rc == 0, statAPITrace == 0, statAPITraceHandle == stderr,
                        statAPITraceFilename == std::string("stderr"),
                        isLockInitialized(&traceLock) == static_cast<int>(0xFFEEDDCCU)});
        },
        ExitedWithCode(0), "");
}

TEST_F(FirstUse, TracesNothing) {
    EXPECT_EXIT(endProcess({stapiInit() == 0, getAPITraceLevel(nullptr) == -109}), ExitedWithCode(0), "^$");
}

TEST_F(FirstUse, MakesTheListOfConnectionsUsable) {
    EXPECT_EXIT(endProcess({stapiInit() == 0, initGTL() == 1}), ExitedWithCode(0), "");
}

TEST_F(FirstUse, IsNotRepeated) {
    EXPECT_EXIT(
        {
            stapiInit();
            const char* name = statAPITraceFilename;
            statAPITrace = 3;
            const int rc = stapiInit();
            endProcess({rc == 0, statAPITrace == 3, statAPITraceFilename == name});
        },
        ExitedWithCode(0), "");
}

// ---- Version

TEST(Version, OfTheModuleNamesProductVersionAndBuildLevel) {
    EXPECT_THAT(version4stapi_zol_impl,
                MatchesRegex("\nQuorvane Version [0-9]+\\.[0-9]+\\.[0-9]+\\.[0-9]+ Build Level "
                             "[^-]+-[0-9][0-9][0-9][0-9][0-9][0-9][0-9][0-9]-[0-9][0-9][0-9][0-9]"));
    EXPECT_STRNE(copyright4stapi_zol_impl, "");
}

// ---- Copies of texts

class TextCopy : public testing::Test {
  protected:
    ~TextCopy() override { std::free(copy_); }
    int copy(const std::string& text) { return dup2ASCIIString(text.c_str(), &copy_); }
    static std::string ofLength(std::size_t length) { return std::string(length, 'x'); }

    char* copy_ = nullptr;
};

TEST_F(TextCopy, IsAnotherTextWithTheSameCharacters) {
    const std::string text = "GROUP:OTHER";
    EXPECT_EQ(copy(text), 0);
    EXPECT_STREQ(copy_, "GROUP:OTHER");
    EXPECT_NE(copy_, text.c_str());
}

TEST_F(TextCopy, OfAnEmptyTextIsEmpty) {
    EXPECT_EQ(copy(""), 0);
    EXPECT_STREQ(copy_, "");
}

TEST_F(TextCopy, ChangesNoByte) {
    EXPECT_EQ(copy("\x01\x7f\xc3\xa4\xff"), 0);
    EXPECT_STREQ(copy_, "\x01\x7f\xc3\xa4\xff");
}

TEST_F(TextCopy, ReplacesAnEarlierOne) {
    EXPECT_EQ(copy("a rather long first text"), 0);
    EXPECT_EQ(copy("second"), 0);  // that the first is not lost is what the leak check sees
    EXPECT_STREQ(copy_, "second");
}

TEST_F(TextCopy, TakesUpTo32765Characters) {
    EXPECT_EQ(copy(ofLength(32765)), 0);
    EXPECT_EQ(std::string(copy_), ofLength(32765));
}

TEST_F(TextCopy, RefusesMoreAndKeepsWhatWasThere) {
    ASSERT_EQ(copy("kept"), 0);
    for (const std::size_t length : {32766U, 32767U, 70000U}) {
        EXPECT_EQ(copy(ofLength(length)), -2) << length;
    }
    EXPECT_STREQ(copy_, "kept");
}

TEST_F(TextCopy, OfANullTextIsRefusedWithoutReadingIt) {
    ASSERT_EQ(copy("kept"), 0);
    EXPECT_EQ(dup2ASCIIString(nullptr, &copy_), -2);
    EXPECT_STREQ(copy_, "kept");
}

TEST_F(TextCopy, NeedsAPlaceToGo) {
    EXPECT_EQ(dup2ASCIIString("text", nullptr), -2);
    EXPECT_EQ(dup2ASCIIString(nullptr, nullptr), -2);
}

}  // namespace

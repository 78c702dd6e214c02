// What a user of zolstat watch sees on a terminal, and what the keys do.
// Not a test of every fold and search (watch_model_test.cpp) or of watching in a pipe (watch_text_test.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <gmock/gmock.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>

#include "steered_gateway.h"
#include "terminal.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

const gateway::Snapshot TWO_GROUPS{
    {"CPU", {{"CPU_USER", "1000"}, {"CPU_IDLE", "98.25"}}},
    {"MEMORY", {{"MEMORY_FREE_KB", "123456"}}},
};

class WatchScreen : public testing::Test {
  protected:
    WatchScreen() {
        setenv("LC_ALL", "C.UTF-8", 1);
        setenv("ZOLSTAT_PORT", std::to_string(gateway_.port()).c_str(), 1);
        setenv("ZOLSTAT", ZOLSTAT, 1);
        setenv("NO_COLOR", "1", 1);
        terminal_.emplace(100, 30);
    }

    void enter(const std::string& line) { terminal_->enter(line); }
    // A command that ends by itself, to its end: what is typed sooner would stand in the middle of what the shell writes.
    void runInShell(const std::string& command) {
        enter(command + "; echo mar'ked'");
        waitFor(std::string("\nmarked\n") + program::Terminal::PROMPT);
    }
    void watch(const std::string& arguments = "") {
        enter("$ZOLSTAT watch " + arguments + "; echo \"ended with $?\"");
    }
    void watchFirstScreen(const std::string& arguments = "") {
        watch(arguments);
        waitFor("connected");
        waitFor("MEMORY_FREE_KB");
    }
    void type(const std::string& text) { terminal_->type(text); }
    void press(const std::string& key) { terminal_->press(key); }
    void waitFor(const std::string& text) { terminal_->waitFor(text); }
    void waitUntilGone(const std::string& text) { terminal_->waitUntilGone(text); }
    void waitForMatch(const std::string& pattern) {
        const std::regex regex(pattern);
        terminal_->waitUntil(pattern,
                             [&](const std::string& screen) { return std::regex_search(screen, regex); });
    }
    std::string screen() const { return terminal_->screen(); }
    program::Terminal& terminal() { return *terminal_; }
    SteeredGateway& gateway() { return gateway_; }

  private:
    SteeredGateway gateway_{TWO_GROUPS};
    std::optional<program::Terminal> terminal_;
};

// ---- What is shown

TEST_F(WatchScreen, ShowsGroupsWithStatisticsAndTheirValues) {
    watchFirstScreen();
    waitFor("q end");  // the last line
    const std::string seen = screen();
    EXPECT_THAT(seen, HasSubstr("zolstat watch, every 1 s"));
    EXPECT_THAT(seen, HasSubstr(gateway().address() + "  connected"));
    EXPECT_THAT(seen, HasSubstr("▾ CPU\n    CPU_USER   "));
    EXPECT_THAT(seen, HasSubstr("1000"));
    EXPECT_THAT(seen, HasSubstr("▾ MEMORY\n    MEMORY_FREE_KB   "));
    EXPECT_THAT(seen, HasSubstr("q end"));
}

TEST_F(WatchScreen, ShowsWhatIsNamedOnly) {
    watch("CPU_IDLE 'MEM*'");
    waitFor("MEMORY_FREE_KB");
    EXPECT_THAT(screen(), HasSubstr("CPU_IDLE"));
    EXPECT_THAT(screen(), Not(HasSubstr("CPU_USER")));
}

TEST_F(WatchScreen, ShowsTheChangeInASecondAndATrend) {
    watchFirstScreen("--interval 0.5");
    waitForMatch("CPU_USER +1000 +0");
    gateway().countUp();
    waitForMatch("CPU_USER +[0-9]+ +\\+[0-9.]+");
    waitForMatch("CPU_USER .*█");
}

TEST_F(WatchScreen, ShowsARestartRatherThanANegativeRate) {
    watchFirstScreen("--interval 2");  // so long the word stands there
    for (const std::string value : {"2000", "3000", "4000"}) {
        gateway().set(value);
        waitForMatch("CPU_USER +" + value);
    }
    gateway().set("10");
    waitForMatch("CPU_USER +10 +restart");
}

TEST_F(WatchScreen, LetsNoControlByteThrough) {
    gateway().set({{"G\x1b[2J", {{"I\nD\x07", "\x1b[31mred\x9b\xff"}}}});
    watch();
    waitFor("\\x1B[31mred\\x9B\\xFF");
    EXPECT_THAT(screen(), HasSubstr("▾ G\\x1B[2J"));
    EXPECT_THAT(screen(), HasSubstr("I\\x0AD\\x07"));
}

TEST_F(WatchScreen, DoesWithPlainCharactersWhereThereAreNoOthers) {
    runInShell("export LC_ALL=C");
    watch();
    waitFor("MEMORY_FREE_KB");
    EXPECT_THAT(screen(), HasSubstr("- CPU\n    CPU_USER"));
    gateway().set("2000");
    waitForMatch("CPU_USER .*#");
}

TEST_F(WatchScreen, TellsALongValueInFullBelowTheList) {
    const std::string value = "a text that is longer than its column";
    gateway().set({{"G", {{"A", value}}}});
    watch();
    waitFor("a text that is long…");
    type("j");
    waitFor("A = " + value);
}

TEST_F(WatchScreen, ShowsSeveralGatewaysAndWhichOneIsDown) {
    SteeredGateway other({{"DISK", {{"READS", "7"}}}});
    watch("--gateway " + gateway().address() + " --gateway " + other.address());
    waitFor("▾ " + gateway().address() + "  connected");
    waitFor("READS");
    waitFor("2 Gateways");
    other.die();
    waitFor("2 Gateways, 1 not answering");
    waitForMatch(other.address() + "  down, (next try in|trying)");
}

TEST_F(WatchScreen, TellsWhatTheGatewayRejectsAndEndsWithItsCode) {
    watch("NO_SUCH CPU");
    waitForMatch("NO_SUCH +rejected \\(-1\\)");
    waitFor("connected; no group or statistic 'NO_SUCH' (Gateway code -1)");
    type("q");
    waitFor("ended with 1");
}

// ---- Keys

TEST_F(WatchScreen, FoldsAndUnfoldsAGroup) {
    watchFirstScreen();
    press("Enter");
    waitFor("▸ CPU  (2)");
    waitUntilGone("CPU_USER");
    press("Enter");
    waitFor("CPU_USER");
}

TEST_F(WatchScreen, FindsWhatIsSearchedForInFoldedGroups) {
    watchFirstScreen();
    type("-");
    waitFor("▸ MEMORY  (1)");
    type("/cpu_");
    waitFor("\n/cpu_");
    press("Enter");
    waitFor("CPU_USER");
    type("n/zzz");
    press("Enter");
    waitFor("no name has 'zzz'");
}

TEST_F(WatchScreen, HoldsStillDuringAPause) {
    watchFirstScreen("--interval 0.2");
    type(" ");
    waitFor("PAUSED");
    gateway().set("2000");
    gateway().waitForRequests(20);  // at two groups a reading
    type("?");                      // whatever was drawn before the help came was drawn in the pause
    waitFor("any key");
    type("x");
    waitForMatch("CPU_USER +1000\\s");
    type(" ");
    waitForMatch("CPU_USER +2000");
    waitUntilGone("PAUSED");
}

TEST_F(WatchScreen, HelpsWithTheKeys) {
    watchFirstScreen();
    type("?");
    waitFor("search for a part of a name");
    waitUntilGone("MEMORY_FREE_KB");
    type("q");
    waitFor("MEMORY_FREE_KB");
}

TEST_F(WatchScreen, SortsAsWanted) {
    watchFirstScreen("--sort id");
    EXPECT_LT(screen().find("CPU_IDLE"), screen().find("CPU_USER"));
    type("s");
    waitFor("sorted by value");
    EXPECT_LT(screen().find("CPU_USER"), screen().find("CPU_IDLE"));
}

TEST_F(WatchScreen, EndsAfterSoManyReadings) {
    watch("--count 2 --interval 0.2");
    waitFor("ended with 0");
}

// ---- The terminal

TEST_F(WatchScreen, FitsItselfToANewSize) {
    watchFirstScreen();
    terminal().resize(50, 8);
    terminal().waitUntil("three rows", [](const std::string& seen) {
        return seen.find("CPU_IDLE") != std::string::npos && seen.find("MEMORY") == std::string::npos &&
               seen.find("q end") != std::string::npos;
    });
    press("End");
    waitFor("MEMORY_FREE_KB");
    terminal().resize(20, 2);
    waitUntilGone("MEMORY_FREE_KB");
    terminal().resize(120, 40);
    waitFor("CPU_USER");
}

class WatchScreenEnd : public WatchScreen {
  protected:
    void watchBetweenTwoLooks() {
        runInShell("PID_FILE='" + pidFile().string() + "'; export PID_FILE; before=$(stty -g)");
        enter("sh -c 'trap : INT; echo $$ > $PID_FILE; exec $ZOLSTAT watch'; echo \"ended with $?\"");
        waitFor("MEMORY_FREE_KB");
    }
    void expectTerminalAsBefore() {
        EXPECT_THAT(screen(), HasSubstr("\nmarked"));
        EXPECT_THAT(screen(), Not(HasSubstr("MEMORY_FREE_KB")));
        expectSettingsAsBefore();
    }
    void expectSettingsAsBefore() {
        enter("[ \"$before\" = \"$(stty -g)\" ] && echo un'changed'");
        waitFor("unchanged");
    }
    static pid_t pid() {
        pid_t number = 0;
        std::ifstream(pidFile()) >> number;
        return number;
    }
    void TearDown() override { std::filesystem::remove(pidFile()); }

  private:
    static std::filesystem::path pidFile() {
        return std::filesystem::path(SCRATCH_FOLDER) / ("pid." + std::to_string(getpid()));
    }
};

TEST_F(WatchScreenEnd, ByQLeavesTheTerminalAsItWas) {
    watchBetweenTwoLooks();
    type("q");
    waitFor("ended with 0");
    expectTerminalAsBefore();
}

TEST_F(WatchScreenEnd, ByCtrlCLeavesTheTerminalAsItWas) {
    watchBetweenTwoLooks();
    press("C-c");
    waitFor("ended with 130");
    expectTerminalAsBefore();
}

TEST_F(WatchScreenEnd, ByASignalLeavesTheTerminalAsItWas) {
    watchBetweenTwoLooks();
    ASSERT_GT(pid(), 1);
    kill(pid(), SIGTERM);
    waitFor("ended with 143");
    expectTerminalAsBefore();
}

TEST_F(WatchScreenEnd, ForAWhileByCtrlZ) {
    runInShell("before=$(stty -g)");
    watch();
    waitFor("MEMORY_FREE_KB");
    press("C-z");
    waitFor("Stopped");
    expectTerminalAsBefore();
    enter("clear; fg; echo \"fg ended with $?\"");
    waitFor("MEMORY_FREE_KB");
    gateway().set("2000");
    waitForMatch("CPU_USER +2000");
    type("q");
    waitFor("fg ended with 0");
    expectSettingsAsBefore();
}

TEST_F(WatchScreen, IsNotForATerminalThatCannotPlaceItsCursor) {
    runInShell("export TERM=dumb");
    watch("--count 1");
    waitFor("ended with 0");
    EXPECT_THAT(screen(), HasSubstr("\nMEMORY\n  MEMORY_FREE_KB"));
    EXPECT_THAT(screen(), HasSubstr("$ZOLSTAT watch"));
}

TEST_F(WatchScreen, IsNotForWhoChoosesAFormat) {
    watch("--count 1 --format csv");
    waitFor("ended with 0");
    EXPECT_THAT(screen(), HasSubstr("$ZOLSTAT watch"));
}

TEST_F(WatchScreen, RefusesToBeWrittenOverByTheTrace) {
    watch("--trace-level 1");
    waitFor("ended with 2");
    EXPECT_THAT(screen(), HasSubstr("zolstat: the trace would be written over the screen"));
}

// ---- Gateways that fail

TEST_F(WatchScreen, ShowsALossAndComesBackByItself) {
    watchFirstScreen();
    gateway().die();
    waitForMatch("127.0.0.1:[0-9]+  down, (next try in|trying)");
    EXPECT_THAT(screen(), HasSubstr("MEMORY_FREE_KB"));
    gateway().set("2000");
    gateway().comeBack();
    waitForMatch("CPU_USER +2000");
    waitFor("connected");
}

TEST_F(WatchScreen, WaitsForAGatewayThatIsNotThereYet) {
    gateway().die();
    watch();
    waitFor("the connection was refused");
    gateway().comeBack();
    waitFor("CPU_USER");
}

TEST_F(WatchScreen, KeepsItsKeysWhileTheGatewayHangs) {
    watchFirstScreen("--interval 0.2 --timeout 0");
    gateway().hang();
    waitFor("no answer for");
    type("-");
    waitFor("▸ MEMORY  (1)");
    type("q");
    waitFor("ended with 0");
}

TEST_F(WatchScreen, EndsWhileTheGatewayHangsAtItsOpening) {
    gateway().hang();
    watch("--timeout 0");
    waitFor("connecting for");
    press("C-c");
    waitFor("ended with 130");
}

TEST_F(WatchScreen, TellsWhenTheGatewayHasNotAnsweredInTime) {
    watchFirstScreen("--timeout 1");
    gateway().hang();
    waitFor("the Gateway did not answer");
    gateway().answer();
    waitFor("connected");
}

}  // namespace

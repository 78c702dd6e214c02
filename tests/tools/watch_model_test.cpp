// What of a watch is visible, and what the keys do to it, without a terminal.
// Not a test of drawing (watch_screen_test.cpp) or of numbers (watch_history_test.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "watch/view_model.h"

#include <gmock/gmock.h>

namespace tools::zolstat::watch {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

GatewayContent gatewayWith(std::vector<GroupContent> groups) {
    return {"gw:1", "connected", false, std::move(groups)};
}

GroupContent groupOf(const std::string& name, const std::vector<std::string>& ids) {
    GroupContent group{name};
    for (const std::string& id : ids) {
        group.statistics.push_back({id, "1"});
    }
    return group;
}

const Content TWO_GROUPS{{gatewayWith({groupOf("CPU", {"USER", "IDLE"}), groupOf("DISK", {"READS"})})}};

class WatchView : public testing::Test {
  protected:
    WatchView() { model_.resize(20); }

    void show(const Content& content) { model_.update(content); }
    void showValues(const std::vector<StatisticContent>& statistics) {
        show({{gatewayWith({GroupContent{"G", 0, statistics}})}});
    }
    void resize(std::size_t height) { model_.resize(height); }
    void press(KeyName name) { model_.press({name}); }
    // Each character a key.
    void press(const std::string& characters) {
        for (const char character : characters) {
            model_.press({KeyName::Character, character});
        }
    }
    void search(const std::string& text) {
        press("/" + text);
        press(KeyName::Enter);
    }

    Page page() const { return model_.page(); }
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const Row& row : page().rows) {
            names.push_back(std::string(row.depth * 2, ' ') + row.name);
        }
        return names;
    }
    std::string current() const {
        for (const Row& row : page().rows) {
            if (row.current) {
                return row.name;
            }
        }
        return "(none)";
    }
    Row row(std::size_t index) const { return page().rows.at(index); }
    bool isOver() const { return model_.isOver(); }

  private:
    ViewModel model_{"zolstat watch", Order::Gateway};
};

using WatchFolds = WatchView;
using WatchCursor = WatchView;
using WatchSearch = WatchView;
using WatchPause = WatchView;
using WatchOrder = WatchView;

TEST_F(WatchView, IsEmptyBeforeAnythingWasRead) {
    show({{{"gw:1", "connecting"}}});
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_EQ(page().status, "gw:1  connecting");
}

TEST_F(WatchView, ShowsGroupsWithTheirStatistics) {
    show(TWO_GROUPS);
    EXPECT_THAT(names(), ElementsAre("CPU", "  USER", "  IDLE", "DISK", "  READS"));
}

TEST_F(WatchView, PutsSeveralGatewaysAboveTheirGroups) {
    Content content{{gatewayWith({groupOf("CPU", {"USER"})}), {"gw:2", "lost", true}}};
    show(content);
    EXPECT_THAT(names(), ElementsAre("gw:1", "  CPU", "    USER", "gw:2"));
    EXPECT_EQ(row(3).value, "lost");
    EXPECT_TRUE(row(3).alarming);
    EXPECT_EQ(page().status, "2 Gateways, 1 not answering");
    EXPECT_TRUE(page().alarming);
}

TEST_F(WatchView, ShowsNoRateOfAGatewayThatIsDown) {
    Content content{{gatewayWith({GroupContent{"G", 0, {{"A", "7", 0, Change{1}}}}})}};
    show(content);
    EXPECT_EQ(row(1).change, "+1.00");
    content.gateways[0].down = true;
    show(content);
    EXPECT_EQ(row(1).value, "7");
    EXPECT_TRUE(row(1).stale);
    EXPECT_EQ(row(1).change, "");
}

TEST_F(WatchView, ShowsWhatWasRejected) {
    show({{gatewayWith({GroupContent{"NO_SUCH", -1}, GroupContent{"G", 0, {{"A", "", -7}}}})}});
    EXPECT_EQ(row(0).value, "rejected (-1)");
    EXPECT_TRUE(row(0).alarming);
    EXPECT_EQ(row(2).value, "rejected (-7)");
}

TEST_F(WatchView, ShowsARestart) {
    showValues({{"A", "7", 0, Change{0, true}}});
    EXPECT_EQ(row(1).change, "restart");
    EXPECT_TRUE(row(1).alarming);
}

TEST_F(WatchView, EscapesWhatIsNoPlainText) {
    show({{gatewayWith({GroupContent{"G\x1b", 0, {{"A\n", "\x07"}}}})}});
    EXPECT_EQ(row(0).name, "G\\x1B");
    EXPECT_EQ(row(1).name, "A\\x0A");
    EXPECT_EQ(row(1).value, "\\x07");
}

TEST_F(WatchView, EndsWithQ) {
    EXPECT_FALSE(isOver());
    press("q");
    EXPECT_TRUE(isOver());
}

TEST_F(WatchView, ShowsHelpUntilTheNextKey) {
    press("?");
    EXPECT_THAT(page().help, Contains("q           end"));
    press("q");
    EXPECT_THAT(page().help, IsEmpty());
    EXPECT_FALSE(isOver());
}

// ---- Folds

TEST_F(WatchFolds, HideTheStatisticsAndCountThem) {
    show(TWO_GROUPS);
    press(KeyName::Enter);
    EXPECT_THAT(names(), ElementsAre("CPU", "DISK", "  READS"));
    EXPECT_TRUE(row(0).folded);
    EXPECT_EQ(row(0).value, "(2)");
    press(KeyName::Enter);
    EXPECT_THAT(names(), SizeIs(5));
}

TEST_F(WatchFolds, LeaveTheCursorOnTheGroup) {
    show(TWO_GROUPS);
    press("jj");
    press(KeyName::Left);
    EXPECT_EQ(current(), "CPU");
    press(KeyName::Right);
    EXPECT_THAT(names(), SizeIs(5));
}

TEST_F(WatchFolds, FoldAndUnfoldAll) {
    show(TWO_GROUPS);
    press("j-");
    EXPECT_THAT(names(), ElementsAre("CPU", "DISK"));
    EXPECT_EQ(current(), "CPU");
    press("+");
    EXPECT_THAT(names(), SizeIs(5));
}

TEST_F(WatchFolds, StayWhenNewValuesCome) {
    show(TWO_GROUPS);
    press("-");
    show(TWO_GROUPS);
    EXPECT_THAT(names(), ElementsAre("CPU", "DISK"));
}

TEST_F(WatchFolds, HideAWholeGateway) {
    show({{gatewayWith({groupOf("CPU", {"USER"})}), gatewayWith({groupOf("CPU", {"USER"})})}});
    press(KeyName::Enter);
    EXPECT_THAT(names(), ElementsAre("gw:1", "gw:1", "  CPU", "    USER"));
}

TEST_F(WatchFolds, KeepTheGroupsOfGatewaysApart) {
    show({{gatewayWith({groupOf("CPU", {"USER"})}), gatewayWith({groupOf("CPU", {"USER"})})}});
    press("j");
    press(KeyName::Enter);
    EXPECT_THAT(names(), ElementsAre("gw:1", "  CPU", "gw:1", "  CPU", "    USER"));
}

TEST_F(WatchFolds, DoNothingWhereThereIsNothing) {
    for (const KeyName key : {KeyName::Enter, KeyName::Left, KeyName::Right, KeyName::Down, KeyName::End}) {
        press(key);
    }
    press("+-n");
    EXPECT_THAT(names(), IsEmpty());
}

// ---- Cursor

TEST_F(WatchCursor, MovesWithinTheLines) {
    show(TWO_GROUPS);
    press(KeyName::Up);
    EXPECT_EQ(current(), "CPU");
    press(KeyName::Down);
    EXPECT_EQ(current(), "USER");
    press(KeyName::End);
    press(KeyName::Down);
    EXPECT_EQ(current(), "READS");
    press(KeyName::Home);
    EXPECT_EQ(current(), "CPU");
}

TEST_F(WatchCursor, DrawsTheLinesAlong) {
    show(TWO_GROUPS);
    resize(2);
    press("jj");
    EXPECT_THAT(names(), ElementsAre("  USER", "  IDLE"));
    press(KeyName::PageDown);
    EXPECT_THAT(names(), ElementsAre("DISK", "  READS"));
    press(KeyName::PageUp);
    EXPECT_EQ(current(), "IDLE");
}

TEST_F(WatchCursor, StaysVisibleWhenTheScreenShrinks) {
    show(TWO_GROUPS);
    press("G");
    resize(1);
    EXPECT_THAT(names(), ElementsAre("  READS"));
    resize(3);
    EXPECT_THAT(names(), ElementsAre("  IDLE", "DISK", "  READS"));
    resize(20);
    EXPECT_THAT(names(), SizeIs(5));
}

TEST_F(WatchCursor, TakesNoRoomAtAll) {
    show(TWO_GROUPS);
    resize(0);
    press("jG");
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(WatchCursor, StaysOnItsStatisticWhenOthersComeBefore) {
    show(TWO_GROUPS);
    press("jj");
    show({{gatewayWith({groupOf("CPU", {"NEW", "USER", "IDLE"})})}});
    EXPECT_EQ(current(), "IDLE");
}

TEST_F(WatchCursor, StaysNearWhatHasGone) {
    show(TWO_GROUPS);
    press("G");
    show({{gatewayWith({groupOf("CPU", {"USER"})})}});
    EXPECT_EQ(current(), "USER");
}

TEST_F(WatchCursor, TellsItsLineInFull) {
    showValues({{"A", "a long text"}});
    press("j");
    EXPECT_EQ(page().detail, "A = a long text");
}

// ---- Search

TEST_F(WatchSearch, ShowsWhatIsTyped) {
    press("/qx");
    EXPECT_EQ(page().message, "/qx");
    EXPECT_TRUE(page().typing);
    press(KeyName::Backspace);
    EXPECT_EQ(page().message, "/q");
    EXPECT_FALSE(isOver());
    press(KeyName::Escape);
    EXPECT_FALSE(page().typing);
}

TEST_F(WatchSearch, GoesToTheNextNameWhateverItsCase) {
    show(TWO_GROUPS);
    search("read");
    EXPECT_EQ(current(), "READS");
    EXPECT_TRUE(row(4).found);
}

TEST_F(WatchSearch, GoesOnRoundTheEnd) {
    show({{gatewayWith({groupOf("G", {"A1", "B", "A2", "A3"})})}});
    search("a");
    EXPECT_EQ(current(), "A1");
    press("n");
    EXPECT_EQ(current(), "A2");
    press("nn");
    EXPECT_EQ(current(), "A1");
    press("N");
    EXPECT_EQ(current(), "A3");
}

TEST_F(WatchSearch, UnfoldsWhatItFinds) {
    show(TWO_GROUPS);
    press("-");
    search("READS");
    EXPECT_THAT(names(), ElementsAre("CPU", "DISK", "  READS"));
    EXPECT_EQ(current(), "READS");
}

TEST_F(WatchSearch, LeavesAGroupFoldedWhoseNameItFinds) {
    show(TWO_GROUPS);
    press("-");
    search("DIS");
    EXPECT_THAT(names(), ElementsAre("CPU", "DISK"));
    EXPECT_EQ(current(), "DISK");
}

TEST_F(WatchSearch, UnfoldsAGateway) {
    show({{gatewayWith({groupOf("CPU", {"USER"})}), gatewayWith({groupOf("CPU", {"IDLE"})})}});
    press("G");
    press(KeyName::Home);
    press(KeyName::Enter);
    search("user");
    EXPECT_EQ(current(), "USER");
}

TEST_F(WatchSearch, SaysWhatItDoesNotFindUntilTheNextKey) {
    show(TWO_GROUPS);
    search("zzz");
    EXPECT_EQ(page().message, "no name has 'zzz'");
    EXPECT_EQ(current(), "CPU");
    press("j");
    EXPECT_EQ(page().message, "");
}

TEST_F(WatchSearch, AgainWithNothingTypedGoesOn) {
    show({{gatewayWith({groupOf("G", {"A1", "A2"})})}});
    search("a");
    search("");
    EXPECT_EQ(current(), "A2");
}

TEST_F(WatchSearch, CanBeForgotten) {
    show(TWO_GROUPS);
    search("READS");
    press(KeyName::Escape);
    EXPECT_FALSE(row(4).found);
}

// ---- Pause

TEST_F(WatchPause, HoldsNewValuesBack) {
    showValues({{"A", "1"}});
    press(" ");
    showValues({{"A", "2"}});
    showValues({{"A", "3"}});
    EXPECT_EQ(row(1).value, "1");
    EXPECT_EQ(page().title, "zolstat watch  PAUSED");
    press(" ");
    EXPECT_EQ(row(1).value, "3");
    EXPECT_EQ(page().title, "zolstat watch");
}

TEST_F(WatchPause, TellsThatAGatewayIsLost) {
    showValues({{"A", "1"}});
    press(" ");
    GatewayContent lost = gatewayWith({groupOf("G", {"A", "B"})});
    lost.status = "down";
    lost.down = true;
    show({{lost}});
    EXPECT_EQ(page().status, "gw:1  down");
    EXPECT_TRUE(page().alarming);
    EXPECT_THAT(names(), ElementsAre("G", "  A"));
}

TEST_F(WatchPause, LeavesTheKeysAlive) {
    show(TWO_GROUPS);
    press("pjj");
    EXPECT_EQ(current(), "IDLE");
    press("-");
    EXPECT_THAT(names(), ElementsAre("CPU", "DISK"));
}

// ---- Order

TEST_F(WatchOrder, ChangesWithS) {
    showValues(
        {{"B", "9", 0, Change{1}}, {"A", "text"}, {"C", "10", 0, Change{-5}}, {"D", "10", 0, Change{3}}});
    EXPECT_THAT(names(), ElementsAre("G", "  B", "  A", "  C", "  D"));
    press("s");
    EXPECT_THAT(names(), ElementsAre("G", "  A", "  B", "  C", "  D"));
    press("s");
    EXPECT_THAT(names(), ElementsAre("G", "  C", "  D", "  B", "  A"));
    EXPECT_EQ(page().title, "zolstat watch, sorted by value");
    press("s");
    EXPECT_THAT(names(), ElementsAre("G", "  D", "  B", "  C", "  A"));
    press("s");
    EXPECT_THAT(names(), ElementsAre("G", "  B", "  A", "  C", "  D"));
}

TEST_F(WatchOrder, KeepsTheCursorOnItsStatistic) {
    showValues({{"B", "9"}, {"A", "10"}});
    press("js");
    EXPECT_EQ(current(), "B");
}

// ---- What there is to show

TEST(WatchContent, PutsReadingsIntoGroupsAndEachStatisticOnce) {
    const std::vector<Reading> readings{{"G", "A", "1"}, {"H", "A", "2"}, {"G", "B", "3"}, {"G", "A", "1"}};
    const auto groups = groupsOf(readings, History{}, Moment(1000s));
    ASSERT_THAT(groups, SizeIs(2));
    EXPECT_EQ(groups[0].name, "G");
    ASSERT_THAT(groups[0].statistics, SizeIs(2));
    EXPECT_EQ(groups[0].statistics[1].value, "3");
    EXPECT_EQ(groups[1].name, "H");
}

TEST(WatchContent, KeepsAGroupThatIsEmptyOrRejected) {
    const auto groups = groupsOf({{"G"}, {"H", "", {}, -3}}, History{}, Moment(1000s));
    ASSERT_THAT(groups, SizeIs(2));
    EXPECT_THAT(groups[0].statistics, IsEmpty());
    EXPECT_EQ(groups[1].code, -3);
}

struct Wording {
    long double perSecond;
    const char* text;
};

TEST(WatchContent, TellsRatesInFourDigitsOrSo) {
    const Wording wordings[] = {
        {0, "0"},           {1.5L, "+1.50"},     {-0.25L, "-0.25"},   {0.00123L, "+0.00123"},
        {12.34L, "+12.3"},  {-999.4L, "-999.4"}, {123456, "+123456"}, {12345678, "+12.3M"},
        {1.5e9L, "+1.50G"}, {-2e18L, "-2.00E"},  {1e30L, "+1e+30"},
    };
    for (const Wording& wording : wordings) {
        EXPECT_EQ(textOf(Change{wording.perSecond}), wording.text);
    }
    EXPECT_EQ(textOf(Change{0, true}), "restart");
    EXPECT_EQ(textOf({}), "");
}

}  // namespace
}  // namespace tools::zolstat::watch

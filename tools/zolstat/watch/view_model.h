// What of a watch is visible, and what the keys do to it: folds, cursor, search, pause, order.
// Knows no terminal (screen.h) and no Gateway (feeder.h).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_VIEW_MODEL_H
#define ZOLSTAT_WATCH_VIEW_MODEL_H

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "content.h"
#include "layout.h"

namespace tools::zolstat::watch {

enum class KeyName {
    Character,
    Enter,
    Escape,
    Backspace,
    Up,
    Down,
    Left,
    Right,
    PageUp,
    PageDown,
    Home,
    End
};

struct Key {
    KeyName name;
    char character = 0;

    bool operator==(const Key&) const = default;
};

enum class RowKind { Gateway, Group, Statistic };

// One line of the list. Its texts are fit for a terminal.
struct Row {
    RowKind kind;
    std::size_t depth;
    bool folded = false;
    std::string name{};
    std::string value{};
    std::string change{};
    Trend trend{};
    bool current = false;   // the cursor is here
    bool found = false;     // the search matches
    bool stale = false;     // its Gateway is down
    bool alarming = false;  // down, rejected or restarted
};

// Everything that a screen shows.
struct Page {
    std::string title{};
    std::string time{};
    std::string status{};
    bool alarming = false;  // the status is
    std::vector<Row> rows{};
    std::string message{};  // what is being typed, or what there is to say about a key
    bool typing = false;
    std::string detail{};             // the current line in full
    std::vector<std::string> help{};  // if not empty, it takes the place of the rows
};

class ViewModel {
  public:
    // `title` stands before what the model itself has to say there.
    ViewModel(std::string title, Order order);

    // What there is to show from now on; during a pause all but the states of the Gateways is held back.
    void update(Content content);
    // How many rows there is room for.
    void resize(std::size_t height);
    void press(const Key& key);

    Page page() const;
    bool isOver() const { return over_; }

  private:
    struct Line {
        RowKind kind;
        std::size_t gateway;
        std::size_t group = 0;
        std::size_t statistic = 0;

        bool operator==(const Line&) const = default;
    };
    // What a line is about, whatever stands around it.
    struct Subject {
        RowKind kind;
        std::size_t gateway;
        std::string group{};
        std::string id{};

        bool operator==(const Subject&) const = default;
    };
    using Fold = std::pair<std::size_t, std::string>;  // Gateway and group
    struct Binding;
    static const std::vector<Binding>& bindings();

    enum class Mode { List, Typing, Help };
    enum class Folds { Respected, Ignored };
    enum class Direction { Forward, Backward };

    // What keys do.
    void quit() { over_ = true; }
    void showHelp() { mode_ = Mode::Help; }
    void pauseOrResume();
    void nextOrder();
    void startTyping();
    void findNext() { find(Direction::Forward); }
    void findPrevious() { find(Direction::Backward); }
    void up() { moveBy(-1); }
    void down() { moveBy(1); }
    void pageUp() { moveBy(-static_cast<std::ptrdiff_t>(height_)); }
    void pageDown() { moveBy(static_cast<std::ptrdiff_t>(height_)); }
    void first() { moveTo(0); }
    void last() { moveTo(lines_.size()); }
    void foldOrUnfold();
    void fold();
    void unfold();
    void foldAll();
    void unfoldAll();
    void forgetSearch() { sought_.clear(); }

    void type(const Key& key);
    void find(Direction direction);
    void moveBy(std::ptrdiff_t lines);
    void moveTo(std::size_t line);
    void moveTo(const Subject& subject);

    bool hasGatewayLines() const { return content_.gateways.size() > 1; }
    const GroupContent& groupOf(const Line& line) const;
    const StatisticContent& statisticOf(const Line& line) const;
    Subject subjectOf(const Line& line) const;
    std::optional<Subject> current() const;
    const std::string& nameOf(const Line& line) const;
    bool isFound(const Line& line) const;
    static Fold foldOf(const Line& line, const std::string& group);
    void setFolded(const Line& line, bool folded);
    bool isFolded(const Line& line) const;

    void takeStates(const Content& content);
    void arrange();
    std::vector<Line> linesOf(Folds folds) const;
    void addGroups(std::size_t gateway, Folds folds, std::vector<Line>& lines) const;
    std::vector<std::size_t> inOrder(const GroupContent& group) const;
    void keepCursorVisible();

    Row rowOf(const Line& line) const;
    void describe(const GatewayContent& gateway, Row& row) const;
    void describe(const GroupContent& group, Row& row) const;
    void describe(const StatisticContent& statistic, Row& row) const;
    std::string title() const;
    std::string status() const;
    std::size_t countDown() const;

    std::string title_;
    Order order_;
    Content content_;
    std::optional<Content> heldBack_;
    bool paused_ = false;
    bool over_ = false;
    Mode mode_ = Mode::List;
    std::string typed_;
    std::string sought_;
    std::string notice_;
    std::set<Fold> folds_;
    std::set<std::size_t> foldedGateways_;
    std::vector<Line> lines_;
    std::size_t cursor_ = 0;
    std::size_t top_ = 0;
    std::size_t height_ = 0;
};

}  // namespace tools::zolstat::watch

#endif

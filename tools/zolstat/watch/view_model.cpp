// What of a watch is visible, and what the keys do to it.
// Knows no terminal (screen.cpp) and no Gateway (feeder.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "view_model.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <limits>
#include <numeric>

#include "common/number.h"
#include "common/text.h"

namespace tools::zolstat::watch {
namespace {

constexpr Key character(char letter) {
    return {KeyName::Character, letter};
}

bool equalButForCase(char one, char other) {
    return std::tolower(static_cast<unsigned char>(one)) == std::tolower(static_cast<unsigned char>(other));
}

bool contains(const std::string& text, const std::string& part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(), equalButForCase) != text.end();
}

template <typename Set>
void put(Set& set, const typename Set::value_type& value, bool present) {
    if (present) {
        set.insert(value);
    } else {
        set.erase(value);
    }
}

struct OrderName {
    Order order;
    const char* words;
};
constexpr std::array ORDERS{OrderName{Order::Gateway, ""}, OrderName{Order::Id, "by id"},
                            OrderName{Order::Value, "by value"}, OrderName{Order::Change, "by change"}};

const OrderName* entryOf(Order order) {
    return std::find_if(ORDERS.begin(), ORDERS.end(),
                        [=](const OrderName& known) { return known.order == order; });
}

constexpr long double NO_NUMBER = -std::numeric_limits<long double>::infinity();

long double weightOf(const StatisticContent& statistic, Order order) {
    if (order == Order::Value) {
        return numberOf(statistic.value).value_or(NO_NUMBER);
    }
    return statistic.change && !statistic.change->restarted ? statistic.change->perSecond : NO_NUMBER;
}

std::string valueOf(const StatisticContent& statistic) {
    return statistic.code < 0 ? fmt::format("rejected ({})", statistic.code) : printable(statistic.value);
}

}  // namespace

// ---- Keys

struct ViewModel::Binding {
    std::vector<Key> keys;
    const char* name;
    const char* help;
    void (ViewModel::*act)();
};

const std::vector<ViewModel::Binding>& ViewModel::bindings() {
    using enum KeyName;
    static const std::vector<Binding> table{
        {{character('q')}, "q", "end", &ViewModel::quit},
        {{character(' '), character('p')}, "Space, p", "pause, and go on", &ViewModel::pauseOrResume},
        {{{Up}, character('k')}, "Up, k", "one line up", &ViewModel::up},
        {{{Down}, character('j')}, "Down, j", "one line down", &ViewModel::down},
        {{{PageUp}}, "Page Up", "one page up", &ViewModel::pageUp},
        {{{PageDown}}, "Page Down", "one page down", &ViewModel::pageDown},
        {{{Home}, character('g')}, "Home, g", "to the first line", &ViewModel::first},
        {{{End}, character('G')}, "End, G", "to the last line", &ViewModel::last},
        {{{Enter}}, "Enter", "fold or unfold the group", &ViewModel::foldOrUnfold},
        {{{Left}}, "Left", "fold the group", &ViewModel::fold},
        {{{Right}}, "Right", "unfold the group", &ViewModel::unfold},
        {{character('-')}, "-", "fold all groups", &ViewModel::foldAll},
        {{character('+')}, "+", "unfold all groups", &ViewModel::unfoldAll},
        {{character('/')}, "/", "search for a part of a name", &ViewModel::startTyping},
        {{character('n')}, "n", "to the next name found", &ViewModel::findNext},
        {{character('N')}, "N", "to the one before", &ViewModel::findPrevious},
        {{{Escape}}, "Escape", "forget the search", &ViewModel::forgetSearch},
        {{character('s')}, "s", "sort by id, value, change, or not", &ViewModel::nextOrder},
        {{character('?'), character('h')}, "?, h", "this help", &ViewModel::showHelp},
    };
    return table;
}

void ViewModel::press(const Key& key) {
    notice_.clear();
    if (mode_ == Mode::Help) {
        mode_ = Mode::List;
    } else if (mode_ == Mode::Typing) {
        type(key);
    } else {
        for (const Binding& binding : bindings()) {
            if (std::find(binding.keys.begin(), binding.keys.end(), key) != binding.keys.end()) {
                (this->*binding.act)();
            }
        }
    }
}

void ViewModel::pauseOrResume() {
    paused_ = !paused_;
    if (!paused_ && heldBack_) {
        update(*std::exchange(heldBack_, std::nullopt));
    }
}

void ViewModel::nextOrder() {
    const OrderName* next = entryOf(order_) + 1;
    order_ = next == ORDERS.end() ? ORDERS.front().order : next->order;
    arrange();
}

// ---- Search

void ViewModel::startTyping() {
    mode_ = Mode::Typing;
    typed_.clear();
}

void ViewModel::type(const Key& key) {
    if (key.name == KeyName::Character) {
        typed_ += key.character;
    } else if (key.name == KeyName::Backspace && !typed_.empty()) {
        typed_.pop_back();
    } else if (key.name == KeyName::Escape || key.name == KeyName::Backspace) {
        mode_ = Mode::List;
    } else if (key.name == KeyName::Enter) {
        mode_ = Mode::List;
        sought_ = typed_.empty() ? sought_ : typed_;
        findNext();
    }
}

bool ViewModel::isFound(const Line& line) const {
    return !sought_.empty() && contains(nameOf(line), sought_);
}

// Looks into folded groups too, and unfolds what it finds. From the cursor on, round to the cursor.
void ViewModel::find(Direction direction) {
    std::vector<Line> all = linesOf(Folds::Ignored);
    if (direction == Direction::Backward) {
        std::reverse(all.begin(), all.end());
    }
    if (!lines_.empty()) {
        std::rotate(all.begin(), std::find(all.begin(), all.end(), lines_[cursor_]) + 1, all.end());
    }
    const auto found =
        std::find_if(all.begin(), all.end(), [this](const Line& line) { return isFound(line); });
    if (found == all.end()) {
        notice_ =
            sought_.empty() ? "nothing to search for: / asks" : fmt::format("no name has '{}'", sought_);
        return;
    }
    foldedGateways_.erase(found->gateway);
    if (found->kind == RowKind::Statistic) {
        setFolded(*found, false);
    }
    const Subject subject = subjectOf(*found);
    arrange();
    moveTo(subject);
}

// ---- Cursor

void ViewModel::moveBy(std::ptrdiff_t lines) {
    moveTo(
        static_cast<std::size_t>(std::max<std::ptrdiff_t>(0, static_cast<std::ptrdiff_t>(cursor_) + lines)));
}

void ViewModel::moveTo(std::size_t line) {
    cursor_ = lines_.empty() ? 0 : std::min(line, lines_.size() - 1);
    keepCursorVisible();
}

void ViewModel::moveTo(const Subject& subject) {
    const auto line = std::find_if(lines_.begin(), lines_.end(),
                                   [&](const Line& known) { return subjectOf(known) == subject; });
    moveTo(line == lines_.end() ? cursor_ : static_cast<std::size_t>(line - lines_.begin()));
}

void ViewModel::keepCursorVisible() {
    const std::size_t room = std::max<std::size_t>(height_, 1);
    const std::size_t lowestTop = cursor_ >= room ? cursor_ - room + 1 : 0;
    const std::size_t highestTop = lines_.size() > room ? lines_.size() - room : 0;
    top_ = std::min({std::max(top_, lowestTop), cursor_, highestTop});
}

void ViewModel::resize(std::size_t height) {
    height_ = height;
    keepCursorVisible();
}

// ---- Folds

ViewModel::Fold ViewModel::foldOf(const Line& line, const std::string& group) {
    return {line.gateway, group};
}

bool ViewModel::isFolded(const Line& line) const {
    return line.kind == RowKind::Gateway ? foldedGateways_.contains(line.gateway)
                                         : folds_.contains(foldOf(line, groupOf(line).name));
}

void ViewModel::setFolded(const Line& line, bool folded) {
    if (line.kind == RowKind::Gateway) {
        put(foldedGateways_, line.gateway, folded);
    } else {
        put(folds_, foldOf(line, groupOf(line).name), folded);
    }
}

void ViewModel::foldOrUnfold() {
    if (!lines_.empty()) {
        isFolded(lines_[cursor_]) ? unfold() : fold();
    }
}

// From within a group the cursor goes to its head, which is what remains of it.
void ViewModel::fold() {
    if (lines_.empty()) {
        return;
    }
    const Line line = lines_[cursor_];
    setFolded(line, true);
    Subject head = subjectOf(line);
    head.kind = line.kind == RowKind::Statistic ? RowKind::Group : line.kind;
    head.id.clear();
    arrange();
    moveTo(head);
}

void ViewModel::unfold() {
    if (!lines_.empty()) {
        setFolded(lines_[cursor_], false);
        arrange();
    }
}

void ViewModel::foldAll() {
    const std::optional<Subject> subject = current();
    for (const Line& line : linesOf(Folds::Ignored)) {
        if (line.kind == RowKind::Group) {
            setFolded(line, true);
        }
    }
    arrange();
    if (subject && subject->kind == RowKind::Statistic) {
        moveTo(Subject{RowKind::Group, subject->gateway, subject->group});
    }
}

void ViewModel::unfoldAll() {
    folds_.clear();
    foldedGateways_.clear();
    arrange();
}

// ---- Lines

ViewModel::ViewModel(std::string title, Order order) : title_(std::move(title)), order_(order) {}

void ViewModel::update(Content content) {
    if (paused_) {
        takeStates(content);
        heldBack_ = std::move(content);
        return;
    }
    const std::optional<Subject> subject = current();  // its texts lie in what is replaced
    content_ = std::move(content);
    lines_ = linesOf(Folds::Respected);
    subject ? moveTo(*subject) : moveTo(cursor_);
}

// A loss must not go unnoticed.
void ViewModel::takeStates(const Content& content) {
    const std::size_t count = std::min(content_.gateways.size(), content.gateways.size());
    for (std::size_t gateway = 0; gateway < count; ++gateway) {
        content_.gateways[gateway].status = content.gateways[gateway].status;
        content_.gateways[gateway].down = content.gateways[gateway].down;
    }
}

void ViewModel::arrange() {
    const std::optional<Subject> subject = current();
    lines_ = linesOf(Folds::Respected);
    subject ? moveTo(*subject) : moveTo(cursor_);
}

std::vector<ViewModel::Line> ViewModel::linesOf(Folds folds) const {
    std::vector<Line> lines;
    for (std::size_t gateway = 0; gateway < content_.gateways.size(); ++gateway) {
        if (hasGatewayLines()) {
            lines.push_back({RowKind::Gateway, gateway});
        }
        if (folds == Folds::Ignored || !hasGatewayLines() || !foldedGateways_.contains(gateway)) {
            addGroups(gateway, folds, lines);
        }
    }
    return lines;
}

void ViewModel::addGroups(std::size_t gateway, Folds folds, std::vector<Line>& lines) const {
    const std::vector<GroupContent>& groups = content_.gateways[gateway].groups;
    for (std::size_t group = 0; group < groups.size(); ++group) {
        const Line head{RowKind::Group, gateway, group};
        lines.push_back(head);
        if (folds == Folds::Ignored || !isFolded(head)) {
            for (const std::size_t statistic : inOrder(groups[group])) {
                lines.push_back({RowKind::Statistic, gateway, group, statistic});
            }
        }
    }
}

// The greatest number first, as one looks for it; then what is none.
std::vector<std::size_t> ViewModel::inOrder(const GroupContent& group) const {
    std::vector<std::size_t> indices(group.statistics.size());
    std::iota(indices.begin(), indices.end(), std::size_t{0});
    if (order_ == Order::Id) {
        std::stable_sort(indices.begin(), indices.end(), [&](std::size_t one, std::size_t other) {
            return group.statistics[one].id < group.statistics[other].id;
        });
    } else if (order_ != Order::Gateway) {
        std::vector<long double> weights;
        for (const StatisticContent& statistic : group.statistics) {
            weights.push_back(weightOf(statistic, order_));
        }
        std::stable_sort(indices.begin(), indices.end(),
                         [&](std::size_t one, std::size_t other) { return weights[one] > weights[other]; });
    }
    return indices;
}

const GroupContent& ViewModel::groupOf(const Line& line) const {
    return content_.gateways[line.gateway].groups[line.group];
}

const StatisticContent& ViewModel::statisticOf(const Line& line) const {
    return groupOf(line).statistics[line.statistic];
}

const std::string& ViewModel::nameOf(const Line& line) const {
    switch (line.kind) {
        case RowKind::Gateway:
            return content_.gateways[line.gateway].name;
        case RowKind::Group:
            return groupOf(line).name;
        default:
            return statisticOf(line).id;
    }
}

ViewModel::Subject ViewModel::subjectOf(const Line& line) const {
    Subject subject{line.kind, line.gateway};
    if (line.kind != RowKind::Gateway) {
        subject.group = groupOf(line).name;
    }
    if (line.kind == RowKind::Statistic) {
        subject.id = statisticOf(line).id;
    }
    return subject;
}

std::optional<ViewModel::Subject> ViewModel::current() const {
    return lines_.empty() ? std::nullopt : std::optional(subjectOf(lines_[cursor_]));
}

// ---- The page

void ViewModel::describe(const GatewayContent& gateway, Row& row) const {
    row.name = printable(gateway.name);
    row.value = gateway.status;
    row.alarming = gateway.down;
}

void ViewModel::describe(const GroupContent& group, Row& row) const {
    row.name = group.name.empty() ? "(in no group)" : printable(group.name);
    row.alarming = group.code < 0;
    if (group.code < 0) {
        row.value = fmt::format("rejected ({})", group.code);
    } else if (row.folded || group.statistics.empty()) {
        row.value = fmt::format("({})", group.statistics.size());
    }
}

void ViewModel::describe(const StatisticContent& statistic, Row& row) const {
    row.name = printable(statistic.id);
    row.value = valueOf(statistic);
    row.alarming = statistic.code < 0 || (statistic.change && statistic.change->restarted);
    if (statistic.code >= 0 && !row.stale) {
        row.change = textOf(statistic.change);
        row.trend = statistic.trend;
    }
}

Row ViewModel::rowOf(const Line& line) const {
    const GatewayContent& gateway = content_.gateways[line.gateway];
    const std::size_t outermost = hasGatewayLines() ? 0 : 1;
    Row row{line.kind, static_cast<std::size_t>(line.kind) - outermost};
    row.folded = line.kind != RowKind::Statistic && isFolded(line);
    row.found = isFound(line);
    row.stale = gateway.down;
    if (line.kind == RowKind::Gateway) {
        describe(gateway, row);
    } else if (line.kind == RowKind::Group) {
        describe(groupOf(line), row);
    } else {
        describe(statisticOf(line), row);
    }
    return row;
}

std::size_t ViewModel::countDown() const {
    return static_cast<std::size_t>(std::count_if(content_.gateways.begin(), content_.gateways.end(),
                                                  [](const GatewayContent& one) { return one.down; }));
}

std::string ViewModel::title() const {
    const std::string order = entryOf(order_)->words;
    return title_ + (order.empty() ? "" : ", sorted " + order) + (paused_ ? "  PAUSED" : "");
}

std::string ViewModel::status() const {
    if (hasGatewayLines()) {
        const std::size_t down = countDown();
        return fmt::format("{} Gateways{}", content_.gateways.size(),
                           down == 0 ? "" : fmt::format(", {} not answering", down));
    }
    return content_.gateways.empty()
               ? ""
               : fmt::format("{}  {}", printable(content_.gateways[0].name), content_.gateways[0].status);
}

Page ViewModel::page() const {
    Page page{title(), content_.time, status(), countDown() > 0};
    for (std::size_t line = top_; line < std::min(top_ + height_, lines_.size()); ++line) {
        page.rows.push_back(rowOf(lines_[line]));
        page.rows.back().current = line == cursor_;
        if (line == cursor_) {
            page.detail = fmt::format("{} = {}", page.rows.back().name, page.rows.back().value);
        }
    }
    page.typing = mode_ == Mode::Typing;
    page.message = page.typing ? "/" + typed_ : notice_;
    if (mode_ == Mode::Help) {
        for (const Binding& binding : bindings()) {
            page.help.push_back(fmt::format("{:<12}{}", binding.name, binding.help));
        }
    }
    return page;
}

}  // namespace tools::zolstat::watch

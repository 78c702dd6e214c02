// The terminal of a watch: pages drawn, keys read, with the help of ncurses.
// Not the place that decides what is visible (view_model.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "screen.h"

// The macros have names such as `move` and `clear`.
#define NCURSES_NOMACROS
#include <ncurses.h>

#include <fmt/format.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <map>
#include <stdexcept>

namespace tools::zolstat::watch {
namespace {

constexpr int LINES_ABOVE_ROWS = 3;  // title, status, names of the columns
constexpr int LINES_BELOW_ROWS = 2;  // message, keys
constexpr int INDENT = 2;
constexpr int GAP = 2;
constexpr int ESCAPE_DELAY_MS = 25;  // so long the rest of a function key may take
constexpr const char* KEYS = "q end  Space pause  Enter fold  / search  n next  s sort  ? help";

enum Colour : short { PLAIN, ALARM, NAME };

struct Signs {
    const char* cut;  // where a text is too long
    const char* folded;
    const char* unfolded;
    std::array<const char*, HIGHEST_LEVEL + 1> levels;
};
constexpr Signs ASCII{">", "+", "-", {"_", ".", ":", "-", "=", "+", "*", "#"}};
constexpr Signs UTF8{"…", "▸", "▾", {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"}};

// How many columns the parts of a row have; 0 where there is no room for one.
struct Widths {
    int name;
    int value;
    int change;
    int trend;
};

Widths widthsFor(int columns) {
    Widths widths{0, columns >= 60 ? 20 : 12, columns >= 45 ? 10 : 0,
                  columns >= 110  ? 30
                  : columns >= 72 ? 15
                                  : 0};
    const auto withGap = [](int width) { return width == 0 ? 0 : width + GAP; };
    widths.name =
        std::max(0, columns - withGap(widths.value) - withGap(widths.change) - withGap(widths.trend));
    return widths;
}

const std::map<int, KeyName> KEY_NAMES{
    {KEY_UP, KeyName::Up},       {KEY_DOWN, KeyName::Down},    {KEY_LEFT, KeyName::Left},
    {KEY_RIGHT, KeyName::Right}, {KEY_PPAGE, KeyName::PageUp}, {KEY_NPAGE, KeyName::PageDown},
    {KEY_HOME, KeyName::Home},   {KEY_END, KeyName::End},      {KEY_BACKSPACE, KeyName::Backspace},
    {'\b', KeyName::Backspace},  {0x7f, KeyName::Backspace},   {KEY_ENTER, KeyName::Enter},
    {'\r', KeyName::Enter},      {'\n', KeyName::Enter},       {0x1b, KeyName::Escape},
};

std::optional<Key> keyOf(int code) {
    if (code >= 0x20 && code < 0x7f) {
        return Key{KeyName::Character, static_cast<char>(code)};
    }
    const auto known = KEY_NAMES.find(code);
    return known == KEY_NAMES.end() ? std::nullopt : std::optional(Key{known->second});
}

}  // namespace

// One line is written from left to right; everything is cut off at its end.
class Terminal {
  public:
    explicit Terminal(bool colours) : screen_(newterm(nullptr, stdout, stdin)) {
        if (screen_ == nullptr) {
            throw std::runtime_error("the terminal cannot be used");
        }
        cbreak();
        noecho();
        nonl();  // so that Enter differs from what ends a line
        curs_set(0);
        keypad(stdscr, true);
        nodelay(stdscr, true);
        set_escdelay(ESCAPE_DELAY_MS);
        colours_ = colours && has_colors();
        if (colours_) {
            start_color();
            use_default_colors();
            init_pair(ALARM, COLOR_RED, -1);
            init_pair(NAME, COLOR_CYAN, -1);
        }
    }
    ~Terminal() {
        endwin();
        delscreen(screen_);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    int lines() const { return getmaxy(stdscr); }
    int columns() const { return getmaxx(stdscr); }
    attr_t colour(Colour colour) const {
        return colours_ ? static_cast<attr_t>(COLOR_PAIR(colour)) : A_NORMAL;
    }
    const Signs& signs() const { return signs_; }

    // The text, cut where it is longer than `width`, at most to the end of the line.
    void write(int line, int column, int width, const std::string& text, attr_t attributes = A_NORMAL) {
        const int room = std::min(width, columns() - column);
        if (room <= 0 || line < 0 || line >= lines()) {
            return;
        }
        const bool fits = static_cast<int>(text.size()) <= room;
        attrset(static_cast<int>(attributes));
        mvaddnstr(line, column, text.c_str(), fits ? -1 : room - 1);
        if (!fits) {
            addstr(signs_.cut);
        }
        attrset(A_NORMAL);
    }
    void writeRight(int line, int column, int width, const std::string& text, attr_t attributes) {
        const int rest = std::max(0, width - static_cast<int>(text.size()));
        write(line, column + rest, width - rest, text, attributes);
    }
    // One column each.
    void writeSigns(int line, int column, const std::vector<const char*>& signs, attr_t attributes) {
        attrset(static_cast<int>(attributes));
        for (const char* sign : signs) {
            mvaddstr(line, column++, sign);
        }
        attrset(A_NORMAL);
    }

  private:
    SCREEN* screen_;
    bool colours_ = false;
    const Signs& signs_ = std::string_view(nl_langinfo(CODESET)) == "UTF-8" ? UTF8 : ASCII;
};

namespace {

class Drawing {
  public:
    explicit Drawing(Terminal& terminal)
        : terminal_(terminal),
          columns_(terminal.columns()),
          lines_(terminal.lines()),
          widths_(widthsFor(columns_)) {}

    void draw(const Page& page) {
        drawHead(page);
        if (page.help.empty()) {
            drawRows(page);
        } else {
            drawHelp(page);
        }
        terminal_.write(lines_ - 2, 0, columns_, page.message.empty() ? detailOf(page) : page.message,
                        page.typing ? A_BOLD : A_NORMAL);
        terminal_.write(lines_ - 1, 0, columns_, page.help.empty() ? KEYS : "any key: back to the list",
                        A_REVERSE);
    }

  private:
    void drawHead(const Page& page) {
        const int timeWidth = static_cast<int>(page.time.size());
        terminal_.write(0, 0, columns_ - timeWidth - GAP, page.title, A_BOLD);
        terminal_.write(0, std::max(0, columns_ - timeWidth), timeWidth, page.time);
        terminal_.write(1, 0, columns_, page.status,
                        page.alarming ? A_BOLD | terminal_.colour(ALARM) : A_NORMAL);
    }

    void drawHelp(const Page& page) {
        int line = LINES_ABOVE_ROWS - 1;
        for (const std::string& text : page.help) {
            if (line < lines_ - 1) {
                terminal_.write(line++, INDENT, columns_ - INDENT, text);
            }
        }
    }

    void drawRows(const Page& page) {
        writeCells(LINES_ABOVE_ROWS - 1, "value", "change/s", A_UNDERLINE);
        if (widths_.trend > 0) {
            terminal_.write(LINES_ABOVE_ROWS - 1, columns_ - widths_.trend, widths_.trend, "last minute",
                            A_UNDERLINE);
        }
        int line = LINES_ABOVE_ROWS;
        for (const Row& row : page.rows) {
            if (row.current) {
                terminal_.write(line, 0, columns_, std::string(static_cast<std::size_t>(columns_), ' '),
                                A_REVERSE);
            }
            row.kind == RowKind::Statistic ? drawStatistic(line, row) : drawHead(line, row);
            ++line;
        }
    }

    attr_t attributesOf(const Row& row) const {
        return (row.current ? A_REVERSE : A_NORMAL) | (row.found ? A_UNDERLINE | A_BOLD : A_NORMAL) |
               (row.stale ? A_DIM : A_NORMAL);
    }
    attr_t alarmOf(const Row& row) const {
        return row.alarming ? A_BOLD | terminal_.colour(ALARM) : A_NORMAL;
    }

    void drawHead(int line, const Row& row) {
        const int column = INDENT * static_cast<int>(row.depth);
        const attr_t attributes = attributesOf(row) | A_BOLD;
        terminal_.writeSigns(
            line, column, {row.folded ? terminal_.signs().folded : terminal_.signs().unfolded}, attributes);
        terminal_.write(line, column + INDENT, columns_, row.name, attributes | terminal_.colour(NAME));
        const int rest = column + INDENT + static_cast<int>(row.name.size()) + GAP;
        terminal_.write(line, rest, columns_, row.value, attributesOf(row) | alarmOf(row));
    }

    void drawStatistic(int line, const Row& row) {
        const int column = INDENT * static_cast<int>(row.depth + 1);
        const attr_t attributes = attributesOf(row);
        terminal_.write(line, column, widths_.name - column, row.name, attributes);
        writeCells(line, row.value, row.change, attributes | alarmOf(row));
        if (widths_.trend > 0) {
            terminal_.writeSigns(line, columns_ - widths_.trend, signsOf(row.trend), attributes);
        }
    }

    void writeCells(int line, const std::string& value, const std::string& change, attr_t attributes) {
        terminal_.writeRight(line, widths_.name + GAP, widths_.value, value, attributes);
        terminal_.writeRight(line, widths_.name + widths_.value + 2 * GAP, widths_.change, change,
                             attributes);
    }

    std::vector<const char*> signsOf(const Trend& trend) const {
        std::vector<const char*> signs;
        for (const std::optional<int>& level : levelsOf(trend, static_cast<std::size_t>(widths_.trend))) {
            signs.push_back(level ? terminal_.signs().levels.at(static_cast<std::size_t>(*level)) : " ");
        }
        return signs;
    }

    // Only where the list could not show it whole.
    std::string detailOf(const Page& page) const {
        for (const Row& row : page.rows) {
            const int name = INDENT * static_cast<int>(row.depth + 1) + static_cast<int>(row.name.size());
            const bool isCut = name > widths_.name || static_cast<int>(row.value.size()) > widths_.value;
            if (row.current && row.kind == RowKind::Statistic && isCut) {
                return page.detail;
            }
        }
        return "";
    }

    Terminal& terminal_;
    int columns_;
    int lines_;
    Widths widths_;
};

}  // namespace

Screen::Screen(bool colours) : terminal_(std::make_unique<Terminal>(colours)) {}

Screen::~Screen() = default;

std::size_t Screen::height() const {
    return static_cast<std::size_t>(std::max(0, terminal_->lines() - LINES_ABOVE_ROWS - LINES_BELOW_ROWS));
}

void Screen::draw(const Page& page) {
    erase();
    Drawing(*terminal_).draw(page);
    refresh();
}

std::optional<Key> Screen::key() {
    for (int code = getch(); code != ERR; code = getch()) {
        if (const auto key = keyOf(code)) {
            return key;
        }
    }
    return std::nullopt;
}

void Screen::fitToTerminal() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 && size.ws_col > 0) {
        resizeterm(size.ws_row, size.ws_col);
    }
}

void Screen::suspend() {
    endwin();
}

void Screen::resume() {
    fitToTerminal();
    clearok(stdscr, true);
    refresh();
}

}  // namespace tools::zolstat::watch

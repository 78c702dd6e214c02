// The terminal of a watch: pages drawn, keys read.
// Not the place that decides what is visible (view_model.h).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_SCREEN_H
#define ZOLSTAT_WATCH_SCREEN_H

#include <memory>
#include <optional>

#include "view_model.h"

namespace tools::zolstat::watch {

class Terminal;

// Has the terminal while it lives, and leaves it as it was.
class Screen {
  public:
    // Standard input and output are one terminal that can place its cursor.
    static bool isPossible();

    explicit Screen(bool colours);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    // For the rows of a page.
    std::size_t height() const;
    void draw(const Page& page);
    // The next key that was pressed, if any is left; does not wait.
    std::optional<Key> key();

    void fitToTerminal();
    void suspend();  // gives the terminal back
    void resume();   // takes it again, whatever has become of it

  private:
    std::unique_ptr<Terminal> terminal_;
};

}  // namespace tools::zolstat::watch

#endif

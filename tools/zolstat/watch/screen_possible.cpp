// Whether there is a terminal that a screen can be drawn on.
// Not the drawing (screen.cpp), which could not bear the names that <term.h> takes.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <unistd.h>

#include "screen.h"

#define NCURSES_NOMACROS
#include <ncurses.h>
#include <term.h>

namespace tools::zolstat::watch {

bool Screen::isPossible() {
    int problem = 0;
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0 ||
        setupterm(nullptr, STDOUT_FILENO, &problem) != OK) {
        return false;
    }
    const char* placing = tigetstr("cup");
    return placing != nullptr && placing != reinterpret_cast<const char*>(-1);
}

}  // namespace tools::zolstat::watch

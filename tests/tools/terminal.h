// A terminal with a shell in it: keys are typed, and what is on the screen is read, as a person would.
// Not a way to run programs whose output is a stream (program.h).
// The protocol that the programs speak is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_TERMINAL_H
#define ZOLSTATS_TESTS_TERMINAL_H

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "program.h"

namespace program {

// tmux, with a server of its own that ends with this object.
class Terminal {
  public:
    // Of the shell, without the blank behind it. It is there from the start: what is typed comes behind it.
    static constexpr const char* PROMPT = "ready>";

    Terminal(int columns, int lines);
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void type(const std::string& text) const;  // as it stands
    void press(const std::string& key) const;  // by its name: Enter, Up, C-c
    void enter(const std::string& line) const {
        type(line);
        press("Enter");
    }
    void resize(int columns, int lines) const;

    std::string screen() const;
    // Looks again whenever the screen changes; throws what was seen last if it does not come in time.
    void waitUntil(const std::string& what, const std::function<bool(const std::string& screen)>& isSo) const;
    void waitFor(const std::string& text) const;
    void waitUntilGone(const std::string& text) const;

  private:
    Finished tmux(std::vector<std::string> arguments) const;
    bool changesBefore(std::chrono::steady_clock::time_point deadline) const;

    std::filesystem::path folder_;
    Descriptor changes_;  // gets whatever is written to the terminal
    Running server_;
};

}  // namespace program

#endif

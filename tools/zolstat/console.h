// Where the tool's texts go: results to standard output, complaints to standard error.
// Not the place for layout (table.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_CONSOLE_H
#define ZOLSTAT_CONSOLE_H

#include <stdexcept>
#include <string>
#include <string_view>

namespace zolstat {

// Standard output could not be written; what() says why.
class OutputFailed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Nobody reads standard output any more: no failure, but there is nothing left to do.
class OutputClosed : public std::exception {};

// Readies the process for closed pipes and missing standard descriptors. To be called before anything is
// opened.
void prepareConsole();

void writeOutput(std::string_view text);
void writeError(std::string_view text);

// Writes for one connection: complaints name the other side.
class Console {
  public:
    explicit Console(std::string peer);

    void print(std::string_view text) { writeOutput(text); }
    void complain(std::string_view text);
    // The Gateway said no to `what`, a text such as "no group 'X'".
    void reject(std::string_view what, int code);

    bool anythingRejected() const { return anythingRejected_; }

  private:
    std::string peer_;
    bool anythingRejected_ = false;
};

}  // namespace zolstat

#endif

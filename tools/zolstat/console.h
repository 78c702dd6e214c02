// Where the tool's texts go: results to standard output, complaints to standard error.
// Not the place for layout (formats/).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_CONSOLE_H
#define ZOLSTAT_CONSOLE_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tools::zolstat {

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
// What a command has to say in the end: whether anybody reads it makes no difference to how the command ends.
void writeLastOutput(std::string_view text);
// To one of the two descriptors the beginning of the text, and how much that was: what a pipe that is writable
// takes without making anyone wait.
std::size_t writeBeginning(int descriptor, std::string_view text);
void writeError(std::string_view text);

// A line on standard error about one Gateway.
void complainOf(std::string_view gateway, std::string_view text);
std::string complaintOf(std::string_view gateway, std::string_view text);

bool outputIsTerminal();

}  // namespace tools::zolstat

#endif

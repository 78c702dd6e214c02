// The library's return codes, each with its name, its meaning and what to do about it.
// Not the exit codes of the tool (exit_code.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_RETURN_CODES_H
#define ZOLSTAT_RETURN_CODES_H

#include <span>
#include <string>

namespace tools::zolstat {

struct ReturnCode {
    int number;
    const char* name;
    const char* meaning;
};

// In the order of the header.
std::span<const ReturnCode> allReturnCodes();

// By number (with or without its sign) or by name; null if there is none.
const ReturnCode* findReturnCode(const std::string& text);

// What to do about it, as docs/return-codes.md tells it.
const char* adviceFor(const ReturnCode& code);

}  // namespace tools::zolstat

#endif

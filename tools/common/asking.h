// What programs know about asking a Gateway by the library: codes in words, and which names a query can carry.
// Not the place where a Gateway is asked (those of the tools).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef TOOLS_COMMON_ASKING_H
#define TOOLS_COMMON_ASKING_H

#include <string>

namespace tools {

// The library's code in words, with its number.
std::string explain(int code);

// Not a name that a Gateway may well list, but that a query cannot carry: an empty one, one that is too long,
// and one with ':', which separates names, or NUL, which ends them.
bool canBeAskedFor(const std::string& name);

}  // namespace tools

#endif

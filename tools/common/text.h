// Texts as a terminal may see them.
// Not the place for layout (table.h) or for where texts go (console.h).
// The protocol that the texts come by is written down in docs/protocol.md.
#ifndef TOOLS_COMMON_TEXT_H
#define TOOLS_COMMON_TEXT_H

#include <string>
#include <string_view>

namespace tools {

// The same text with each byte outside printable ASCII as \xNN: a Gateway, or whoever feeds it, must not be
// able to send control sequences to the user's terminal.
std::string printable(std::string_view bytes);

}  // namespace tools

#endif

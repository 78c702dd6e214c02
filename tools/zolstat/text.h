// Texts as a terminal may see them.
// Not the place for layout (table.h) or for where texts go (console.h).
// The protocol that the texts come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_TEXT_H
#define ZOLSTAT_TEXT_H

#include <string>
#include <string_view>

namespace zolstat {

// The same text with each byte outside printable ASCII as \xNN: a Gateway, or whoever feeds it, must not be
// able to send control sequences to the user's terminal.
std::string printable(std::string_view bytes);

// HOST:PORT, and [HOST]:PORT where the host has colons of its own.
std::string peerName(const std::string& host, int port);

}  // namespace zolstat

#endif

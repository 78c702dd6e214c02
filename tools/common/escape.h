// Bytes of a Gateway as text for programs: what is UTF-8, and escapes that can be undone.
// Not the escapes for people, which need not be undone (text.h).
// The protocol that the texts come by is written down in docs/protocol.md.
#ifndef TOOLS_COMMON_ESCAPE_H
#define TOOLS_COMMON_ESCAPE_H

#include <string>
#include <string_view>

namespace tools {

enum class Alphabet { Ascii, Utf8 };

bool isUtf8(std::string_view bytes);

// A backslash is doubled; each byte is written as \xNN that does not belong to a visible character of the
// alphabet. Those that steer a terminal or the direction of writing count as invisible. No two texts come out
// alike.
std::string escaped(std::string_view bytes, Alphabet alphabet);

}  // namespace tools

#endif

#pragma once
// Names made safe to show to a person. Pure, thread-safe.
#include <string>
#include <string_view>

namespace velmora {

/// Printable on a terminal, and never mistaken for another name: control characters become
/// visible escapes ("\n", "\t", "\x1b"), bytes that are not valid UTF-8 become "\xff", and
/// characters that are invisible or reorder the text around them (C1 controls, zero-width
/// characters, bidirectional overrides and isolates, the byte-order mark) become "\u202e". A
/// backslash itself is doubled, so the escapes are unambiguous: a name that holds the text
/// "\x1b" prints as "\\x1b". A hostile name can neither break a table, send escape sequences
/// to the terminal, nor pass for a different path.
std::string printable(std::string_view text);

}  // namespace velmora

#pragma once
// Text for people: sizes in human units, paths relative to the home folder, and names made
// safe to print on a terminal. Pure, thread-safe.
#include <cstdint>
#include <string>
#include <string_view>

namespace velmora {

/// Decimal units as desktop file managers show them: "0 bytes", "1 byte", "999 bytes",
/// "1.0 kB", "12.3 MB", "1.21 GB", "4.00 TB".
std::string formatBytes(int64_t bytes);

/// "~" for the home folder itself, "~/rest" below it, the path unchanged elsewhere.
std::string displayPath(std::string_view path, std::string_view home);

/// Printable on a terminal, and never mistaken for another name: control characters become
/// visible escapes ("\n", "\t", "\x1b"), bytes that are not valid UTF-8 become "\xff", and
/// characters that are invisible or reorder the text around them (C1 controls, zero-width
/// characters, bidirectional overrides and isolates, the byte-order mark) become "\u202e". A
/// backslash itself is doubled, so the escapes are unambiguous: a name that holds the text
/// "\x1b" prints as "\\x1b". A hostile name can neither break a table, send escape sequences
/// to the terminal, nor pass for a different path.
std::string printable(std::string_view text);

/// The number of terminal columns `text` occupies (UTF-8 code points; wide characters count 2).
size_t displayWidth(std::string_view text);

}  // namespace velmora

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

/// Printable on a terminal: control characters become visible escapes ("\n", "\t", "\x1b"),
/// invalid UTF-8 becomes U+FFFD, so a hostile name can neither break a table nor send escape
/// sequences to the terminal.
std::string printable(std::string_view text);

/// The number of terminal columns `text` occupies (UTF-8 code points; wide characters count 2).
size_t displayWidth(std::string_view text);

}  // namespace velmora

#pragma once
// Text for people: sizes in human units, paths relative to the home folder, and the width of
// text on a terminal. Pure, thread-safe.
#include <cstdint>
#include <string>
#include <string_view>

#include "CleanerCore/base/PrintableText.h"  // printable(), used with these everywhere

namespace velmora {

/// Decimal units as desktop file managers show them: "0 bytes", "1 byte", "999 bytes",
/// "1.0 kB", "12.3 MB", "1.21 GB", "4.00 TB".
std::string formatBytes(int64_t bytes);

/// A count with its noun: "1 file", "0 files", "2 other copies". English only: the nouns are
/// the caller's.
std::string countText(int64_t count, const char* one, const char* many);

/// "~" for the home folder itself, "~/rest" below it, the path unchanged elsewhere.
std::string displayPath(std::string_view path, std::string_view home);

/// The number of terminal columns `text` occupies (UTF-8 code points; wide characters count 2).
size_t displayWidth(std::string_view text);

/// `text` padded with spaces to `width` terminal columns, on the right (left-aligned) or on the
/// left (right-aligned); text already as wide is returned unchanged.
std::string padRight(std::string_view text, size_t width);
std::string padLeft(std::string_view text, size_t width);

}  // namespace velmora

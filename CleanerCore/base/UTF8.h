#pragma once
// Making bytes safe to put into JSON or on a screen: Linux names are bytes, JSON text is UTF-8.
#include <string>
#include <string_view>

namespace velmora {

/// `text` with every invalid UTF-8 sequence (a stray byte, a truncated sequence, an overlong
/// form, a surrogate, a value beyond U+10FFFF) replaced by U+FFFD. Pure, thread-safe.
std::string validUTF8(std::string_view text);

}  // namespace velmora

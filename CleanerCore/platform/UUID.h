#pragma once
// Random (version 4) UUIDs as canonical upper-case text, "XXXXXXXX-XXXX-4XXX-YXXX-XXXXXXXXXXXX".
// Thread-safe. The bytes come from OpenSSL's CSPRNG, falling back to getrandom(2); when the
// system offers no randomness at all the process aborts (nothing sensible can continue).
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// A fresh random UUID in canonical upper-case text.
std::string makeUUIDString();

/// `text` in canonical upper-case form when it is a UUID in the 8-4-4-4-12 hexadecimal form
/// (either case); nullopt otherwise.
std::optional<std::string> canonicalUUIDText(std::string_view text);

}  // namespace velmora

#pragma once
// Text helpers of resource relief: names of running applications come from desktop entries and
// process environments, so they are UTF-8 at best and hostile at worst. Pure, thread-safe.
#include <functional>
#include <string>
#include <string_view>

namespace velmora {

/// `text` without leading and trailing white space and line breaks, Unicode's included (no-break
/// space, the U+2000 spaces, line and paragraph separators, ideographic space, NEL).
std::string trimmedReliefText(std::string_view text);

/// Compares two names as a person expects to find them in a list: negative, zero or positive.
using DisplayNameComparator = std::function<int(std::string_view, std::string_view)>;

/// The default comparator: case-insensitive over Unicode code points, with simple case folding
/// of the Latin, Greek and Cyrillic letters; the accents of the Latin-1 letters count only
/// between names otherwise equal ("eclair" < "éclair" < "zeta"); names that differ only in case
/// compare equal (the rankings break that tie by identifier). A front end with a collation
/// library passes a locale-aware comparator instead.
int compareDisplayNamesCaseInsensitively(std::string_view a, std::string_view b);

}  // namespace velmora

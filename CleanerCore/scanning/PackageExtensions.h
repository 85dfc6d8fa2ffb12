#pragma once
// Directories with these extensions are packages (bundles): one unit to the user, whose
// contents are inventoried only when a location asks for package descendants. One set, shared
// by the scanner and the clean-time validation, so both agree on what a package is.
#include <string_view>

namespace velmora {

/// `lowercasedExtension` without the dot.
bool isPackageExtension(std::string_view lowercasedExtension);

}  // namespace velmora

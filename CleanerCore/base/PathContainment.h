#pragma once
// Path keys and containment, decided on the text alone (no link resolution, no file-system
// access; thread-safe).
//
// - Path key: standardized path, one trailing "/" removed; "/" for the root.
// - Containment: case-sensitive string equality or prefix + "/".
#include <string>
#include <string_view>

#include "CleanerCore/base/FileURL.h"

namespace velmora {

namespace StoragePathContainment {
/// Is `path` equal to `root` or below it? Standardizes both first.
bool pathIsWithin(std::string_view path, std::string_view root);
bool contains(const FileURL& item, const FileURL& root);
}  // namespace StoragePathContainment

/// Standardized path with one trailing "/" removed (no link resolution).
std::string lexicalPathKey(std::string_view path);

/// Is the path key `key` equal to the key `root` or below it? Both must already be keys.
bool keyIsWithin(std::string_view key, std::string_view root);

}  // namespace velmora

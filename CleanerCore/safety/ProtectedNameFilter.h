#pragma once
// A cheap pre-test for deep walks. The protected user-data rule is name-based, so when a folder
// is not protected, one of its children can only be protected if the child's own name takes
// part in a match. `nameMayCompleteProtectedPath` is true for every such name (and for some
// others); the walk runs the full rule only then, instead of splitting every path it meets.
// Contract: isProtectedUserDataPath(P, c) == false && isProtectedUserDataPath(P + "/" + n, c)
//           implies nameMayCompleteProtectedPath(n, c). Pure, thread-safe.
#include <string_view>

#include "CleanerCore/safety/PathConventions.h"

namespace velmora {

bool nameMayCompleteProtectedPath(std::string_view name, Catalogue catalogue);

}  // namespace velmora

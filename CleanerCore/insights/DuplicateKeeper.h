#pragma once
// Which copy of a duplicate group to keep, and why. Nothing is selected or moved: the
// recommendation only marks a keeper for the user.
//
// Location rank, from the components of the standardized path, first match wins, lower is
// better: "Documents" 0; "Pictures", "Movies", "Music" 1; "Desktop" 2; "Downloads" 3;
// "Library" 4; anything else 2 (with Desktop, ahead of Downloads and Library, on purpose).
// The `linux` catalogue also ranks "Videos" with "Movies" and ".local" with "Library".
//
// Pure functions, thread-safe.
#include <optional>
#include <string_view>

#include "CleanerCore/insights/InsightModel.h"
#include "CleanerCore/safety/PathConventions.h"

namespace velmora {

int duplicateLocationRank(std::string_view standardizedPath, Catalogue catalogue);

/// True when `a` is a better keeper than `b`: lower location rank; else the older modification
/// date (a missing date counts as the distant future); else the smaller path as bytes. A file
/// is never better than itself or than a file with the same rank, date and path.
bool isBetterDuplicateKeeper(const FileInsight& a, const FileInsight& b, Catalogue catalogue);

/// The best file of `group` and the reasons it won, each at most once, in declaration order:
/// `preferredLocation` when another file has a greater rank; `olderModificationDate` when
/// another file of the keeper's rank has a later date, or no date while the keeper has one;
/// `deterministicPathTieBreak` when another file has the keeper's rank and an equal date (both
/// missing counts as equal). nullopt for a group without files.
std::optional<DuplicateKeeperRecommendation> recommendDuplicateKeeper(
    const DuplicateFileGroup& group, Catalogue catalogue);

}  // namespace velmora

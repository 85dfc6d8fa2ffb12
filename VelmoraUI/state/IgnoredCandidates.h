#pragma once
// What the person's ignore list does to a scan: the candidates it names stay out of the report
// that is shown and out of every default selection, and their number is told. The command line
// and the desktop application share these, so both hide exactly the same candidates. Pure;
// thread-safe.
#include <cstddef>
#include <string>
#include <unordered_set>

#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

/// Whether `candidate` is one of `activeIgnoredIDs` (`CleanupIgnoreStore::activeIgnoredIDs`),
/// compared through `ignoreMatchKey`.
bool isIgnoredCandidate(const CleanupCandidate& candidate,
                        const std::unordered_set<std::string>& activeIgnoredIDs);

/// Removes the ignored candidates from `report`, keeping the order of the others, and returns
/// how many were removed: the ignored count the person is told. Skipped items and roots stay.
size_t hideIgnoredCandidates(ScanReport& report,
                             const std::unordered_set<std::string>& activeIgnoredIDs);

}  // namespace velmora

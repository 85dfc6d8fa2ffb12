#pragma once
// Whether an insight finding may be offered for "Move to Trash": the file must lie under a live
// root of the cleanup fence built from the insight scan's roots, and pass the clean-time path
// rules (inside an allowed root, not another user's, not critical, not protected user data, not
// a symbolic link). Offering is not cleaning: the cleaning service checks the item again, with
// its identity, when the person confirms.
//
// Building reads the roots' identities; `allows` reads the file's attributes. Immutable after
// construction; concurrent calls are safe.
#include <string>
#include <vector>

#include "CleanerCore/insights/InsightModel.h"
#include "CleanerCore/insights/InsightScanRoots.h"
#include "CleanerCore/policy/CleanupEligibilityPolicy.h"

namespace velmora {

struct MacStorageInsightCleanupAllowance {
    CleanupEligibilityPolicy eligibility;
    SafePathPolicy paths;

    /// The fence and rules for the given insight roots under `home`; the scanner's visit limit
    /// is the natural descendant limit for a finding's validation.
    static MacStorageInsightCleanupAllowance make(const std::vector<InsightScanRoot>& roots,
                                                  const std::string& home, Catalogue catalogue,
                                                  int64_t descendantLimit);

    bool allows(const FileInsight& insight) const;

    /// The scan locations the fence was built from (one per root, hidden files included, since
    /// the insight scan lists them); the cleaning service needs the same ones.
    std::vector<ScanLocation> locations;
};

}  // namespace velmora

#pragma once
// The scan a saved review profile asks for. A profile only narrows: it sets its scan mode,
// keeps only the catalogue locations of its categories, and keeps custom folders (typed for
// the run or kept in the preferences) only when it includes them. Whether the ignore list still
// applies is the profile's `respectsIgnoreAndSnoozeRules`. Pure; thread-safe.
#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/state/CleanupReviewProfile.h"

namespace velmora {

/// `base` narrowed by `profile`. Categories `base` already narrows to stay narrowed: the result
/// scans the categories both name. The home folder, catalogue and direct-mode permission of
/// `base` are kept.
ScanRequest scanRequestForProfile(const CleanupReviewProfile& profile, ScanRequest base);

}  // namespace velmora

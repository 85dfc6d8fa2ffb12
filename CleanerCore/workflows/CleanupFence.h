#pragma once
// The fence every cleanup and restore of a scan setup is held to: the running user's home
// Trash, and the eligibility policy built from the same locations the scan used (so that
// nothing can be cleaned that a scan of those locations would not offer). Reads nothing;
// thread-safe.
#include "CleanerCore/platform/Trash.h"
#include "CleanerCore/policy/CleanupEligibilityPolicy.h"
#include "CleanerCore/workflows/ScanSetup.h"

namespace velmora {

/// The home Trash of `environment` for the running user.
Trash homeTrash(const UserEnvironment& environment);

/// The policy of `setup`'s locations, with its home folder, catalogue and protected places.
CleanupEligibilityPolicy cleanupPolicy(const ScanSetup& setup);

}  // namespace velmora

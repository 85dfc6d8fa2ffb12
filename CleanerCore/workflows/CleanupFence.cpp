#include "CleanerCore/workflows/CleanupFence.h"

#include <unistd.h>

namespace velmora {

Trash homeTrash(const UserEnvironment& environment) {
    return Trash({environment.xdgDataHome, ::getuid()});
}

CleanupEligibilityPolicy cleanupPolicy(const ScanSetup& setup) {
    return CleanupEligibilityPolicy::make(
        setup.locations, kDefaultValidationDescendantLimit, std::nullopt,
        SafePathPolicy::make({}, setup.environment.home, setup.folders.catalogue,
                             setup.protectedPlaces));
}

}  // namespace velmora

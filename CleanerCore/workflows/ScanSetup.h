#pragma once
// What a cleanup scan needs before it starts: the user's folders, the catalogue, the locations
// of the chosen mode and the custom folders. Shared by the command and the desktop application
// so that both scan (and later fence cleaning) with exactly the same locations.
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/base/Cancellation.h"
#include "CleanerCore/base/Result.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/safety/PathConventions.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "CleanerCore/scanning/StorageProfiles.h"

namespace velmora {

struct ScanRequest {
    std::optional<std::string> homeOverride;
    Catalogue catalogue = hostCatalogue();
    CleanupScanMode mode = CleanupScanMode::standard;
    bool allowDirect = false;
    std::vector<std::string> customFolders;  ///< as the user typed them (relative to the cwd)
    /// Only the catalogue locations of these categories are scanned (a review profile narrows a
    /// scan this way); none: every location of the mode. Custom folders are not affected.
    std::optional<std::vector<CleanupCategory>> categories;
    /// Kept custom folders that cannot be scanned this time (stale or unresolvable grants);
    /// reported with the skipped roots, ahead of everything else.
    std::vector<SkippedItem> unavailableCustomFolders;
};

struct ScanSetup {
    UserEnvironment environment;
    ProfileFolders folders;
    /// The Trash and Velmora's own folders of this environment; the scanner, the cleaner and
    /// the restore carry them in their path rules.
    ProtectedPlaces protectedPlaces;
    /// Every location passed the root checks; catalogue roots that failed them are left out
    /// and reported here, ahead of the scan's own skipped items.
    std::vector<ScanLocation> locations;
    std::vector<SkippedItem> skippedRoots;
    bool usedSandboxedCatalogue = false;
    /// Set when direct mode was asked for without permission and standard was used instead.
    bool fellBackToStandard = false;
};

/// Builds the locations. A home folder that belongs to another user, or a custom folder that
/// fails validation, refuses the whole request with a message (nothing is scanned). Reads the
/// file system; thread-safe.
Result<ScanSetup> prepareScan(const ScanRequest& request, const CancellationToken& cancel);

/// The root checks for `environment`: its home folder, the Trash and Velmora's own folders
/// protected, its XDG user folders refused as roots. The same rules `prepareScan` applies.
ScanRootRules scanRootRules(const UserEnvironment& environment, Catalogue catalogue);

/// The XDG user folders of `environment`: those named in `<config>/user-dirs.dirs`, the English
/// defaults below the home folder for the others.
std::vector<std::string> userFolders(const UserEnvironment& environment);

}  // namespace velmora

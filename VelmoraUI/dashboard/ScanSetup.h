#pragma once
// What a cleanup scan needs before it starts: the user's folders, the catalogue, the locations
// of the chosen mode and the custom folders. Shared by the command and the desktop application
// so that both scan (and later fence cleaning) with exactly the same locations.
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/scanning/Cancellation.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "CleanerCore/scanning/PathConventions.h"
#include "CleanerCore/scanning/Result.h"
#include "CleanerCore/scanning/StorageProfiles.h"

namespace velmora {

struct ScanRequest {
    std::optional<std::string> homeOverride;
    Catalogue catalogue = hostCatalogue();
    CleanupScanMode mode = CleanupScanMode::standard;
    bool allowDirect = false;
    std::vector<std::string> customFolders;  ///< as the user typed them (relative to the cwd)
};

struct ScanSetup {
    UserEnvironment environment;
    ProfileFolders folders;
    std::vector<ScanLocation> locations;
    bool usedSandboxedCatalogue = false;
    /// Set when direct mode was asked for without permission and standard was used instead.
    bool fellBackToStandard = false;
};

/// Builds the locations. A custom folder that fails validation refuses the whole request with
/// the validation's message (nothing is scanned). Reads the file system; thread-safe.
Result<ScanSetup> prepareScan(const ScanRequest& request, const CancellationToken& cancel);

}  // namespace velmora

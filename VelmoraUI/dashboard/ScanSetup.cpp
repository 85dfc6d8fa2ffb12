#include "VelmoraUI/dashboard/ScanSetup.h"

#include <unistd.h>

#include <climits>

#include "CleanerCore/scanning/FileURL.h"

namespace velmora {

namespace {

std::string absolutePath(const std::string& path) {
    if (!path.empty() && path.front() == '/') return standardizePath(path);
    char cwd[PATH_MAX];
    if (::getcwd(cwd, sizeof cwd) == nullptr) return standardizePath("/" + path);
    return appendingPathComponent(cwd, path);
}

}  // namespace

Result<ScanSetup> prepareScan(const ScanRequest& request, const CancellationToken& cancel) {
    ScanSetup setup;
    setup.environment = currentUserEnvironment(request.homeOverride);
    const UserEnvironment& env = setup.environment;
    setup.folders.home = env.home;
    setup.folders.cacheHome = env.xdgCacheHome;
    setup.folders.dataHome = env.xdgDataHome;
    setup.folders.temporaryFolder = env.temporaryFolder;
    setup.folders.catalogue = request.catalogue;

    std::vector<ScanLocation> custom;
    for (const auto& folder : request.customFolders) {
        std::string path = absolutePath(folder);
        if (auto error = validateCustomScanFolder(path, env.home, request.catalogue)) {
            return fail(error->description());
        }
        custom.push_back(StorageProfiles::customFolderLocation(
            path, StorageProfiles::customFolderDisplayName(path)));
    }

    if (env.isSandboxed) {
        setup.locations = StorageProfiles::sandboxedLocations(setup.folders);
        setup.usedSandboxedCatalogue = true;
    } else {
        setup.fellBackToStandard = request.mode == CleanupScanMode::direct && !request.allowDirect;
        setup.locations =
            StorageProfiles::locations(request.mode, setup.folders, request.allowDirect, cancel);
    }
    for (auto& l : custom) setup.locations.push_back(std::move(l));
    return setup;
}

}  // namespace velmora

#include "CleanerCore/workflows/ScanSetup.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <sstream>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/insights/InsightScanRoots.h"
#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

namespace {

std::string absolutePath(const std::string& path) {
    if (!path.empty() && path.front() == '/') return standardizePath(path);
    char cwd[PATH_MAX];
    if (::getcwd(cwd, sizeof cwd) == nullptr) return standardizePath("/" + path);
    return appendingPathComponent(cwd, path);
}

}  // namespace

std::vector<std::string> userFolders(const UserEnvironment& environment) {
    static constexpr std::pair<const char*, const char*> kFolders[] = {
        {"XDG_DESKTOP_DIR", "Desktop"},     {"XDG_DOWNLOAD_DIR", "Downloads"},
        {"XDG_TEMPLATES_DIR", "Templates"}, {"XDG_PUBLICSHARE_DIR", "Public"},
        {"XDG_DOCUMENTS_DIR", "Documents"}, {"XDG_MUSIC_DIR", "Music"},
        {"XDG_PICTURES_DIR", "Pictures"},   {"XDG_VIDEOS_DIR", "Videos"}};
    std::ostringstream text;
    if (std::ifstream in(appendingPathComponent(environment.xdgConfigHome, "user-dirs.dirs"),
                         std::ios::binary);
        in) {
        text << in.rdbuf();
    }
    std::vector<std::string> out;
    for (const auto& [key, name] : kFolders) {
        auto named = xdgUserDirectory(text.str(), key, environment.home);
        out.push_back(named ? *named : appendingPathComponent(environment.home, name));
    }
    return out;
}

ScanRootRules scanRootRules(const UserEnvironment& environment, Catalogue catalogue) {
    return ScanRootRules::make(
        environment.home, catalogue,
        ProtectedPlaces::forFolders(environment.xdgDataHome, environment.xdgConfigHome),
        userFolders(environment));
}

Result<ScanSetup> prepareScan(const ScanRequest& request, const CancellationToken& cancel) {
    ScanSetup setup;
    setup.environment = currentUserEnvironment(request.homeOverride);
    const UserEnvironment& env = setup.environment;
    // Cleaning as one user in another user's home would leave items they cannot restore and a
    // Trash and history they do not own.
    if (auto st = statPath(env.home); st && st->st_uid != ::geteuid()) {
        return fail("the home folder " + env.home +
                    " belongs to another user. Velmora works only on a home folder that you "
                    "own; nothing was scanned or changed.");
    }
    setup.protectedPlaces = ProtectedPlaces::forFolders(env.xdgDataHome, env.xdgConfigHome);
    const ScanRootRules rules = scanRootRules(env, request.catalogue);
    setup.skippedRoots = request.unavailableCustomFolders;
    setup.folders.home = env.home;
    setup.folders.cacheHome = env.xdgCacheHome;
    setup.folders.dataHome = env.xdgDataHome;
    setup.folders.temporaryFolder = env.temporaryFolder;
    setup.folders.catalogue = request.catalogue;

    std::vector<ScanLocation> custom;
    for (const auto& folder : request.customFolders) {
        std::string path = absolutePath(folder);
        if (auto error = validateCustomScanFolder(path, rules)) {
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
    if (request.categories) {
        // Left out before the root checks, so a narrowed scan reports nothing about roots it
        // was never asked to scan.
        const auto& wanted = *request.categories;
        std::erase_if(setup.locations, [&](const ScanLocation& l) {
            return std::find(wanted.begin(), wanted.end(), l.category) == wanted.end();
        });
    }
    // Catalogue roots come from the environment, so they pass the same checks as a custom folder.
    // A root that is itself a symbolic link to a folder (a cache kept on another disk) passes
    // them on its path and on the folder it leads to, and is then scanned, fenced and cleaned as
    // that folder: nothing below it is ever reached through the link.
    std::vector<ScanLocation> admitted;
    for (auto& l : setup.locations) {
        if (auto refusal = checkScanRoot(l.rootURL.path, rules)) {
            setup.skippedRoots.push_back(
                {FileURL::directory(l.rootURL.path), description(*refusal)});
            continue;
        }
        if (auto link = lstatPath(l.rootURL.path); link && S_ISLNK(link->st_mode)) {
            if (auto target = statPath(l.rootURL.path); target && S_ISDIR(target->st_mode))
                l.rootURL = FileURL::directory(resolvingSymlinksInPath(l.rootURL.path));
        }
        admitted.push_back(std::move(l));
    }
    setup.locations = std::move(admitted);
    for (auto& l : custom) setup.locations.push_back(std::move(l));
    return setup;
}

}  // namespace velmora

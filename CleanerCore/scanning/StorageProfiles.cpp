#include "CleanerCore/scanning/StorageProfiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "CleanerCore/base/Text.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/safety/PathRules.h"

namespace velmora {

ProfileFolders ProfileFolders::defaults(const std::string& home, Catalogue catalogue) {
    ProfileFolders f;
    f.home = standardizePath(home);
    f.cacheHome = appendingPathComponent(f.home, ".cache");
    f.dataHome = appendingPathComponent(f.home, ".local/share");
    f.temporaryFolder = "/tmp";
    f.catalogue = catalogue;
    return f;
}

namespace StorageProfiles {

namespace {

using K = CleanupCategory;
using S = CleanupSafety;

ScanLocation location(const std::string& root, K category, std::string displayName, bool selected,
                      S safety, double minimumAge, bool hidden, bool packages) {
    ScanLocation l;
    l.rootURL = FileURL::directory(root);
    l.category = category;
    l.displayName = std::move(displayName);
    l.depth = ScanDepth::immediateChildren;
    l.isSelectedByDefault = selected;
    l.safety = safety;
    l.minimumModificationAge = minimumAge;
    l.includesHiddenFiles = hidden;
    l.includesPackageDescendants = packages;
    return l;
}

std::string under(const std::string& base, const std::string& relative) {
    return appendingPathComponent(base, relative);
}

// "~/..." when `path` lies in the home folder, else the path itself.
std::string tildeName(const std::string& path, const std::string& home) {
    if (home != "/" && StoragePathContainment::pathIsWithin(path, home)) {
        return path == home ? "~" : "~" + path.substr(home.size());
    }
    return path;
}

// Group container names are "group.<id>" or "<TEAMID>.<id>"; the id is the likely bundle id.
std::optional<std::string> bundleIdentifierFromGroupName(const std::string& name) {
    if (name.starts_with("group.") && name.size() > 6) return name.substr(6);
    auto dot = name.find('.');
    if (dot == 10 && dot + 1 < name.size() &&
        std::all_of(name.begin(), name.begin() + 10,
                    [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); })) {
        return name.substr(11);
    }
    return std::nullopt;
}

struct DirectRoot {
    const char* relative;
    const char* displayName;
    K category;
    bool underCacheHome;  // linux: relative to $XDG_CACHE_HOME instead of home
};

}  // namespace

std::vector<CleanupScanMode> permittedModes(bool directModePermitted) {
    if (directModePermitted) {
        return {CleanupScanMode::standard, CleanupScanMode::aggressive, CleanupScanMode::direct};
    }
    return {CleanupScanMode::standard, CleanupScanMode::aggressive};
}

std::vector<ScanLocation> locations(CleanupScanMode mode, const ProfileFolders& folders,
                                    bool directModePermitted, const CancellationToken& cancel) {
    auto permitted = permittedModes(directModePermitted);
    if (std::find(permitted.begin(), permitted.end(), mode) == permitted.end()) {
        mode = CleanupScanMode::standard;
    }
    switch (mode) {
        case CleanupScanMode::standard:
            return standardLocations(folders);
        case CleanupScanMode::aggressive:
            return aggressiveLocations(folders, cancel);
        case CleanupScanMode::direct:
            return directLocations(folders, cancel);
    }
    return standardLocations(folders);
}

std::vector<ScanLocation> standardLocations(const ProfileFolders& f) {
    const std::string& h = f.home;
    if (f.catalogue == Catalogue::linux) {
        return {
            location(f.cacheHome, K::userCaches, tildeName(f.cacheHome, h), true, S::safe, kOneDay,
                     false, false),
            location(under(f.dataHome, "xorg"), K::userLogs,
                     tildeName(under(f.dataHome, "xorg"), h), true, S::safe, kOneDay, false, false),
        };
    }
    return {
        location(under(h, "Library/Caches"), K::userCaches, "~/Library/Caches", true, S::safe,
                 kOneDay, false, false),
        location(under(h, "Library/Logs"), K::userLogs, "~/Library/Logs", true, S::safe, kOneDay,
                 false, false),
        location(under(h, "Library/Developer/Xcode/DerivedData"), K::xcodeDerivedData,
                 "Xcode DerivedData", false, S::caution, kOneDay, false, false),
        location(under(h, "Library/Developer/CoreSimulator/Caches"), K::simulatorCaches,
                 "Simulator Caches", false, S::caution, kOneDay, false, false),
    };
}

std::vector<ScanLocation> aggressiveLocations(const ProfileFolders& f,
                                              const CancellationToken& cancel) {
    std::vector<ScanLocation> out;
    for (ScanLocation l : standardLocations(f)) {
        l.isSelectedByDefault = false;
        if (l.safety == S::safe) l.safety = S::caution;
        l.minimumModificationAge = 0;
        l.includesHiddenFiles = true;
        l.includesPackageDescendants = true;
        l.rootURL = FileURL::directory(l.rootURL.path);
        l.appCacheContext.reset();
        out.push_back(std::move(l));
    }
    auto append = [&out](std::vector<ScanLocation> more) {
        std::move(more.begin(), more.end(), std::back_inserter(out));
    };
    const std::string& h = f.home;
    if (f.catalogue == Catalogue::linux) {
        if (cancel.isCancellationRequested()) return out;
        append(containerCacheLocations(under(h, ".var/app"), "cache", K::appContainerCaches,
                                       "App Container Cache", f.catalogue, cancel));
        if (cancel.isCancellationRequested()) return out;
        append(containerCacheLocations(under(h, "snap"), "common/.cache", K::appContainerCaches,
                                       "Snap App Cache", f.catalogue, cancel));
        return out;
    }
    out.push_back(location(under(h, "Library/Developer/Xcode/iOS DeviceSupport"),
                           K::xcodeDeviceSupport, "Xcode iOS DeviceSupport", false, S::manualReview,
                           kOneDay, true, true));
    if (cancel.isCancellationRequested()) return out;
    append(containerCacheLocations(under(h, "Library/Containers"), "Data/Library/Caches",
                                   K::appContainerCaches, "App Container Cache", f.catalogue,
                                   cancel));
    if (cancel.isCancellationRequested()) return out;
    append(containerCacheLocations(under(h, "Library/Group Containers"), "Library/Caches",
                                   K::groupContainerCaches, "Group Container Cache", f.catalogue,
                                   cancel));
    if (cancel.isCancellationRequested()) return out;
    append(containerCacheLocations(under(h, "Library/Developer/CoreSimulator/Devices"),
                                   "data/Library/Caches", K::simulatorCaches,
                                   "Simulator Device Cache", f.catalogue, cancel));
    return out;
}

std::vector<ScanLocation> directLocations(const ProfileFolders& f,
                                          const CancellationToken& cancel) {
    static constexpr DirectRoot kMacos[] = {
        {"Library/Developer/Xcode/Archives", "Xcode Archives", K::buildArchives, false},
        {"Library/Developer/Xcode/Products", "Xcode Products", K::developerToolCaches, false},
        {".cache", "~/.cache", K::developerToolCaches, false},
        {"Library/Caches/Homebrew", "Homebrew Cache", K::packageManagerCaches, false},
        {"Library/Caches/pip", "pip Cache", K::packageManagerCaches, false},
        {"Library/Caches/pypoetry", "Poetry Cache", K::packageManagerCaches, false},
        {".npm/_cacache", "npm Cache", K::packageManagerCaches, false},
        {".pnpm-store", "pnpm Store", K::packageManagerCaches, false},
        {".gradle/caches", "Gradle Caches", K::packageManagerCaches, false},
        {".yarn/berry/cache", "Yarn Berry Cache", K::packageManagerCaches, false},
        {".cargo/registry/cache", "Cargo Registry Cache", K::packageManagerCaches, false},
        {".cargo/git/checkouts", "Cargo Git Checkouts", K::packageManagerCaches, false},
    };
    // ~/.cache as a whole is already the user-cache root of the linux catalogue.
    static constexpr DirectRoot kLinux[] = {
        {"go-build", "Go Build Cache", K::developerToolCaches, true},
        {"pip", "pip Cache", K::packageManagerCaches, true},
        {"pypoetry", "Poetry Cache", K::packageManagerCaches, true},
        {"yarn", "Yarn Cache", K::packageManagerCaches, true},
        {".npm/_cacache", "npm Cache", K::packageManagerCaches, false},
        {".local/share/pnpm/store", "pnpm Store", K::packageManagerCaches, false},
        {".pnpm-store", "pnpm Store", K::packageManagerCaches, false},
        {".gradle/caches", "Gradle Caches", K::packageManagerCaches, false},
        {".m2/repository", "Maven Repository", K::packageManagerCaches, false},
        {".yarn/berry/cache", "Yarn Berry Cache", K::packageManagerCaches, false},
        {".cargo/registry/cache", "Cargo Registry Cache", K::packageManagerCaches, false},
        {".cargo/git/checkouts", "Cargo Git Checkouts", K::packageManagerCaches, false},
    };
    std::vector<ScanLocation> out = aggressiveLocations(f, cancel);
    const std::string home = standardizePath(f.home);
    const std::string resolvedHome = resolvingSymlinksInPath(home);
    auto withinHome = [&](const std::string& p) {
        return StoragePathContainment::pathIsWithin(p, home) ||
               StoragePathContainment::pathIsWithin(p, resolvedHome);
    };
    auto admit = [&](const DirectRoot& r) {
        std::string root =
            standardizePath(under(r.underCacheHome ? f.cacheHome : home, r.relative));
        if (isProtectedUserDataPath(root, f.catalogue) || !withinHome(root)) return;
        auto st = lstatPath(root);
        if (!st || S_ISLNK(st->st_mode) || !S_ISDIR(st->st_mode)) return;
        std::string resolved = resolvingSymlinksInPath(root);
        if (isProtectedUserDataPath(resolved, f.catalogue) || !withinHome(resolved)) return;
        out.push_back(
            location(root, r.category, r.displayName, false, S::manualReview, kOneDay, true, true));
    };
    if (f.catalogue == Catalogue::linux) {
        for (const auto& r : kLinux) {
            if (cancel.isCancellationRequested()) break;
            admit(r);
        }
    } else {
        for (const auto& r : kMacos) {
            if (cancel.isCancellationRequested()) break;
            admit(r);
        }
    }
    return out;
}

std::vector<ScanLocation> sandboxedLocations(const ProfileFolders& f) {
    std::string caches =
        f.catalogue == Catalogue::linux ? f.cacheHome : under(f.home, "Library/Caches");
    return {
        location(caches, K::appSandboxCaches, "App Caches", true, S::safe, 0, true, true),
        location(f.temporaryFolder, K::temporaryFiles, "Temporary Files", false, S::caution,
                 kOneDay, true, true),
    };
}

std::vector<ScanLocation> containerCacheLocations(
    const std::string& parent, const std::string& relativeCachePath, CleanupCategory category,
    const std::string& displayPrefix, Catalogue catalogue, const CancellationToken& cancel) {
    std::vector<ScanLocation> out;
    UniqueFd dir = openDirectoryNoFollow(standardizePath(parent));
    if (!dir) return out;
    std::vector<std::string> names;
    if (!forEachDirectoryEntry(
            dir.get(), [&](const char* name, unsigned char) { names.emplace_back(name); })) {
        return out;
    }
    for (const auto& name : names) {
        if (cancel.isCancellationRequested()) continue;
        struct stat st {};
        if (::fstatat(dir.get(), name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (S_ISLNK(st.st_mode) || !S_ISDIR(st.st_mode)) continue;
        std::string entryPath = under(parent, name);
        std::string root = under(entryPath, relativeCachePath);
        if (isProtectedUserDataPath(root, catalogue)) continue;
        auto rootStat = statPath(root);
        if (!rootStat || !S_ISDIR(rootStat->st_mode)) continue;
        ScanLocation l = location(root, category, displayPrefix + ": " + name, false,
                                  S::manualReview, 0, true, true);
        std::string identifier = trimmedWhitespace(name);
        if (category == K::appContainerCaches) {
            l.appCacheContext = AppCacheContext{AppCacheContainerKind::appContainer,
                                                identifier,
                                                identifier,
                                                std::nullopt,
                                                std::nullopt,
                                                AppCacheRunningState::unknown,
                                                AppCacheIdentitySource::appContainerPath};
        } else if (category == K::groupContainerCaches) {
            l.appCacheContext =
                AppCacheContext{AppCacheContainerKind::groupContainer,
                                identifier,
                                bundleIdentifierFromGroupName(identifier),
                                std::nullopt,
                                std::nullopt,
                                AppCacheRunningState::unknown,
                                AppCacheIdentitySource::groupContainerPossibleMatch};
        }
        out.push_back(std::move(l));
    }
    return out;
}

std::string customFolderDisplayName(const std::string& path) {
    std::string standardized = standardizePath(path);
    std::string last = lastPathComponent(standardized);
    return last.empty() || last == "/" ? standardized : last;
}

ScanLocation customFolderLocation(const std::string& path, const std::string& displayName) {
    return location(path, K::customFolder, displayName, false, S::manualReview, kOneDay, false,
                    false);
}

}  // namespace StorageProfiles

std::string CustomScanFolderError::description() const {
    return (kind == Kind::notDirectory
                ? "Selected item is not an accessible folder: "
                : "Selected folder is too broad or protected for cleanup scanning: ") +
           path;
}

ScanRootRules ScanRootRules::make(const std::string& home, Catalogue catalogue,
                                  ProtectedPlaces protectedPlaces,
                                  std::vector<std::string> userFolders) {
    ScanRootRules rules;
    rules.paths = SafePathPolicy::make({}, home, catalogue, std::move(protectedPlaces));
    for (auto& folder : userFolders) folder = lexicalPathKey(folder);
    rules.userFolders = std::move(userFolders);
    rules.owner = ::geteuid();
    return rules;
}

std::string description(ScanRootRefusal refusal) {
    switch (refusal) {
        case ScanRootRefusal::tooBroad:
            return "This folder is your home folder or contains it, so it is not scanned for "
                   "cleanup.";
        case ScanRootRefusal::userFolder:
            return "This folder is one of your personal folders (such as Documents) or contains "
                   "one, so it is not scanned for cleanup.";
        case ScanRootRefusal::systemFolder:
            return "This folder belongs to the operating system, so it is not scanned for "
                   "cleanup.";
        case ScanRootRefusal::otherUser:
            return "This folder is in another user's area, so it is not scanned for cleanup.";
        case ScanRootRefusal::protectedData:
            return "This folder holds or contains protected data, such as the Trash or Velmora's "
                   "history, so it is not scanned for cleanup.";
        case ScanRootRefusal::notOwned:
            return "This folder belongs to another user, so it is not scanned for cleanup.";
    }
    return {};
}

const std::vector<std::string>& systemFolders() {
    static const std::vector<std::string> folders = {
        // Linux
        "/bin", "/boot", "/dev", "/etc", "/lib", "/lib32", "/lib64", "/libx32", "/lost+found",
        "/opt", "/proc", "/root", "/run", "/sbin", "/snap", "/srv", "/sys", "/usr", "/var",
        // macOS
        "/Applications", "/Library", "/System", "/cores", "/private/etc", "/private/var"};
    return folders;
}

std::optional<ScanRootRefusal> checkScanRoot(const std::string& path, const ScanRootRules& rules) {
    using R = ScanRootRefusal;
    const SafePathPolicy& policy = rules.paths;
    const std::string lexical = lexicalPathKey(path);
    const std::string resolved = lexicalPathKey(resolvingSymlinksInPath(lexical));
    const std::string homes[] = {policy.homeLexicalKey, policy.homePathKey};
    auto inHome = [&](const std::string& key) {
        for (const auto& h : homes) {
            if (!h.empty() && h != "/" && StoragePathContainment::pathIsWithin(key, h)) return true;
        }
        return false;
    };
    for (const std::string& key : {lexical, resolved}) {
        if (key == "/") return R::tooBroad;
        for (const auto& h : homes) {
            // The home folder itself, or any folder that contains it, is far too broad.
            if (!h.empty() && StoragePathContainment::pathIsWithin(h, key)) return R::tooBroad;
        }
        if (auto refusal = policy.checkAreaAndCriticality(key)) {
            return refusal->kind == CleaningError::Kind::criticalPath ? R::systemFolder
                                                                      : R::otherUser;
        }
        // Removable drives are mounted in /run/media/<user>, and a sandbox's temporary folder
        // lies in /run/user/<uid>: they hold the user's own data, not the system's.
        const bool userAreaOfRun = StoragePathContainment::pathIsWithin(key, "/run/media") ||
                                   StoragePathContainment::pathIsWithin(key, "/run/user");
        if (!inHome(key) && !userAreaOfRun) {
            for (const auto& system : systemFolders()) {
                if (StoragePathContainment::pathIsWithin(key, system)) return R::systemFolder;
            }
        }
        for (const auto& folder : rules.userFolders) {
            if (StoragePathContainment::pathIsWithin(folder, key)) return R::userFolder;
        }
        if (isProtectedUserDataPath(key, policy.catalogue)) return R::protectedData;
    }
    if (policy.protectedPlaces.relationTo(lexical, resolved) != ProtectedPlaces::Relation::none) {
        return R::protectedData;
    }
    if (auto st = statPath(lexical); st && st->st_uid != rules.owner) return R::notOwned;
    return std::nullopt;
}

std::optional<CustomScanFolderError> validateCustomScanFolder(const std::string& path,
                                                              const ScanRootRules& rules) {
    using E = CustomScanFolderError;
    const std::string standardized = standardizePath(path);
    auto st = statPath(standardized);
    if (!st || !S_ISDIR(st->st_mode)) return E{E::Kind::notDirectory, standardized};
    auto link = lstatPath(standardized);
    if (!link || S_ISLNK(link->st_mode) || checkScanRoot(standardized, rules)) {
        return E{E::Kind::unsafeRoot, standardized};
    }
    return std::nullopt;
}

}  // namespace velmora

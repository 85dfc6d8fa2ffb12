#include "CleanerCore/cleaning/CleanupValidation.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <vector>

#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/platform/MountIdentity.h"
#include "CleanerCore/safety/PathRules.h"
#include "CleanerCore/safety/ProtectedNameFilter.h"
#include "CleanerCore/scanning/PackageExtensions.h"

namespace velmora {

namespace {

using K = CleaningError::Kind;

// Deeper than any real tree; keeps a hostile one from exhausting descriptors.
constexpr int kMaximumWalkDepth = 2048;

ValidationStop refusal(K kind, std::string path) {
    return ValidationStop{false, CleaningError{kind, std::move(path)}, std::nullopt};
}

ValidationStop refusal(std::string reason) {
    return ValidationStop{false, {}, std::move(reason)};
}

class ValidationWalk {
  public:
    ValidationWalk(const CleanupValidationOptions& options, Catalogue catalogue,
                   const CancellationQuery& cancel, std::string candidatePath, MountPlace place)
        : options_(options),
          catalogue_(catalogue),
          cancel_(cancel),
          candidatePath_(std::move(candidatePath)),
          place_(place) {}

    std::optional<ValidationStop> walk(int dirFd, std::string& path, bool hidden, bool inPackage,
                                       int depth) {
        std::vector<std::string> names;
        if (!forEachDirectoryEntry(
                dirFd, [&](const char* name, unsigned char) { names.emplace_back(name); })) {
            return refusal(K::unreadableAttributes, path);
        }
        for (const auto& name : names) {
            if (cancel_ && cancel_()) return ValidationStop{true, {}, std::nullopt};
            const size_t parentLength = path.size();
            path += '/';
            path += name;
            auto stop = visit(dirFd, name, path, hidden, inPackage, depth);
            path.resize(parentLength);
            if (stop || snapshot.noTouchDescendantURL) return stop;
        }
        return std::nullopt;
    }

    CleanupValidationSnapshot snapshot;

  private:
    std::optional<ValidationStop> visit(int dirFd, const std::string& name, std::string& path,
                                        bool parentHidden, bool inPackage, int depth) {
        // The candidate itself passed the protection rule, so only a name that can complete a
        // protected path needs the full (allocation-heavy) test.
        if (nameMayCompleteProtectedPath(name, catalogue_) &&
            isProtectedUserDataPath(path, catalogue_)) {
            snapshot.noTouchDescendantURL = FileURL(path);
            return std::nullopt;
        }
        if (++traversed_ > options_.maximumTraversalItems) {
            return refusal(K::cleanupValidationItemLimitExceeded, candidatePath_);
        }
        auto node = statWithMountAt(dirFd, name.c_str());
        if (!node) return refusal(K::unreadableAttributes, path);
        const struct stat& st = node->st;
        if (S_ISLNK(st.st_mode)) return std::nullopt;  // neither followed nor counted
        // Whatever is mounted inside would be deleted or moved along with the item.
        if (place_.isOtherMount(*node)) return refusal(holdsMountPointRefusal(path));

        const bool isDirectory = S_ISDIR(st.st_mode);
        const bool hidden = parentHidden || name[0] == '.';
        const bool takesPart = (options_.includesHiddenFiles || !hidden) &&
                               (options_.includesPackageDescendants || !inPackage);
        if (takesPart) {
            if (++descendants_ > options_.maximumDescendantItems) {
                return refusal(K::cleanupValidationItemLimitExceeded, candidatePath_);
            }
            const Date date = dateFromTimespec(st.st_mtim);
            if (!snapshot.latestModificationDate || date > *snapshot.latestModificationDate) {
                snapshot.latestModificationDate = date;
            }
        }
        if (!isDirectory) return std::nullopt;
        if (depth + 1 >= kMaximumWalkDepth) {
            return refusal(K::cleanupValidationItemLimitExceeded, candidatePath_);
        }
        UniqueFd child = openDirectoryAt(dirFd, name.c_str());
        struct stat opened {};
        if (!child || ::fstat(child.get(), &opened) != 0 || opened.st_dev != st.st_dev ||
            opened.st_ino != st.st_ino) {
            return refusal(K::unreadableAttributes, path);
        }
        if (!node->mountId && place_.isOtherMount(NodeStat{opened, mountIdOf(child.get())})) {
            return refusal(holdsMountPointRefusal(path));
        }
        const bool isPackage = isPackageExtension(pathExtensionLowercased(name));
        return walk(child.get(), path, hidden, inPackage || isPackage, depth + 1);
    }

    const CleanupValidationOptions& options_;
    Catalogue catalogue_;
    const CancellationQuery& cancel_;
    std::string candidatePath_;
    MountPlace place_;  ///< the item's own mount; every descendant must be on it
    int64_t traversed_ = 0;
    int64_t descendants_ = 0;
};

}  // namespace

std::string mountPointRefusal(const std::string& path) {
    return "Refusing to clean a mount point: " + path;
}

std::string holdsMountPointRefusal(const std::string& mountPath) {
    return "Refusing to clean a folder that holds a mount point: " + mountPath;
}

SafePathPolicy pathRulesFor(const std::vector<ScanLocation>& locations,
                            const std::string& homeFolder, Catalogue catalogue,
                            ProtectedPlaces protectedPlaces) {
    std::vector<std::string> rootPaths;
    rootPaths.reserve(locations.size());
    for (const auto& location : locations) rootPaths.push_back(location.rootURL.path);
    return SafePathPolicy::make(rootPaths, homeFolder, catalogue, std::move(protectedPlaces));
}

Result<CleanupValidationSnapshot, ValidationStop> walkForValidation(
    const AnchoredItem& item, const CleanupValidationOptions& options, Catalogue catalogue,
    const CancellationQuery& isCancellationRequested) {
    if (isCancellationRequested && isCancellationRequested()) {
        return Failure{ValidationStop{true, {}, std::nullopt}};
    }
    auto node = statWithMountAt(item.parentFd.get(), item.name.c_str());
    if (!node) return Failure{refusal(K::unreadableAttributes, item.path)};
    const struct stat& st = node->st;
    if (S_ISLNK(st.st_mode)) return Failure{refusal(K::symbolicLink, item.path)};
    // The item's parent is the place it must share: a different device or mount id means
    // something is mounted at the item.
    auto parent = MountPlace::of(item.parentFd.get());
    if (!parent) return Failure{refusal(K::unreadableAttributes, item.path)};
    if (parent->isOtherMount(*node)) return Failure{refusal(mountPointRefusal(item.path))};

    if (!S_ISDIR(st.st_mode)) {
        CleanupValidationSnapshot snapshot;
        snapshot.device = st.st_dev;
        snapshot.inode = st.st_ino;
        snapshot.latestModificationDate = dateFromTimespec(st.st_mtim);
        return snapshot;
    }
    UniqueFd fd = openDirectoryAt(item.parentFd.get(), item.name.c_str());
    const auto opened = fd ? statWithMountOf(fd.get()) : std::nullopt;
    if (!opened || opened->st.st_dev != st.st_dev || opened->st.st_ino != st.st_ino) {
        return Failure{refusal(K::unreadableAttributes, item.path)};
    }
    const MountPlace place{opened->st.st_dev, opened->mountId};
    if (parent->isOtherMount(*opened)) {
        return Failure{refusal(mountPointRefusal(item.path))};
    }
    ValidationWalk walk(options, catalogue, isCancellationRequested, item.path, place);
    walk.snapshot.device = st.st_dev;
    walk.snapshot.inode = st.st_ino;
    walk.snapshot.isDirectory = true;
    walk.snapshot.latestModificationDate = dateFromTimespec(st.st_mtim);
    std::string path = item.path;
    if (auto stop = walk.walk(fd.get(), path, false, false, 0)) return Failure{*stop};
    return walk.snapshot;
}

std::optional<CleaningError> checkIdentityAndFreshness(const CleanupCandidate& candidate,
                                                       const AnchoredItem& item,
                                                       const CleanupValidationSnapshot& snapshot) {
    if (candidate.resourceIdentity) {
        auto current = captureIdentityAt(item.parentFd.get(), item.name.c_str());
        if (!current) return CleaningError{K::unreadableAttributes, item.path};
        if (!identitiesEqual(*current, *candidate.resourceIdentity)) {
            return CleaningError{K::cleanupCandidateChanged, item.path};
        }
        // The walked object must be the one whose identity matched.
        if (current->systemFileNumber != static_cast<uint64_t>(snapshot.inode) ||
            current->systemNumber != static_cast<uint64_t>(snapshot.device)) {
            return CleaningError{K::cleanupCandidateChanged, item.path};
        }
    }
    if (!candidate.lastModified) return std::nullopt;
    if (!snapshot.latestModificationDate) return CleaningError{K::unreadableAttributes, item.path};
    if (std::fabs(*candidate.lastModified - *snapshot.latestModificationDate) <= 1.0) {
        return std::nullopt;
    }
    return CleaningError{K::cleanupCandidateRecentlyModified, item.path};
}

std::optional<CleaningError> verifyAfterOperation(
    const AnchoredItem& item, const std::optional<FileResourceIdentity>& recordedIdentity) {
    if (!statAt(item.parentFd.get(), item.name) && errno == ENOENT) return std::nullopt;
    if (recordedIdentity) {
        auto now = captureIdentityAt(item.parentFd.get(), item.name.c_str());
        if (now && !identitiesEqual(*now, *recordedIdentity)) return std::nullopt;
    }
    return CleaningError{K::cleanupPostOperationVerificationFailed, item.path};
}

}  // namespace velmora

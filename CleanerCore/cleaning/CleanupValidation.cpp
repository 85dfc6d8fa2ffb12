#include "CleanerCore/cleaning/CleanupValidation.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <vector>

#include "CleanerCore/platform/DirectoryWalker.h"
#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/platform/MountIdentity.h"
#include "CleanerCore/safety/PathRules.h"
#include "CleanerCore/safety/ProtectedNameFilter.h"
#include "CleanerCore/scanning/PackageExtensions.h"

namespace velmora {

namespace {

using K = CleaningError::Kind;

ValidationStop refusal(K kind, std::string path) {
    return ValidationStop{false, CleaningError{kind, std::move(path)}, std::nullopt};
}

ValidationStop refusal(std::string reason) {
    return ValidationStop{false, {}, std::move(reason)};
}

// Every descendant is read, hidden ones and package contents included: a protected file, a
// mount point or a link inside is found wherever it is. Only the dates of the descendants that
// take part (the root's hidden and package options) count for freshness.
class ValidationWalk final : public DirectoryVisitor {
  public:
    // Flags a folder hands to its entries.
    static constexpr uint32_t kHidden = 1;     ///< inside a hidden folder
    static constexpr uint32_t kInPackage = 2;  ///< inside a package

    ValidationWalk(const CleanupValidationOptions& options, Catalogue catalogue,
                   const CancellationQuery& cancel, std::string candidatePath)
        : options_(options),
          catalogue_(catalogue),
          cancel_(cancel),
          candidatePath_(std::move(candidatePath)) {}

    bool isCancelled() override { return cancel_ && cancel_(); }

    WalkAction listed(WalkEntry& entry) override {
        // The candidate itself passed the protection rule, so only a name that can complete a
        // protected path needs the full (allocation-heavy) test.
        if (nameMayCompleteProtectedPath(entry.name(), catalogue_) &&
            isProtectedUserDataPath(entry.path(), catalogue_)) {
            snapshot.noTouchDescendantURL = FileURL(entry.path());
            return WalkAction::stop;
        }
        if (++traversed_ > options_.maximumTraversalItems) return stopWith(limitRefusal());
        return WalkAction::proceed;
    }

    WalkAction visit(WalkEntry& entry) override {
        const struct stat& st = entry.stat();
        if (S_ISLNK(st.st_mode)) return WalkAction::pass;  // neither followed nor counted
        // Whatever is mounted inside would be deleted or moved along with the item.
        if (entry.isOnOtherMount()) return stopWith(refusal(holdsMountPointRefusal(entry.path())));

        const uint32_t inherited = entry.inheritedFlags();
        const bool hidden = (inherited & kHidden) != 0 || entry.name()[0] == '.';
        const bool inPackage = (inherited & kInPackage) != 0;
        const bool takesPart = (options_.includesHiddenFiles || !hidden) &&
                               (options_.includesPackageDescendants || !inPackage);
        if (takesPart) {
            if (++descendants_ > options_.maximumDescendantItems) return stopWith(limitRefusal());
            const Date date = dateFromTimespec(st.st_mtim);
            if (!snapshot.latestModificationDate || date > *snapshot.latestModificationDate) {
                snapshot.latestModificationDate = date;
            }
        }
        if (!S_ISDIR(st.st_mode)) return WalkAction::pass;
        const bool isPackage = isPackageExtension(pathExtensionLowercased(entry.name()));
        entry.setChildFlags((hidden ? kHidden : 0) | (inPackage || isPackage ? kInPackage : 0));
        return WalkAction::proceed;
    }

    WalkAction failed(const std::string& path, WalkFailure failure, int) override {
        switch (failure) {
            case WalkFailure::tooDeep:
                return stopWith(limitRefusal());
            case WalkFailure::otherMount:
                return stopWith(refusal(holdsMountPointRefusal(path)));
            case WalkFailure::list:
            case WalkFailure::describe:
            case WalkFailure::open:
            case WalkFailure::changed:
                break;
        }
        return stopWith(refusal(K::unreadableAttributes, path));
    }

    CleanupValidationSnapshot snapshot;
    std::optional<ValidationStop> stop;

  private:
    ValidationStop limitRefusal() const {
        return refusal(K::cleanupValidationItemLimitExceeded, candidatePath_);
    }
    WalkAction stopWith(ValidationStop why) {
        stop = std::move(why);
        return WalkAction::stop;
    }

    const CleanupValidationOptions& options_;
    Catalogue catalogue_;
    const CancellationQuery& cancel_;
    std::string candidatePath_;
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
    if (parent->isOtherMount(*opened)) {
        return Failure{refusal(mountPointRefusal(item.path))};
    }
    ValidationWalk walk(options, catalogue, isCancellationRequested, item.path);
    walk.snapshot.device = st.st_dev;
    walk.snapshot.inode = st.st_ino;
    walk.snapshot.isDirectory = true;
    walk.snapshot.latestModificationDate = dateFromTimespec(st.st_mtim);
    WalkOptions walkOptions;
    // Every folder is described before it is opened, and must be the one described; every
    // descendant must share the item's own mount.
    walkOptions.opensFoldersFirst = false;
    walkOptions.mountPlace = MountPlace{opened->st.st_dev, opened->mountId};
    DirectoryWalker walker;
    const WalkEnd end = walker.walk(fd.get(), item.path, walk, walkOptions);
    if (end == WalkEnd::cancelled) return Failure{ValidationStop{true, {}, std::nullopt}};
    if (walk.stop) return Failure{std::move(*walk.stop)};
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

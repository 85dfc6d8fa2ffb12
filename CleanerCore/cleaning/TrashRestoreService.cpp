#include "CleanerCore/cleaning/TrashRestoreService.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "CleanerCore/base/Text.h"
#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

namespace {

using K = CleaningError::Kind;

void addUnique(std::vector<std::string>& list, const std::string& path) {
    if (std::find(list.begin(), list.end(), path) == list.end()) list.push_back(path);
}

// The `files` folder holding `trashed`, or the trash folder above it, when that is a symbolic
// link; nullopt otherwise.
std::optional<std::string> linkedTrashFolder(const std::string& trashed) {
    const std::string files = deletingLastPathComponent(trashed);
    for (const std::string& folder : {files, deletingLastPathComponent(files)}) {
        if (auto st = lstatPath(folder); st && S_ISLNK(st->st_mode)) return folder;
    }
    return std::nullopt;
}

bool isDirectlyInsideRoot(const SafePathPolicy& rules, const std::string& key) {
    const auto match = rules.containingRoot(key);
    if (!match || key == match->key) return false;
    std::string parent = deletingLastPathComponent(key);
    if (match->root->usesCaseInsensitivePathComparison) {
        return asciiLowercased(parent) == asciiLowercased(match->key);
    }
    return parent == match->key;
}

}  // namespace

TrashRestoreService::TrashRestoreService(RestoreContext context,
                                         CancellationQuery isCancellationRequested)
    : context_(std::move(context)), isCancellationRequested_(std::move(isCancellationRequested)) {}

std::vector<std::string> TrashRestoreService::allowedTrashRoots(const CleanedItem& item) const {
    std::vector<std::string> roots;
    if (context_.allowedTrashRootPaths) {
        for (const auto& p : *context_.allowedTrashRootPaths) addUnique(roots, lexicalPathKey(p));
        return roots;
    }
    for (const auto& p : context_.trash.restoreRootsFor(item.candidate.url.path)) {
        addUnique(roots, lexicalPathKey(p));
    }
    // The cloud-document trash of a macOS home folder, when this home has one.
    const std::string cloudTrash =
        appendingPathComponent(context_.homeFolder, "Library/Mobile Documents/.Trash");
    if (auto st = lstatPath(cloudTrash); st && S_ISDIR(st->st_mode)) addUnique(roots, cloudTrash);
    // The recorded root only confirms one of these; alone it never authorizes a restore.
    return roots;
}

RestoreResult TrashRestoreService::restore(const std::vector<CleanedItem>& items,
                                           const std::vector<ScanLocation>& locations,
                                           const CleanupEligibilityPolicy& policy) const {
    const SafePathPolicy rules =
        pathRulesFor(locations, context_.homeFolder, context_.catalogue, context_.protectedPlaces);

    RestoreResult result;
    for (const auto& item : items) {
        if (isCancellationRequested_ && isCancellationRequested_()) {
            result.wasCancelled = true;
            break;
        }
        std::string systemFailure;
        if (auto error = restoreOne(item, rules, policy, systemFailure)) {
            result.failedItems.push_back({item, error->description()});
        } else if (!systemFailure.empty()) {
            result.failedItems.push_back({item, systemFailure});
        } else {
            result.restoredItems.push_back(
                {item, FileURL(item.candidate.url.path, item.candidate.url.isDirectory)});
        }
    }
    return result;
}

std::optional<CleaningError> TrashRestoreService::restoreOne(const CleanedItem& item,
                                                             const SafePathPolicy& rules,
                                                             const CleanupEligibilityPolicy& policy,
                                                             std::string& systemFailure) const {
    const std::string original = lexicalPathKey(item.candidate.url.path);
    if (!item.destinationURL) return CleaningError{K::restoreDestinationMissing, original};
    const std::string trashed = lexicalPathKey(item.destinationURL->path);

    const auto* root = policy.rootFor(original);
    if (!root) return CleaningError{K::pathNotAllowed, original};
    if (auto refusal = rules.checkCleanPath(original, SafePathPolicy::MissingItem::allowed)) {
        return refusal;
    }

    auto trashedStat = lstatPath(trashed);
    if (!trashedStat) return CleaningError{K::restoreDestinationMissing, trashed};
    if (S_ISLNK(trashedStat->st_mode)) return CleaningError{K::symbolicLink, trashed};

    const auto trashRoots = allowedTrashRoots(item);
    const SafePathPolicy trashRules =
        SafePathPolicy::make(trashRoots, context_.homeFolder, context_.catalogue);
    if (trashRules.checkTrashedPath(trashed)) {
        // A trash folder that is a link is never used, so nothing under it is a restore source;
        // say so rather than call the Trash "outside the scan scope".
        if (auto linked = linkedTrashFolder(trashed)) {
            systemFailure = "Could not restore because the Trash folder " + *linked +
                            " is a symbolic link, and Velmora never follows links in the Trash.";
            return std::nullopt;
        }
        return CleaningError{K::pathNotAllowed, trashed};
    }
    // A restore source is exactly one item directly inside a trash's `files` folder: never the
    // folder itself, nor the trash above it, nor something deeper inside a trashed folder.
    if (!isDirectlyInsideRoot(trashRules, trashed)) {
        systemFailure =
            "Could not restore because the recorded place in the Trash is not an item "
            "directly inside the Trash's files folder: " +
            trashed;
        return std::nullopt;
    }

    if (!item.restoreSourceIdentity) {
        return CleaningError{K::missingRestoreSourceIdentity, trashed};
    }
    // From here on the item is read through its trash folder's descriptor: the identity that
    // matches is the identity of the object that will be moved.
    const std::string filesFolder = deletingLastPathComponent(trashed);
    const std::string trashName = lastPathComponent(trashed);
    UniqueFd filesFd = openDirectoryNoFollow(filesFolder);
    if (!filesFd) return CleaningError{K::unreadableAttributes, trashed};
    auto identity = captureIdentityAt(filesFd.get(), trashName.c_str());
    if (!identity) return CleaningError{K::unreadableAttributes, trashed};
    if (!identitiesEqual(*identity, *item.restoreSourceIdentity)) {
        return CleaningError{K::restoreSourceChanged, trashed};
    }

    if (lstatPath(original)) return CleaningError{K::restoreDestinationExists, original};

    auto anchored = openAnchoredItem(root->path, root->identity, original);
    if (!anchored) {
        const auto& failure = anchored.error();
        if (failure.kind == AnchorFailure::Kind::anchorChanged) {
            return CleaningError{K::pathNotAllowed, original};
        }
        if (failure.kind == AnchorFailure::Kind::symbolicLink) {
            return CleaningError{K::symbolicLink, failure.path};
        }
        // The original's folder is gone: it is not recreated.
        systemFailure = std::strerror(failure.errorNumber ? failure.errorNumber : ENOENT);
        return std::nullopt;
    }
    auto moved = context_.trash.putBack(filesFd.get(), filesFolder, trashName,
                                        anchored->parentFd.get(), anchored->name);
    if (!moved) {
        if (moved.error().errorNumber == EEXIST) {
            return CleaningError{K::restoreDestinationExists, original};
        }
        systemFailure = moved.error().description;
    }
    return std::nullopt;
}

}  // namespace velmora

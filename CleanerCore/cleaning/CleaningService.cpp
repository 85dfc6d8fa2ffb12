#include "CleanerCore/cleaning/CleaningService.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <variant>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

namespace {

using K = CleaningError::Kind;

// A refusal reached while anchoring, in the terms of the clean-time checks.
CleaningError anchorRefusal(const AnchorFailure& failure, const std::string& itemPath) {
    switch (failure.kind) {
        case AnchorFailure::Kind::anchorChanged:
            return {K::pathNotAllowed, itemPath};
        case AnchorFailure::Kind::symbolicLink:
            return {K::symbolicLink, failure.path};
        case AnchorFailure::Kind::missing:
        case AnchorFailure::Kind::unreadable:
            break;
    }
    return {K::unreadableAttributes, itemPath};
}

// What a stopped permanent deletion did, in words that stay true: an item of which anything was
// removed is not reported as if it were intact.
std::string deletionFailureReason(const RemoveTreeFailure& failure, const std::string& path) {
    const std::string where =
        failure.relativePath.empty() ? path : appendingPathComponent(path, failure.relativePath);
    if (failure.removedSome) {
        const std::string cause = failure.errorNumber == EXDEV
                                      ? "it is a mount point, which is never deleted"
                                      : std::strerror(failure.errorNumber);
        return partlyDeletedReason(where, cause);
    }
    if (failure.errorNumber == EXDEV) {
        return failure.relativePath.empty() ? mountPointRefusal(path)
                                            : holdsMountPointRefusal(where);
    }
    if (failure.errorNumber == ESTALE) {
        return CleaningError{K::cleanupCandidateChanged, path}.description();
    }
    return std::strerror(failure.errorNumber);
}

// The protected-places rule for an anchored item, with its parent's links resolved from the
// descriptor that the walk and the move use: one read of /proc instead of resolving every
// component of the path, and it describes the folder that is acted in even if the path has
// changed meanwhile. Without /proc the path is resolved as before.
std::optional<CleaningError> protectedPlaceRefusal(const SafePathPolicy& rules,
                                                   const AnchoredItem& item) {
    if (rules.protectedPlaces.empty()) return std::nullopt;
    auto parent = currentPathOfFolder(item.parentFd.get());
    const std::string resolvedParent =
        parent ? std::move(*parent) : resolvingSymlinksInPath(item.parentPath);
    if (rules.protectedPlaces.relationOfEntry(item.path, resolvedParent) ==
        ProtectedPlaces::Relation::none) {
        return std::nullopt;
    }
    return CleaningError{K::protectedUserData, item.path};
}

// The scanner offers nothing whose newest content is younger than the root's minimum age; an
// item whose dates cannot be read at all is not offered either.
bool isYoungerThanRootAllows(const CleanupValidationSnapshot& snapshot,
                             const CleanupEligibilityPolicy::Root& root, Date now) {
    if (root.minimumModificationAge <= 0) return false;
    if (!snapshot.latestModificationDate) return true;
    return now - *snapshot.latestModificationDate < root.minimumModificationAge;
}

}  // namespace

std::string partlyDeletedReason(const std::string& where, const std::string& cause) {
    return std::string(kPartlyDeletedReasonStart) + " before the deletion stopped at " + where +
           ": " + cause;
}

struct CleaningService::ItemOutcome {
    // Exactly one is set; `cancelled` stops the run with this candidate in neither list.
    std::optional<CleanedItem> cleaned;
    std::optional<std::string> failureReason;
    bool cancelled = false;

    static ItemOutcome failed(const CleaningError& e) { return {{}, e.description(), false}; }
    static ItemOutcome failed(std::string reason) { return {{}, std::move(reason), false}; }
    static ItemOutcome stop() { return {{}, {}, true}; }
};

CleaningService::CleaningService(CleaningContext context, CancellationQuery isCancellationRequested)
    : context_(std::move(context)), isCancellationRequested_(std::move(isCancellationRequested)) {}

CleanResult CleaningService::clean(const std::vector<CleanupCandidate>& candidates,
                                   const std::vector<ScanLocation>& locations, CleaningMode mode,
                                   const CleanupEligibilityPolicy& policy) const {
    return run(candidates, false, locations, mode, policy);
}

CleanResult CleaningService::clean(std::vector<CleanupCandidate>&& candidates,
                                   const std::vector<ScanLocation>& locations, CleaningMode mode,
                                   const CleanupEligibilityPolicy& policy) const {
    return run(candidates, true, locations, mode, policy);
}

CleanResult CleaningService::run(const std::vector<CleanupCandidate>& candidates, bool consume,
                                 const std::vector<ScanLocation>& locations, CleaningMode mode,
                                 const CleanupEligibilityPolicy& policy) const {
    const SafePathPolicy rules =
        pathRulesFor(locations, context_.homeFolder, context_.catalogue, context_.protectedPlaces);
    // Only the caller's own vector (`consume`) is moved from; its candidates are not used again.
    auto take = [consume](const CleanupCandidate& c) {
        return consume ? std::move(const_cast<CleanupCandidate&>(c)) : c;
    };

    CleanResult result;
    // Address space only: pages are touched as items succeed. Growing by doubling instead would
    // hold two copies of a large list at once.
    result.cleanedItems.reserve(candidates.size());
    for (const auto& candidate : candidates) {
        if (isCancellationRequested_ && isCancellationRequested_()) {
            result.wasCancelled = true;
            break;
        }
        ItemOutcome outcome = cleanOne(candidate, rules, mode, policy);
        if (outcome.cancelled) {
            result.wasCancelled = true;
            break;
        }
        if (outcome.cleaned) {
            outcome.cleaned->candidate = take(candidate);
            result.cleanedItems.push_back(std::move(*outcome.cleaned));
        } else {
            result.failedItems.push_back({take(candidate), std::move(*outcome.failureReason)});
        }
    }
    return result;
}

CleaningService::ItemOutcome CleaningService::cleanOne(
    const CleanupCandidate& candidate, const SafePathPolicy& rules, CleaningMode mode,
    const CleanupEligibilityPolicy& policy) const {
    const auto cancelled = [&] { return isCancellationRequested_ && isCancellationRequested_(); };
    const std::string path = lexicalPathKey(candidate.url.path);

    // Scope and protection, before any metadata is read.
    if (isProtectedUserDataPath(path, context_.catalogue)) {
        return ItemOutcome::failed(CleaningError{K::pathNotAllowed, path});
    }
    // Only what a scan of the same locations would offer: an entry of a live root in the
    // position its depth gives (never an `immediateChildren` root itself), hidden only where the
    // root includes hidden files. The candidate's own fields are not trusted for this; a report
    // may have been edited.
    const auto admits = [&path](const CleanupEligibilityPolicy::Root& r) {
        return r.admitsByPosition(path);
    };
    if (std::none_of(policy.roots.begin(), policy.roots.end(), admits)) {
        return ItemOutcome::failed(CleaningError{K::pathNotAllowed, path});
    }
    if (auto refusal = rules.checkCleanPathLexically(path)) return ItemOutcome::failed(*refusal);

    // The first admitting root that is still the folder that was scanned (the anchor checks its
    // identity) is the one whose rules apply.
    const CleanupEligibilityPolicy::Root* root = nullptr;
    std::optional<Result<AnchoredItem, AnchorFailure>> anchored;
    for (const auto& candidateRoot : policy.roots) {
        if (!admits(candidateRoot)) continue;
        anchored.emplace(openAnchoredItem(candidateRoot.path, candidateRoot.identity, path));
        if (!*anchored && (*anchored).error().kind == AnchorFailure::Kind::anchorChanged) continue;
        root = &candidateRoot;
        break;
    }
    if (!root) return ItemOutcome::failed(CleaningError{K::pathNotAllowed, path});
    if (!*anchored) {
        // The full path check reads the file system by path; its refusal (a parent that is a
        // link into a protected place, say) says more than the anchor's.
        if (auto refusal = rules.checkCleanPath(path)) return ItemOutcome::failed(*refusal);
        return ItemOutcome::failed(anchorRefusal((*anchored).error(), path));
    }
    const AnchoredItem& item = **anchored;
    // The protected places, compared with where the parent folder that will be acted in really
    // is. The item itself is never followed: the walk refuses a link.
    if (auto refusal = protectedPlaceRefusal(rules, item)) return ItemOutcome::failed(*refusal);

    auto walked = walkForValidation(item, root->validationOptions, context_.catalogue,
                                    isCancellationRequested_);
    if (!walked) {
        if (walked.error().cancelled) return ItemOutcome::stop();
        if (walked.error().reason) return ItemOutcome::failed(*walked.error().reason);
        return ItemOutcome::failed(walked.error().error);
    }
    const CleanupValidationSnapshot& snapshot = *walked;
    if (snapshot.noTouchDescendantURL) {
        return ItemOutcome::failed(
            CleaningError{K::protectedUserData, snapshot.noTouchDescendantURL->path});
    }
    if (auto refusal = checkIdentityAndFreshness(candidate, item, snapshot)) {
        return ItemOutcome::failed(*refusal);
    }
    // The root's age rule, judged on what the walk found now rather than on the recorded date,
    // so an item without a recorded date or identity is held to it as well.
    if (isYoungerThanRootAllows(snapshot, *root, context_.clock())) {
        return ItemOutcome::failed(CleaningError{K::cleanupCandidateRecentlyModified, path});
    }
    if (cancelled()) return ItemOutcome::stop();
    // The last checks before acting: the parent folder is still outside the protected places
    // (the path rules that read nothing cannot have changed), and the object at the anchored
    // name is still the one that was walked.
    if (auto refusal = protectedPlaceRefusal(rules, item)) return ItemOutcome::failed(*refusal);
    auto current = statAt(item.parentFd.get(), item.name);
    if (!current) return ItemOutcome::failed(CleaningError{K::unreadableAttributes, path});
    if (current->st_dev != snapshot.device || current->st_ino != snapshot.inode) {
        return ItemOutcome::failed(CleaningError{K::cleanupCandidateChanged, path});
    }
    if (cancelled()) return ItemOutcome::stop();

    // The candidate is filled in by the caller, which may move it instead of copying it.
    CleanedItem cleaned{{}, std::nullopt, std::nullopt, std::nullopt};
    if (mode == CleaningMode::deletePermanently) {
        if (auto failure =
                removeTreeAt(item.parentFd.get(), item.name, snapshot.device, snapshot.inode)) {
            return ItemOutcome::failed(deletionFailureReason(*failure, path));
        }
    } else {
        if (!context_.trash) {
            return ItemOutcome::failed(CleaningError{K::moveToTrashUnavailable, {}});
        }
        auto moved = context_.trash->moveToTrash(item.parentFd.get(), item.parentPath, item.name,
                                                 snapshot.device, snapshot.inode, context_.clock());
        if (!moved) {
            // Swapped between the last check and the move: refused as changed, unless what was
            // moved could not be put back, when the person must learn where it is.
            const TrashError& error = moved.error();
            if (error.kind == TrashError::Kind::changedDuringMove &&
                (error.errorNumber == 0 || error.errorNumber == ENOENT)) {
                return ItemOutcome::failed(CleaningError{K::cleanupCandidateChanged, path});
            }
            return ItemOutcome::failed(moved.error().description);
        }
        cleaned.destinationURL = FileURL(moved->trashedPath, snapshot.isDirectory);
        cleaned.restoreSourceRootURL = FileURL::directory(moved->filesFolder);
        cleaned.restoreSourceIdentity =
            captureIdentityAt(moved->filesFd.get(), moved->trashName.c_str());
    }
    // No cancellation between the operation and its verification.
    if (auto failure = verifyAfterOperation(item, candidate.resourceIdentity)) {
        return ItemOutcome::failed(*failure);
    }
    return {std::move(cleaned), std::nullopt, false};
}

}  // namespace velmora

#pragma once
// The checks run on every confirmed candidate immediately before it is touched, and the check
// run right after. Nothing here changes anything on disk.
//
// The walk reads the item through the anchored parent descriptor (see AnchoredPath.h): every
// folder is opened with O_NOFOLLOW and compared with what was listed, so the walk describes the
// object that will be moved, not whatever a path leads to at the time.
//
// Threading: synchronous on the caller's thread; cancellation is polled before the walk and
// before every descendant.
#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/platform/AnchoredPath.h"
#include "CleanerCore/policy/CleanupEligibilityPolicy.h"
#include "CleanerCore/safety/CleaningError.h"
#include "CleanerCore/safety/PathConventions.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

using CancellationQuery = std::function<bool()>;

struct CleanupValidationSnapshot {
    /// Newest modification date of the item and of the descendants that take part.
    std::optional<Date> latestModificationDate;
    /// The first descendant met that is protected user data.
    std::optional<FileURL> noTouchDescendantURL;
    /// The object that was walked; the operation must act on exactly this one.
    dev_t device = 0;
    ino_t inode = 0;
    bool isDirectory = false;
};

/// Why a validation stopped: a refusal for this item, or a cancellation of the whole run.
struct ValidationStop {
    bool cancelled = false;
    CleaningError error;  ///< meaningful when not cancelled and `reason` is empty
    /// A refusal that has no `CleaningError` case (a mount point); its reason text.
    std::optional<std::string> reason;
};

/// The reason an item that is a mount point is refused: whatever is mounted there would be
/// emptied or moved with it.
std::string mountPointRefusal(const std::string& path);
/// The reason a folder holding a mount point (named by `mountPath`) is refused.
std::string holdsMountPointRefusal(const std::string& mountPath);

/// The clean-time path rules for a run: the locations' roots are the allowed roots.
SafePathPolicy pathRulesFor(const std::vector<ScanLocation>& locations,
                            const std::string& homeFolder, Catalogue catalogue,
                            ProtectedPlaces protectedPlaces = {});

/// Two identities are equal when all ten fields are (absent equals only absent; dates exact).
inline bool identitiesEqual(const FileResourceIdentity& a, const FileResourceIdentity& b) {
    return a == b;
}

/// Walks `item` with the root's options. Fails with `unreadableAttributes` (the item, or the
/// descendant that could not be read), `symbolicLink` (the item is a link), a mount point
/// refusal (the item is mounted on, or holds a mount point: another device or another mount
/// id than the item's parent folder),
/// `cleanupValidationItemLimitExceeded` (the candidate's path), or a cancellation. A descendant
/// on a protected path ends the walk early with `noTouchDescendantURL` set.
Result<CleanupValidationSnapshot, ValidationStop> walkForValidation(
    const AnchoredItem& item, const CleanupValidationOptions& options, Catalogue catalogue,
    const CancellationQuery& isCancellationRequested);

/// The identity and freshness check (after a walk without a protected descendant): the recorded
/// identity must still hold, and the newest date must be within 1.0 s of the recorded one.
std::optional<CleaningError> checkIdentityAndFreshness(const CleanupCandidate& candidate,
                                                       const AnchoredItem& item,
                                                       const CleanupValidationSnapshot& snapshot);

/// After the operation: nothing may remain at the item's place, unless it is a different object
/// than the recorded one (a new item appeared). Without a recorded identity anything remaining
/// fails. Reads through the anchored parent.
std::optional<CleaningError> verifyAfterOperation(
    const AnchoredItem& item, const std::optional<FileResourceIdentity>& recordedIdentity);

}  // namespace velmora

#pragma once
// The error type of cleaning and restoring. Each case but `moveToTrashUnavailable` carries the
// standardized path of the item concerned; the description (prefix + path) is the reason text
// stored in results and in the cleanup history, so the prefixes never change.
#include <string>
#include <string_view>

namespace velmora {

struct CleaningError {
    enum class Kind {
        pathNotAllowed,
        criticalPath,
        protectedUserData,
        symbolicLink,
        unreadableAttributes,
        cleanupCandidateChanged,
        cleanupCandidateRecentlyModified,
        cleanupValidationItemLimitExceeded,
        cleanupPostOperationVerificationFailed,
        restoreDestinationMissing,
        restoreDestinationExists,
        missingRestoreSourceIdentity,
        restoreSourceChanged,
        moveToTrashUnavailable,
    };
    Kind kind = Kind::pathNotAllowed;
    std::string path;  ///< empty for moveToTrashUnavailable

    /// The English reason text.
    std::string description() const;
    friend bool operator==(const CleaningError&, const CleaningError&) = default;
};

}  // namespace velmora

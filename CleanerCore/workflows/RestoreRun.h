#pragma once
// Putting back the items of one recorded cleanup: choose the cleanup and its items
// (`planRestore`), show them and ask, then restore them and record the restore in the history
// (`runRestore`). Front ends call these two and only present what they return.
//
// Threading: call from one thread; `runRestore` blocks until every item is handled or the
// cancellation query says stop (checked between items). Errors are values.
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/cleaning/CleanupValidation.h"
#include "CleanerCore/workflows/ScanSetup.h"

namespace velmora {

struct RestoreRequest {
    /// The newest cleanup in the history; otherwise the cleanup with `entryID`
    /// (compared without regard to case).
    bool last = false;
    std::optional<std::string> entryID;
    /// Only these items of the cleanup (absolute, standardized); empty for all of them.
    std::vector<std::string> paths;
};

/// Why there is nothing to plan; nothing may be restored then.
struct RestoreRefusal {
    enum class Kind {
        noCleanupToRestore,  ///< the history holds no cleanup (with `last`)
        noCleanupWithID,     ///< no cleanup has `text` as its id
        /// The newest cleanup that was run is missing from the history, so `last` would pick
        /// an earlier one; `startedAt` is when it began (0 when unknown).
        newestCleanupUnrecorded,
        /// The newest cleanup in the history is dated in the future (`startedAt` holds that
        /// date: a clock once ran ahead), so `last` cannot tell which cleanup was run last.
        newestCleanupDatedInFuture,
        pathNotInCleanup,  ///< `text` was not cleaned by the chosen cleanup
    };
    Kind kind = Kind::noCleanupToRestore;
    std::string text;
    Date startedAt = 0;
};

struct RestorePlan {
    CleanupAuditEntry entry;         ///< the chosen cleanup
    std::vector<CleanedItem> items;  ///< the items to put back; empty when it kept none
    std::string historyPath;         ///< the history file the restore will be recorded in
};

/// How far ahead of the clock the newest cleanup may be dated before `last` refuses to take it
/// for the most recent one (clocks of one machine disagree by less).
inline constexpr double kRestoreClockTolerance = 300;

/// Reads the history of `setup`'s environment and chooses the cleanup and its items.
std::variant<RestorePlan, RestoreRefusal> planRestore(const ScanSetup& setup,
                                                      const RestoreRequest& request);

struct RestoreRunOutcome {
    RestoreResult result;
    bool recorded = false;  ///< whether the history now holds the restore
};

/// Restores `plan.items`, each held to `setup`'s fence, and records the restore with `source`.
RestoreRunOutcome runRestore(const ScanSetup& setup, const RestorePlan& plan,
                             CleanupAuditSource source, const CancellationQuery& cancelled);

}  // namespace velmora

#pragma once
// Cleaning the confirmed selection of a scan: each item validated again and moved to the Trash
// (or deleted), and the run recorded in the history with its source. Front ends choose the
// selection (CleanupSelection.h), show it and ask, then call `runCleanup` and present what it
// reports; they never touch the cleaning service or the history themselves.
//
// Until the run is in the history, a marker beside the history keeps `restore --last` from
// taking an earlier cleanup for this one. Failing to write the marker does not stop the cleanup
// (a full disk is a reason to clean); the outcome says so, and the front end tells the person.
//
// Threading: call from one thread; the observer is called on it, item by item in input order.
// `runCleanup` blocks until every item is handled or the cancellation query says stop (checked
// between items). Errors are values: per-item failures are FailedCleanItem records.
#include <functional>
#include <string>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/cleaning/CleaningModel.h"
#include "CleanerCore/cleaning/CleanupValidation.h"
#include "CleanerCore/workflows/ScanSetup.h"

namespace velmora {

/// What became of a cleanup's history entry.
enum class CleanupHistoryRecord {
    withItems,     ///< recorded with the item list a restore needs
    withoutItems,  ///< recorded, but too large for the history to keep its item list
    notWritten,    ///< not recorded at all
};

/// Receives each item's result as soon as its part of the run is done. The results of a large
/// run are handed over in parts and never held whole, so a caller that lists them keeps only
/// what it prints.
struct CleanupRunObserver {
    std::function<void(const CleanedItem&)> cleaned;
    std::function<void(const FailedCleanItem&)> failed;
};

struct CleanupRunOutcome {
    bool wasCancelled = false;  ///< the items after the cancellation were not touched
    bool anyFailed = false;
    int64_t cleanedBytes = 0;  ///< the distinct bytes of the cleaned items, as the history counts
    CleanupHistoryRecord record = CleanupHistoryRecord::notWritten;
    /// Whether the unrecorded-cleanup marker was written before the run; when it was not and
    /// the history was not written either, `restore --last` would put back an earlier cleanup.
    bool marked = false;
    std::string historyPath;
};

/// Cleans `selection` (in report order) held to `setup`'s fence, and records the run with
/// `source`. An empty selection does nothing and records nothing.
CleanupRunOutcome runCleanup(const ScanSetup& setup, std::vector<CleanupCandidate> selection,
                             CleaningMode mode, CleanupAuditSource source,
                             const CancellationQuery& cancelled,
                             const CleanupRunObserver& observer);

}  // namespace velmora

#pragma once
// Moving chosen insight findings to the Trash, and the fence their restore is held to.
//
// The scope is built once, right after the insight scan: the scan's user folders as cleanup
// roots, their identities read then, so that a folder replaced since the scan offers nothing.
// A finding may go to the Trash when the allowance (MacStorageInsightCleanupAllowance.h) offers
// it and the scan recorded its identity; when the person confirms, each is checked again by the
// cleaning service against that identity (a file changed or replaced since the scan stays where
// it is, as a failed item with the cleaning service's reason), moved, and the run is recorded in
// the history with the source `macInsights`, restorable like any cleanup of the history.
//
// Duplicates: the run never moves every remaining copy of a duplicate group. When the chosen
// findings would take all of a group's copies, the recommended keeper stays and is reported as
// refused (`keptLastCopy`); the other copies move.
//
// Threading: call from one thread (a background task); the observer is called on it. Blocks
// until every item is handled or the cancellation query says stop. Errors are values.
#include <string>
#include <vector>

#include "CleanerCore/insights/MacStorageInsightCleanupAllowance.h"
#include "CleanerCore/insights/MacStorageInsightReport.h"
#include "CleanerCore/workflows/CleanupRun.h"
#include "CleanerCore/workflows/ScanSetup.h"

namespace velmora {

struct InsightCleanupScope {
    /// The environment and path rules of the scan, with the scan's user folders as locations:
    /// the fence a restore of an insight cleanup is held to.
    ScanSetup setup;
    MacStorageInsightCleanupAllowance allowance;

    /// Whether `finding` may be offered for "Move to Trash" now (reads its attributes).
    bool mayMoveToTrash(const FileInsight& finding) const;
};

/// The scope of the insight scan of `environment`'s home with `catalogue`'s roots. The scan's
/// visit limit is the validation walk's limit for a package finding. Reads the roots.
InsightCleanupScope insightCleanupScope(const UserEnvironment& environment, Catalogue catalogue,
                                        int64_t descendantLimit);

/// The fence and source a restore of `entry` is held to and recorded with. A cleanup of insight
/// findings put back items of the person's own folders, which the cleaner's locations never
/// include, so it is held to the insight scan's folders of `cleanerSetup`'s environment and
/// recorded as an insights operation; any other cleanup keeps `cleanerSetup` and `source`.
/// Reads the insight roots for an insights entry.
struct RestoreFence {
    ScanSetup setup;
    CleanupAuditSource source;
};
RestoreFence restoreFenceFor(const CleanupAuditEntry& entry, ScanSetup cleanerSetup,
                             Catalogue catalogue, CleanupAuditSource source);

/// A chosen finding the run did not hand to the cleaning service.
struct InsightCleanupRefusal {
    enum class Kind {
        unknownFinding,  ///< no finding of the report has this id
        notOffered,      ///< the allowance refuses it, or the scan recorded no identity
        keptLastCopy,    ///< the recommended keeper of a group whose every copy was chosen
    };
    Kind kind = Kind::notOffered;
    std::string findingID;
    std::string path;  ///< empty for `unknownFinding`
    friend bool operator==(const InsightCleanupRefusal&, const InsightCleanupRefusal&) = default;
};

struct InsightCleanupOutcome {
    CleanupRunOutcome run;  ///< the history record and totals; nothing recorded without items
    std::vector<CleanedItem> cleaned;
    std::vector<FailedCleanItem> failed;
    std::vector<InsightCleanupRefusal> refused;
};

/// Moves the findings of `report` named by `findingIDs` (any list's ids; a file chosen through
/// several lists moves once) to the Trash, in the order given. `keepers` are the report's
/// keeper recommendations (a group without one keeps its first file).
InsightCleanupOutcome runInsightCleanup(const InsightCleanupScope& scope,
                                        const MacStorageInsightReport& report,
                                        const std::vector<DuplicateKeeperRecommendation>& keepers,
                                        const std::vector<std::string>& findingIDs,
                                        const CancellationQuery& cancelled);

/// Every finding of `report` (large files, downloads, duplicate copies, security findings)
/// whose id is `id`; nullptr when there is none.
const FileInsight* findInsight(const MacStorageInsightReport& report, const std::string& id);

/// Takes the findings at `movedPaths` (standardized) out of every list of `report`. A duplicate
/// group left with fewer than two copies goes; the others get their copy count and a keeper
/// recommendation again (`keepers` is recomputed, one per group in group order).
void removeMovedFindings(MacStorageInsightReport& report,
                         std::vector<DuplicateKeeperRecommendation>& keepers,
                         const std::vector<std::string>& movedPaths, Catalogue catalogue);

}  // namespace velmora

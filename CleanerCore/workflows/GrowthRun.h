#pragma once
// What grew between kept scan snapshots: reading the snapshot store of an environment,
// summarizing what it keeps (for the list and the trend timeline), choosing the pair to compare
// and comparing it (CleanerCore/delta-blame/DeltaBlameComparator.h), with the compared roots
// named where this installation still scans them.
//
// Snapshots name roots only by keyed descriptors; a root is named again by building the
// descriptors of the folders a person scans now (`knownRootPaths`) under the same key and
// matching ids. A root no longer scanned stays unnamed.
//
// Reading may set a damaged store aside (the store says so in `storeIssue`), and creates the
// installation key when there is none (a new key means there is nothing to compare yet). Blocks
// on file I/O; thread-safe.
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/delta-blame/DeltaBlameComparator.h"
#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/workflows/ScanSetup.h"

namespace velmora {

/// One kept snapshot, as a list or a timeline shows it.
struct SnapshotSummary {
    std::string snapshotID;
    Date capturedAt = 0;
    std::string scanMode;  ///< the CleanupScanMode's case name
    int64_t totalBytes = 0;
    int64_t itemCount = 0;
    int64_t rootCount = 0;
    DeltaBlameSnapshotTrust trust = DeltaBlameSnapshotTrust::eligible;
    DeltaBlameCoverageKind coverage = DeltaBlameCoverageKind::full;
    bool comparable = false;  ///< may be a side of a comparison
};

struct KeptSnapshots {
    bool keyAvailable = true;  ///< false: the installation key could not be read or created
    std::optional<DeltaBlameStoreIssue> storeIssue;
    std::optional<std::string> backupPath;  ///< where a damaged store was set aside
    std::vector<DeltaBlameSnapshotDraftEnvelope> snapshots;  ///< oldest first
    std::vector<SnapshotSummary> summaries;                  ///< parallel to `snapshots`
};

KeptSnapshots readKeptSnapshots(const UserEnvironment& environment);

SnapshotSummary summarizeSnapshot(const DeltaBlameSnapshotDraft& snapshot);

struct GrowthRequest {
    /// Compare with the newest snapshot taken at or before this date (else the oldest kept);
    /// none: with the one before the newest.
    std::optional<Date> since;
    /// The folders scanned now, to name the compared roots.
    std::vector<std::string> knownRootPaths;
    DeltaBlameLimits limits;
};

struct GrowthReport {
    KeptSnapshots kept;
    DeltaBlamePairSelection selection;
    std::optional<DeltaBlameComparison> comparison;  ///< when a pair was selected
    /// Root descriptor id -> the folder it stands for, for the roots scanned now.
    std::map<std::string, std::string> rootPaths;
};

GrowthReport runGrowthComparison(const UserEnvironment& environment, const GrowthRequest& request);

/// The folders a scan would look at now, in any mode (developer mode's too: naming a root is
/// not scanning it): each root of `request` (its catalogue and custom folders) once, in the
/// order of the modes; the `knownRootPaths` of a request. A mode that `prepareScan` refuses
/// adds nothing. Reads the file system.
std::vector<std::string> currentScanRootPaths(ScanRequest request);

}  // namespace velmora

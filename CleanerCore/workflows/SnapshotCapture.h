#pragma once
// Keeping a privacy-preserving snapshot of a finished cleanup scan, so that later scans can be
// compared with it: the installation key is loaded (or created), the report becomes a snapshot
// (CleanerCore/delta-blame/DeltaBlameDraftBuilder.h) and is kept in the snapshot store of the
// environment's data folder. Only a completed scan is kept. Blocks on file I/O; thread-safe
// (the store serializes its own cycles).
#include <optional>
#include <string>

#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

/// Identifies the rules that chose the candidates; a snapshot is compared only with snapshots
/// taken under the same revision. Raise it whenever the catalogue or the safety rules change
/// what a scan reports.
inline constexpr const char* kCleanupPolicyRevision = "velmora-cleanup-policy-1";

enum class SnapshotCaptureFailure {
    notCompleted,  ///< the scan did not complete: nothing kept
    noKey,         ///< the installation key could not be read or created
    refused,       ///< the snapshot could not be built or did not fit
    notWritten,    ///< the store could not be written
};

struct SnapshotCaptureOutcome {
    bool saved = false;
    std::optional<SnapshotCaptureFailure> failure;
    /// What happened to the store on the way, when something did (DeltaBlameStoreState::notice).
    std::optional<DeltaBlameStoreIssue> storeIssue;
    std::string storeNotice;  ///< English; empty when none
    int64_t keptSnapshots = 0;
};

SnapshotCaptureOutcome captureScanSnapshot(const ScanReport& report, CleanupScanMode mode,
                                           const UserEnvironment& environment);

/// The store of `environment`, under its installation key; nullopt when there is no key.
std::optional<DeltaBlameSnapshotStore> openSnapshotStore(const UserEnvironment& environment);

}  // namespace velmora

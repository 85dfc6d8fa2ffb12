#include "CleanerCore/workflows/SnapshotCapture.h"

#include "CleanerCore/base/Date.h"
#include "CleanerCore/delta-blame/DeltaBlameDraftBuilder.h"
#include "CleanerCore/platform/InstallationKey.h"
#include "CleanerCore/platform/UUID.h"

namespace velmora {

std::optional<DeltaBlameSnapshotStore> openSnapshotStore(const UserEnvironment& environment) {
    const auto key = loadOrCreateInstallationKey(installationKeyPath(environment.xdgDataHome));
    if (!key) return std::nullopt;
    // A replaced key needs no step of its own: the store's key check no longer matches, so the
    // store sets its snapshots aside and starts anew, and says so.
    return DeltaBlameSnapshotStore(
        DeltaBlameSnapshotStore::defaultFilePath(environment.xdgDataHome),
        DeltaBlameIdentityHMACProvider(key->key));
}

SnapshotCaptureOutcome captureScanSnapshot(const ScanReport& report, CleanupScanMode mode,
                                           const UserEnvironment& environment) {
    SnapshotCaptureOutcome out;
    if (!report.hasCompletedScan) {
        out.failure = SnapshotCaptureFailure::notCompleted;
        return out;
    }
    const auto store = openSnapshotStore(environment);
    if (!store) {
        out.failure = SnapshotCaptureFailure::noKey;
        return out;
    }

    DeltaBlameCaptureRequest request;
    request.snapshotID = makeUUIDString();
    request.scanRunID = makeUUIDString();
    request.capturedAt = currentDate();
    request.scanMode = mode;
    request.policyRevision = kCleanupPolicyRevision;
    auto envelope = captureDeltaBlameSnapshot(report, request, store->provider());
    if (!envelope) {
        out.failure = SnapshotCaptureFailure::refused;
        return out;
    }
    auto saved = store->save(*envelope);
    out.storeIssue = saved.state.issue;
    out.storeNotice = saved.state.notice();
    out.keptSnapshots = saved.keptSnapshots;
    out.saved = saved.written;
    if (saved.refused)
        out.failure = SnapshotCaptureFailure::refused;
    else if (!saved.written)
        out.failure = SnapshotCaptureFailure::notWritten;
    return out;
}

}  // namespace velmora

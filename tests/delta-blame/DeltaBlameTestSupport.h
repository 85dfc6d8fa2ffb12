#pragma once
// Fixed keys, scan reports and captured snapshots for the delta-blame tests.
#include <string>
#include <vector>

#include "CleanerCore/delta-blame/DeltaBlameDraftBuilder.h"
#include "CleanerCore/delta-blame/DeltaBlameIdentity.h"
#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"
#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/platform/InstallationKey.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/workflows/SnapshotCapture.h"
#include "support/Candidates.h"

namespace velmora::test {

/// A provider under 32 bytes of `fill`.
inline DeltaBlameIdentityHMACProvider providerFilledWith(char fill) {
    return *DeltaBlameIdentityHMACProvider::make(std::string(32, fill));
}

/// Two roots, three categories, five candidates (one without a resource identity).
inline ScanReport sampleReport() {
    ScanReport r;
    r.scannedAt = 700'000'100;
    r.hasCompletedScan = true;
    r.scannedRoots = {FileURL::directory("/home/u/.cache"), FileURL::directory("/tmp/scratch")};
    r.candidates = {
        candidateAt("/home/u/.cache/pip", CleanupCategory::packageManagerCaches, 500, "2049:11"),
        candidateAt("/home/u/.cache/thumbnails", CleanupCategory::userCaches, 300, "2049:12"),
        candidateAt("/home/u/.cache/mesa", CleanupCategory::userCaches, 300, "2049:13"),
        candidateAt("/home/u/.cache/fontconfig", CleanupCategory::userCaches, 100),
        candidateAt("/tmp/scratch/build-1", CleanupCategory::temporaryFiles, 900, "2050:7"),
    };
    return r;
}

inline DeltaBlameCaptureRequest sampleRequest(DeltaBlameLimits limits = {}) {
    DeltaBlameCaptureRequest q;
    q.snapshotID = "7F3C2A10-5B6D-4E8F-9A0B-1C2D3E4F5A6B";
    q.scanRunID = "0A1B2C3D-4E5F-4A6B-8C7D-9E0F1A2B3C4D";
    q.capturedAt = 700'000'200.25;
    q.scanMode = CleanupScanMode::standard;
    q.policyRevision = "cleanup-policy/3";
    q.limits = limits;
    return q;
}

inline DeltaBlameSnapshotDraftEnvelope sampleEnvelope(DeltaBlameLimits limits = {},
                                                      char keyFill = 'k') {
    auto built = captureDeltaBlameSnapshot(sampleReport(), sampleRequest(limits),
                                           providerFilledWith(keyFill));
    if (!built) throw std::runtime_error(built.error().description());
    return *built;
}

/// Keeps a snapshot of `report` captured at `at` in the store of `environment`, under its
/// installation key, as a scan does; false when it was not written.
inline bool keepSnapshotAt(const UserEnvironment& environment, const ScanReport& report, Date at) {
    const auto key = loadOrCreateInstallationKey(installationKeyPath(environment.xdgDataHome));
    if (!key) return false;
    const DeltaBlameIdentityHMACProvider provider(key->key);
    DeltaBlameCaptureRequest request;
    request.snapshotID = makeUUIDString();
    request.scanRunID = makeUUIDString();
    request.capturedAt = at;
    request.policyRevision = kCleanupPolicyRevision;
    const auto envelope = captureDeltaBlameSnapshot(report, request, provider);
    if (!envelope) return false;
    const DeltaBlameSnapshotStore store(
        DeltaBlameSnapshotStore::defaultFilePath(environment.xdgDataHome), provider);
    return store.save(*envelope).written;
}

}  // namespace velmora::test

#include "CleanerCore/workflows/GrowthRun.h"

#include <algorithm>

#include "CleanerCore/delta-blame/DeltaBlameIdentity.h"
#include "CleanerCore/workflows/SnapshotCapture.h"

namespace velmora {

namespace {

KeptSnapshots readFrom(const std::optional<DeltaBlameSnapshotStore>& store) {
    KeptSnapshots out;
    if (!store) {
        out.keyAvailable = false;
        return out;
    }
    auto state = store->load();
    out.storeIssue = state.issue;
    out.backupPath = state.backupPath;
    out.snapshots = std::move(state.snapshots);
    for (const auto& s : out.snapshots) out.summaries.push_back(summarizeSnapshot(s.draft));
    return out;
}

}  // namespace

SnapshotSummary summarizeSnapshot(const DeltaBlameSnapshotDraft& snapshot) {
    SnapshotSummary s;
    s.snapshotID = snapshot.snapshotID;
    s.capturedAt = snapshot.capturedAt;
    s.scanMode = snapshot.provenance.completionMetadata.scanModeIdentifier;
    s.totalBytes = snapshot.evidenceCoverage.totalBytes;
    s.itemCount = snapshot.evidenceCoverage.sourceObservationCount;
    s.rootCount =
        static_cast<int64_t>(snapshot.provenance.completionMetadata.rootDescriptors.size());
    s.trust = snapshot.trust;
    s.coverage = snapshot.evidenceCoverage.kind;
    s.comparable = isComparableDeltaBlameSnapshot(snapshot);
    return s;
}

KeptSnapshots readKeptSnapshots(const UserEnvironment& environment) {
    return readFrom(openSnapshotStore(environment));
}

GrowthReport runGrowthComparison(const UserEnvironment& environment, const GrowthRequest& request) {
    GrowthReport out;
    const auto store = openSnapshotStore(environment);
    out.kept = readFrom(store);
    out.selection = selectDeltaBlamePair(out.kept.snapshots, request.since);
    if (!out.selection.earlier || !out.selection.later) return out;
    out.comparison =
        compareDeltaBlameSnapshots(out.kept.snapshots[*out.selection.earlier].draft,
                                   out.kept.snapshots[*out.selection.later].draft, request.limits);
    // Descriptors come back in the order of the paths.
    const auto descriptors =
        makeDeltaBlameRootDescriptors(store->provider(), request.knownRootPaths);
    for (size_t i = 0; i < descriptors.size(); ++i)
        out.rootPaths.try_emplace(descriptors[i].id.rawValue, request.knownRootPaths[i]);
    return out;
}

std::vector<std::string> currentScanRootPaths(ScanRequest request) {
    std::vector<std::string> paths;
    request.allowDirect = true;
    for (auto mode :
         {CleanupScanMode::standard, CleanupScanMode::aggressive, CleanupScanMode::direct}) {
        request.mode = mode;
        const auto setup = prepareScan(request, CancellationToken{});
        if (!setup) continue;
        for (const auto& location : setup->locations) {
            if (std::find(paths.begin(), paths.end(), location.rootURL.path) == paths.end())
                paths.push_back(location.rootURL.path);
        }
    }
    return paths;
}

}  // namespace velmora

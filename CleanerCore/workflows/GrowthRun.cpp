#include "CleanerCore/workflows/GrowthRun.h"

#include <algorithm>

#include "CleanerCore/delta-blame/DeltaBlameIdentity.h"
#include "CleanerCore/platform/InstallationKey.h"

namespace velmora {

namespace {

struct OpenedStore {
    DeltaBlameIdentityHMACProvider provider;
    DeltaBlameSnapshotStore store;
};

std::optional<OpenedStore> openStore(const UserEnvironment& environment) {
    const auto key = loadOrCreateInstallationKey(installationKeyPath(environment.xdgDataHome));
    if (!key) return std::nullopt;
    DeltaBlameIdentityHMACProvider provider(key->key);
    DeltaBlameSnapshotStore store(DeltaBlameSnapshotStore::defaultFilePath(environment.xdgDataHome),
                                  provider);
    return OpenedStore{std::move(provider), std::move(store)};
}

KeptSnapshots readFrom(const std::optional<OpenedStore>& opened) {
    KeptSnapshots out;
    if (!opened) {
        out.keyAvailable = false;
        return out;
    }
    auto state = opened->store.load();
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
    return readFrom(openStore(environment));
}

GrowthReport runGrowthComparison(const UserEnvironment& environment, const GrowthRequest& request) {
    GrowthReport out;
    const auto opened = openStore(environment);
    out.kept = readFrom(opened);
    out.selection = selectDeltaBlamePair(out.kept.snapshots, request.since);
    if (!out.selection.earlier || !out.selection.later) return out;
    out.comparison =
        compareDeltaBlameSnapshots(out.kept.snapshots[*out.selection.earlier].draft,
                                   out.kept.snapshots[*out.selection.later].draft, request.limits);
    // Descriptors come back in the order of the paths.
    const auto descriptors =
        makeDeltaBlameRootDescriptors(opened->provider, request.knownRootPaths);
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

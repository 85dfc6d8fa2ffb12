#include "CleanerCore/workflows/InsightCleanupRun.h"

#include <algorithm>
#include <set>

#include "CleanerCore/insights/DuplicateKeeper.h"
#include "CleanerCore/insights/InsightScanRoots.h"
#include "CleanerCore/workflows/InsightRun.h"

namespace velmora {

namespace {

template <typename Visit>
void forEachFinding(const MacStorageInsightReport& report, Visit visit) {
    for (const auto& f : report.largeFiles) visit(f);
    for (const auto& f : report.downloadFiles) visit(f);
    for (const auto& group : report.duplicateGroups)
        for (const auto& f : group.files) visit(f);
    for (const auto& f : report.securityFindings) visit(f);
}

CleanupCandidate candidateFor(const FileInsight& finding) {
    CleanupCandidate c;
    c.url = finding.url;
    c.displayName = finding.displayName;
    // The insight locations are the person's own folders, as a kept folder is.
    c.category = CleanupCategory::customFolder;
    c.sizeBytes = finding.sizeBytes;
    c.lastModified = finding.lastModified;
    c.resourceIdentity = finding.resourceIdentity;
    c.safety = finding.safety;
    return c;
}

// The keeper's path of each group whose every copy is in `moving`.
std::set<std::string> lastCopies(const MacStorageInsightReport& report,
                                 const std::vector<DuplicateKeeperRecommendation>& keepers,
                                 const std::set<std::string>& moving) {
    std::set<std::string> kept;
    for (const auto& group : report.duplicateGroups) {
        if (group.files.empty()) continue;
        const bool all = std::all_of(group.files.begin(), group.files.end(),
                                     [&](const auto& f) { return moving.count(f.url.path) > 0; });
        if (!all) continue;
        std::string keeper = group.files.front().url.path;
        for (const auto& k : keepers) {
            if (k.groupID == group.id) keeper = k.keeperPath;
        }
        kept.insert(keeper);
    }
    return kept;
}

}  // namespace

bool InsightCleanupScope::mayMoveToTrash(const FileInsight& finding) const {
    return finding.resourceIdentity.has_value() && allowance.allows(finding);
}

InsightCleanupScope insightCleanupScope(const UserEnvironment& environment, Catalogue catalogue,
                                        int64_t descendantLimit) {
    InsightCleanupScope scope;
    ScanSetup& setup = scope.setup;
    setup.environment = environment;
    setup.folders = ProfileFolders::defaults(environment.home, catalogue);
    setup.folders.cacheHome = environment.xdgCacheHome;
    setup.folders.dataHome = environment.xdgDataHome;
    setup.folders.temporaryFolder = environment.temporaryFolder;
    setup.protectedPlaces =
        ProtectedPlaces::forFolders(environment.xdgDataHome, environment.xdgConfigHome);
    // Findings come from the user folders only; the map-only roots (the home itself among them)
    // would widen the fence to the whole home.
    std::vector<InsightScanRoot> roots;
    for (auto& root : insightScanRoots(environment.home, catalogue, environment.xdgConfigHome)) {
        if (root.role == InsightScanRoot::Role::userFolder) roots.push_back(std::move(root));
    }
    scope.allowance = MacStorageInsightCleanupAllowance::make(roots, environment.home, catalogue,
                                                              descendantLimit);
    setup.locations = scope.allowance.locations;
    for (auto& location : setup.locations) location.category = CleanupCategory::customFolder;
    return scope;
}

RestoreFence restoreFenceFor(const CleanupAuditEntry& entry, ScanSetup cleanerSetup,
                             Catalogue catalogue, CleanupAuditSource source) {
    if (entry.source != CleanupAuditSource::macInsights) return {std::move(cleanerSetup), source};
    // The walk limit only matters for a package folder; the scan's default is the natural one.
    const int64_t limit = insightConfiguration(catalogue, {}).maximumVisitedItemsPerRoot;
    return {insightCleanupScope(cleanerSetup.environment, catalogue, limit).setup,
            CleanupAuditSource::macInsights};
}

const FileInsight* findInsight(const MacStorageInsightReport& report, const std::string& id) {
    const FileInsight* found = nullptr;
    forEachFinding(report, [&](const FileInsight& f) {
        if (!found && f.id == id) found = &f;
    });
    return found;
}

InsightCleanupOutcome runInsightCleanup(const InsightCleanupScope& scope,
                                        const MacStorageInsightReport& report,
                                        const std::vector<DuplicateKeeperRecommendation>& keepers,
                                        const std::vector<std::string>& findingIDs,
                                        const CancellationQuery& cancelled) {
    using Kind = InsightCleanupRefusal::Kind;
    InsightCleanupOutcome outcome;
    std::vector<const FileInsight*> offered;
    std::set<std::string> moving;
    for (const auto& id : findingIDs) {
        const FileInsight* finding = findInsight(report, id);
        if (!finding) {
            outcome.refused.push_back({Kind::unknownFinding, id, {}});
            continue;
        }
        if (moving.count(finding->url.path)) continue;  // chosen through another list as well
        if (!scope.mayMoveToTrash(*finding)) {
            outcome.refused.push_back({Kind::notOffered, id, finding->url.path});
            continue;
        }
        moving.insert(finding->url.path);
        offered.push_back(finding);
    }

    const std::set<std::string> kept = lastCopies(report, keepers, moving);
    std::vector<CleanupCandidate> selection;
    std::set<std::string> parents;
    for (const FileInsight* finding : offered) {
        if (kept.count(finding->url.path)) {
            outcome.refused.push_back({Kind::keptLastCopy, finding->id, finding->url.path});
            continue;
        }
        selection.push_back(candidateFor(*finding));
        parents.insert(deletingLastPathComponent(finding->url.path));
    }

    // The cleaning service offers what a scan of its locations would: the entries of a folder.
    // Each finding's own folder is such a location here; the allowance has just held it to the
    // scan's roots as they were when the scan ran.
    ScanSetup setup = scope.setup;
    setup.locations.clear();
    for (const auto& parent : parents) {
        ScanLocation location;
        location.rootURL = FileURL::directory(parent);
        location.displayName = lastPathComponent(parent);
        location.category = CleanupCategory::customFolder;
        location.includesHiddenFiles = true;
        location.safety = CleanupSafety::caution;
        setup.locations.push_back(std::move(location));
    }
    CleanupRunObserver observer;
    observer.cleaned = [&](const CleanedItem& item) { outcome.cleaned.push_back(item); };
    observer.failed = [&](const FailedCleanItem& item) { outcome.failed.push_back(item); };
    outcome.run = runCleanup(setup, std::move(selection), CleaningMode::moveToTrash,
                             CleanupAuditSource::macInsights, cancelled, observer);
    return outcome;
}

void removeMovedFindings(MacStorageInsightReport& report,
                         std::vector<DuplicateKeeperRecommendation>& keepers,
                         const std::vector<std::string>& movedPaths, Catalogue catalogue) {
    const std::set<std::string> moved(movedPaths.begin(), movedPaths.end());
    const auto gone = [&](const FileInsight& f) { return moved.count(f.url.path) > 0; };
    std::erase_if(report.largeFiles, gone);
    std::erase_if(report.downloadFiles, gone);
    std::erase_if(report.securityFindings, gone);
    for (auto& group : report.duplicateGroups) {
        const size_t before = group.files.size();
        std::erase_if(group.files, gone);
        if (group.files.size() == before) continue;
        for (auto& f : group.files) f.detail = duplicateSetDetail(group.files.size());
    }
    std::erase_if(report.duplicateGroups,
                  [](const DuplicateFileGroup& g) { return g.files.size() < 2; });
    keepers.clear();
    for (const auto& group : report.duplicateGroups) {
        if (auto keeper = recommendDuplicateKeeper(group, catalogue)) keepers.push_back(*keeper);
    }
}

}  // namespace velmora

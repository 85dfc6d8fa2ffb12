#include "CleanerCore/workflows/RestoreRun.h"

#include <set>

#include "CleanerCore/audit/CleanupAuditEntryBuilder.h"
#include "CleanerCore/audit/CleanupAuditMarkers.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/base/Text.h"
#include "CleanerCore/cleaning/TrashRestoreService.h"
#include "CleanerCore/workflows/CleanupFence.h"

namespace velmora {

namespace {

// Why `last` must not pick the newest cleanup in `entries`: the newest cleanup that was run is
// missing from the history (or its marker cannot be read). nullopt when it may.
std::optional<RestoreRefusal> lastCleanupRefusal(const CleanupAuditStore& store,
                                                 const std::vector<CleanupAuditEntry>& entries) {
    const UnrecordedCleanupMarker marker = readUnrecordedCleanupMarker(store.filePath());
    if (marker.state == UnrecordedCleanupState::none) return std::nullopt;
    if (marker.state == UnrecordedCleanupState::named) {
        for (const auto& e : entries) {
            if (e.id == marker.cleanup->entryID) return std::nullopt;
        }
    }
    return RestoreRefusal{RestoreRefusal::Kind::newestCleanupUnrecorded,
                          {},
                          marker.cleanup ? marker.cleanup->startedAt : 0};
}

}  // namespace

std::variant<RestorePlan, RestoreRefusal> planRestore(const ScanSetup& setup,
                                                      const RestoreRequest& request) {
    using Kind = RestoreRefusal::Kind;
    const CleanupAuditStore store(CleanupAuditStore::defaultFilePath(setup.environment));
    auto entries = store.recentEntries();
    if (request.last) {
        if (auto refusal = lastCleanupRefusal(store, entries)) return *refusal;
    }
    CleanupAuditEntry* entry = nullptr;
    for (auto& e : entries) {
        if (e.operation != CleanupAuditOperation::clean) continue;
        if (request.last ||
            (request.entryID && asciiLowercased(e.id) == asciiLowercased(*request.entryID))) {
            entry = &e;
            break;
        }
    }
    if (!entry) {
        if (request.last) return RestoreRefusal{Kind::noCleanupToRestore, {}, 0};
        return RestoreRefusal{Kind::noCleanupWithID, request.entryID.value_or(""), 0};
    }
    // Entries are kept in date order, and the cleanup just run is dated now: one dated later
    // would be taken for it.
    if (request.last && entry->occurredAt > currentDate() + kRestoreClockTolerance) {
        return RestoreRefusal{Kind::newestCleanupDatedInFuture, {}, entry->occurredAt};
    }
    RestorePlan plan;
    plan.historyPath = store.filePath();
    const std::set<std::string> wanted(request.paths.begin(), request.paths.end());
    std::set<std::string> found;
    for (const auto& item : entry->cleanedItems) {
        const std::string& path = item.candidate.url.path;
        if (wanted.empty() || wanted.count(path)) {
            plan.items.push_back(item);
            found.insert(path);
        }
    }
    for (const auto& path : wanted) {
        if (!found.count(path)) return RestoreRefusal{Kind::pathNotInCleanup, path, 0};
    }
    plan.entry = std::move(*entry);
    return plan;
}

RestoreRunOutcome runRestore(const ScanSetup& setup, const RestorePlan& plan,
                             CleanupAuditSource source, const CancellationQuery& cancelled) {
    TrashRestoreService service({setup.environment.home, setup.folders.catalogue,
                                 homeTrash(setup.environment), std::nullopt, setup.protectedPlaces},
                                cancelled);
    RestoreRunOutcome outcome;
    outcome.result = service.restore(plan.items, setup.locations, cleanupPolicy(setup));
    const CleanupAuditStore store(plan.historyPath);
    outcome.recorded = store
                           .recordAtCurrentTime(makeRestoreAuditEntry(plan.items, outcome.result,
                                                                      source, currentDate()))
                           .written;
    return outcome;
}

}  // namespace velmora

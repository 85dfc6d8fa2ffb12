#include "CleanerCore/workflows/CleanupRun.h"

#include <algorithm>
#include <iterator>

#include "CleanerCore/audit/CleanupAuditEntryBuilder.h"
#include "CleanerCore/audit/CleanupAuditMarkers.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/cleaning/CleaningService.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/scanning/DistinctBytes.h"
#include "CleanerCore/workflows/CleanupFence.h"

namespace velmora {

namespace {

// Cleans `selection` in slices of a few thousand candidates, each moved out of the selection
// and handed with its results to `deliver` before the next, so that the results of a large run
// are never held whole (for a million candidates that would be gigabytes). The parts together
// are the result of one call: input order, and a cancelled slice ends the run. Returns whether
// the run was cancelled.
bool cleanInSlices(const CleaningService& service, std::vector<CleanupCandidate> selection,
                   const std::vector<ScanLocation>& locations, CleaningMode mode,
                   const CleanupEligibilityPolicy& policy,
                   const std::function<void(CleanResult&&)>& deliver) {
    constexpr size_t kSlice = 4096;
    for (size_t at = 0; at < selection.size(); at += kSlice) {
        const auto begin = selection.begin() + static_cast<std::ptrdiff_t>(at);
        const auto end = selection.begin() +
                         static_cast<std::ptrdiff_t>(std::min(at + kSlice, selection.size()));
        std::vector<CleanupCandidate> slice(std::make_move_iterator(begin),
                                            std::make_move_iterator(end));
        CleanResult part = service.clean(std::move(slice), locations, mode, policy);
        const bool cancelled = part.wasCancelled;
        deliver(std::move(part));
        if (cancelled) return true;
    }
    return false;
}

}  // namespace

CleanupRunOutcome runCleanup(const ScanSetup& setup, std::vector<CleanupCandidate> selection,
                             CleaningMode mode, CleanupAuditSource source,
                             const CancellationQuery& cancelled,
                             const CleanupRunObserver& observer) {
    CleanupAuditStore store(CleanupAuditStore::defaultFilePath(setup.environment));
    CleanupRunOutcome outcome;
    outcome.historyPath = store.filePath();
    if (selection.empty()) return outcome;

    const std::string entryID = makeUUIDString();
    outcome.marked = markCleanupUnrecorded(store.filePath(), {entryID, currentDate()});

    const auto requestedCount = static_cast<int64_t>(selection.size());
    std::vector<const CleanupCandidate*> listed;
    listed.reserve(selection.size());
    for (const auto& c : selection) listed.push_back(&c);
    const int64_t requestedBytes = distinctBytes(listed);
    std::vector<const CleanupCandidate*>().swap(listed);

    // Each part of the result goes to the observer and the history entry, then is dropped.
    CleanAuditEntryBuilder history(requestedCount, requestedBytes, mode, source);
    history.reserve(static_cast<size_t>(requestedCount));
    auto deliver = [&](CleanResult&& part) {
        for (auto& item : part.cleanedItems) {
            if (observer.cleaned) observer.cleaned(item);
            history.add(std::move(item));
        }
        for (const auto& item : part.failedItems) {
            outcome.anyFailed = true;
            if (observer.failed) observer.failed(item);
            history.add(item);
        }
    };
    CleaningService service({setup.environment.home, setup.folders.catalogue,
                             homeTrash(setup.environment), currentDate, setup.protectedPlaces},
                            cancelled);
    outcome.wasCancelled = cleanInSlices(service, std::move(selection), setup.locations, mode,
                                         cleanupPolicy(setup), deliver);

    CleanupAuditEntry entry = history.finish(outcome.wasCancelled, currentDate());
    entry.id = entryID;
    outcome.cleanedBytes = entry.affectedBytes;
    const CleanupAuditAppendResult recorded = store.recordAtCurrentTime(std::move(entry));
    if (recorded.written) {
        (void)clearUnrecordedCleanupMarker(store.filePath(), entryID);
        // A cleanup too large for the history's size cap is kept without its item list.
        outcome.record = CleanupHistoryRecord::withoutItems;
        for (const auto& kept : recorded.entries) {
            if (kept.id == entryID && !kept.cleanedItems.empty())
                outcome.record = CleanupHistoryRecord::withItems;
        }
    }
    return outcome;
}

}  // namespace velmora

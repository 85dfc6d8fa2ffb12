#include "CleanerCore/audit/CleanupAuditEntryBuilder.h"

#include <algorithm>
#include <limits>

#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/scanning/DistinctBytes.h"

namespace velmora {

namespace {

int64_t saturatingAdd(int64_t a, int64_t b) {
    int64_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum)) return sum;
    return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

void addReason(std::vector<std::string>& reasons, const std::string& reason) {
    if (reasons.size() >= kCleanupAuditSampleLimit) return;
    if (std::find(reasons.begin(), reasons.end(), reason) == reasons.end()) {
        reasons.push_back(reason);
    }
}

CleanupAuditEntry baseEntry(CleanupAuditOperation operation, CleanupAuditSource source,
                            Date occurredAt) {
    CleanupAuditEntry e;
    e.id = makeUUIDString();
    e.occurredAt = occurredAt;
    e.operation = operation;
    e.source = source;
    return e;
}

}  // namespace

CleanupAuditEntry makeCleanAuditEntry(const std::vector<CleanupCandidate>& requested,
                                      const CleanResult& result, CleaningMode mode,
                                      CleanupAuditSource source, Date occurredAt) {
    std::vector<const CleanupCandidate*> listed;
    for (const auto& c : requested) listed.push_back(&c);
    return makeCleanAuditEntry(static_cast<int64_t>(requested.size()), distinctBytes(listed),
                               result, mode, source, occurredAt);
}

CleanupAuditEntry makeCleanAuditEntry(int64_t requestedItemCount, int64_t requestedBytes,
                                      const CleanResult& result, CleaningMode mode,
                                      CleanupAuditSource source, Date occurredAt) {
    CleanAuditEntryBuilder builder(requestedItemCount, requestedBytes, mode, source);
    builder.reserve(result.cleanedItems.size());
    for (const auto& item : result.cleanedItems) builder.add(item);
    for (const auto& failed : result.failedItems) builder.add(failed);
    return builder.finish(result.wasCancelled, occurredAt);
}

CleanAuditEntryBuilder::CleanAuditEntryBuilder(int64_t requestedItemCount, int64_t requestedBytes,
                                               CleaningMode mode, CleanupAuditSource source)
    : entry_(baseEntry(CleanupAuditOperation::clean, source, 0)) {
    entry_.mode = mode;
    entry_.requestedItemCount = requestedItemCount;
    entry_.requestedBytes = requestedBytes;
}

void CleanAuditEntryBuilder::add(CleanedItem item) {
    // Byte totals count every byte once (an item inside another listed item adds nothing).
    affected_.add(item.candidate);
    ++entry_.succeededItemCount;
    if (entry_.samplePaths.size() < kCleanupAuditSampleLimit) {
        entry_.samplePaths.push_back(item.candidate.url.path);
    }
    if (listTooLarge_) return;
    // A list the history file could never hold is not kept: the store would drop it. Measured
    // as cleanedItemsExceed measures it, and no longer once it is over.
    const auto cap = static_cast<size_t>(CleanupAuditStore::kMaximumFileBytes);
    listedBytes_ += cleanedItemHistoryTextSize(item);
    if (listedBytes_ > cap) {
        listTooLarge_ = true;
        std::vector<CleanedItem>().swap(entry_.cleanedItems);
        return;
    }
    entry_.cleanedItems.push_back(std::move(item));
}

void CleanAuditEntryBuilder::add(const FailedCleanItem& item) {
    ++entry_.failedItemCount;
    addReason(entry_.failureReasons, item.reason);
}

CleanupAuditEntry CleanAuditEntryBuilder::finish(bool wasCancelled, Date occurredAt) {
    CleanupAuditEntry e = std::move(entry_);
    e.occurredAt = occurredAt;
    e.wasCancelled = wasCancelled;
    e.affectedBytes = affected_.total();
    return e;
}

CleanupAuditEntry makeRestoreAuditEntry(const std::vector<CleanedItem>& requested,
                                        const RestoreResult& result, CleanupAuditSource source,
                                        Date occurredAt) {
    CleanupAuditEntry e = baseEntry(CleanupAuditOperation::restore, source, occurredAt);
    e.requestedItemCount = static_cast<int64_t>(requested.size());
    for (const auto& item : requested) {
        e.requestedBytes = saturatingAdd(e.requestedBytes, item.candidate.sizeBytes);
    }
    e.succeededItemCount = static_cast<int64_t>(result.restoredItems.size());
    e.failedItemCount = static_cast<int64_t>(result.failedItems.size());
    for (const auto& restored : result.restoredItems) {
        e.affectedBytes = saturatingAdd(e.affectedBytes, restored.cleanedItem.candidate.sizeBytes);
        if (e.samplePaths.size() < kCleanupAuditSampleLimit) {
            e.samplePaths.push_back(restored.restoredURL.path);
        }
    }
    for (const auto& failed : result.failedItems) addReason(e.failureReasons, failed.reason);
    e.wasCancelled = result.wasCancelled;
    return e;
}

}  // namespace velmora

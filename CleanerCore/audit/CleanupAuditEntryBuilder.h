#pragma once
// Building the history entry of a finished clean or restore run.
//
// Both builders give the entry a fresh random id and no chain link (the store links it):
//   - requestedItemCount / requestedBytes: the number and summed `sizeBytes` of the requested
//     items (the candidates the user confirmed, or the cleaned items the user asked to put back);
//   - succeededItemCount / failedItemCount: the lengths of the result's two lists;
//   - affectedBytes: the summed `sizeBytes` of the items that succeeded;
//   - samplePaths: the standardized paths of the first 20 items that succeeded, in the result's
//     (input) order: the original path of a cleaned item, the restored path of a restored one.
//     Twenty is what a history row can show; the full list of a clean is in `cleanedItems`;
//   - failureReasons: the distinct reason texts of the failed items in first-seen order, at most
//     20 (a run that fails the same way a thousand times records the reason once);
//   - cleanedItems: the result's cleaned items for a clean, nothing for a restore; a list whose
//     text alone exceeds the history file's cap (CleanupAuditStore::kMaximumFileBytes) is left
//     out, as the store would drop it, so that a huge cleanup is not copied;
//   - mode: the cleaning mode for a clean, absent for a restore.
// Byte sums saturate at the largest 64-bit value instead of wrapping (sizes are never negative,
// so only an absurd total can reach it).
//
// Pure functions, thread-safe.
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/cleaning/CleaningModel.h"
#include "CleanerCore/scanning/DistinctBytes.h"

namespace velmora {

inline constexpr size_t kCleanupAuditSampleLimit = 20;

CleanupAuditEntry makeCleanAuditEntry(const std::vector<CleanupCandidate>& requested,
                                      const CleanResult& result, CleaningMode mode,
                                      CleanupAuditSource source, Date occurredAt);

/// The same, for a caller that no longer holds the requested candidates: their number and
/// byte total (each byte once, as distinctBytes counts it) are given instead.
CleanupAuditEntry makeCleanAuditEntry(int64_t requestedItemCount, int64_t requestedBytes,
                                      const CleanResult& result, CleaningMode mode,
                                      CleanupAuditSource source, Date occurredAt);

/// Builds the entry of a clean run whose result arrives in parts, in input order, for a caller
/// that does not hold the whole result (a cleanup of a million items): the entry equals
/// makeCleanAuditEntry's for the whole result. Holds the cleaned items only while their text
/// stays under the history file's cap, and per item what the byte total needs. Not thread-safe.
class CleanAuditEntryBuilder {
  public:
    CleanAuditEntryBuilder(int64_t requestedItemCount, int64_t requestedBytes, CleaningMode mode,
                           CleanupAuditSource source);
    /// Room for `count` cleaned items in the byte count (spares regrowing a large list).
    void reserve(size_t count) { affected_.reserve(count); }
    void add(CleanedItem item);
    void add(const FailedCleanItem& item);
    CleanupAuditEntry finish(bool wasCancelled, Date occurredAt);

  private:
    CleanupAuditEntry entry_;
    DistinctBytesCounter affected_;
    size_t listedBytes_ = 2;  ///< the kept list's text as cleanedItemsExceed counts it
    bool listTooLarge_ = false;
};

CleanupAuditEntry makeRestoreAuditEntry(const std::vector<CleanedItem>& requested,
                                        const RestoreResult& result, CleanupAuditSource source,
                                        Date occurredAt);

}  // namespace velmora

#pragma once
// The result of one storage insight scan: the storage map, the finding lists, the skipped items
// and the system snapshot taken when the scan started. A plain value: copyable, comparable.
//
// `hasCompletedScan` is false only in the placeholder shown before the first scan; every report
// a scan returns has it true (a cancelled scan returns what it found with `isTruncated` true; the
// caller knows it cancelled). Pure, thread-safe.
#include <vector>

#include "CleanerCore/insights/InsightModel.h"
#include "CleanerCore/insights/SystemResourceSnapshot.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

struct MacStorageInsightReport {
    Date scannedAt = 0;                        ///< when the scan started
    std::vector<StorageMapItem> heatmapItems;  ///< one per scanned root, size descending
    std::vector<FileInsight> largeFiles;       ///< size descending
    std::vector<FileInsight> downloadFiles;    ///< size descending
    std::vector<DuplicateFileGroup> duplicateGroups;
    std::vector<FileInsight> securityFindings;  ///< severity descending
    std::vector<SkippedItem> skippedItems;
    bool isTruncated = false;  ///< the scan did not see everything it set out to see
    SystemResourceSnapshot systemSnapshot;
    bool hasCompletedScan = false;
    friend bool operator==(const MacStorageInsightReport&,
                           const MacStorageInsightReport&) = default;

    /// The empty report shown before the first scan: every list empty, not truncated,
    /// `hasCompletedScan` false, a default snapshot, `scannedAt` 0.
    static MacStorageInsightReport placeholder();
};

}  // namespace velmora

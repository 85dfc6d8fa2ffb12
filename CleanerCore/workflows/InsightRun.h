#pragma once
// The read-only storage insight scan of a home folder as front ends run it: the catalogue's
// configuration with the person's overrides, the scan, and the keeper recommendation of each
// duplicate group. Nothing is moved or deleted.
//
// Threading: `runInsightScan` runs on the caller's thread (the scanner uses its own workers and
// calls `progress` on them, one call at a time); cancellation ends it early with what was found
// so far. Errors are values: unreadable folders become skipped items of the report.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/base/Cancellation.h"
#include "CleanerCore/insights/MacStorageInsightScanner.h"
#include "CleanerCore/platform/Environment.h"

namespace velmora {

/// Values that replace the catalogue's configuration; each is clamped to its floor as every
/// configuration is.
struct InsightConfigurationOverrides {
    std::optional<int64_t> visitLimit, resultLimit, largeFileBytes, duplicateFileBytes;
    std::optional<int64_t> duplicateBudget, duplicateFileBudget, duplicateFiles;
    std::optional<int64_t> fingerprintBudget, fingerprintFiles;
};

struct InsightRunRequest {
    /// Another home folder to scan instead of the running user's.
    std::optional<std::string> homeOverride;
    Catalogue catalogue = Catalogue::linux;
    InsightConfigurationOverrides overrides;
    /// The limits of the storage tree the walk builds beside the report; none: no tree.
    std::optional<StorageTreeLimits> storageTree = StorageTreeLimits{};
};

struct InsightRun {
    std::string home;  ///< the scanned home folder, standardized
    MacStorageInsightScanner::Configuration configuration;  ///< as used, clamped
    MacStorageInsightReport report;
    MacStorageInsightScanner::Notes notes;
    std::vector<DuplicateKeeperRecommendation> keepers;  ///< one per duplicate group
    /// Folder and file sizes below the home (StorageTree.h), not part of the report; null when
    /// the request asked for none.
    std::shared_ptr<const StorageTree> storageTree;
    bool wasCancelled = false;
};

/// The folders the scan of `request` reads (its home and configuration folder).
UserEnvironment insightEnvironment(const InsightRunRequest& request);

/// The catalogue's configuration with `overrides` applied, clamped.
MacStorageInsightScanner::Configuration insightConfiguration(
    Catalogue catalogue, const InsightConfigurationOverrides& overrides);

InsightRun runInsightScan(const InsightRunRequest& request, const UserEnvironment& environment,
                          const std::function<void(const StorageScanProgress&)>& progress,
                          const CancellationToken& cancel);

}  // namespace velmora

#pragma once
// The read-only "Storage Insights" scan of a home folder: a storage map of its main folders,
// large files, older Downloads items, duplicate groups, security review items and the skipped
// items with their reasons, plus a system snapshot taken at the start. Never moves, deletes or
// writes anything.
//
// Roots: each root (InsightScanRoots.h) that is a folder, or a symbolic link to one (an XDG
// folder kept on another disk), is kept; missing roots and other files are dropped silently.
// A folder that several roots lead to is kept once, at its first root; a linked root that leads
// into protected data is skipped with "Protected user data path". A folder met inside one root
// that is another kept root is left to that root, so no file counts in two map items.
//
// Roles (InsightScanRoots.h): findings come from the user folders only; the other roots of the
// `linux` catalogue (every other top-level folder of the home, and the home's own files) are
// storage-map items, so that the map adds up to the home. There a folder is a folder whatever
// its name: package folders are a user-folder notion.
//
// Walk: each kept root is walked depth-first through directory descriptors; only the root
// itself may be reached through a link, nothing below it (links are neither followed nor
// counted). Per item: cancellation test; the protected-data rule (below) skips the
// subtree with "Protected user data path"; the item counts as visited, and a visit beyond
// `maximumVisitedItemsPerRoot` stops the root as truncated with one "Folder inventory limit
// exceeded"; a package folder (PackageExtensions.h) is one unit whose size is the sum of its
// regular files (its contents are never findings; "Could not enumerate package" when they cannot
// be listed, "Contains protected user data" when protected data lies inside it); a regular file
// counts its allocated size, else its logical size. A folder that cannot be listed is skipped
// with "Could not enumerate folder" and the walk goes on. Size overflow stops the root as
// truncated. A file with several names (hard links) counts once: in a root, at the first name
// met; across roots, in the first root of the order above. The walk keeps no per-file state
// beyond the files that may become findings (bounded lists, and files large enough to be
// duplicate candidates) and the identities of files with several names.
//
// Findings (packages count as files here, except for duplicates): large files (size at least
// `minimumLargeFileBytes`, caution) from every root and Downloads items (any size, caution) from
// the Downloads root, both size descending then path, cut to `maximumResultCount`; a recent file
// (modified after scan start − `minimumReviewFileAge`) that would be listed in either produces
// one "Recently modified" skipped item instead (at most `maximumRecentReviewSkippedItems`).
// Security items (InsightSecurity.h, manual review) are kept in a bounded heap by severity, then
// size, then path. Duplicates come from detectDuplicates over the regular files collected.
//
// Protected data (the insight scan's own rule, not the cleanup rule: a backup or a disk image is
// a finding here, while the cleanup checks still refuse to move it): lowercased components,
// "library" followed by "keychains", "mail", "messages", "cloudstorage", "mobile documents",
// "containers" or "group containers", or "library/application support" by "clouddocs",
// "containers" or "group containers", or any component ".trash"; paths of fewer than two
// components never. The `linux` catalogue adds isLinuxPersonalDataPath (keys, password stores,
// mail, browser profiles, Trash folders).
//
// Threading: `scan` blocks the calling thread; roots are walked on up to `walkWorkerCount`
// threads (the calling one included) and merged in root order, so the report does not depend
// on the number of workers; duplicate reading uses its own workers. The scanner holds no
// mutable state, so scans may run concurrently. Errors never escape: every
// problem becomes a skipped item. Cancellation is tested before every item and between phases;
// a cancelled scan returns what it found with `isTruncated` true and no duplicate groups.
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Cancellation.h"
#include "CleanerCore/insights/DuplicateDetection.h"
#include "CleanerCore/insights/InsightScanRoots.h"
#include "CleanerCore/insights/MacStorageInsightReport.h"
#include "CleanerCore/insights/StorageTree.h"
#include "CleanerCore/safety/PathConventions.h"

namespace velmora {

namespace InsightSkipReason {
inline constexpr std::string_view kCouldNotEnumerateFolder = "Could not enumerate folder";
inline constexpr std::string_view kCouldNotEnumeratePackage = "Could not enumerate package";
inline constexpr std::string_view kProtectedUserDataPath = "Protected user data path";
inline constexpr std::string_view kContainsProtectedUserData = "Contains protected user data";
inline constexpr std::string_view kRecentlyModified = "Recently modified";
inline constexpr std::string_view kFolderInventoryLimitExceeded = "Folder inventory limit exceeded";
}  // namespace InsightSkipReason

/// The insight scan's protected-data rule (see above). Pure, thread-safe.
bool isProtectedInsightPath(std::string_view standardizedPath, Catalogue catalogue);

class MacStorageInsightScanner {
  public:
    /// The defaults are the application's values; `clamped` applies the floors silently.
    struct Configuration {
        int64_t minimumLargeFileBytes = 104'857'600;
        int64_t minimumDuplicateFileBytes = 20'971'520;
        double minimumReviewFileAge = 86'400;
        int64_t maximumVisitedItemsPerRoot = 8'000;
        int64_t maximumResultCount = 250;
        int64_t maximumRecentReviewSkippedItems = 250;
        int64_t maximumDuplicateHashFiles = 500;
        int64_t maximumDuplicateFullHashBytesPerFile = 536'870'912;
        int64_t maximumDuplicateHashBytes = 1'073'741'824;
        int64_t maximumDuplicateFingerprintFiles = 2'000;
        int64_t maximumDuplicateFingerprintBytes = 268'435'456;

        /// The defaults for a catalogue: `macos` the values above; `linux` the same except a
        /// visit limit under which a whole home maps completely (the walk keeps no per-file
        /// state, so the limit bounds time, not memory).
        static Configuration forCatalogue(Catalogue catalogue);
        static constexpr int64_t kLinuxVisitedItemsPerRoot = 10'000'000;

        /// Floors 1 byte, 1 byte, age 0…30 days (NaN counts as 0), 128, 20, 0, 1, 1 MiB, 1 MiB,
        /// 1, 1 byte, in field order.
        Configuration clamped() const;
        /// The six duplicate fields as the detection takes them.
        DuplicateBudgets duplicateBudgets() const;
        friend bool operator==(const Configuration&, const Configuration&) = default;
    };

    struct Options {
        Catalogue catalogue = Catalogue::linux;
        /// Where user-dirs.dirs is read (`linux`); default "<home>/.config".
        std::optional<std::string> configHome;
        /// The user's own home, for display paths outside the scanned home (see InsightModel.h).
        std::optional<std::string> platformHome;
        /// Taken once at the start of the scan; default SystemResourceSnapshot::capture.
        std::function<SystemResourceSnapshot()> captureSnapshot;
        /// The scan's start time; default currentDate.
        std::function<Date()> now;
        /// Workers for duplicate reading; 0: detectDuplicates' default.
        size_t duplicateWorkerCount = 0;
        /// Threads that walk roots side by side; 0: `fileSystemWorkerCount()`.
        size_t walkWorkerCount = 0;
        /// Optional, called on the walking threads one call at a time (never concurrently):
        /// when each root starts, every 512 visited items of a root, when duplicate detection
        /// starts, and last with fraction 1 (not after a cancellation). `totalLocations` is the
        /// kept roots plus one for duplicate detection, `completedItems` the items visited,
        /// `foundCandidates` the files counted, `currentURL` the item being visited (absent during
        /// duplicate detection). The fraction never decreases. Must not block for long: the walk
        /// waits for it.
        std::function<void(const StorageScanProgress&)> progress;
        /// When set (and the caller asks for notes), the walk also builds the storage tree of
        /// the home within these limits (StorageTree.h); the report does not change.
        std::optional<StorageTreeLimits> storageTree;
    };

    /// `home` is standardized here; `configuration` is clamped here.
    MacStorageInsightScanner(std::string home, Configuration configuration, Options options);

    const Configuration& configuration() const { return configuration_; }
    const std::string& home() const { return home_; }

    /// What a scan learnt beside its report.
    struct Notes {
        /// The duplicate budgets that kept files from being compared: what to raise.
        std::vector<DuplicateBudget> exceededDuplicateBudgets;
        /// The folder and file sizes the walk saw, when `Options::storageTree` asked for them;
        /// its top-level items are the report's map items, in map order. A cancelled scan gives
        /// the roots walked so far.
        std::shared_ptr<const StorageTree> storageTree;
    };

    MacStorageInsightReport scan(const CancellationToken& cancel, Notes* notes = nullptr) const;

  private:
    std::string home_;
    Configuration configuration_;
    Options options_;
};

/// One recommendation per duplicate group of `report`, in group order.
std::vector<DuplicateKeeperRecommendation> duplicateKeeperRecommendations(
    const MacStorageInsightReport& report, Catalogue catalogue);

}  // namespace velmora

#pragma once
// Walks the locations of a scan and produces a ScanReport: every potential candidate is measured
// by a bounded inventory of its contents (allocated bytes), checked against the path rules and
// the location's age rule, and becomes a CleanupCandidate or a SkippedItem with a fixed reason.
// It never changes anything on disk.
//
// Speed: directories are read relative to descriptors (openat + getdents64 + fstatat), no
// per-file state is kept, and the top-level entries of all locations are inventoried by a pool
// of worker threads. Results are merged in location and listing order, so the report is the one
// a one-thread scan produces.
//
// Mount points: an entry that is one, or that holds one, is skipped. A device change shows a
// file system mounted inside; a bind mount of the same file system does not change the device,
// so the mount table is read once per scan and the few mount points below the roots are matched
// against each entry by path. No file costs an extra system call for this.
//
// Threading: `scan` blocks its caller; the progress callback is called from the scan's threads,
// one call at a time, with a fraction that never decreases. Cancellation is cooperative (checked
// before each location and entry, inside inventories and after each inventory); a cancelled scan
// still returns a report with `hasCompletedScan` false and what was finished before.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/base/Cancellation.h"
#include "CleanerCore/safety/PathConventions.h"
#include "CleanerCore/safety/ProtectedPlaces.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

namespace SkipReason {
inline constexpr const char* kFolderDoesNotExist = "Folder does not exist";
inline constexpr const char* kCouldNotEnumerate = "Could not enumerate folder";
inline constexpr const char* kScanRootItself = "Scan root itself is not a cleanup candidate";
inline constexpr const char* kSymbolicLink = "Symbolic links are skipped for safety";
inline constexpr const char* kProtectedPath = "Protected user data path";
inline constexpr const char* kContainsProtected = "Contains protected user data";
inline constexpr const char* kInventoryLimit = "Folder inventory limit exceeded";
inline constexpr const char* kRecentlyModified = "Recently modified";
inline constexpr const char* kEmptyItem = "Empty item";
inline constexpr const char* kMountPoint = "Mount points are skipped for safety";
inline constexpr const char* kContainsMountPoint = "Contains a mount point";
}  // namespace SkipReason

/// The result of inventorying one item.
struct DirectoryInventory {
    int64_t byteSize = 0;
    std::optional<Date> latestModificationDate;
    std::optional<FileURL> noTouchDescendantURL;
    bool exceededItemLimit = false;
    bool containsRecentlyModifiedItem = false;
    /// A folder inside the item could not be listed; the item is skipped as unreadable,
    /// because it could not be validated for cleaning either.
    std::optional<FileURL> unreadableFolderURL;
    /// Something inside lies on another file system (another device): it is not walked, and
    /// the item is not offered, since cleaning it would empty or move what is mounted there.
    bool containsMountPoint = false;
};

class StorageScanner {
  public:
    struct Configuration {
        int64_t maximumInventoryItemsPerCandidate = 100'000;
        int64_t inventoryProgressItemInterval = 128;
        /// Threads that inventory entries; 0 means `fileSystemWorkerCount()`.
        unsigned workerCount = 0;
    };
    using ProgressCallback = std::function<void(const StorageScanProgress&)>;

    /// Values below 1 are raised to 1. `homeFolder`, `catalogue` and `protectedPlaces` select
    /// the path rules.
    StorageScanner(Configuration configuration, std::string homeFolder, Catalogue catalogue,
                   ProtectedPlaces protectedPlaces = {});

    const Configuration& configuration() const { return configuration_; }

    /// Scans `locations` in order. `referenceDate` is "now" for every age test. Skipped items in
    /// `initialSkippedItems` (custom folders that could not be opened) lead the report's list.
    ScanReport scan(const std::vector<ScanLocation>& locations, Date referenceDate,
                    const ProgressCallback& progress, const CancellationToken& cancel,
                    std::vector<SkippedItem> initialSkippedItems = {}) const;

  private:
    Configuration configuration_;
    std::string homeFolder_;
    Catalogue catalogue_;
    ProtectedPlaces protectedPlaces_;
};

}  // namespace velmora

#include "CleanerCore/scanning/StorageScanner.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include "CleanerCore/base/WorkerPool.h"
#include "CleanerCore/platform/DirectoryWalker.h"
#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/platform/MountIdentity.h"
#include "CleanerCore/safety/PathRules.h"
#include "CleanerCore/safety/ProtectedNameFilter.h"
#include "CleanerCore/scanning/PackageExtensions.h"

namespace velmora {

namespace {

Date modificationDate(const struct stat& st) {
    return dateFromTimespec(st.st_mtim);
}

// Serializes progress samples from all workers and keeps the fraction from going backwards.
class ProgressHub {
  public:
    ProgressHub(const StorageScanner::ProgressCallback& callback, size_t locationCount)
        : callback_(callback), locations_(locationCount) {}

    void setEntryCount(size_t location, int64_t entries) {
        std::lock_guard lock(mutex_);
        locations_[location].entries = entries;
    }

    void locationStarted(size_t location, const FileURL& root) {
        std::lock_guard lock(mutex_);
        publish(location, root);
    }

    void locationSkipped(size_t location, const FileURL& root) {
        std::lock_guard lock(mutex_);
        ++skipped_;
        markFinished(locations_[location]);
        publish(location, root);
    }

    void finishIfEmpty(size_t location) {
        std::lock_guard lock(mutex_);
        auto& l = locations_[location];
        if (l.entries == 0) markFinished(l);
    }

    void itemsCounted(size_t location, const FileURL& current, int64_t delta) {
        std::lock_guard lock(mutex_);
        completedItems_ += delta;
        locations_[location].items += delta;
        publish(location, current);
    }

    void entryFinished(size_t location, const FileURL& entry, int64_t uncountedItems,
                       bool candidate, bool skipped) {
        std::lock_guard lock(mutex_);
        completedItems_ += uncountedItems;
        auto& l = locations_[location];
        l.items += uncountedItems;
        ++l.done;
        if (candidate) ++candidates_;
        if (skipped) ++skipped_;
        if (l.done >= l.entries) {
            markFinished(l);
        } else {
            setShare(l, static_cast<double>(l.done) / static_cast<double>(l.entries));
        }
        publish(location, entry);
    }

    void publishFinal() {
        std::lock_guard lock(mutex_);
        if (!callback_) return;
        auto n = static_cast<int64_t>(locations_.size());
        callback_(StorageScanProgress::make(std::nullopt, n, n, completedItems_, 0, std::nullopt,
                                            candidates_, skipped_, 1.0));
    }

  private:
    struct LocationProgress;

    // The overall fraction is the mean of the locations' shares (entries finished / entries),
    // kept as a running sum so that a sample costs the same however many locations there are.
    void setShare(LocationProgress& l, double share) {
        shareSum_ += share - l.share;
        l.share = share;
    }

    void markFinished(LocationProgress& l) {
        if (l.finished) return;
        l.finished = true;
        ++finishedLocations_;
        setShare(l, 1.0);
    }

    void publish(size_t location, const FileURL& current) {
        if (!callback_) return;
        const auto n = static_cast<double>(locations_.size());
        // Never reach 1.0 before the final sample: a full fraction means "finished".
        fraction_ = std::max(fraction_, std::min(shareSum_ / n, 0.999));
        const auto& l = locations_[location];
        callback_(StorageScanProgress::make(
            current, finishedLocations_, static_cast<int64_t>(locations_.size()), completedItems_,
            l.items, l.entries, candidates_, skipped_, fraction_));
    }

    struct LocationProgress {
        int64_t entries = 0;
        int64_t done = 0;
        int64_t items = 0;
        double share = 0;
        bool finished = false;
    };
    const StorageScanner::ProgressCallback& callback_;
    std::mutex mutex_;
    std::vector<LocationProgress> locations_;
    int64_t finishedLocations_ = 0;
    int64_t completedItems_ = 0;
    int64_t candidates_ = 0;
    int64_t skipped_ = 0;
    double shareSum_ = 0;
    double fraction_ = 0;
};

// One inventory walk: depth-first, in listing order, stopping at the first protected
// descendant, unreadable folder, mount point, or the item limit.
class Inventory final : public DirectoryVisitor {
  public:
    Inventory(const ScanLocation& location, Date referenceDate, int64_t maximumItems,
              int64_t progressInterval, Catalogue catalogue, const CancellationToken& cancel,
              ProgressHub& hub, size_t locationIndex, const FileURL& entryURL)
        : location_(location),
          referenceDate_(referenceDate),
          maximumItems_(maximumItems),
          progressInterval_(progressInterval),
          catalogue_(catalogue),
          cancel_(cancel),
          hub_(hub),
          locationIndex_(locationIndex),
          entryURL_(entryURL) {}

    DirectoryInventory walkDirectory(DirectoryWalker& walker, int dirFd, const std::string& path,
                                     Date ownDate, dev_t device) {
        result_.latestModificationDate = ownDate;
        WalkOptions options;
        // The device alone: what lies on another file system is not counted as the item's.
        options.mountPlace = MountPlace{device, std::nullopt};
        walker.walk(dirFd, path, *this, options);
        return result_;
    }

    int64_t unpublishedItems() const { return unpublished_; }

    bool isCancelled() override { return cancel_.isCancellationRequested(); }

    WalkAction listed(WalkEntry& entry) override {
        const char* name = entry.name();
        if (location_.includesHiddenFiles || name[0] != '.') return WalkAction::proceed;
        // Not counted, but a hidden key or password store (".ssh", ".gnupg") still keeps its
        // container from being offered; the name alone tells, so this costs no I/O.
        if (nameMayCompleteProtectedPath(name, catalogue_) &&
            isProtectedUserDataPath(entry.path(), catalogue_)) {
            result_.noTouchDescendantURL = FileURL(entry.path());
            return WalkAction::stop;
        }
        return WalkAction::pass;
    }

    WalkAction visit(WalkEntry& entry) override {
        const struct stat& st = entry.stat();
        const char* name = entry.name();
        if (nameMayCompleteProtectedPath(name, catalogue_) &&
            isProtectedUserDataPath(entry.path(), catalogue_)) {
            result_.noTouchDescendantURL = FileURL(entry.path(), S_ISDIR(st.st_mode));
            return WalkAction::stop;
        }
        if (S_ISLNK(st.st_mode)) return WalkAction::pass;
        if (entry.isOnOtherMount()) {
            result_.containsMountPoint = true;
            return WalkAction::stop;
        }
        const Date date = modificationDate(st);
        if (!result_.latestModificationDate || date > *result_.latestModificationDate) {
            result_.latestModificationDate = date;
        }
        if (isRecent(date)) result_.containsRecentlyModifiedItem = true;
        // A file reached through several links inside the item occupies its blocks once.
        if (S_ISREG(st.st_mode) &&
            (st.st_nlink <= 1 || linkedFiles_.emplace(st.st_dev, st.st_ino).second)) {
            result_.byteSize += static_cast<int64_t>(st.st_blocks) * 512;
        }
        if (++count_ > maximumItems_) {
            result_.exceededItemLimit = true;
            return WalkAction::stop;
        }
        if (++unpublished_ >= progressInterval_) {
            hub_.itemsCounted(locationIndex_, entryURL_, unpublished_);
            unpublished_ = 0;
        }
        if (!S_ISDIR(st.st_mode)) return WalkAction::pass;
        if (!location_.includesPackageDescendants &&
            isPackageExtension(pathExtensionLowercased(name))) {
            return WalkAction::pass;
        }
        return WalkAction::proceed;
    }

    WalkAction failed(const std::string& path, WalkFailure failure, int error) override {
        switch (failure) {
            case WalkFailure::describe:
                if (error == ENOENT) return WalkAction::pass;  // gone since the listing
                result_.unreadableFolderURL = FileURL(deletingLastPathComponent(path), true);
                return WalkAction::stop;
            case WalkFailure::open:
                if (error == ENOENT) return WalkAction::pass;
                break;
            case WalkFailure::otherMount:
                result_.containsMountPoint = true;
                return WalkAction::stop;
            case WalkFailure::list:
            case WalkFailure::changed:
            case WalkFailure::tooDeep:
                break;
        }
        result_.unreadableFolderURL = FileURL(path, true);
        return WalkAction::stop;
    }

  private:
    bool isRecent(Date date) const {
        return location_.minimumModificationAge > 0 &&
               referenceDate_ - date < location_.minimumModificationAge;
    }

    const ScanLocation& location_;
    Date referenceDate_;
    int64_t maximumItems_;
    int64_t progressInterval_;
    Catalogue catalogue_;
    const CancellationToken& cancel_;
    ProgressHub& hub_;
    size_t locationIndex_;
    const FileURL& entryURL_;

    DirectoryInventory result_;
    std::set<std::pair<dev_t, ino_t>> linkedFiles_;  // files with more than one link, seen
    int64_t count_ = 0;
    int64_t unpublished_ = 0;
};

// Where one entry's outcome goes: a candidate is written straight into its slot of the
// report's list (one copy of each candidate, however many there are).
struct EntryResult {
    CleanupCandidate& slot;
    bool hasCandidate = false;
    std::optional<SkippedItem> skipped;
};

// One scan: plans every location (checks and lists its root), then lets workers evaluate the
// top-level entries, then assembles the report in location and listing order.
class ScanRun {
  public:
    ScanRun(const StorageScanner::Configuration& config, const std::string& home,
            Catalogue catalogue, const ProtectedPlaces& places,
            const std::vector<ScanLocation>& locations, Date referenceDate,
            const StorageScanner::ProgressCallback& progress, const CancellationToken& cancel)
        : config_(config),
          catalogue_(catalogue),
          rules_(SafePathPolicy::make({}, home, catalogue, places)),
          locations_(locations),
          referenceDate_(referenceDate),
          cancel_(cancel),
          hub_(progress, locations.size()),
          plans_(locations.size()) {}

    ScanReport run(std::vector<SkippedItem> initialSkippedItems) {
        mountPoints_ = readMountPoints();
        size_t planned = 0;
        while (planned < locations_.size() && !cancel_.isCancellationRequested()) plan(planned++);
        slots_.resize(tasks_.size());
        isCandidate_.assign(tasks_.size(), 0);
        runWorkers();
        std::vector<EntryTask>().swap(tasks_);

        const bool cancelled = cancel_.isCancellationRequested();
        ScanReport report;
        report.skippedItems = std::move(initialSkippedItems);
        // The candidates close up in their slots, in location and listing order; the skipped
        // items join them in the same order.
        std::sort(skipped_.begin(), skipped_.end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
        size_t kept = 0;
        auto skip = skipped_.begin();
        for (size_t l = 0; l < planned; ++l) {
            if (plans_[l].rootSkip) report.skippedItems.push_back(*plans_[l].rootSkip);
            for (size_t i = plans_[l].firstTask; i < plans_[l].firstTask + plans_[l].taskCount;
                 ++i) {
                if (isCandidate_[i]) {
                    if (kept != i) slots_[kept] = std::move(slots_[i]);
                    ++kept;
                }
                for (; skip != skipped_.end() && skip->first == i; ++skip) {
                    report.skippedItems.push_back(std::move(skip->second));
                }
            }
        }
        slots_.resize(kept);
        report.candidates = std::move(slots_);
        std::vector<char>().swap(isCandidate_);
        std::vector<std::pair<size_t, SkippedItem>>().swap(skipped_);
        if (!cancelled && !locations_.empty()) hub_.publishFinal();
        report.scannedAt = currentDate();
        for (const auto& loc : locations_) {
            report.scannedRoots.push_back(FileURL::directory(loc.rootURL.path));
        }
        report.hasCompletedScan = !cancelled;
        sortCandidatesForReport(report.candidates);
        return report;
    }

  private:
    struct LocationPlan {
        std::optional<SkippedItem> rootSkip;
        UniqueFd entriesDirFd;  // the root, or for directoryItself the root's parent
        std::string entriesDirPath;
        dev_t entriesDevice = 0;
        // The entries folder with links resolved, as the mount table names it, and the mount
        // points strictly below it (usually none).
        std::string resolvedEntriesDirPath;
        std::vector<std::string> mountPointsBelow;
        size_t firstTask = 0;
        size_t taskCount = 0;
    };
    struct EntryTask {
        size_t location = 0;
        std::string name;
    };

    // Opens `path` without following links and proves it is the object that was checked:
    // a folder swapped between the check and the open is not walked.
    static UniqueFd openChecked(const std::string& path, const struct stat& checked) {
        UniqueFd fd = openDirectoryNoFollow(path);
        struct stat st {};
        if (fd && (::fstat(fd.get(), &st) != 0 || st.st_dev != checked.st_dev ||
                   st.st_ino != checked.st_ino)) {
            fd.reset();
        }
        return fd;
    }

    void plan(size_t index) {
        const ScanLocation& loc = locations_[index];
        LocationPlan& plan = plans_[index];
        const FileURL root = FileURL::directory(loc.rootURL.path);
        hub_.locationStarted(index, root);
        auto skipRoot = [&](std::string reason) {
            plan.rootSkip = SkippedItem{root, std::move(reason)};
            hub_.locationSkipped(index, root);
        };
        auto st = statPath(root.path);
        if (!st || !S_ISDIR(st->st_mode)) return skipRoot(SkipReason::kFolderDoesNotExist);
        if (auto refusal = rules_.checkPathIgnoringScope(root.path)) {
            return skipRoot(refusal->description());
        }
        plan.firstTask = tasks_.size();
        if (loc.depth == ScanDepth::directoryItself) {
            // The one candidate is the root as a whole; never the home folder or above it.
            if (StoragePathContainment::pathIsWithin(rules_.homeLexicalKey, root.path) ||
                StoragePathContainment::pathIsWithin(rules_.homePathKey, root.path)) {
                return skipRoot(SkipReason::kScanRootItself);
            }
            plan.entriesDirPath = deletingLastPathComponent(root.path);
            plan.entriesDirFd = openDirectoryNoFollow(plan.entriesDirPath);
            if (!plan.entriesDirFd) return skipRoot(SkipReason::kCouldNotEnumerate);
            tasks_.push_back({index, root.lastComponent()});
        } else {
            plan.entriesDirPath = root.path;
            plan.entriesDirFd = openChecked(root.path, *st);
            const bool listed = plan.entriesDirFd &&
                                forEachDirectoryEntry(
                                    plan.entriesDirFd.get(), [&](const char* name, unsigned char) {
                                        if (loc.includesHiddenFiles || name[0] != '.')
                                            tasks_.push_back({index, name});
                                    });
            if (!listed) {
                tasks_.resize(plan.firstTask);
                return skipRoot(SkipReason::kCouldNotEnumerate);
            }
        }
        struct stat entriesDir {};
        if (::fstat(plan.entriesDirFd.get(), &entriesDir) != 0) {
            tasks_.resize(plan.firstTask);
            return skipRoot(SkipReason::kCouldNotEnumerate);
        }
        plan.entriesDevice = entriesDir.st_dev;
        plan.resolvedEntriesDirPath = resolvingSymlinksInPath(plan.entriesDirPath);
        for (const auto& mountPoint : mountPoints_) {
            if (mountPoint != plan.resolvedEntriesDirPath &&
                isWithin(mountPoint, plan.resolvedEntriesDirPath)) {
                plan.mountPointsBelow.push_back(mountPoint);
            }
        }
        plan.taskCount = tasks_.size() - plan.firstTask;
        hub_.setEntryCount(index, static_cast<int64_t>(plan.taskCount));
        hub_.finishIfEmpty(index);
    }

    void runWorkers() {
        std::atomic<size_t> next{0};
        auto worker = [&] {
            DirectoryWalker walker;  // one per worker: its listing buffers are reused
            for (;;) {
                const size_t i = next.fetch_add(1, std::memory_order_relaxed);
                if (i >= tasks_.size() || cancel_.isCancellationRequested()) return;
                const EntryTask& task = tasks_[i];
                EntryResult result{slots_[i], false, std::nullopt};
                const int64_t unpublished = evaluate(walker, task, result);
                const bool wasSkipped = result.skipped.has_value();
                isCandidate_[i] = result.hasCandidate;
                if (wasSkipped) {
                    std::lock_guard lock(skippedGuard_);
                    skipped_.emplace_back(i, std::move(*result.skipped));
                }
                hub_.entryFinished(task.location, entryURL(task), unpublished, result.hasCandidate,
                                   wasSkipped);
            }
        };
        size_t threads = config_.workerCount != 0 ? config_.workerCount : fileSystemWorkerCount();
        threads = std::min<size_t>(threads, std::max<size_t>(tasks_.size(), 1));
        std::vector<std::thread> pool;
        for (size_t t = 1; t < threads; ++t) pool.emplace_back(worker);
        worker();
        for (auto& t : pool) t.join();
    }

    // `path` is `folder` or lies below it (both standardized).
    static bool isWithin(const std::string& path, const std::string& folder) {
        if (folder == "/") return true;
        return path.size() >= folder.size() && path.compare(0, folder.size(), folder) == 0 &&
               (path.size() == folder.size() || path[folder.size()] == '/');
    }

    // Why an entry is skipped for a mount point at or below it; none when there is none.
    const char* mountSkipReason(const LocationPlan& plan, const std::string& name,
                                const struct stat& st) const {
        if (st.st_dev != plan.entriesDevice) return SkipReason::kMountPoint;
        if (plan.mountPointsBelow.empty()) return nullptr;
        const std::string resolved = appendingPathComponent(plan.resolvedEntriesDirPath, name);
        const char* reason = nullptr;
        for (const auto& mountPoint : plan.mountPointsBelow) {
            if (mountPoint == resolved) return SkipReason::kMountPoint;
            if (isWithin(mountPoint, resolved)) reason = SkipReason::kContainsMountPoint;
        }
        return reason;
    }

    FileURL entryURL(const EntryTask& task) const {
        return FileURL(appendingPathComponent(plans_[task.location].entriesDirPath, task.name));
    }

    bool isRecent(const ScanLocation& loc, Date date) const {
        return loc.minimumModificationAge > 0 && referenceDate_ - date < loc.minimumModificationAge;
    }

    // The reason an inventoried entry is not offered, in order of precedence; none for a candidate.
    const char* skipReason(const ScanLocation& loc, const DirectoryInventory& inv,
                           bool entryIsRecent) const {
        if (inv.containsMountPoint) return SkipReason::kContainsMountPoint;
        if (inv.noTouchDescendantURL) return SkipReason::kContainsProtected;
        if (inv.unreadableFolderURL) return SkipReason::kCouldNotEnumerate;
        if (inv.exceededItemLimit) return SkipReason::kInventoryLimit;
        if (entryIsRecent || inv.containsRecentlyModifiedItem ||
            (inv.latestModificationDate && isRecent(loc, *inv.latestModificationDate))) {
            return SkipReason::kRecentlyModified;
        }
        if (inv.byteSize < 1) return SkipReason::kEmptyItem;
        return nullptr;
    }

    // Evaluates one top-level entry into `out`; returns the items counted but not yet reported
    // as progress.
    int64_t evaluate(DirectoryWalker& walker, const EntryTask& task, EntryResult& out) {
        const ScanLocation& loc = locations_[task.location];
        const int dirFd = plans_[task.location].entriesDirFd.get();
        const std::string path =
            appendingPathComponent(plans_[task.location].entriesDirPath, task.name);
        struct stat st {};
        if (::fstatat(dirFd, task.name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
            if (errno != ENOENT)
                out.skipped = SkippedItem{FileURL(path), SkipReason::kCouldNotEnumerate};
            return 0;  // an entry that vanished since the listing is simply gone
        }
        const bool isDir = S_ISDIR(st.st_mode);
        const FileURL url(path, isDir);
        auto skip = [&](const char* reason) {
            out.skipped = SkippedItem{url, reason};
            return int64_t{0};
        };
        if (S_ISLNK(st.st_mode)) return skip(SkipReason::kSymbolicLink);
        if (isProtectedUserDataPath(path, catalogue_)) return skip(SkipReason::kProtectedPath);
        if (const char* reason = mountSkipReason(plans_[task.location], task.name, st)) {
            return skip(reason);
        }
        const Date ownDate = modificationDate(st);
        const bool recent = isRecent(loc, ownDate);
        if (recent && !isDir) return skip(SkipReason::kRecentlyModified);

        DirectoryInventory inv;
        int64_t unpublished = 0;
        UniqueFd fd;
        if (isDir) {
            fd = openDescribedFolder(dirFd, task.name.c_str(), st);
            if (!fd) return skip(SkipReason::kCouldNotEnumerate);
            Inventory inventory(loc, referenceDate_, config_.maximumInventoryItemsPerCandidate,
                                config_.inventoryProgressItemInterval, catalogue_, cancel_, hub_,
                                task.location, url);
            inv = inventory.walkDirectory(walker, fd.get(), path, ownDate, st.st_dev);
            unpublished = inventory.unpublishedItems();
        } else {
            inv.byteSize = S_ISREG(st.st_mode) ? static_cast<int64_t>(st.st_blocks) * 512 : 0;
            inv.latestModificationDate = ownDate;
        }
        if (cancel_.isCancellationRequested()) return unpublished;  // nothing is recorded
        if (const char* reason = skipReason(loc, inv, recent)) {
            skip(reason);
            return unpublished;
        }
        CleanupCandidate c;
        c.url = url;
        c.displayName = url.lastComponent();
        c.category = loc.category;
        c.sizeBytes = inv.byteSize;
        c.lastModified = inv.latestModificationDate;
        // A folder's identity is taken from the descriptor that was walked.
        c.resourceIdentity =
            fd ? captureIdentityOf(fd.get()) : captureIdentityAt(dirFd, task.name.c_str());
        c.isSelectedByDefault = loc.isSelectedByDefault;
        c.safety = loc.safety;
        c.requiresManualReviewBySource = false;
        c.appCacheContext = loc.appCacheContext;
        out.slot = std::move(c);
        out.hasCandidate = true;
        return unpublished;
    }

    const StorageScanner::Configuration& config_;
    Catalogue catalogue_;
    SafePathPolicy rules_;
    const std::vector<ScanLocation>& locations_;
    Date referenceDate_;
    const CancellationToken& cancel_;
    ProgressHub hub_;
    std::vector<LocationPlan> plans_;
    std::vector<EntryTask> tasks_;
    std::vector<CleanupCandidate> slots_;  ///< one per task; filled where it is a candidate
    std::vector<char> isCandidate_;        ///< bytes, not bits: workers write neighbouring entries
    std::vector<std::pair<size_t, SkippedItem>> skipped_;  ///< (task, item), in any order
    std::mutex skippedGuard_;
    std::vector<std::string> mountPoints_;  // of this process, read once per scan
};

}  // namespace

StorageScanner::StorageScanner(Configuration configuration, std::string homeFolder,
                               Catalogue catalogue, ProtectedPlaces protectedPlaces)
    : configuration_(configuration),
      homeFolder_(std::move(homeFolder)),
      catalogue_(catalogue),
      protectedPlaces_(std::move(protectedPlaces)) {
    configuration_.maximumInventoryItemsPerCandidate =
        std::max<int64_t>(1, configuration_.maximumInventoryItemsPerCandidate);
    configuration_.inventoryProgressItemInterval =
        std::max<int64_t>(1, configuration_.inventoryProgressItemInterval);
}

ScanReport StorageScanner::scan(const std::vector<ScanLocation>& locations, Date referenceDate,
                                const ProgressCallback& progress, const CancellationToken& cancel,
                                std::vector<SkippedItem> initialSkippedItems) const {
    ScanRun run(configuration_, homeFolder_, catalogue_, protectedPlaces_, locations, referenceDate,
                progress, cancel);
    return run.run(std::move(initialSkippedItems));
}

}  // namespace velmora

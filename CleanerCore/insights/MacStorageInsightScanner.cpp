#include "CleanerCore/insights/MacStorageInsightScanner.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <mutex>
#include <queue>
#include <set>
#include <thread>

#include "CleanerCore/base/Text.h"
#include "CleanerCore/base/WorkerPool.h"
#include "CleanerCore/insights/DuplicateDetection.h"
#include "CleanerCore/insights/DuplicateKeeper.h"
#include "CleanerCore/insights/InsightSecurity.h"
#include "CleanerCore/platform/DirectoryWalker.h"
#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/safety/PathRules.h"
#include "CleanerCore/safety/ProtectedNameFilter.h"
#include "CleanerCore/scanning/PackageExtensions.h"

namespace velmora {

namespace {

constexpr double kMaximumReviewAge = 2'592'000;  // 30 days

std::string lowercased(std::string_view text) {
    std::string out(text);
    for (auto& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

std::vector<std::string> lowercasedComponents(std::string_view path) {
    std::vector<std::string> out;
    size_t i = 0;
    while (i < path.size()) {
        while (i < path.size() && path[i] == '/') ++i;
        const size_t start = i;
        while (i < path.size() && path[i] != '/') ++i;
        if (i > start) out.push_back(lowercased(path.substr(start, i - start)));
    }
    return out;
}

bool isContainerFolderName(const std::string& c) {
    return c == "containers" || c == "group containers";
}

// A component that can complete the insight rule's own names (beside the cleanup rule's, which
// nameMayCompleteProtectedPath covers and of which the insight rule is a part).
bool mayCompleteInsightRule(std::string_view name) {
    // Cheap for the names that cannot match, which are nearly all.
    return equalsLowercasedASCII(name, ".trash") || equalsLowercasedASCII(name, "containers") ||
           equalsLowercasedASCII(name, "group containers");
}

// The insight scan's own rule: personal data under a Library folder, container folders, and
// anything inside a ".trash" folder.
bool insightRuleProtects(std::string_view path) {
    const auto c = lowercasedComponents(path);
    if (c.size() < 2) return false;
    for (size_t i = 0; i < c.size(); ++i) {
        if (c[i] == ".trash") return true;
        if (c[i] != "library" || i + 1 >= c.size()) continue;
        const std::string& next = c[i + 1];
        if (next == "keychains" || next == "mail" || next == "messages" || next == "cloudstorage" ||
            next == "mobile documents" || isContainerFolderName(next)) {
            return true;
        }
        if (next == "application support" && i + 2 < c.size() &&
            (c[i + 2] == "clouddocs" || isContainerFolderName(c[i + 2]))) {
            return true;
        }
    }
    return false;
}

// A regular file or package kept for the findings.
struct WalkedFile {
    std::string path;
    int64_t sizeBytes = 0;    // allocated size, else logical size
    int64_t logicalSize = 0;  // file size
    Date modificationDate = 0;
    bool isPackage = false;
    int64_t linkCount = 1;
    uint64_t device = 0;
    uint64_t inode = 0;
};

int64_t nonNegative(int64_t v) {
    return v < 0 ? 0 : v;
}

int64_t countedSize(const struct stat& st) {
    const int64_t allocated = nonNegative(static_cast<int64_t>(st.st_blocks) * 512);
    return allocated > 0 ? allocated : nonNegative(static_cast<int64_t>(st.st_size));
}

bool largerFirst(const WalkedFile& a, const WalkedFile& b) {
    if (a.sizeBytes != b.sizeBytes) return a.sizeBytes > b.sizeBytes;
    return a.path < b.path;
}

// A security candidate, ranked by severity, size, then path.
struct SecurityCandidate {
    int severity;
    WalkedFile file;
    std::string detail;
};
bool ranksAbove(const SecurityCandidate& a, const SecurityCandidate& b) {
    if (a.severity != b.severity) return a.severity > b.severity;
    return largerFirst(a.file, b.file);
}

// The `limit` best elements under `better`, in a binary heap whose top is the worst kept one.
template <typename T, typename Better>
class BestOf {
  public:
    BestOf(size_t limit, Better better) : limit_(limit), heap_(better) {}
    void add(T value) {
        heap_.push(std::move(value));
        if (heap_.size() > limit_) heap_.pop();
    }
    /// Best first; empties the heap.
    std::vector<T> take() {
        std::vector<T> out;
        while (!heap_.empty()) {
            out.push_back(heap_.top());
            heap_.pop();
        }
        std::reverse(out.begin(), out.end());
        return out;
    }

  private:
    size_t limit_;
    std::priority_queue<T, std::vector<T>, Better> heap_;
};
using BetterFile = bool (*)(const WalkedFile&, const WalkedFile&);
using BetterSecurity = bool (*)(const SecurityCandidate&, const SecurityCandidate&);

// A file with more than one name that a root counted, to count it once across roots.
struct LinkedFile {
    uint64_t device, inode;
    int64_t sizeBytes;
    friend auto operator<=>(const LinkedFile&, const LinkedFile&) = default;
};

// What the walk of one root found; merged in root order so the report does not depend on which
// worker walked which root.
struct RootResult {
    StorageMapItem item;
    std::vector<SkippedItem> skipped;
    std::vector<WalkedFile> recent;  // held back by the age rule, in walk order, bounded
    std::vector<WalkedFile> large, downloads;
    std::vector<SecurityCandidate> security;
    std::vector<WalkedFile> duplicateCandidates;
    std::vector<LinkedFile> linked;
    std::unique_ptr<StorageTreeRootBuilder> tree;  // when the scan builds the storage tree
    bool cancelled = false;
};

// What every root's walk shares, read-only (progress aside, which is serialized).
struct WalkContext {
    const MacStorageInsightScanner::Configuration& config;
    Catalogue catalogue;
    const CancellationToken& cancel;
    std::string_view home;
    std::optional<std::string_view> platformHome;
    Date recentAfter;
    /// Identities (device, inode) of every kept root: a folder met in one root's walk that is
    /// another root is left to that root, so the storage map never counts it twice.
    std::vector<std::pair<dev_t, ino_t>> rootIdentities;
    /// Progress: totals over all walks, published under the mutex.
    std::function<void(const std::string&, int64_t, int64_t)> progress;
    std::mutex progressMutex;
    std::atomic<int64_t> visitedTotal{0}, countedTotal{0};
    /// The storage tree's limits and its node budget, shared by the roots' walks.
    std::optional<StorageTreeLimits> treeLimits;
    std::atomic<int64_t> treeNodesLeft{0};
};

class RootWalk final : public DirectoryVisitor {
  public:
    static constexpr int64_t kProgressInterval = 512;

    RootWalk(WalkContext& context, const InsightScanRoot& root)
        : c_(context),
          root_(root),
          listsFiles_(root.role == InsightScanRoot::Role::userFolder),
          large_(static_cast<size_t>(context.config.maximumResultCount), largerFirst),
          downloads_(static_cast<size_t>(context.config.maximumResultCount), largerFirst),
          security_(static_cast<size_t>(context.config.maximumResultCount), ranksAbove) {}

    /// Walks the root. `st` is what stat (following a link) found at the root's path: a root may
    /// be a symbolic link to a folder (an XDG folder on another disk, say); only the root itself
    /// is followed, never anything below it.
    RootResult run(const struct stat& st) {
        RootResult& r = result_;
        r.item.id = root_.path;
        r.item.url = FileURL::directory(root_.path);
        r.item.displayName = insightDisplayPath(root_.path, c_.home, c_.platformHome);
        // A linked root is judged by where it leads as well as by its own path.
        if (isProtectedInsightPath(root_.path, c_.catalogue) ||
            isProtectedInsightPath(resolvingSymlinksInPath(root_.path), c_.catalogue)) {
            skip(root_.path, true, InsightSkipReason::kProtectedUserDataPath);
            return std::move(result_);
        }
        UniqueFd fd = openDirectoryFollowingLinks(root_.path);
        struct stat opened {};
        if (!fd || ::fstat(fd.get(), &opened) != 0 || opened.st_dev != st.st_dev ||
            opened.st_ino != st.st_ino) {
            skip(root_.path, true, InsightSkipReason::kCouldNotEnumerateFolder);
            return std::move(result_);
        }
        device_ = st.st_dev;
        inode_ = st.st_ino;
        if (c_.progress) publishProgress(root_.path);
        if (c_.treeLimits) {
            result_.tree =
                std::make_unique<StorageTreeRootBuilder>(*c_.treeLimits, c_.treeNodesLeft);
        }
        DirectoryWalker walker;
        walker.walk(fd.get(), root_.path, *this);
        if (result_.tree) result_.tree->finish();
        flushProgressCounts();
        r.item.sizeBytes = sizeBytes_;
        r.item.itemCount = itemCount_;
        r.item.isTruncated = truncated_;
        r.large = large_.take();
        r.downloads = downloads_.take();
        r.security = security_.take();
        r.linked.assign(linked_.begin(), linked_.end());
        return std::move(result_);
    }

  private:
    bool isAnotherRoot(const struct stat& st) const {
        if (st.st_dev == device_ && st.st_ino == inode_) return false;
        return std::find(c_.rootIdentities.begin(), c_.rootIdentities.end(),
                         std::pair{st.st_dev, st.st_ino}) != c_.rootIdentities.end();
    }

    void skip(const std::string& path, bool isDirectory, std::string_view reason) {
        result_.skipped.push_back({FileURL(path, isDirectory), std::string(reason)});
    }

    bool isProtectedChild(WalkEntry& entry) const {
        const char* name = entry.name();
        return (nameMayCompleteProtectedPath(name, c_.catalogue) || mayCompleteInsightRule(name)) &&
               isProtectedInsightPath(entry.path(), c_.catalogue);
    }

    void flushProgressCounts() {
        c_.visitedTotal += pendingVisits_;
        c_.countedTotal += pendingCounted_;
        pendingVisits_ = pendingCounted_ = 0;
    }

    void publishProgress(const std::string& path) {
        flushProgressCounts();
        std::lock_guard lock(c_.progressMutex);
        c_.progress(path, c_.visitedTotal.load(), c_.countedTotal.load());
    }

    // Counts one visit; false (and the root stops as truncated) beyond the limit.
    bool countVisit(WalkEntry& entry) {
        if (++pendingVisits_ >= kProgressInterval && c_.progress) publishProgress(entry.path());
        if (++visited_ <= c_.config.maximumVisitedItemsPerRoot) return true;
        stopTruncated();
        return false;
    }

    void stopTruncated() {
        if (!truncated_) skip(root_.path, true, InsightSkipReason::kFolderInventoryLimitExceeded);
        truncated_ = true;
        stop_ = true;
    }

  public:
    bool isCancelled() override {
        if (c_.cancel.isCancellationRequested()) result_.cancelled = true;
        return result_.cancelled;
    }

    WalkAction listed(WalkEntry& entry) override {
        // The home folder's own files only: its folders are roots of their own.
        if (root_.role == InsightScanRoot::Role::looseFiles && entry.listedType() == DT_DIR) {
            return WalkAction::pass;
        }
        return WalkAction::proceed;
    }

    WalkAction visit(WalkEntry& entry) override {
        const struct stat& st = entry.stat();
        if (isProtectedChild(entry)) {
            skip(entry.path(), S_ISDIR(st.st_mode), InsightSkipReason::kProtectedUserDataPath);
            return WalkAction::pass;
        }
        if (S_ISDIR(st.st_mode)) {
            if (root_.role == InsightScanRoot::Role::looseFiles || isAnotherRoot(st)) {
                return WalkAction::pass;
            }
        }
        if (!countVisit(entry)) return WalkAction::stop;
        if (S_ISLNK(st.st_mode)) return WalkAction::pass;
        if (S_ISDIR(st.st_mode)) {
            // Packages are a bundle format of the user's own documents and downloads; elsewhere
            // (a Flatpak application's data in ~/.var/app/org.example.App, say) a folder is a
            // folder whatever its name.
            if (listsFiles_ && isPackageExtension(pathExtensionLowercased(entry.name()))) {
                visitPackage(entry);
                return stop_ ? WalkAction::stop : WalkAction::pass;
            }
            if (result_.tree) result_.tree->folder(entry.depth(), entry.name());
            return WalkAction::proceed;
        }
        if (S_ISREG(st.st_mode)) record(entry, countedSize(st), false);
        return stop_ ? WalkAction::stop : WalkAction::pass;
    }

    WalkAction failed(const std::string& path, WalkFailure failure, int error) override {
        // Whatever cannot be read is reported and passed over; the rest of the root is mapped.
        if (error == ENOENT && (failure == WalkFailure::describe || failure == WalkFailure::open)) {
            return WalkAction::pass;  // gone since the listing
        }
        skip(path, failure != WalkFailure::describe, InsightSkipReason::kCouldNotEnumerateFolder);
        return WalkAction::pass;
    }

  private:
    void record(WalkEntry& entry, int64_t size, bool isPackage) {
        const struct stat& st = entry.stat();
        // One inode is one file: a second name of a file already counted here adds nothing.
        if (!isPackage && st.st_nlink > 1) {
            if (!linked_.insert({st.st_dev, st.st_ino, size}).second) return;
        }
        int64_t sum = 0;
        if (__builtin_add_overflow(sizeBytes_, size, &sum)) {
            truncated_ = true;
            stop_ = true;
            return;
        }
        sizeBytes_ = sum;
        ++itemCount_;
        ++pendingCounted_;
        if (result_.tree) {
            std::optional<StorageTreeLink> link;
            if (!isPackage && st.st_nlink > 1) {
                link = StorageTreeLink{static_cast<uint64_t>(st.st_dev),
                                       static_cast<uint64_t>(st.st_ino)};
            }
            result_.tree->file(entry.depth(), entry.name(), size, link);
        }
        if (!listsFiles_) return;

        // Only what can become a finding is kept, so memory does not grow with the home.
        const int64_t logicalSize = nonNegative(static_cast<int64_t>(st.st_size));
        const bool isLarge = size >= c_.config.minimumLargeFileBytes;
        const bool isDuplicateCandidate =
            !isPackage && logicalSize >= c_.config.minimumDuplicateFileBytes;
        const std::string_view name = entry.name();
        auto detail = securityDetail(name, c_.catalogue);
        if (!isLarge && !root_.isDownloads && !isDuplicateCandidate && !detail) return;

        WalkedFile f;
        f.path = entry.path();
        f.sizeBytes = size;
        f.logicalSize = logicalSize;
        f.modificationDate = dateFromTimespec(st.st_mtim);
        f.isPackage = isPackage;
        f.linkCount = static_cast<int64_t>(st.st_nlink);
        f.device = static_cast<uint64_t>(st.st_dev);
        f.inode = static_cast<uint64_t>(st.st_ino);
        if (detail) security_.add({securitySeverity(name, c_.catalogue), f, std::move(*detail)});
        if (isDuplicateCandidate) result_.duplicateCandidates.push_back(f);
        if (isLarge || root_.isDownloads) {
            if (f.modificationDate > c_.recentAfter) {
                if (static_cast<int64_t>(result_.recent.size()) <
                    c_.config.maximumRecentReviewSkippedItems)
                    result_.recent.push_back(std::move(f));
                return;
            }
            if (isLarge && root_.isDownloads) downloads_.add(f);
            (isLarge ? large_ : downloads_).add(std::move(f));
        }
    }

    // A package is one unit: its regular files are summed, none of them is a finding.
    void visitPackage(WalkEntry& entry) {
        const int fd = entry.openFolder();
        PackageSum sum(*this);
        if (fd < 0 || packageWalker_.walk(fd, entry.path(), sum) != WalkEnd::finished) {
            if (result_.cancelled || stop_) return;
            skip(entry.path(), true,
                 sum.containsProtected ? InsightSkipReason::kContainsProtectedUserData
                                       : InsightSkipReason::kCouldNotEnumeratePackage);
            return;
        }
        record(entry, sum.bytes, true);
    }

    // Sums a package's regular files. The walk ends early when the package cannot be sized:
    // unreadable, protected inside, too large (the root stops as truncated) or cancelled.
    struct PackageSum final : DirectoryVisitor {
        explicit PackageSum(RootWalk& walk) : owner(walk) {}
        bool isCancelled() override { return owner.isCancelled(); }
        WalkAction visit(WalkEntry& entry) override {
            if (owner.isProtectedChild(entry)) {
                containsProtected = true;
                return WalkAction::stop;
            }
            if (++items > owner.c_.config.maximumVisitedItemsPerRoot) {
                owner.stopTruncated();
                return WalkAction::stop;
            }
            const struct stat& st = entry.stat();
            if (S_ISREG(st.st_mode)) {
                return __builtin_add_overflow(bytes, countedSize(st), &bytes) ? WalkAction::stop
                                                                              : WalkAction::pass;
            }
            return S_ISDIR(st.st_mode) ? WalkAction::proceed : WalkAction::pass;
        }
        WalkAction failed(const std::string&, WalkFailure failure, int error) override {
            return failure == WalkFailure::describe && error == ENOENT ? WalkAction::pass
                                                                       : WalkAction::stop;
        }
        RootWalk& owner;
        int64_t bytes = 0;
        int64_t items = 0;
        bool containsProtected = false;
    };

    WalkContext& c_;
    const InsightScanRoot& root_;
    const bool listsFiles_;
    RootResult result_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    DirectoryWalker packageWalker_;  // a package is summed by a walk of its own
    int64_t sizeBytes_ = 0, itemCount_ = 0, visited_ = 0;
    int64_t pendingVisits_ = 0, pendingCounted_ = 0;
    bool truncated_ = false, stop_ = false;
    std::set<LinkedFile> linked_;
    BestOf<WalkedFile, BetterFile> large_, downloads_;
    BestOf<SecurityCandidate, BetterSecurity> security_;
};

// The identity of `f` when the path still names the walked object, else nothing.
std::optional<FileResourceIdentity> identityOf(const WalkedFile& f) {
    auto id = captureIdentity(f.path);
    if (!id || id->systemNumber != f.device || id->systemFileNumber != f.inode) return std::nullopt;
    return id;
}

size_t walkWorkers(size_t requested) {
    return requested > 0 ? requested : fileSystemWorkerCount();
}

}  // namespace

bool isProtectedInsightPath(std::string_view standardizedPath, Catalogue catalogue) {
    if (insightRuleProtects(standardizedPath)) return true;
    return catalogue == Catalogue::linux && isLinuxPersonalDataPath(standardizedPath);
}

MacStorageInsightScanner::Configuration MacStorageInsightScanner::Configuration::forCatalogue(
    Catalogue catalogue) {
    Configuration c;
    if (catalogue == Catalogue::linux) c.maximumVisitedItemsPerRoot = kLinuxVisitedItemsPerRoot;
    return c;
}

MacStorageInsightScanner::Configuration MacStorageInsightScanner::Configuration::clamped() const {
    Configuration c = *this;
    c.minimumLargeFileBytes = std::max<int64_t>(c.minimumLargeFileBytes, 1);
    c.minimumReviewFileAge = std::isnan(c.minimumReviewFileAge)
                                 ? 0
                                 : std::clamp(c.minimumReviewFileAge, 0.0, kMaximumReviewAge);
    c.maximumVisitedItemsPerRoot = std::max<int64_t>(c.maximumVisitedItemsPerRoot, 128);
    c.maximumResultCount = std::max<int64_t>(c.maximumResultCount, 20);
    c.maximumRecentReviewSkippedItems = std::max<int64_t>(c.maximumRecentReviewSkippedItems, 0);
    // The duplicate budgets have their floors in one place.
    const DuplicateBudgets b = c.duplicateBudgets().clamped();
    c.minimumDuplicateFileBytes = b.minimumDuplicateFileBytes;
    c.maximumDuplicateHashFiles = b.maximumDuplicateHashFiles;
    c.maximumDuplicateFullHashBytesPerFile = b.maximumDuplicateFullHashBytesPerFile;
    c.maximumDuplicateHashBytes = b.maximumDuplicateHashBytes;
    c.maximumDuplicateFingerprintFiles = b.maximumDuplicateFingerprintFiles;
    c.maximumDuplicateFingerprintBytes = b.maximumDuplicateFingerprintBytes;
    return c;
}

DuplicateBudgets MacStorageInsightScanner::Configuration::duplicateBudgets() const {
    return {minimumDuplicateFileBytes,
            maximumDuplicateHashFiles,
            maximumDuplicateFullHashBytesPerFile,
            maximumDuplicateHashBytes,
            maximumDuplicateFingerprintFiles,
            maximumDuplicateFingerprintBytes};
}

MacStorageInsightScanner::MacStorageInsightScanner(std::string home, Configuration configuration,
                                                   Options options)
    : home_(standardizePath(home)),
      configuration_(configuration.clamped()),
      options_(std::move(options)) {}

MacStorageInsightReport MacStorageInsightScanner::scan(const CancellationToken& cancel,
                                                       Notes* notes) const {
    MacStorageInsightReport report;
    report.hasCompletedScan = true;
    report.scannedAt = options_.now ? options_.now() : currentDate();
    report.systemSnapshot =
        options_.captureSnapshot ? options_.captureSnapshot() : SystemResourceSnapshot::capture();
    const auto& config = configuration_;
    std::optional<std::string_view> platformHome;
    if (options_.platformHome) platformHome = *options_.platformHome;

    // Kept roots: folders (a link to a folder counts), each folder once however many roots
    // lead to it. Missing roots and roots that are not folders are dropped silently.
    std::vector<std::pair<InsightScanRoot, struct stat>> kept;
    WalkContext context{config,
                        options_.catalogue,
                        cancel,
                        home_,
                        platformHome,
                        report.scannedAt - config.minimumReviewFileAge,
                        {},
                        {},
                        {},
                        {},
                        {},
                        {},
                        {}};
    if (notes && options_.storageTree) {
        context.treeLimits = options_.storageTree;
        context.treeNodesLeft = static_cast<int64_t>(options_.storageTree->maximumNodes);
    }
    for (auto& root : insightScanRoots(home_, options_.catalogue, options_.configHome)) {
        auto st = statPath(root.path);
        if (!st || !S_ISDIR(st->st_mode)) continue;
        const std::pair identity{st->st_dev, st->st_ino};
        auto& ids = context.rootIdentities;
        if (std::find(ids.begin(), ids.end(), identity) != ids.end()) continue;
        ids.push_back(identity);
        kept.emplace_back(std::move(root), *st);
    }
    const auto steps = static_cast<int64_t>(kept.size()) + 1;  // the roots, then duplicates
    std::atomic<int64_t> completedRoots{0};
    auto publish = [&](std::optional<FileURL> where, int64_t completed, int64_t visited,
                       int64_t counted) {
        options_.progress(StorageScanProgress::make(
            std::move(where), completed, steps, visited, 0, std::nullopt, counted, 0,
            static_cast<double>(completed) / static_cast<double>(steps)));
    };
    if (options_.progress) {
        context.progress = [&](const std::string& path, int64_t visited, int64_t counted) {
            publish(FileURL(path), completedRoots.load(), visited, counted);
        };
    }

    // Roots are walked side by side; their results are merged in root order.
    std::vector<RootResult> results(kept.size());
    std::vector<char> walked(kept.size(), 0);
    runOnWorkers(kept.size(), walkWorkers(options_.walkWorkerCount), [&](size_t i, size_t) {
        if (cancel.isCancellationRequested()) return;
        results[i] = RootWalk(context, kept[i].first).run(kept[i].second);
        walked[i] = 1;
        ++completedRoots;
    });

    bool cancelled = cancel.isCancellationRequested();
    std::set<std::pair<uint64_t, uint64_t>> countedLinks;
    std::vector<WalkedFile> recent, large, downloads, duplicateCandidates;
    std::vector<SecurityCandidate> security;
    std::vector<std::pair<int64_t, StorageTreeItem>> treeItems;
    for (size_t i = 0; i < results.size(); ++i) {
        if (!walked[i]) continue;
        RootResult& r = results[i];
        cancelled = cancelled || r.cancelled;
        // A file with several names in several roots counts in the first root only.
        std::set<std::pair<uint64_t, uint64_t>> countedBefore;
        for (const auto& l : r.linked) {
            if (countedLinks.emplace(l.device, l.inode).second) continue;
            countedBefore.emplace(l.device, l.inode);
            if (r.tree) r.tree->forget({l.device, l.inode});
            r.item.sizeBytes -= l.sizeBytes;
            r.item.itemCount -= 1;
        }
        auto elsewhere = [&](const WalkedFile& f) {
            return !f.isPackage && f.linkCount > 1 && countedBefore.count({f.device, f.inode});
        };
        for (auto* list : {&r.recent, &r.large, &r.downloads, &r.duplicateCandidates}) {
            std::erase_if(*list, elsewhere);
        }
        std::erase_if(r.security, [&](const SecurityCandidate& s) { return elsewhere(s.file); });
        report.isTruncated = report.isTruncated || r.item.isTruncated;
        if (context.treeLimits) {
            treeItems.emplace_back(
                r.item.sizeBytes,
                StorageTreeItem{r.item.id, r.item.displayName, r.item.isTruncated, r.tree.get()});
        }
        report.heatmapItems.push_back(std::move(r.item));
        for (auto& s : r.skipped) report.skippedItems.push_back(std::move(s));
        auto append = [](auto& to, auto& from) {
            std::move(from.begin(), from.end(), std::back_inserter(to));
        };
        append(recent, r.recent);
        append(large, r.large);
        append(downloads, r.downloads);
        append(duplicateCandidates, r.duplicateCandidates);
        append(security, r.security);
    }
    std::stable_sort(
        report.heatmapItems.begin(), report.heatmapItems.end(),
        [](const StorageMapItem& a, const StorageMapItem& b) { return a.sizeBytes > b.sizeBytes; });
    if (context.treeLimits) {
        // The same stable order as the map's, so the tree's items are the map's.
        std::stable_sort(treeItems.begin(), treeItems.end(),
                         [](const auto& a, const auto& b) { return a.first > b.first; });
        std::vector<StorageTreeItem> items;
        for (auto& [size, item] : treeItems) items.push_back(std::move(item));
        notes->storageTree = std::make_shared<StorageTree>(assembleStorageTree(home_, items));
    }

    auto insight = [&](const WalkedFile& f, FileInsightKind kind, std::string detail,
                       CleanupSafety safety) {
        FileInsight i;
        i.id = fileInsightID(kind, f.path);
        i.url = FileURL(f.path, f.isPackage);
        i.displayName = lastPathComponent(f.path);
        i.parentPath = insightDisplayPath(deletingLastPathComponent(f.path), home_, platformHome);
        i.sizeBytes = nonNegative(f.sizeBytes);
        i.lastModified = f.modificationDate;
        i.resourceIdentity = identityOf(f);
        i.linkCount = f.linkCount;
        i.kind = kind;
        i.detail = std::move(detail);
        i.safety = safety;
        return i;
    };

    // Recent files are held back from the lists, each with one skipped item (bounded).
    const auto recentLimit = static_cast<size_t>(config.maximumRecentReviewSkippedItems);
    for (size_t i = 0; i < recent.size() && i < recentLimit; ++i) {
        report.skippedItems.push_back({FileURL(recent[i].path, recent[i].isPackage),
                                       std::string(InsightSkipReason::kRecentlyModified)});
    }
    const auto limit = static_cast<size_t>(config.maximumResultCount);
    for (auto* list : {&large, &downloads}) {
        const size_t keep = std::min(limit, list->size());
        std::partial_sort(list->begin(), list->begin() + static_cast<ptrdiff_t>(keep), list->end(),
                          largerFirst);
        list->resize(keep);
    }
    for (const auto& f : large) {
        report.largeFiles.push_back(
            insight(f, FileInsightKind::largeFile, "Large file", CleanupSafety::caution));
    }
    for (const auto& f : downloads) {
        report.downloadFiles.push_back(
            insight(f, FileInsightKind::download, "Downloads item", CleanupSafety::caution));
    }
    std::sort(security.begin(), security.end(), ranksAbove);
    if (security.size() > limit) security.resize(limit);
    for (auto& c : security) {
        report.securityFindings.push_back(insight(c.file, FileInsightKind::securitySignal,
                                                  std::move(c.detail),
                                                  CleanupSafety::manualReview));
    }

    if (cancelled || cancel.isCancellationRequested()) {
        report.isTruncated = true;
        return report;
    }

    std::vector<CollectedFile> collected;
    for (const auto& f : duplicateCandidates) {
        collected.push_back({f.path, f.logicalSize, f.device, f.inode, f.modificationDate,
                             f.linkCount, identityOf(f)});
    }
    DuplicateDetectionOptions dup;
    dup.budgets = config.duplicateBudgets();
    dup.homePath = home_;
    dup.platformHome = options_.platformHome;
    const Catalogue catalogue = options_.catalogue;
    dup.isProtectedUserDataPath = [catalogue](std::string_view p) {
        return isProtectedInsightPath(p, catalogue);
    };
    dup.workerCount = options_.duplicateWorkerCount;
    dup.cancellation = &cancel;
    const int64_t visited = context.visitedTotal.load();
    const int64_t counted = context.countedTotal.load();
    if (options_.progress) publish(std::nullopt, steps - 1, visited, counted);
    auto found = detectDuplicates(collected, dup);
    report.duplicateGroups = std::move(found.groups);
    for (auto& s : found.skippedItems) report.skippedItems.push_back(std::move(s));
    if (found.budgetExceeded || found.wasCancelled) report.isTruncated = true;
    if (notes) notes->exceededDuplicateBudgets = std::move(found.exceededBudgets);
    if (options_.progress && !found.wasCancelled) publish(std::nullopt, steps, visited, counted);
    return report;
}

std::vector<DuplicateKeeperRecommendation> duplicateKeeperRecommendations(
    const MacStorageInsightReport& report, Catalogue catalogue) {
    std::vector<DuplicateKeeperRecommendation> out;
    for (const auto& group : report.duplicateGroups) {
        if (auto r = recommendDuplicateKeeper(group, catalogue)) out.push_back(std::move(*r));
    }
    return out;
}

}  // namespace velmora

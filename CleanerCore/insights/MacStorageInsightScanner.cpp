#include "CleanerCore/insights/MacStorageInsightScanner.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <queue>

#include "CleanerCore/insights/DuplicateDetection.h"
#include "CleanerCore/insights/DuplicateKeeper.h"
#include "CleanerCore/insights/InsightSecurity.h"
#include "CleanerCore/platform/FileIdentity.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/safety/PathRules.h"
#include "CleanerCore/safety/ProtectedNameFilter.h"
#include "CleanerCore/scanning/PackageExtensions.h"

namespace velmora {

namespace {

// Deeper than this a walk gives up, as the cleanup scanner does.
constexpr int kMaximumWalkDepth = 2048;
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

// The insight rule's additions to isProtectedUserDataPath; a component that can complete one.
bool mayCompleteInsightRule(std::string_view name) {
    const std::string n = lowercased(name);
    return n == ".trash" || isContainerFolderName(n);
}

bool insightRuleAdditionsProtect(std::string_view path) {
    const auto c = lowercasedComponents(path);
    if (c.size() < 2) return false;
    for (size_t i = 0; i < c.size(); ++i) {
        if (c[i] == ".trash") return true;
        if (c[i] != "library" || i + 1 >= c.size()) continue;
        if (isContainerFolderName(c[i + 1])) return true;
        if (c[i + 1] == "application support" && i + 2 < c.size() &&
            isContainerFolderName(c[i + 2])) {
            return true;
        }
    }
    return false;
}

// A regular file or package found by the walk.
struct WalkedFile {
    std::string path;
    int64_t sizeBytes = 0;    // allocated size, else logical size
    int64_t logicalSize = 0;  // file size
    Date modificationDate = 0;
    bool isPackage = false;
    int64_t linkCount = 1;
    uint64_t device = 0;
    uint64_t inode = 0;
    bool inDownloads = false;
};

int64_t nonNegative(int64_t v) {
    return v < 0 ? 0 : v;
}

int64_t countedSize(const struct stat& st) {
    const int64_t allocated = nonNegative(static_cast<int64_t>(st.st_blocks) * 512);
    return allocated > 0 ? allocated : nonNegative(static_cast<int64_t>(st.st_size));
}

// The security candidates: the `limit` best by severity, size, then path, in a binary heap whose
// top is the worst kept candidate.
struct SecurityCandidate {
    int severity;
    int64_t size;
    std::string path;
    size_t file;
    std::string detail;
};
bool ranksAbove(const SecurityCandidate& a, const SecurityCandidate& b) {
    if (a.severity != b.severity) return a.severity > b.severity;
    if (a.size != b.size) return a.size > b.size;
    return a.path < b.path;
}
struct WorstOnTop {
    bool operator()(const SecurityCandidate& a, const SecurityCandidate& b) const {
        return ranksAbove(a, b);
    }
};

class InsightWalk {
  public:
    InsightWalk(const MacStorageInsightScanner::Configuration& config, Catalogue catalogue,
                const CancellationToken& cancel)
        : config_(config), catalogue_(catalogue), cancel_(cancel) {}

    /// The identities (device, inode) of every kept root: a folder met in one root's walk that
    /// is another root is left to that root, so the storage map never counts it twice.
    void setRootIdentities(std::vector<std::pair<dev_t, ino_t>> roots) {
        rootIdentities_ = std::move(roots);
    }

    /// Progress while walking: `report(currentPath, visited, counted)` at each root's start and
    /// every kProgressInterval visits.
    void setProgress(std::function<void(const std::string&, int64_t, int64_t)> report) {
        progress_ = std::move(report);
    }
    static constexpr int64_t kProgressInterval = 512;

    /// Walks one kept root. `st` is what stat (following a link) found at the root's path: a
    /// root may be a symbolic link to a folder (an XDG folder on another disk, say); only the
    /// root itself is followed, never anything below it.
    StorageMapItem walkRoot(const InsightScanRoot& root, const struct stat& st,
                            std::string_view home, std::optional<std::string_view> platformHome) {
        StorageMapItem item;
        item.id = root.path;
        item.url = FileURL::directory(root.path);
        item.displayName = insightDisplayPath(root.path, home, platformHome);
        // A linked root is judged by where it leads as well as by its own path.
        if (isProtectedInsightPath(root.path, catalogue_) ||
            isProtectedInsightPath(resolvingSymlinksInPath(root.path), catalogue_)) {
            skip(root.path, true, InsightSkipReason::kProtectedUserDataPath);
            return item;
        }
        UniqueFd fd = openDirectoryFollowingLinks(root.path);
        struct stat opened {};
        if (!fd || ::fstat(fd.get(), &opened) != 0 || opened.st_dev != st.st_dev ||
            opened.st_ino != st.st_ino) {
            skip(root.path, true, InsightSkipReason::kCouldNotEnumerateFolder);
            return item;
        }
        root_ = RootState{};
        root_.inDownloads = root.isDownloads;
        root_.device = st.st_dev;
        root_.inode = st.st_ino;
        path_ = root.path;
        if (progress_) progress_(path_, visitedTotal_, countedTotal_);
        walk(fd.get(), 0);
        item.sizeBytes = root_.sizeBytes;
        item.itemCount = root_.itemCount;
        item.isTruncated = root_.truncated;
        return item;
    }

    bool cancelled() const { return cancelled_; }
    int64_t visitedItems() const { return visitedTotal_; }
    std::vector<WalkedFile>& files() { return files_; }
    std::vector<SkippedItem>& skipped() { return skipped_; }

    /// The kept security candidates, best first.
    std::vector<SecurityCandidate> securityCandidates() {
        std::vector<SecurityCandidate> out;
        while (!security_.empty()) {
            out.push_back(security_.top());
            security_.pop();
        }
        std::reverse(out.begin(), out.end());
        return out;
    }

  private:
    struct RootState {
        int64_t sizeBytes = 0;
        int64_t itemCount = 0;
        int64_t visited = 0;
        bool truncated = false;
        bool stop = false;
        bool inDownloads = false;
        dev_t device = 0;
        ino_t inode = 0;
    };

    bool isAnotherRoot(const struct stat& st) const {
        if (st.st_dev == root_.device && st.st_ino == root_.inode) return false;
        return std::find(rootIdentities_.begin(), rootIdentities_.end(),
                         std::pair{st.st_dev, st.st_ino}) != rootIdentities_.end();
    }

    void skip(const std::string& path, bool isDirectory, std::string_view reason) {
        skipped_.push_back({FileURL(path, isDirectory), std::string(reason)});
    }

    bool isProtectedChild(const std::string& path, const char* name) const {
        return (nameMayCompleteProtectedPath(name, catalogue_) || mayCompleteInsightRule(name)) &&
               isProtectedInsightPath(path, catalogue_);
    }

    // Counts one visit; false (and the root stops as truncated) beyond the limit.
    bool countVisit() {
        if (++visitedTotal_ % kProgressInterval == 0 && progress_)
            progress_(path_, visitedTotal_, countedTotal_);
        if (++root_.visited <= config_.maximumVisitedItemsPerRoot) return true;
        stopTruncated();
        return false;
    }

    void stopTruncated() {
        if (!root_.truncated) {
            skipped_.push_back({FileURL::directory(rootPath()),
                                std::string(InsightSkipReason::kFolderInventoryLimitExceeded)});
        }
        root_.truncated = true;
        root_.stop = true;
    }

    std::string rootPath() const { return path_.substr(0, rootLength_); }

    static std::optional<std::vector<std::string>> list(int dirFd) {
        std::vector<std::string> names;
        if (!forEachDirectoryEntry(dirFd,
                                   [&](const char* n, unsigned char) { names.push_back(n); })) {
            return std::nullopt;
        }
        return names;
    }

    void walk(int dirFd, int depth) {
        if (depth == 0) rootLength_ = path_.size();
        auto names = list(dirFd);
        if (!names) {
            skip(path_, true, InsightSkipReason::kCouldNotEnumerateFolder);
            return;
        }
        for (const auto& name : *names) {
            if (root_.stop || cancelled_) return;
            if (cancel_.isCancellationRequested()) {
                cancelled_ = true;
                return;
            }
            visit(dirFd, name.c_str(), depth);
        }
    }

    void visit(int dirFd, const char* name, int depth) {
        const size_t parentLength = path_.size();
        path_ += '/';
        path_ += name;
        struct Restore {
            std::string& p;
            size_t n;
            ~Restore() { p.resize(n); }
        } restore{path_, parentLength};

        struct stat st {};
        if (::fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
            if (errno != ENOENT) skip(path_, false, InsightSkipReason::kCouldNotEnumerateFolder);
            return;
        }
        if (isProtectedChild(path_, name)) {
            skip(path_, S_ISDIR(st.st_mode), InsightSkipReason::kProtectedUserDataPath);
            return;
        }
        if (S_ISDIR(st.st_mode) && isAnotherRoot(st)) return;
        if (!countVisit()) return;
        if (S_ISLNK(st.st_mode)) return;
        if (S_ISDIR(st.st_mode)) {
            if (isPackageExtension(pathExtensionLowercased(name)))
                return visitPackage(dirFd, name, st);
            UniqueFd child = openDirectoryAt(dirFd, name);
            if (!child || depth + 1 >= kMaximumWalkDepth) {
                if (!child && errno == ENOENT) return;
                skip(path_, true, InsightSkipReason::kCouldNotEnumerateFolder);
                return;
            }
            walk(child.get(), depth + 1);
            return;
        }
        if (S_ISREG(st.st_mode)) record(st, countedSize(st), false);
    }

    void record(const struct stat& st, int64_t size, bool isPackage) {
        int64_t sum = 0;
        if (__builtin_add_overflow(root_.sizeBytes, size, &sum)) {
            root_.truncated = true;
            root_.stop = true;
            return;
        }
        root_.sizeBytes = sum;
        ++root_.itemCount;
        ++countedTotal_;
        WalkedFile f;
        f.path = path_;
        f.sizeBytes = size;
        f.logicalSize = nonNegative(static_cast<int64_t>(st.st_size));
        f.modificationDate = dateFromTimespec(st.st_mtim);
        f.isPackage = isPackage;
        f.linkCount = static_cast<int64_t>(st.st_nlink);
        f.device = static_cast<uint64_t>(st.st_dev);
        f.inode = static_cast<uint64_t>(st.st_ino);
        f.inDownloads = root_.inDownloads;
        const std::string name = lastPathComponent(path_);
        if (auto detail = securityDetail(name)) {
            security_.push(
                {securitySeverity(name), size, path_, files_.size(), std::move(*detail)});
            if (static_cast<int64_t>(security_.size()) > config_.maximumResultCount)
                security_.pop();
        }
        files_.push_back(std::move(f));
    }

    // A package is one unit: its regular files are summed, none of them is a finding.
    void visitPackage(int dirFd, const char* name, const struct stat& st) {
        UniqueFd fd = openDirectoryAt(dirFd, name);
        PackageSum sum;
        if (!fd || !sumPackage(fd.get(), 0, sum)) {
            if (cancelled_ || root_.stop) return;
            skip(path_, true,
                 sum.containsProtected ? InsightSkipReason::kContainsProtectedUserData
                                       : InsightSkipReason::kCouldNotEnumeratePackage);
            return;
        }
        record(st, sum.bytes, true);
    }

    struct PackageSum {
        int64_t bytes = 0;
        int64_t items = 0;
        bool containsProtected = false;
    };

    // False when the package cannot be sized: unreadable, protected inside, too large (the root
    // stops as truncated) or cancelled.
    bool sumPackage(int dirFd, int depth, PackageSum& sum) {
        auto names = list(dirFd);
        if (!names || depth + 1 >= kMaximumWalkDepth) return false;
        const size_t base = path_.size();
        for (const auto& n : *names) {
            if (cancel_.isCancellationRequested()) {
                cancelled_ = true;
                return false;
            }
            path_.resize(base);
            path_ += '/';
            path_ += n;
            struct stat st {};
            if (::fstatat(dirFd, n.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
                if (errno == ENOENT) continue;
                path_.resize(base);
                return false;
            }
            if (isProtectedChild(path_, n.c_str())) {
                sum.containsProtected = true;
                path_.resize(base);
                return false;
            }
            if (++sum.items > config_.maximumVisitedItemsPerRoot) {
                path_.resize(base);
                stopTruncated();
                return false;
            }
            bool ok = true;
            if (S_ISREG(st.st_mode)) {
                ok = !__builtin_add_overflow(sum.bytes, countedSize(st), &sum.bytes);
            } else if (S_ISDIR(st.st_mode)) {
                UniqueFd child = openDirectoryAt(dirFd, n.c_str());
                ok = child && sumPackage(child.get(), depth + 1, sum);
            }
            path_.resize(base);
            if (!ok) return false;
        }
        return true;
    }

    const MacStorageInsightScanner::Configuration& config_;
    Catalogue catalogue_;
    const CancellationToken& cancel_;
    RootState root_;
    std::vector<std::pair<dev_t, ino_t>> rootIdentities_;
    std::function<void(const std::string&, int64_t, int64_t)> progress_;
    int64_t visitedTotal_ = 0;
    int64_t countedTotal_ = 0;
    std::string path_;
    size_t rootLength_ = 0;
    bool cancelled_ = false;
    std::vector<WalkedFile> files_;
    std::vector<SkippedItem> skipped_;
    std::priority_queue<SecurityCandidate, std::vector<SecurityCandidate>, WorstOnTop> security_;
};

// The identity of `f` when the path still names the walked object, else nothing.
std::optional<FileResourceIdentity> identityOf(const WalkedFile& f) {
    auto id = captureIdentity(f.path);
    if (!id || id->systemNumber != f.device || id->systemFileNumber != f.inode) return std::nullopt;
    return id;
}

bool largerFirst(const WalkedFile* a, const WalkedFile* b) {
    if (a->sizeBytes != b->sizeBytes) return a->sizeBytes > b->sizeBytes;
    return a->path < b->path;
}

}  // namespace

bool isProtectedInsightPath(std::string_view standardizedPath, Catalogue catalogue) {
    return isProtectedUserDataPath(standardizedPath, catalogue) ||
           insightRuleAdditionsProtect(standardizedPath);
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

MacStorageInsightReport MacStorageInsightScanner::scan(const CancellationToken& cancel) const {
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
    std::vector<std::pair<dev_t, ino_t>> identities;
    for (auto& root : insightScanRoots(home_, options_.catalogue, options_.configHome)) {
        auto st = statPath(root.path);
        if (!st || !S_ISDIR(st->st_mode)) continue;
        const std::pair identity{st->st_dev, st->st_ino};
        if (std::find(identities.begin(), identities.end(), identity) != identities.end()) continue;
        identities.push_back(identity);
        kept.emplace_back(std::move(root), *st);
    }
    InsightWalk walk(config, options_.catalogue, cancel);
    walk.setRootIdentities(std::move(identities));
    const auto steps = static_cast<int64_t>(kept.size()) + 1;  // the roots, then duplicates
    int64_t completedRoots = 0;
    auto publish = [&](std::optional<FileURL> where, int64_t completed, int64_t visited,
                       int64_t counted) {
        options_.progress(StorageScanProgress::make(
            std::move(where), completed, steps, visited, 0, std::nullopt, counted, 0,
            static_cast<double>(completed) / static_cast<double>(steps)));
    };
    if (options_.progress) {
        walk.setProgress([&](const std::string& path, int64_t visited, int64_t counted) {
            publish(FileURL(path), completedRoots, visited, counted);
        });
    }
    for (const auto& [root, st] : kept) {
        if (walk.cancelled() || cancel.isCancellationRequested()) break;
        auto item = walk.walkRoot(root, st, home_, platformHome);
        report.isTruncated = report.isTruncated || item.isTruncated;
        report.heatmapItems.push_back(std::move(item));
        ++completedRoots;
    }
    std::stable_sort(
        report.heatmapItems.begin(), report.heatmapItems.end(),
        [](const StorageMapItem& a, const StorageMapItem& b) { return a.sizeBytes > b.sizeBytes; });
    report.skippedItems = std::move(walk.skipped());
    const auto& files = walk.files();

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

    // Large files and Downloads items, with recent files held back.
    const Date recentAfter = report.scannedAt - config.minimumReviewFileAge;
    std::vector<const WalkedFile*> large, downloads;
    int64_t recentSkipped = 0;
    for (const auto& f : files) {
        const bool isLarge = f.sizeBytes >= config.minimumLargeFileBytes;
        if (!isLarge && !f.inDownloads) continue;
        if (f.modificationDate > recentAfter) {
            if (recentSkipped < config.maximumRecentReviewSkippedItems) {
                ++recentSkipped;
                report.skippedItems.push_back({FileURL(f.path, f.isPackage),
                                               std::string(InsightSkipReason::kRecentlyModified)});
            }
            continue;
        }
        if (isLarge) large.push_back(&f);
        if (f.inDownloads) downloads.push_back(&f);
    }
    const auto limit = static_cast<size_t>(config.maximumResultCount);
    for (auto* list : {&large, &downloads}) {
        const size_t keep = std::min(limit, list->size());
        std::partial_sort(list->begin(), list->begin() + static_cast<ptrdiff_t>(keep), list->end(),
                          largerFirst);
        list->resize(keep);
    }
    for (const auto* f : large) {
        report.largeFiles.push_back(
            insight(*f, FileInsightKind::largeFile, "Large file", CleanupSafety::caution));
    }
    for (const auto* f : downloads) {
        report.downloadFiles.push_back(
            insight(*f, FileInsightKind::download, "Downloads item", CleanupSafety::caution));
    }
    for (auto& c : walk.securityCandidates()) {
        report.securityFindings.push_back(insight(files[c.file], FileInsightKind::securitySignal,
                                                  std::move(c.detail),
                                                  CleanupSafety::manualReview));
    }

    if (walk.cancelled() || cancel.isCancellationRequested()) {
        report.isTruncated = true;
        return report;
    }

    std::vector<CollectedFile> collected;
    for (const auto& f : files) {
        if (f.isPackage || f.logicalSize < config.minimumDuplicateFileBytes) continue;
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
    const auto counted = static_cast<int64_t>(files.size());
    if (options_.progress) publish(std::nullopt, steps - 1, walk.visitedItems(), counted);
    auto found = detectDuplicates(collected, dup);
    report.duplicateGroups = std::move(found.groups);
    for (auto& s : found.skippedItems) report.skippedItems.push_back(std::move(s));
    if (found.budgetExceeded || found.wasCancelled) report.isTruncated = true;
    if (options_.progress && !found.wasCancelled)
        publish(std::nullopt, steps, walk.visitedItems(), counted);
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

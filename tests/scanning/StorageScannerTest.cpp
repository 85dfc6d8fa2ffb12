// The storage scanner against real folder trees: which entries become candidates, why the others
// are skipped, what a candidate records, and how order, progress and cancellation behave.
#include "CleanerCore/scanning/StorageScanner.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "CleanerCore/scanning/ModelJson.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

constexpr double kHour = 3600;
constexpr double kDay = 86400;

// Disk usage of the given files as the file system reports it (not their logical length).
int64_t allocated(std::initializer_list<std::string> paths) {
    int64_t sum = 0;
    for (const auto& p : paths) {
        struct stat st {};
        EXPECT_EQ(::lstat(p.c_str(), &st), 0) << p;
        sum += static_cast<int64_t>(st.st_blocks) * 512;
    }
    return sum;
}

ScanLocation location(const std::string& root, double age = 0,
                      CleanupCategory category = CleanupCategory::userCaches,
                      CleanupSafety safety = CleanupSafety::safe) {
    ScanLocation l;
    l.rootURL = FileURL::directory(root);
    l.category = category;
    l.displayName = lastPathComponent(root);
    l.safety = safety;
    l.isSelectedByDefault = safety == CleanupSafety::safe;
    l.minimumModificationAge = age;
    return l;
}

Date now() {
    return dateFromUnixSeconds(test::unixNow());
}

struct Scan {
    const TestTree& tree;
    StorageScanner::Configuration config{};
    Catalogue catalogue = Catalogue::macos;

    ScanReport run(const std::vector<ScanLocation>& locations,
                   const StorageScanner::ProgressCallback& progress = {}) const {
        CancellationToken cancel;
        return run(locations, progress, cancel);
    }
    ScanReport run(const std::vector<ScanLocation>& locations,
                   const StorageScanner::ProgressCallback& progress,
                   const CancellationToken& cancel) const {
        StorageScanner scanner(config, tree.root(), catalogue);
        return scanner.scan(locations, now(), progress, cancel);
    }
};

// Outcome per entry name: the skip reason, or "candidate".
std::map<std::string, std::string> outcomes(const ScanReport& report) {
    std::map<std::string, std::string> out;
    for (const auto& c : report.candidates) {
        EXPECT_TRUE(out.emplace(c.url.lastComponent(), "candidate").second) << c.url.path;
    }
    for (const auto& s : report.skippedItems) {
        EXPECT_TRUE(out.emplace(s.url.lastComponent(), s.reason).second) << s.url.path;
    }
    return out;
}

const CleanupCandidate* findCandidate(const ScanReport& report, const std::string& name) {
    for (const auto& c : report.candidates) {
        if (c.displayName == name) return &c;
    }
    return nullptr;
}

TEST(StorageScannerTest, RootsThatCannotBeScannedAreSkippedOnce) {
    TestTree tree;
    tree.file("plain", 10);
    tree.file("real/inside", 10);
    tree.symlink("link", tree.path("real"));
    const std::pair<std::string, std::string> cases[] = {
        {"plain", "Folder does not exist"},
        {"missing", "Folder does not exist"},
        {"link", "Refusing to clean symbolic link: " + tree.path("link")},
    };
    for (const auto& [root, reason] : cases) {
        ScanReport report = Scan{tree}.run({location(tree.path(root))});
        EXPECT_TRUE(report.candidates.empty()) << root;
        ASSERT_EQ(report.skippedItems.size(), 1u) << root;
        EXPECT_EQ(report.skippedItems[0].url.path, tree.path(root));
        EXPECT_EQ(report.skippedItems[0].reason, reason);
        EXPECT_TRUE(report.hasCompletedScan);
    }
}

TEST(StorageScannerTest, EachEntryGetsTheReasonItDeserves) {
    TestTree tree;
    const std::string root = tree.dir("caches");
    tree.file("outside/huge", 1 << 20);
    tree.symlink("caches/link", tree.path("outside"));
    tree.file("caches/empty/a", 0);
    tree.file("caches/empty/sub/b", 0);
    tree.file("caches/old.backup/x", 10);
    tree.file("caches/mailer/Library/Mail/x", 10);
    tree.file("caches/keys/.ssh/id_ed25519", 10);  // hidden, so not counted, yet it protects
    for (int i = 0; i < 101; ++i) tree.file("caches/over/f" + std::to_string(i), 1);
    for (int i = 0; i < 100; ++i) tree.file("caches/exact/f" + std::to_string(i), 1);
    const std::string kept = tree.file("caches/linking/data", 10);
    tree.symlink("caches/linking/toHuge", tree.path("outside"));
    tree.symlink("caches/linking/toHugeFile", tree.path("outside/huge"));

    Scan scan{tree};
    scan.config.maximumInventoryItemsPerCandidate = 100;
    scan.catalogue = Catalogue::linux;
    ScanReport report = scan.run({location(root)});

    const std::map<std::string, std::string> expected = {
        {"link", "Symbolic links are skipped for safety"},
        {"empty", "Empty item"},
        {"old.backup", "Protected user data path"},
        {"mailer", "Contains protected user data"},
        {"keys", "Contains protected user data"},
        {"over", "Folder inventory limit exceeded"},
        {"exact", "candidate"},
        {"linking", "candidate"},
    };
    EXPECT_EQ(outcomes(report), expected);
    // A link inside a candidate is neither followed nor counted.
    const CleanupCandidate* linking = findCandidate(report, "linking");
    ASSERT_NE(linking, nullptr);
    EXPECT_EQ(linking->sizeBytes, allocated({kept}));
    for (const auto& s : report.skippedItems) {
        EXPECT_TRUE(s.url.path.starts_with(root + "/")) << s.url.path;
    }
}

TEST(StorageScannerTest, AgeRuleLooksAtEverythingCounted) {
    const double t = test::unixNow();
    struct Case {
        const char* name;
        double folderAge, fileAge, rule;
        const char* expected;
    } cases[] = {
        {"hour-old file, one-day rule", kHour, kHour, kDay, "Recently modified"},
        {"hour-old file, no rule", kHour, kHour, 0, "candidate"},
        {"old folder, new deep file", 3 * kDay, kHour, kDay, "Recently modified"},
        {"new folder, old file", kHour, 3 * kDay, kDay, "Recently modified"},
        {"all old", 3 * kDay, 3 * kDay, kDay, "candidate"},
    };
    for (const auto& c : cases) {
        TestTree tree;
        tree.file("caches/entry/deep/file", 10);
        tree.setMtimeRecursive("caches/entry", t - c.folderAge);
        tree.setMtime("caches/entry/deep/file", t - c.fileAge);
        ScanReport report = Scan{tree}.run({location(tree.path("caches"), c.rule)});
        EXPECT_EQ(outcomes(report)["entry"], c.expected) << c.name;
    }
    // A file entry is judged by its own date, before any inventory.
    TestTree tree;
    tree.file("caches/fresh.log", 10);
    tree.file("caches/stale.log", 10);
    tree.setMtime("caches/stale.log", t - 2 * kDay);
    ScanReport report = Scan{tree}.run({location(tree.path("caches"), kDay)});
    EXPECT_EQ(outcomes(report),
              (std::map<std::string, std::string>{{"fresh.log", "Recently modified"},
                                                  {"stale.log", "candidate"}}));
}

TEST(StorageScannerTest, UnlistableFoldersAreReportedNotMeasured) {
    TestTree tree;
    tree.file("caches/entry/readable", 10);
    tree.file("caches/entry/locked/secret", 10);
    tree.file("caches/closed/secret", 10);
    tree.file("caches/fine/x", 10);
    tree.file("shut/entry/x", 10);
    const std::map<std::string, std::string> expected = {{"entry", "Could not enumerate folder"},
                                                         {"closed", "Could not enumerate folder"},
                                                         {"fine", "candidate"},
                                                         {"shut", "Could not enumerate folder"}};
    std::map<std::string, std::string> seen;
    const bool asExpected = test::runWithoutPrivileges(tree, [&] {
        tree.chmod("caches/entry/locked", 0);
        tree.chmod("caches/closed", 0);
        tree.chmod("shut", 0);
        seen =
            outcomes(Scan{tree}.run({location(tree.path("caches")), location(tree.path("shut"))}));
        return seen == expected;
    });
    EXPECT_TRUE(asExpected);
}

TEST(StorageScannerTest, HiddenItemsAndPackageContentsFollowTheLocation) {
    TestTree tree;
    tree.file("caches/.hidden/x", 5000);
    const std::string visible = tree.file("caches/app/visible", 5000);
    const std::string dotFile = tree.file("caches/app/.dot", 50000);
    const std::string packaged = tree.file("caches/app/Tool.app/Contents/bin", 100000);
    for (bool hidden : {false, true}) {
        for (bool packages : {false, true}) {
            ScanLocation loc = location(tree.path("caches"));
            loc.includesHiddenFiles = hidden;
            loc.includesPackageDescendants = packages;
            ScanReport report = Scan{tree}.run({loc});
            const std::string label =
                "hidden=" + std::to_string(hidden) + " packages=" + std::to_string(packages);
            EXPECT_EQ(findCandidate(report, ".hidden") != nullptr, hidden) << label;
            EXPECT_EQ(report.candidates.size() + report.skippedItems.size(), hidden ? 2u : 1u)
                << label;
            const CleanupCandidate* app = findCandidate(report, "app");
            ASSERT_NE(app, nullptr) << label;
            int64_t size = allocated({visible});
            if (hidden) size += allocated({dotFile});
            if (packages) size += allocated({packaged});
            EXPECT_EQ(app->sizeBytes, size) << label;
        }
    }
}

TEST(StorageScannerTest, CandidateRecordsWhatWasMeasured) {
    TestTree tree;
    const double t = test::unixNow();
    const std::string one = tree.file("caches/one.bin", 1);
    const std::string inner = tree.file("caches/folder/inner", 3000);
    tree.setMtime("caches/folder", t - 5 * kDay);
    tree.setMtime("caches/folder/inner", t - 2 * kDay + 0.25);
    ScanLocation loc = location(tree.path("caches"), 0, CleanupCategory::appContainerCaches,
                                CleanupSafety::caution);
    loc.appCacheContext = AppCacheContext{};
    loc.appCacheContext->containerIdentifier = "com.example.tool";
    ScanReport report = Scan{tree}.run({loc});
    ASSERT_EQ(report.candidates.size(), 2u);
    EXPECT_TRUE(report.skippedItems.empty());

    struct stat innerSt {
    }, folderSt{}, oneSt{};
    ASSERT_EQ(::lstat(inner.c_str(), &innerSt), 0);
    ASSERT_EQ(::lstat(tree.path("caches/folder").c_str(), &folderSt), 0);
    ASSERT_EQ(::lstat(one.c_str(), &oneSt), 0);

    const CleanupCandidate* folder = findCandidate(report, "folder");
    ASSERT_NE(folder, nullptr);
    EXPECT_EQ(folder->id, "appContainerCaches:" + tree.path("caches/folder"));
    EXPECT_EQ(folder->url, FileURL::directory(tree.path("caches/folder")));
    EXPECT_EQ(folder->category, CleanupCategory::appContainerCaches);
    EXPECT_EQ(folder->safety, CleanupSafety::caution);
    EXPECT_FALSE(folder->isSelectedByDefault);
    EXPECT_FALSE(folder->requiresManualReviewBySource);
    EXPECT_EQ(folder->appCacheContext, loc.appCacheContext);
    EXPECT_EQ(folder->sizeBytes, allocated({inner}));
    // The newest date inside wins over the folder's own.
    EXPECT_EQ(folder->lastModified, dateFromTimespec(innerSt.st_mtim));
    ASSERT_TRUE(folder->resourceIdentity);
    EXPECT_EQ(folder->resourceIdentity->systemFileNumber, folderSt.st_ino);
    EXPECT_EQ(folder->resourceIdentity->systemNumber, folderSt.st_dev);
    EXPECT_EQ(folder->resourceIdentity->modificationDate, dateFromTimespec(folderSt.st_mtim));
    EXPECT_EQ(folder->resourceIdentity->isDirectory, true);

    const CleanupCandidate* file = findCandidate(report, "one.bin");
    ASSERT_NE(file, nullptr);
    ASSERT_TRUE(file->resourceIdentity);
    EXPECT_FALSE(file->url.isDirectory);
    EXPECT_EQ(file->sizeBytes, static_cast<int64_t>(oneSt.st_blocks) * 512);
    EXPECT_EQ(file->resourceIdentity->systemFileNumber, oneSt.st_ino);
    EXPECT_EQ(file->resourceIdentity->modificationDate, dateFromTimespec(oneSt.st_mtim));
}

TEST(StorageScannerTest, ReportOrdersCandidatesBySafetyThenSizeAndKeepsSkipsInOrderMet) {
    TestTree tree;
    tree.file("review/r", 200000);
    tree.file("careful/big", 400000);
    tree.file("safe1/zeta", 8000);
    tree.file("safe1/small", 100);
    tree.symlink("safe1/link", "/");
    tree.file("safe2/alpha", 8000);
    tree.file("safe2/large", 90000);
    const std::vector<ScanLocation> locations = {
        location(tree.path("review"), 0, CleanupCategory::customFolder,
                 CleanupSafety::manualReview),
        location(tree.path("gone"), 0, CleanupCategory::userLogs),
        location(tree.path("careful"), 0, CleanupCategory::buildArchives, CleanupSafety::caution),
        location(tree.path("safe1")),
        location(tree.path("safe2"), 0, CleanupCategory::userLogs),
    };
    ScanReport report = Scan{tree}.run(locations);

    std::vector<std::string> names;
    for (const auto& c : report.candidates) names.push_back(c.displayName);
    // Equal sizes keep scan order: zeta (earlier location) before alpha.
    EXPECT_EQ(names, (std::vector<std::string>{"large", "zeta", "alpha", "small", "big", "r"}));
    ASSERT_EQ(report.skippedItems.size(), 2u);
    EXPECT_EQ(report.skippedItems[0].url.path, tree.path("gone"));
    EXPECT_EQ(report.skippedItems[1].url.path, tree.path("safe1/link"));

    ASSERT_EQ(report.scannedRoots.size(), locations.size());
    for (size_t i = 0; i < locations.size(); ++i) {
        EXPECT_EQ(report.scannedRoots[i].absoluteString(),
                  "file://" + locations[i].rootURL.path + "/");
    }
}

TEST(StorageScannerTest, DirectoryItselfProposesTheRootButNeverTheHome) {
    TestTree tree;
    const std::string data = tree.file("Library/Developer/Derived/x", 10);
    ScanLocation derived = location(tree.path("Library/Developer/Derived"));
    derived.depth = ScanDepth::directoryItself;
    ScanLocation home = location(tree.root());
    home.depth = ScanDepth::directoryItself;
    ScanReport report = Scan{tree}.run({derived, home});
    ASSERT_EQ(report.candidates.size(), 1u);
    EXPECT_EQ(report.candidates[0].url.path, tree.path("Library/Developer/Derived"));
    EXPECT_EQ(report.candidates[0].sizeBytes, allocated({data}));
    ASSERT_EQ(report.skippedItems.size(), 1u);
    EXPECT_EQ(report.skippedItems[0].reason, "Scan root itself is not a cleanup candidate");
}

TEST(StorageScannerTest, HostileNamesBecomeCandidatesAndSurviveJSON) {
    TestTree tree;
    const std::vector<std::string> names = {
        "new\nline", "-rf", "100%", "\xff", std::string(255, 'n'), "tab\tand\x1b[31m"};
    for (const auto& n : names) tree.file("caches/" + n + "/data", 10);
    tree.file("caches/flat-\xfe", 10);
    ScanReport report = Scan{tree}.run({location(tree.path("caches"))});
    ASSERT_EQ(report.candidates.size(), names.size() + 1);
    for (const auto& n : names) {
        const CleanupCandidate* c = findCandidate(report, n);
        ASSERT_NE(c, nullptr) << n;
        EXPECT_EQ(c->id, "userCaches:" + tree.path("caches/" + n));
    }
    auto decoded = decodeScanReport(dumpJSON(nlohmann::json(report), false));
    ASSERT_TRUE(decoded) << decoded.error();
    EXPECT_EQ(*decoded, report);
}

TEST(StorageScannerTest, WorkerCountDoesNotChangeTheReport) {
    TestTree tree;
    const double t = test::unixNow();
    for (int i = 0; i < 40; ++i) {
        const std::string e = "a/e" + std::to_string(i);
        tree.file(e + "/f", static_cast<size_t>(i % 7) * 3000);
        if (i % 5 == 0) tree.symlink(e + "-link", "/");
        if (i % 3 == 0) tree.file(e + "/Library/Mail/m", 1);
    }
    for (int i = 0; i < 10; ++i) tree.file("b/x" + std::to_string(i) + "/y/z", 4000);
    tree.setMtimeRecursive("b", t - 2 * kDay);
    tree.file("b/x3/y/new", 10);
    const std::vector<ScanLocation> locations = {
        location(tree.path("a")), location(tree.path("b"), kDay), location(tree.path("missing"))};
    Scan one{tree}, four{tree};
    one.config.workerCount = 1;
    four.config.workerCount = 4;
    ScanReport a = one.run(locations);
    ScanReport b = four.run(locations);
    b.scannedAt = a.scannedAt;
    EXPECT_EQ(a, b);
    EXPECT_GT(a.candidates.size(), 20u);
}

TEST(StorageScannerTest, ProgressOnlyMovesForwardAndEndsComplete) {
    for (int64_t interval : {1, 128}) {
        TestTree tree;
        for (int i = 0; i < 5; ++i) tree.file("l1/a/f" + std::to_string(i), 10);
        tree.file("l1/b/sub/f", 10);
        tree.file("l1/b/g", 10);
        tree.file("l2/c/f", 10);
        tree.symlink("l2/link", "/");
        Scan scan{tree};
        scan.config.inventoryProgressItemInterval = interval;
        scan.config.workerCount = 2;
        std::mutex mutex;
        std::vector<StorageScanProgress> samples;
        ScanReport report = scan.run(
            {location(tree.path("l1")), location(tree.path("missing")), location(tree.path("l2"))},
            [&](const StorageScanProgress& p) {
                std::lock_guard lock(mutex);
                samples.push_back(p);
            });
        ASSERT_GE(samples.size(), 2u);
        for (size_t i = 0; i < samples.size(); ++i) {
            EXPECT_GE(samples[i].fractionCompleted, 0.0);
            EXPECT_LE(samples[i].fractionCompleted, 1.0);
            EXPECT_EQ(samples[i].totalLocations, 3);
            if (i > 0) {
                EXPECT_GE(samples[i].fractionCompleted, samples[i - 1].fractionCompleted) << i;
                EXPECT_GE(samples[i].completedLocations, samples[i - 1].completedLocations) << i;
            }
        }
        const StorageScanProgress& last = samples.back();
        EXPECT_EQ(last.fractionCompleted, 1.0);
        EXPECT_EQ(last.completedLocations, 3);
        EXPECT_EQ(last.completedItemsInCurrentLocation, 0);
        EXPECT_FALSE(last.totalItemsInCurrentLocation);
        // a: 5 files; b: sub, sub/f, g; c: f.
        EXPECT_EQ(last.completedItems, 9) << "interval " << interval;
        EXPECT_EQ(last.foundCandidates, static_cast<int64_t>(report.candidates.size()));
        EXPECT_EQ(last.skippedItems, static_cast<int64_t>(report.skippedItems.size()));
        EXPECT_EQ(report.candidates.size(), 3u);
        EXPECT_EQ(report.skippedItems.size(), 2u);
    }
    // Nothing to scan: no samples, and a complete (empty) report.
    TestTree tree;
    int samples = 0;
    ScanReport empty = Scan{tree}.run({}, [&](const StorageScanProgress&) { ++samples; });
    EXPECT_EQ(samples, 0);
    EXPECT_TRUE(empty.hasCompletedScan);
    EXPECT_TRUE(empty.scannedRoots.empty());
}

TEST(StorageScannerTest, CancellationFromTheProgressCallbackStopsTheScan) {
    TestTree tree;
    for (int i = 0; i < 20; ++i) tree.file("l1/e" + std::to_string(i) + "/f", 10);
    tree.file("l2/e/f", 10);
    CancellationToken cancel;
    std::vector<StorageScanProgress> samples;
    std::mutex mutex;
    Scan scan{tree};
    ScanReport report = scan.run(
        {location(tree.path("l1")), location(tree.path("l2"))},
        [&](const StorageScanProgress& p) {
            std::lock_guard lock(mutex);
            samples.push_back(p);
            cancel.requestCancellation();
        },
        cancel);
    EXPECT_FALSE(report.hasCompletedScan);
    EXPECT_TRUE(report.candidates.empty());
    ASSERT_FALSE(samples.empty());
    for (const auto& s : samples) EXPECT_LT(s.fractionCompleted, 1.0);

    // Cancelled before it starts: no samples at all, still a report.
    samples.clear();
    report = scan.run(
        {location(tree.path("l1"))},
        [&](const StorageScanProgress& p) {
            std::lock_guard lock(mutex);
            samples.push_back(p);
        },
        cancel);
    EXPECT_FALSE(report.hasCompletedScan);
    EXPECT_TRUE(samples.empty());
}

}  // namespace
}  // namespace velmora

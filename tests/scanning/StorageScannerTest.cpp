// The storage scanner against real folder trees: which entries become candidates, why the others
// are skipped, what a candidate records, and how order, progress and cancellation behave.
#include "CleanerCore/scanning/StorageScanner.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>
#include <mutex>

#include "CleanerCore/platform/FileIdentity.h"
#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::allocatedBytes;
using test::TestTree;
using Outcomes = std::map<std::string, std::string>;

constexpr double kHour = 3600;
constexpr double kDay = 86400;

struct stat lstatOf(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return st;
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

struct Scan {
    const TestTree& tree;
    StorageScanner::Configuration config{};
    Catalogue catalogue = Catalogue::macos;

    ScanReport run(const std::vector<ScanLocation>& locations,
                   const StorageScanner::ProgressCallback& progress = {},
                   const CancellationToken& cancel = CancellationToken{}) const {
        return StorageScanner(config, tree.root(), catalogue)
            .scan(locations, dateFromUnixSeconds(test::unixNow()), progress, cancel);
    }
};

// Outcome per entry name: the skip reason, or "candidate".
Outcomes outcomes(const ScanReport& report) {
    Outcomes out;
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

TEST(StorageScannerTest, EachEntryGetsTheReasonItDeserves) {
    TestTree tree;
    tree.file("outside/huge", 1 << 20);
    tree.symlink("caches/link", tree.path("outside"));
    for (const char* empty : {"caches/empty/a", "caches/empty/sub/b"}) tree.file(empty, 0);
    // .ssh and a volume Trash are hidden, so not counted, yet they protect their folder.
    for (const char* p : {"caches/old.backup/x", "caches/mailer/Library/Mail/x",
                          "caches/keys/.ssh/id_ed25519", "caches/tool/.Trash-1000/files/y"}) {
        tree.file(p);
    }
    for (int i = 0; i < 101; ++i) tree.file("caches/over/f" + std::to_string(i), 1);
    for (int i = 0; i < 100; ++i) tree.file("caches/exact/f" + std::to_string(i), 1);
    const std::string kept = tree.file("caches/linking/data", 10);
    tree.symlink("caches/linking/toHuge", tree.path("outside"));
    tree.symlink("caches/linking/toHugeFile", tree.path("outside/huge"));
    const std::vector<std::string> hostile = {
        "new\nline", "-rf", "100%", "\xff", std::string(255, 'n'), "tab\tand\x1b[31m", "flat-\xfe"};
    for (const auto& n : hostile) tree.file("caches/" + n + (n.starts_with("flat") ? "" : "/data"));

    Scan scan{tree};
    scan.config.maximumInventoryItemsPerCandidate = 100;
    scan.catalogue = Catalogue::linux;
    ScanReport report = scan.run({location(tree.path("caches"))});
    Outcomes expected = {
        {"link", "Symbolic links are skipped for safety"},
        {"empty", "Empty item"},
        {"old.backup", "Protected user data path"},
        {"mailer", "Contains protected user data"},
        {"keys", "Contains protected user data"},
        {"tool", "Contains protected user data"},
        {"over", "Folder inventory limit exceeded"},
        {"exact", "candidate"},
        {"linking", "candidate"},
    };
    for (const auto& n : hostile) expected[n] = "candidate";
    EXPECT_EQ(outcomes(report), expected);
    for (const auto& c : report.candidates) EXPECT_EQ(c.id(), "userCaches:" + c.url.path);
    // A link inside a candidate is neither followed nor counted.
    ASSERT_NE(findCandidate(report, "linking"), nullptr);
    EXPECT_EQ(findCandidate(report, "linking")->sizeBytes, allocatedBytes(kept));
}

TEST(StorageScannerTest, AgeRuleLooksAtEverythingCounted) {
    const double t = test::unixNow();
    struct Case {
        const char* name;
        bool fileEntry;  // else a folder holding deep/file
        double entryAge, fileAge, rule;
        const char* expected;
    } cases[] = {
        {"hour-old file, one-day rule", false, kHour, kHour, kDay, "Recently modified"},
        {"hour-old file, no rule", false, kHour, kHour, 0, "candidate"},
        {"old folder, new deep file", false, 3 * kDay, kHour, kDay, "Recently modified"},
        {"new folder, old file", false, kHour, 3 * kDay, kDay, "Recently modified"},
        {"all old", false, 3 * kDay, 3 * kDay, kDay, "candidate"},
        {"new file entry", true, kHour, 0, kDay, "Recently modified"},
        {"old file entry", true, 2 * kDay, 0, kDay, "candidate"},
    };
    for (const auto& c : cases) {
        TestTree tree;
        tree.file(c.fileEntry ? "caches/entry" : "caches/entry/deep/file");
        tree.setMtimeRecursive("caches/entry", t - c.entryAge);
        if (!c.fileEntry) tree.setMtime("caches/entry/deep/file", t - c.fileAge);
        ScanReport report = Scan{tree}.run({location(tree.path("caches"), c.rule)});
        EXPECT_EQ(outcomes(report), (Outcomes{{"entry", c.expected}})) << c.name;
    }
    // A link is not counted: its own fresh date does not make an old folder recent.
    TestTree tree;
    tree.file("caches/entry/file");
    tree.symlink("caches/entry/fresh-link", "/nonexistent");
    tree.setMtimeRecursive("caches/entry", t - 3 * kDay);
    tree.setMtime("caches/entry/fresh-link", t - kHour);
    ScanReport report = Scan{tree}.run({location(tree.path("caches"), kDay)});
    EXPECT_EQ(outcomes(report), (Outcomes{{"entry", "candidate"}}));
}

TEST(StorageScannerTest, UnlistableFoldersAreReportedNotMeasured) {
    TestTree tree;
    for (const char* p : {"caches/entry/readable", "caches/entry/locked/secret",
                          "caches/closed/secret", "caches/fine/x", "shut/entry/x"}) {
        tree.file(p);
    }
    const Outcomes expected = {{"entry", "Could not enumerate folder"},
                               {"closed", "Could not enumerate folder"},
                               {"fine", "candidate"},
                               {"shut", "Could not enumerate folder"}};
    EXPECT_TRUE(test::runWithoutPrivileges(tree, [&] {
        for (const char* closed : {"caches/entry/locked", "caches/closed", "shut"}) {
            tree.chmod(closed, 0);
        }
        return outcomes(Scan{tree}.run(
                   {location(tree.path("caches")), location(tree.path("shut"))})) == expected;
    }));
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
            SCOPED_TRACE(testing::Message() << "hidden=" << hidden << " packages=" << packages);
            EXPECT_EQ(findCandidate(report, ".hidden") != nullptr, hidden);
            const CleanupCandidate* app = findCandidate(report, "app");
            ASSERT_NE(app, nullptr);
            EXPECT_EQ(app->sizeBytes, allocatedBytes(visible) +
                                          (hidden ? allocatedBytes(dotFile) : 0) +
                                          (packages ? allocatedBytes(packaged) : 0));
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
    AppCacheContext context;
    context.containerIdentifier = "com.example.tool";
    loc.appCacheContext = context;
    ScanReport report = Scan{tree}.run({loc});
    ASSERT_EQ(report.candidates.size(), 2u);

    const CleanupCandidate* folder = findCandidate(report, "folder");
    ASSERT_NE(folder, nullptr);
    EXPECT_EQ(folder->id(), "appContainerCaches:" + tree.path("caches/folder"));
    EXPECT_EQ(folder->url, FileURL::directory(tree.path("caches/folder")));
    EXPECT_EQ(folder->safety, CleanupSafety::caution);
    EXPECT_FALSE(folder->isSelectedByDefault);
    EXPECT_EQ(folder->appCacheContext, loc.appCacheContext);
    EXPECT_EQ(folder->sizeBytes, allocatedBytes(inner));
    // The newest date inside wins over the folder's own; the identity keeps the folder's own.
    EXPECT_EQ(folder->lastModified, dateFromTimespec(lstatOf(inner).st_mtim));
    EXPECT_EQ(folder->resourceIdentity, captureIdentity(tree.path("caches/folder")));

    const CleanupCandidate* file = findCandidate(report, "one.bin");
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(file->url.isDirectory);
    EXPECT_EQ(file->sizeBytes, allocatedBytes(one));
    EXPECT_EQ(file->resourceIdentity, captureIdentity(one));
    // What every candidate of a location or a volume has alike is held once, not per candidate.
    EXPECT_EQ(&*file->appCacheContext, &*folder->appCacheContext);
    ASSERT_TRUE(file->resourceIdentity->volumeName && folder->resourceIdentity->volumeName);
    EXPECT_EQ(&*file->resourceIdentity->volumeName, &*folder->resourceIdentity->volumeName);
}

TEST(StorageScannerTest, ReportListsCandidatesBySafetyThenSizeAndSkipsInTheOrderMet) {
    TestTree tree;
    tree.file("review/r", 200000);
    tree.file("careful/big", 400000);
    tree.file("safe1/zeta", 8000);
    tree.file("safe1/small", 100);
    tree.symlink("safe1/link", "/");
    tree.file("safe2/alpha", 8000);
    tree.file("safe2/large", 90000);
    tree.file("plain", 10);
    tree.symlink("rootLink", tree.path("safe2"));
    const std::string derivedData = tree.file("Derived/x", 20000);
    // A folder proposed as a whole, and the home folder, which never is.
    ScanLocation derived = location(tree.path("Derived")), home = location(tree.root());
    derived.depth = home.depth = ScanDepth::directoryItself;
    const std::vector<ScanLocation> locations = {
        location(tree.path("review"), 0, CleanupCategory::customFolder,
                 CleanupSafety::manualReview),
        location(tree.path("gone"), 0, CleanupCategory::userLogs),
        location(tree.path("careful"), 0, CleanupCategory::buildArchives, CleanupSafety::caution),
        location(tree.path("safe1")),
        location(tree.path("plain")),
        location(tree.path("rootLink")),
        location(tree.path("safe2"), 0, CleanupCategory::userLogs),
        derived,
        home,
    };
    ScanReport report = Scan{tree}.run(locations);

    std::vector<std::string> names;
    for (const auto& c : report.candidates) names.push_back(c.displayName);
    // Equal sizes keep scan order: zeta (earlier location) before alpha.
    EXPECT_EQ(names,
              (std::vector<std::string>{"large", "Derived", "zeta", "alpha", "small", "big", "r"}));
    ASSERT_NE(findCandidate(report, "Derived"), nullptr);
    EXPECT_EQ(findCandidate(report, "Derived")->sizeBytes, allocatedBytes(derivedData));
    std::vector<std::pair<std::string, std::string>> skipped;
    for (const auto& s : report.skippedItems) skipped.emplace_back(s.url.path, s.reason);
    EXPECT_EQ(
        skipped,
        (std::vector<std::pair<std::string, std::string>>{
            {tree.path("gone"), "Folder does not exist"},
            {tree.path("safe1/link"), "Symbolic links are skipped for safety"},
            {tree.path("plain"), "Folder does not exist"},
            {tree.path("rootLink"), "Refusing to clean symbolic link: " + tree.path("rootLink")},
            {tree.root(), "Scan root itself is not a cleanup candidate"},
        }));
    ASSERT_EQ(report.scannedRoots.size(), locations.size());
    for (size_t i = 0; i < locations.size(); ++i) {
        EXPECT_EQ(report.scannedRoots[i], locations[i].rootURL);
    }
}

TEST(StorageScannerTest, WorkerCountDoesNotChangeTheReport) {
    TestTree tree;
    for (int i = 0; i < 40; ++i) {
        const std::string e = "a/e" + std::to_string(i);
        tree.file(e + "/f", static_cast<size_t>(i % 7) * 3000);
        if (i % 5 == 0) tree.symlink(e + "-link", "/");
        if (i % 3 == 0) tree.file(e + "/Library/Mail/m", 1);
    }
    for (int i = 0; i < 10; ++i) tree.file("b/x" + std::to_string(i) + "/y/z", 4000);
    tree.setMtimeRecursive("b", test::unixNow() - 2 * kDay);
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
    TestTree tree;
    for (int i = 0; i < 5; ++i) tree.file("l1/a/f" + std::to_string(i), 10);
    for (const char* p : {"l1/b/sub/f", "l1/b/g", "l2/c/f"}) tree.file(p);
    tree.symlink("l2/link", "/");
    for (int64_t interval : {1, 128}) {
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
        SCOPED_TRACE(testing::Message() << "interval " << interval);
        ASSERT_GE(samples.size(), 2u);
        for (size_t i = 1; i < samples.size(); ++i) {
            EXPECT_GE(samples[i].fractionCompleted, samples[i - 1].fractionCompleted) << i;
            EXPECT_GE(samples[i].completedLocations, samples[i - 1].completedLocations) << i;
        }
        StorageScanProgress last = samples.back();
        last.currentURL.reset();
        // a: 5 files; b: sub, sub/f, g; c: f. Three candidates, two skipped (missing, link).
        EXPECT_EQ(last,
                  StorageScanProgress::make(std::nullopt, 3, 3, 9, 0, std::nullopt, 3, 2, 1.0));
        EXPECT_EQ(report.candidates.size() + report.skippedItems.size(), 5u);
    }
    // Nothing to scan: no samples, and a complete (empty) report.
    int samples = 0;
    EXPECT_TRUE(
        Scan{tree}.run({}, [&](const StorageScanProgress&) { ++samples; }).hasCompletedScan);
    EXPECT_EQ(samples, 0);
}

TEST(StorageScannerTest, CancellationFromTheProgressCallbackStopsTheScan) {
    TestTree tree;
    for (int i = 0; i < 20; ++i) tree.file("l1/e" + std::to_string(i) + "/f", 10);
    tree.file("l2/e/f", 10);
    CancellationToken cancel;
    std::mutex mutex;
    std::vector<StorageScanProgress> samples;
    auto record = [&](const StorageScanProgress& p) {
        std::lock_guard lock(mutex);
        samples.push_back(p);
        cancel.requestCancellation();
    };
    const std::vector<ScanLocation> locations = {location(tree.path("l1")),
                                                 location(tree.path("l2"))};
    ScanReport report = Scan{tree}.run(locations, record, cancel);
    EXPECT_FALSE(report.hasCompletedScan);
    EXPECT_TRUE(report.candidates.empty());
    ASSERT_FALSE(samples.empty());
    for (const auto& s : samples) EXPECT_LT(s.fractionCompleted, 1.0);

    // Cancelled before it starts: no samples at all, still a report.
    samples.clear();
    EXPECT_FALSE(Scan{tree}.run(locations, record, cancel).hasCompletedScan);
    EXPECT_TRUE(samples.empty());
}

}  // namespace
}  // namespace velmora

#include "CleanerCore/insights/MacStorageInsightScanner.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>

#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;
using test::unixNow;
using test::writeFile;
using Config = MacStorageInsightScanner::Configuration;

SystemResourceSnapshot fixedSnapshot() {
    SystemResourceSnapshot s;
    s.capturedAt = 42;
    s.processorCount = 3;
    return s;
}

int64_t allocated(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0);
    const int64_t a = static_cast<int64_t>(st.st_blocks) * 512;
    return a > 0 ? a : st.st_size;
}

// A home folder in a throw-away tree, with everything old unless a test makes it recent.
class InsightScannerTest : public ::testing::Test {
  protected:
    TestTree tree;
    const std::string home = tree.dir("home");
    const double old = unixNow() - 3 * 86400;
    const Date now = currentDate();

    std::string file(const std::string& relative, size_t size) {
        const std::string p = tree.file("home/" + relative, size);
        tree.setMtime("home/" + relative, old);
        return p;
    }

    Config smallConfig() const {
        Config c;
        c.minimumLargeFileBytes = 50'000;
        c.minimumDuplicateFileBytes = 1;
        return c;
    }

    MacStorageInsightReport scan(Config config = {}, Catalogue catalogue = Catalogue::macos,
                                 size_t walkers = 0,
                                 std::function<void(const StorageScanProgress&)> progress = {}) {
        MacStorageInsightScanner::Options o;
        o.catalogue = catalogue;
        o.captureSnapshot = fixedSnapshot;
        o.now = [now = now] { return now; };
        o.duplicateWorkerCount = 1;
        o.walkWorkerCount = walkers;
        o.progress = std::move(progress);
        return MacStorageInsightScanner(home, config, o).scan(cancel);
    }

    static size_t countReason(const MacStorageInsightReport& r, std::string_view reason) {
        return static_cast<size_t>(
            std::count_if(r.skippedItems.begin(), r.skippedItems.end(),
                          [&](const auto& s) { return s.reason == reason; }));
    }

    static bool lists(const std::vector<FileInsight>& list, const std::string& path) {
        return std::any_of(list.begin(), list.end(),
                           [&](const auto& f) { return f.url.path == path; });
    }

    CancellationToken cancel;
};

TEST(InsightConfigurationTest, ClampsToFloors) {
    auto withAge = [](double age) {
        Config c;
        c.minimumReviewFileAge = age;
        return c;
    };
    const std::pair<Config, Config> rows[] = {
        {Config{}, Config{}},
        {Config{0, -5, -1, 10, 5, -3, 0, 10, 10, 0, 0},
         Config{1, 1, 0, 128, 20, 0, 1, 1'048'576, 1'048'576, 1, 1}},
        {withAge(40 * 86400), withAge(30 * 86400)},
        {withAge(std::nan("")), withAge(0)},
    };
    for (const auto& [in, expected] : rows) {
        EXPECT_EQ(in.clamped(), expected);
        MacStorageInsightScanner scanner("/x/../home", in, {});
        EXPECT_EQ(scanner.configuration(), expected);
        EXPECT_EQ(scanner.home(), "/home");
    }
}

TEST_F(InsightScannerTest, StorageMapSumsAllocatedSizesAndKeepsRootOrderForTies) {
    const auto a = file("Documents/a.txt", 5000);
    const auto b = file("Documents/deep/er/b.txt", 7000);
    const auto c = file("Pictures/c.txt", 30000);
    tree.dir("home/Desktop");
    tree.dir("home/Music");
    const auto r = scan();
    ASSERT_EQ(r.heatmapItems.size(), 4u);
    const int64_t docs = allocated(a) + allocated(b), pics = allocated(c);
    ASSERT_NE(docs, pics);
    const auto& first = docs > pics ? r.heatmapItems[0] : r.heatmapItems[1];
    EXPECT_EQ(first.id, home + "/Documents");
    EXPECT_EQ(first.displayName, "~/Documents");
    EXPECT_EQ(first.sizeBytes, docs);
    EXPECT_EQ(first.itemCount, 2);
    // Desktop and Music are empty: equal sizes keep the root order (Desktop first).
    EXPECT_EQ(r.heatmapItems[2].displayName, "~/Desktop");
    EXPECT_EQ(r.heatmapItems[3].displayName, "~/Music");
    EXPECT_FALSE(r.isTruncated);
}

// The visit limit truncates only the root that reaches it, once; the result lists are cut to
// the result count.
TEST_F(InsightScannerTest, VisitAndResultLimits) {
    for (int i = 0; i < 140; ++i) file("Documents/f" + std::to_string(i), 1);
    for (int i = 0; i < 25; ++i) file("Downloads/f" + std::to_string(i) + ".sh", 10 + i);
    Config c = smallConfig();
    c.maximumVisitedItemsPerRoot = 128;
    c.maximumResultCount = 20;
    c.minimumDuplicateFileBytes = 1'000'000;
    const auto r = scan(c);
    EXPECT_TRUE(r.isTruncated);
    ASSERT_EQ(countReason(r, InsightSkipReason::kFolderInventoryLimitExceeded), 1u);
    for (const auto& item : r.heatmapItems) {
        EXPECT_EQ(item.isTruncated, item.displayName == "~/Documents") << item.displayName;
        if (item.isTruncated) {
            EXPECT_EQ(item.itemCount, 128);
        }
    }
    EXPECT_EQ(r.downloadFiles.size(), 20u);
    EXPECT_EQ(r.securityFindings.size(), 20u);
}

// Bundles, workflows and installer packages are folders counted and listed as one item, each one
// security finding; their contents are never listed.
TEST_F(InsightScannerTest, PackagesAreOneUnitAndOneFinding) {
    const auto x = file("Downloads/Tool.app/Contents/MacOS/tool", 9000);
    const auto y = file("Downloads/Tool.app/Contents/Info.plist", 3000);
    tree.setMtime("home/Downloads/Tool.app", old);
    file("Documents/Rename.workflow/Contents/document.wflow", 100);
    file("Documents/Setup.pkg/Contents/Archive.pax.gz", 100);
    const auto r = scan();
    ASSERT_EQ(r.heatmapItems.size(), 2u);
    EXPECT_EQ(r.heatmapItems[0].itemCount, 1);
    EXPECT_EQ(r.heatmapItems[0].sizeBytes, allocated(x) + allocated(y));
    ASSERT_EQ(r.downloadFiles.size(), 1u);
    EXPECT_EQ(r.downloadFiles[0].url.path, home + "/Downloads/Tool.app");
    EXPECT_EQ(r.downloadFiles[0].sizeBytes, allocated(x) + allocated(y));
    std::map<std::string, std::string> details;
    for (const auto& f : r.securityFindings) details[f.displayName] = f.detail;
    EXPECT_EQ(details,
              (std::map<std::string, std::string>{{"Tool.app", "Application bundle"},
                                                  {"Rename.workflow", "Automation workflow"},
                                                  {"Setup.pkg", "Installer package"}}));
}

TEST_F(InsightScannerTest, AgeRuleHoldsBackRecentFilesWithBoundedSkippedItems) {
    const auto big = file("Documents/recent.bin", 200'000);
    tree.setMtime("home/Documents/recent.bin", unixNow() - 3600);
    for (int i = 0; i < 3; ++i) {
        file("Downloads/new" + std::to_string(i), 10);
        tree.setMtime("home/Downloads/new" + std::to_string(i), unixNow() - 60);
    }
    Config c = smallConfig();
    c.maximumRecentReviewSkippedItems = 2;
    auto r = scan(c);
    EXPECT_TRUE(r.largeFiles.empty());
    EXPECT_TRUE(r.downloadFiles.empty());
    EXPECT_EQ(countReason(r, InsightSkipReason::kRecentlyModified), 2u);

    c.maximumRecentReviewSkippedItems = 250;
    r = scan(c);
    EXPECT_EQ(countReason(r, InsightSkipReason::kRecentlyModified), 4u);
    EXPECT_TRUE(std::any_of(r.skippedItems.begin(), r.skippedItems.end(),
                            [&](const auto& s) { return s.url.path == big; }));

    c.minimumReviewFileAge = 0;  // nothing is recent: a file modified an hour ago is listed
    r = scan(c);
    EXPECT_TRUE(lists(r.largeFiles, big));
}

// Large files over the threshold under any root, every Downloads item, and security signals by
// name, ranked by severity; a folder that is no root is never seen.
TEST_F(InsightScannerTest, FindingsByKindThresholdAndOrder) {
    const auto small = file("Downloads/small.txt", 100);
    const auto mid = file("Downloads/mid.iso", 60'000);
    const auto top = file("Documents/top.iso", 90'000);
    file("Documents/under.iso", 40'000);
    file("Other/big.bin", 200'000);
    for (const char* name :
         {"Desktop/tool-keygen.zip", "Desktop/keygenerator.zip", "Documents/readme-crack.txt",
          "Desktop/setup.pkg", "Documents/profile.MOBILECONFIG", "Documents/image.dmg"})
        file(name, 10);
    Config c = smallConfig();
    c.minimumDuplicateFileBytes = 1'000'000;
    const auto r = scan(c);
    EXPECT_TRUE(r.hasCompletedScan);
    EXPECT_EQ(r.systemSnapshot, fixedSnapshot());
    ASSERT_EQ(r.largeFiles.size(), 2u);
    EXPECT_EQ(r.largeFiles[0].url.path, top);
    EXPECT_EQ(r.largeFiles[1].url.path, mid);
    EXPECT_EQ(r.largeFiles[0].id, "largeFile:" + top);
    EXPECT_EQ(r.largeFiles[0].detail, "Large file");
    EXPECT_EQ(r.largeFiles[0].safety, CleanupSafety::caution);
    EXPECT_EQ(r.largeFiles[0].parentPath, "~/Documents");
    ASSERT_EQ(r.downloadFiles.size(), 2u);
    EXPECT_EQ(r.downloadFiles[0].url.path, mid);
    EXPECT_EQ(r.downloadFiles[1].url.path, small);
    EXPECT_EQ(r.downloadFiles[1].detail, "Downloads item");
    EXPECT_EQ(r.downloadFiles[1].id, "download:" + small);
    std::vector<std::pair<std::string, std::string>> got;
    for (const auto& f : r.securityFindings) {
        got.emplace_back(f.displayName, f.detail);
        EXPECT_EQ(f.kind, FileInsightKind::securitySignal);
        EXPECT_EQ(f.id, "securitySignal:" + f.url.path);
    }
    EXPECT_EQ(got, (std::vector<std::pair<std::string, std::string>>{
                       {"profile.MOBILECONFIG", "Configuration profile"},
                       {"setup.pkg", "Installer package"},
                       {"image.dmg", "Disk image"},
                       {"tool-keygen.zip", "Suspicious filename pattern"}}));
}

TEST_F(InsightScannerTest, ProtectedFoldersAreSkippedAndNeverListed) {
    file("Library/Application Support/Mail.bak/x", 10);  // not protected
    file("Library/Mail/V10/huge.emlx", 200'000);
    file("Library/Application Support/CloudDocs/session/db", 200'000);
    file("Downloads/.Trash/old.bin", 200'000);
    const auto r = scan(smallConfig());
    std::vector<std::string> protectedPaths;
    for (const auto& s : r.skippedItems) {
        if (s.reason == InsightSkipReason::kProtectedUserDataPath)
            protectedPaths.push_back(s.url.path);
    }
    std::sort(protectedPaths.begin(), protectedPaths.end());
    const std::vector<std::string> expected = {home + "/Downloads/.Trash",
                                               home + "/Library/Application Support/CloudDocs"};
    EXPECT_EQ(protectedPaths, expected);  // Library/Mail is not a scan root
    EXPECT_TRUE(r.largeFiles.empty());
    EXPECT_TRUE(r.downloadFiles.empty());
    for (const auto& item : r.heatmapItems) {
        if (item.displayName == "~/Library/Application Support") {
            EXPECT_EQ(item.itemCount, 1);
        }
    }
}

// The insight rule is the insight scan's own: the cleanup rule's libraries, backups and disk
// images are findings here (the cleanup checks still refuse to move them).
TEST(InsightProtectedRuleTest, ProtectsPersonalDataNotBackupsOrImages) {
    struct Row {
        const char* path;
        bool macos, linux;
    };
    const std::vector<Row> rows = {
        {"/h/Library/Mail/V10/x", true, true},
        {"/h/Library/Containers/org.x/Data", true, true},
        {"/h/Library/Application Support/Group Containers/x", true, true},
        {"/h/Library/Mobile Documents/.Trash/x", true, true},
        {"/h/Documents/Containers", false, false},
        {"/h/Documents/Old.backup/data", false, false},
        {"/h/Pictures/Photos.photoslibrary/x", false, false},
        {"/h/Downloads/disk.img", false, false},
        {"/h/VMs/win.qcow2", false, false},
        {"/h/.ssh/id_ed25519", false, true},
        {"/h/.mozilla/firefox/x", false, true},
        {"/h/.local/share/Trash/files/x", false, true},
        {"/", false, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(isProtectedInsightPath(row.path, Catalogue::macos), row.macos) << row.path;
        EXPECT_EQ(isProtectedInsightPath(row.path, Catalogue::linux), row.linux) << row.path;
    }
}

// The roots follow user-dirs.dirs, whose folders may be links to another disk, may lie inside one
// another, may lead to one folder twice, or be switched off (the home itself). Each folder is
// walked once, as the first root that leads to it, and nothing is counted in two map items.
TEST_F(InsightScannerTest, UserDirsRootsAreWalkedOnce) {
    writeFile(tree, "home/.config/user-dirs.dirs",
              "# xdg\n"
              "XDG_DOWNLOAD_DIR=\"$HOME/Documents/Téléchargements\"\n"
              "XDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
              "XDG_DOCUMENTS_DIR=\"$HOME/Documents\"\n"
              "XDG_PICTURES_DIR=\"$HOME/\"\n"
              "XDG_VIDEOS_DIR=\"$HOME/Films\"\n"
              "XDG_MUSIC_DIR=\"$HOME/Music\"\n");
    const auto download = file("Documents/Téléchargements/a.deb", 10);
    file("Downloads/not-the-downloads-root", 10);
    file("loose.iso", 60'000);  // the home's own file: on the map, never a finding
    file("Documents/b.txt", 10);
    tree.file("disk/movie.mkv", 10);
    tree.setMtime("disk/movie.mkv", old);
    tree.symlink("home/Desktop", tree.path("disk"));
    tree.symlink("home/Films", tree.path("home/Documents"));  // the Documents folder again
    file(".ssh/id_ed25519", 10);
    tree.symlink("home/Music", tree.path("home/.ssh"));  // leads into protected data

    const auto r = scan(smallConfig(), Catalogue::linux);
    std::map<std::string, int64_t> counts;
    for (const auto& i : r.heatmapItems) counts[i.displayName] = i.itemCount;
    EXPECT_EQ(counts, (std::map<std::string, int64_t>{{"~/Documents/Téléchargements", 1},
                                                      {"~/Downloads", 1},
                                                      {"~/Desktop", 1},
                                                      {"~/Documents", 1},
                                                      {"~/Music", 0},
                                                      {"~/.config", 1},
                                                      {"~", 1}}));
    EXPECT_TRUE(r.largeFiles.empty());
    ASSERT_EQ(r.downloadFiles.size(), 1u);
    EXPECT_EQ(r.downloadFiles[0].url.path, download);
    ASSERT_EQ(r.skippedItems.size(), 1u);
    EXPECT_EQ(r.skippedItems[0].url.path, home + "/Music");
    EXPECT_EQ(r.skippedItems[0].reason, "Protected user data path");
}

TEST_F(InsightScannerTest, ProgressFollowsTheRootsThenDuplicatesAndEndsComplete) {
    for (int i = 0; i < 1'100; ++i) tree.file("home/Documents/f" + std::to_string(i), 1);
    file("Downloads/a", 1);
    std::vector<StorageScanProgress> samples;
    // One walker: the first sample is then the first root's.
    scan(smallConfig(), Catalogue::macos, 1,
         [&](const StorageScanProgress& p) { samples.push_back(p); });

    ASSERT_GE(samples.size(), 5u);  // 2 root starts, 2 in Documents, duplicates, the end
    for (size_t i = 1; i < samples.size(); ++i) {
        EXPECT_GE(samples[i].fractionCompleted, samples[i - 1].fractionCompleted) << i;
        EXPECT_GE(samples[i].completedItems, samples[i - 1].completedItems) << i;
    }
    EXPECT_EQ(samples.front().currentURL->path, home + "/Downloads");
    EXPECT_EQ(samples.front().totalLocations, 3);  // two roots and the duplicate check
    EXPECT_EQ(samples.back().fractionCompleted, 1.0);
    EXPECT_EQ(samples.back().completedItems, 1'101);
    EXPECT_EQ(samples.back().foundCandidates, 1'101);
    EXPECT_FALSE(samples.back().currentURL.has_value());
}

TEST_F(InsightScannerTest, CancelledScanIsTruncatedWithoutDuplicates) {
    file("Documents/a", 70'000);
    file("Downloads/a", 70'000);
    cancel.requestCancellation();
    const auto r = scan(smallConfig());
    EXPECT_TRUE(r.isTruncated);
    EXPECT_TRUE(r.duplicateGroups.empty());
}

// Every top-level folder of a Linux home is a map item, hidden ones included, and the home's own
// files make one more, so the map adds up to the home; the findings still come only from the
// user folders. Links, at the top or below a root, are neither followed nor counted.
TEST_F(InsightScannerTest, LinuxHomeMapAddsUpToTheHome) {
    std::vector<std::string> counted = {
        file("Documents/report.txt", 5'000),
        file("Documents/Old.backup/data.bin", 3'000),  // a backup is not protected data here
        file(".pyenv/versions/3.12/lib/libpython.so", 200'000),
        file(".rustup/toolchains/stable/lib/std.rlib", 100'000),
        file(".cache/pip/http/tool.deb", 10),
        file(".local/bin/tool", 10),
        file(".local/share/app/data", 60'000),  // large, but map-only roots give no findings
        file(".var/app/org.example.App/data/one", 60'000),  // a Flatpak folder, not a bundle
        file(".var/app/org.example.App/data/two", 10),
        file("notes.txt", 10),
    };
    file(".ssh/id_ed25519", 10);
    const auto outside = tree.file("elsewhere/huge.bin", 300'000);
    tree.symlink("home/linked", tree.path("elsewhere"));
    tree.symlink("home/Documents/link", outside);
    tree.symlink("home/Documents/dirlink", tree.path("elsewhere"));

    const auto r = scan(smallConfig(), Catalogue::linux);
    int64_t expected = 0, total = 0;
    for (const auto& p : counted) expected += allocated(p);
    std::map<std::string, int64_t> items;
    for (const auto& i : r.heatmapItems) {
        items[i.displayName] = i.itemCount;
        total += i.sizeBytes;
    }
    EXPECT_EQ(total, expected);
    EXPECT_EQ(items, (std::map<std::string, int64_t>{{"~", 1},
                                                     {"~/.cache", 1},
                                                     {"~/.local", 1},
                                                     {"~/.local/share", 1},
                                                     {"~/.pyenv", 1},
                                                     {"~/.rustup", 1},
                                                     {"~/.ssh", 0},
                                                     {"~/.var", 0},
                                                     {"~/.var/app", 2},
                                                     {"~/Documents", 2}}));
    EXPECT_TRUE(r.largeFiles.empty());
    EXPECT_TRUE(r.securityFindings.empty());
    ASSERT_EQ(r.skippedItems.size(), 1u);
    EXPECT_EQ(r.skippedItems[0].url.path, home + "/.ssh");
    EXPECT_EQ(r.skippedItems[0].reason, "Protected user data path");
    EXPECT_FALSE(r.isTruncated);
}

// One inode is one file: counted once in the map (in the first root that meets it), listed once,
// and never a duplicate of itself. Any number of walkers gives the same report.
TEST_F(InsightScannerTest, HardLinkedFileCountsOnce) {
    const auto original = file("Documents/a.bin", 70'000);
    tree.dir("home/Pictures");
    ASSERT_EQ(::link(original.c_str(), tree.path("home/Pictures/a-link.bin").c_str()), 0);
    const auto copy = tree.path("home/Music/copy.bin");
    tree.dir("home/Music");
    std::filesystem::copy_file(original, copy);
    tree.setMtime("home/Music/copy.bin", old);
    const auto cached = file(".cache/x", 5'000);
    ASSERT_EQ(::link(cached.c_str(), tree.path("home/.cache/y").c_str()), 0);

    const auto r = scan(smallConfig(), Catalogue::linux, 1);
    std::map<std::string, std::pair<int64_t, int64_t>> items;
    for (const auto& i : r.heatmapItems) items[i.displayName] = {i.itemCount, i.sizeBytes};
    const int64_t a = allocated(original);
    EXPECT_EQ(items["~/Documents"], std::pair(int64_t{1}, a));
    EXPECT_EQ(items["~/Pictures"], std::pair(int64_t{0}, int64_t{0}));
    EXPECT_EQ(items["~/Music"], std::pair(int64_t{1}, a));
    EXPECT_EQ(items["~/.cache"], std::pair(int64_t{1}, allocated(cached)));
    std::vector<std::string> large;
    for (const auto& f : r.largeFiles) large.push_back(f.url.path);
    EXPECT_EQ(large, (std::vector<std::string>{original, copy}));
    ASSERT_EQ(r.duplicateGroups.size(), 1u);
    EXPECT_EQ(r.duplicateGroups[0].files.size(), 2u);
    EXPECT_EQ(r.duplicateGroups[0].files[0].url.path, original);
    EXPECT_EQ(r.duplicateGroups[0].files[1].url.path, copy);
    EXPECT_EQ(scan(smallConfig(), Catalogue::linux, 4), r);
}

TEST(InsightScanRootsTest, ParsesUserDirsAssignments) {
    struct Row {
        std::string text;
        std::optional<std::string> expected;
    };
    const std::vector<Row> rows = {
        {"XDG_DOWNLOAD_DIR=\"$HOME/Dl\"", "/h/Dl"},
        {"  XDG_DOWNLOAD_DIR = \"/data/dl/\"  ", "/data/dl"},
        {"XDG_DOWNLOAD_DIR=\"$HOME/My \\\"Dl\\\"\"", "/h/My \"Dl\""},
        {"#XDG_DOWNLOAD_DIR=\"$HOME/Dl\"", std::nullopt},
        {"XDG_DOWNLOAD_DIR=relative", std::nullopt},
        {"XDG_DOWNLOAD_DIR=\"$HOMEx/Dl\"", std::nullopt},
        {"XDG_DOCUMENTS_DIR=\"$HOME/Docs\"", std::nullopt},
        {"XDG_DOWNLOAD_DIR=\"$HOME/a\"\nXDG_DOWNLOAD_DIR=\"$HOME/b\"", "/h/b"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(xdgUserDirectory(row.text, "XDG_DOWNLOAD_DIR", "/h"), row.expected) << row.text;
    }
    // The macOS roots are fixed: Downloads first, the developer folder last.
    const auto mac = insightScanRoots("/h", Catalogue::macos);
    ASSERT_EQ(mac.size(), 8u);
    EXPECT_EQ(mac.front(), (InsightScanRoot{"/h/Downloads", true}));
    EXPECT_EQ(mac.back().path, "/h/Library/Developer");
}

}  // namespace
}  // namespace velmora

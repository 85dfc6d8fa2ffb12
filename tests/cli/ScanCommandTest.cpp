// `velmora scan` as a user runs it: the built program in a child process whose home and XDG
// folders lie inside a throw-away tree.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <set>

#include "CleanerCore/scanning/ModelJson.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "cli/CommandRunner.h"

namespace velmora {
namespace {

using test::Outcome;

// A home folder in a fresh tree, scanned with the macOS catalogue.
struct Velmora : test::CommandHome {
    Velmora() { catalogue = "macos"; }
    // A file of `size` bytes, with everything in its top folder three days old.
    std::string oldFile(const std::string& relative, size_t size = 10) {
        const std::string path = tree.file("home/" + relative, size);
        tree.setMtimeRecursive("home/" + relative.substr(0, relative.find('/')),
                               test::unixNow() - 3 * 86400);
        return path;
    }
};

ScanReport decoded(const Outcome& o) {
    EXPECT_EQ(o.status, 0) << o.err;
    auto report = decodeScanReport(o.out);
    EXPECT_TRUE(report) << report.error() << "\n" << o.out;
    return report ? *report : ScanReport{};
}

int64_t allocated(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0);
    return static_cast<int64_t>(st.st_blocks) * 512;
}

// Direct mode needs --allow-direct: without it the scan says so and covers the standard roots
// (plus the custom folder), so the npm cache is not offered.
TEST(ScanCommandTest, JsonReportWithoutDirectPermissionCoversStandardAndCustomFolder) {
    Velmora v;
    v.oldFile("Library/Caches/com.example.app/blob", 30000);
    v.oldFile("Library/Logs/tool/log.txt", 500);
    v.oldFile(".npm/_cacache/blob");
    const std::string blob = v.oldFile("Projects/build-cache/obj/blob", 20000);
    Outcome o = v.velmora(
        {"scan", "--mode", "direct", "--folder", v.homePath("Projects/build-cache"), "--json"});
    EXPECT_NE(o.err.find("--allow-direct"), std::string::npos) << o.err;
    ScanReport report = decoded(o);
    EXPECT_TRUE(report.hasCompletedScan);
    ASSERT_EQ(report.scannedRoots.size(), 5u) << o.out << o.err;
    EXPECT_EQ(report.scannedRoots[0], FileURL::directory(v.homePath("Library/Caches")));
    EXPECT_EQ(report.scannedRoots[4], FileURL::directory(v.homePath("Projects/build-cache")));
    ASSERT_EQ(report.candidates.size(), 3u);
    EXPECT_EQ(report.candidates[0].id(),
              "userCaches:" + v.homePath("Library/Caches/com.example.app"));
    EXPECT_EQ(report.candidates[1].category, CleanupCategory::userLogs);
    const CleanupCandidate& custom = report.candidates[2];
    EXPECT_EQ(custom.id(), "customFolder:" + v.homePath("Projects/build-cache/obj"));
    EXPECT_EQ(custom.safety, CleanupSafety::manualReview);
    EXPECT_FALSE(custom.isSelectedByDefault);
    EXPECT_EQ(custom.sizeBytes, allocated(blob));
}

TEST(ScanCommandTest, RefusedInputExitsTwoAndPrintsNoReport) {
    Velmora v;
    const std::string plain = v.tree.file("home/notes.txt");
    v.tree.file("home/Projects/cache/x");
    const std::string link = v.tree.symlink("home/shortcut", v.homePath("Projects"));
    const std::string trash = v.tree.dir("home/.local/share/Trash");
    v.tree.dir("home/.local/share/Velmora");
    const std::string broad = "Selected folder is too broad or protected for cleanup scanning: ";
    const std::string notFolder = "Selected item is not an accessible folder: ";
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"scan", "--folder", "/"}, broad + "/"},
        {{"scan", "--folder", v.home + "/"}, broad + v.home},
        {{"scan", "--folder", link}, broad + link},
        {{"scan", "--folder", v.homePath("Projects/cache"), "--folder", "/usr"}, broad + "/usr"},
        {{"scan", "--folder", trash}, broad + trash},
        {{"scan", "--folder", v.homePath(".local/share")}, broad + v.homePath(".local/share")},
        {{"scan", "--folder", plain}, notFolder + plain},
        {{"scan", "--bogus"}, "this argument was not expected here: --bogus."},
        {{"scan", "--mode", "reckless"}, "--mode takes one of standard, aggressive, direct, not "},
        // The first mistake in reading order is the one reported.
        {{"scan", "--frob", "--mode", "reckless"}, "not expected here: --frob."},
        {{"scan", "--mode", "reckless", "--frob"}, "not 'reckless'."},
        {{"frobnicate"},
         "unknown command 'frobnicate'. The commands are: scan, clean, restore, ignore, "
         "unignore, history, insights, language, folders, review, remind, growth, snapshots, "
         "relief, export."},
        {{}, "velmora: "},  // a command is required
    };
    for (const auto& [args, message] : cases) {
        Outcome o = v.velmora(args);
        const std::string label = args.empty() ? "(no command)" : args.back();
        EXPECT_EQ(o.status, 2) << label;
        EXPECT_EQ(o.out, "") << label;
        EXPECT_NE(o.err.find(message), std::string::npos) << label << ": " << o.err;
    }
    Outcome o = v.run({VELMORA_BINARY, "--home", v.homePath("missing"), "scan"});
    EXPECT_EQ(o.status, 2);
    EXPECT_EQ(o.out, "");
}

TEST(ScanCommandTest, TableShowsEscapedNamesHumanSizesAndHomeRelativePaths) {
    Velmora v;
    const std::string blob = v.oldFile("Library/Caches/com.example.app/blob", 123456);
    v.oldFile("Library/Caches/new\nline/blob");
    v.oldFile("Library/Caches/esc\x1b[2Jname/blob");
    Outcome table = v.velmora({"scan"});
    EXPECT_EQ(table.status, 0) << table.err;
    for (const std::string& shown :
         {formatBytes(allocated(blob)), std::string("~/Library/Caches/com.example.app"),
          std::string("~/Library/Caches/new\\nline"),
          std::string("~/Library/Caches/esc\\x1b[2Jname")}) {
        EXPECT_NE(table.out.find(shown), std::string::npos) << shown << " in\n" << table.out;
    }
    EXPECT_EQ(table.out.find(v.homePath("Library/Caches/com")), std::string::npos) << table.out;
    EXPECT_EQ(table.out.find('\x1b'), std::string::npos);

    Outcome json = v.velmora({"scan", "--json"});
    EXPECT_EQ(json.out.find('\x1b'), std::string::npos);
    std::set<std::string> names;
    for (const auto& c : decoded(json).candidates) names.insert(c.displayName);
    EXPECT_EQ(names, (std::set<std::string>{"com.example.app", "new\nline", "esc\x1b[2Jname"}));
}

// Scan, clean, let part of the cleaned material come back, scan again: the second scan says how
// much is back, in the table's sentences and in the JSON.
TEST(ScanCommandTest, AScanAfterACleanupSaysWhatCameBack) {
    test::CommandHome h;
    h.oldCacheFile("app-one/inner/data", std::string(400'000, 't'));
    h.oldCacheFile("app-two/inner/data", std::string(40'000, 'f'));

    // No cleanup yet: the JSON says so, the table says nothing about it.
    nlohmann::json first = h.scan();
    EXPECT_EQ(first["reappearance"]["assessment"], "noRecentCleanup") << first.dump(2);
    Outcome table = h.velmora({"scan"});
    EXPECT_EQ(table.out.find("cleaned on"), std::string::npos) << table.out;

    // The saved report, with its extra key, is what the cleanup reads.
    Outcome clean =
        h.velmora({"clean", "--report", h.reportFile, "--id", "userCaches:" + h.cache("app-one"),
                   "--id", "userCaches:" + h.cache("app-two"), "--yes", "--quiet"});
    ASSERT_EQ(clean.status, 0) << clean.err;
    h.oldCacheFile("app-two/inner/data", std::string(40'000, 'f'));

    const nlohmann::json again = h.scan();
    const nlohmann::json& r = again["reappearance"];
    EXPECT_EQ(r["assessment"], "partialReappearance") << again.dump(2);
    EXPECT_EQ(r["cleanupSource"], "cleanupDashboard");
    EXPECT_EQ(r["recordedCleanedItemCount"], 2);
    EXPECT_EQ(r["samePathReappearedItemCount"], 1);
    ASSERT_EQ(again["candidates"].size(), 1u);
    EXPECT_EQ(r["samePathReappearedBytes"], again["candidates"][0]["sizeBytes"]);
    EXPECT_GT(r["recordedCleanedBytes"].get<int64_t>(), 400'000);

    table = h.velmora({"scan"});
    const std::string back = formatBytes(r["samePathReappearedBytes"].get<int64_t>()) + " of the " +
                             formatBytes(r["recordedCleanedBytes"].get<int64_t>()) + " cleaned on ";
    EXPECT_NE(table.out.find(back), std::string::npos) << table.out;
    EXPECT_NE(table.out.find("is back at the same paths: part of it regenerates"),
              std::string::npos)
        << table.out;
}

}  // namespace
}  // namespace velmora

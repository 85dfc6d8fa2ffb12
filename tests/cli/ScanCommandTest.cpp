// `velmora scan` as a user runs it: the built program in a child process whose home and XDG
// folders lie inside a throw-away tree.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "CleanerCore/scanning/ModelJson.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "support/TestTree.h"

extern char** environ;

namespace velmora {
namespace {

using test::TestTree;

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// A home folder in a fresh tree and a way to run the command against it.
class Velmora {
  public:
    Velmora() : home_(tree_.dir("home")) { tree_.dir("io"); }

    TestTree& tree() { return tree_; }
    const std::string& home() const { return home_; }
    std::string homePath(const std::string& relative) const { return home_ + "/" + relative; }
    std::string file(const std::string& relative, size_t size) {
        return tree_.file("home/" + relative, size);
    }
    void age(const std::string& relative, double seconds) {
        tree_.setMtimeRecursive("home/" + relative, test::unixNow() - seconds);
    }

    /// Runs `velmora --home <home> --catalogue macos <args...>`.
    Outcome scan(const std::vector<std::string>& args) {
        std::vector<std::string> argv = {VELMORA_BINARY, "--home", home_, "--catalogue", "macos"};
        argv.insert(argv.end(), args.begin(), args.end());
        return run(argv);
    }

    Outcome run(std::vector<std::string> argv) {
        const std::string stem = tree_.path("io/" + std::to_string(runs_++));
        const std::string outPath = stem + ".out", errPath = stem + ".err";
        std::vector<std::string> env = {
            "HOME=" + home_,
            "XDG_CACHE_HOME=" + home_ + "/.cache",
            "XDG_DATA_HOME=" + home_ + "/.local/share",
            "XDG_CONFIG_HOME=" + home_ + "/.config",
            "TMPDIR=" + tree_.path("io"),
            "PATH=/usr/bin:/bin",
        };
        // Sanitizer settings of the test run apply to the child as well.
        for (char** e = environ; *e != nullptr; ++e) {
            std::string v = *e;
            if (v.find("SAN_OPTIONS=") != std::string::npos) env.push_back(v);
        }
        std::vector<char*> cargv, cenv;
        for (auto& a : argv) cargv.push_back(a.data());
        cargv.push_back(nullptr);
        for (auto& e : env) cenv.push_back(e.data());
        cenv.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        pid_t pid = 0;
        const int rc = posix_spawn(&pid, cargv[0], &actions, nullptr, cargv.data(), cenv.data());
        posix_spawn_file_actions_destroy(&actions);
        Outcome outcome;
        EXPECT_EQ(rc, 0) << "cannot start " << cargv[0];
        if (rc != 0) return outcome;
        int status = 0;
        EXPECT_EQ(::waitpid(pid, &status, 0), pid);
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        outcome.out = readAll(outPath);
        outcome.err = readAll(errPath);
        return outcome;
    }

  private:
    TestTree tree_;
    std::string home_;
    int runs_ = 0;
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

constexpr double kDays = 3 * 86400;

TEST(ScanCommandTest, JsonReportOfTheStandardCatalogue) {
    Velmora v;
    v.file("Library/Caches/com.example.app/blob", 30000);
    v.file("Library/Logs/tool/log.txt", 500);
    v.age("Library", kDays);
    Outcome o = v.scan({"scan", "--json"});
    ScanReport report = decoded(o);
    EXPECT_EQ(o.err, "");
    EXPECT_TRUE(report.hasCompletedScan);
    ASSERT_EQ(report.scannedRoots.size(), 4u);
    EXPECT_EQ(report.scannedRoots[0], FileURL::directory(v.homePath("Library/Caches")));
    EXPECT_EQ(report.scannedRoots[1], FileURL::directory(v.homePath("Library/Logs")));
    ASSERT_EQ(report.candidates.size(), 2u);
    EXPECT_EQ(report.candidates[0].id,
              "userCaches:" + v.homePath("Library/Caches/com.example.app"));
    EXPECT_EQ(report.candidates[1].category, CleanupCategory::userLogs);
}

TEST(ScanCommandTest, RefusedInputExitsTwoAndPrintsNoReport) {
    Velmora v;
    const std::string plain = v.file("notes.txt", 10);
    v.file("Projects/cache/x", 10);
    v.file("Library/Mail/V10/x", 10);
    const std::string link = v.tree().symlink("home/shortcut", v.homePath("Projects"));
    const std::string broad = "Selected folder is too broad or protected for cleanup scanning: ";
    const std::string notFolder = "Selected item is not an accessible folder: ";
    const struct {
        std::vector<std::string> args;
        std::string message;
    } cases[] = {
        {{"scan", "--folder", "/"}, broad + "/"},
        {{"scan", "--folder", v.home()}, broad + v.home()},
        {{"scan", "--folder", v.home() + "/"}, broad + v.home()},
        {{"scan", "--folder", link}, broad + link},
        {{"scan", "--folder", v.homePath("Library/Mail")}, broad + v.homePath("Library/Mail")},
        {{"scan", "--folder", v.homePath("Projects/cache"), "--folder", "/usr"}, broad + "/usr"},
        {{"scan", "--folder", plain}, notFolder + plain},
        {{"scan", "--folder", v.homePath("missing")}, notFolder + v.homePath("missing")},
        {{"scan", "--bogus"}, ""},
        {{"scan", "--mode", "reckless"}, ""},
        {{}, ""},
    };
    for (const auto& c : cases) {
        Outcome o = v.scan(c.args);
        const std::string label = c.args.empty() ? "(no command)" : c.args.back();
        EXPECT_EQ(o.status, 2) << label;
        EXPECT_EQ(o.out, "") << label;
        EXPECT_NE(o.err, "") << label;
        EXPECT_NE(o.err.find(c.message), std::string::npos) << label << ": " << o.err;
    }
    Outcome o = v.run({VELMORA_BINARY, "--home", v.homePath("missing"), "scan"});
    EXPECT_EQ(o.status, 2);
    EXPECT_EQ(o.out, "");
}

TEST(ScanCommandTest, DirectModeWithoutPermissionScansStandard) {
    Velmora v;
    v.file("Library/Caches/c/blob", 10);
    v.file(".npm/_cacache/blob", 10);
    v.age("Library", kDays);
    Outcome direct = v.scan({"scan", "--mode", "direct", "--json"});
    EXPECT_NE(direct.err.find("--allow-direct"), std::string::npos) << direct.err;
    ScanReport fallback = decoded(direct);
    ScanReport standard = decoded(v.scan({"scan", "--json"}));
    EXPECT_EQ(fallback.scannedRoots, standard.scannedRoots);
    fallback.scannedAt = standard.scannedAt;
    EXPECT_EQ(fallback, standard);
}

TEST(ScanCommandTest, TableShowsHumanSizesAndHomeRelativePaths) {
    Velmora v;
    const std::string blob = v.file("Library/Caches/com.example.app/blob", 123456);
    v.age("Library", kDays);
    Outcome o = v.scan({"scan"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_NE(o.out.find(formatBytes(allocated(blob))), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("~/Library/Caches/com.example.app"), std::string::npos) << o.out;
    EXPECT_EQ(o.out.find(v.home() + "/Library/Caches/com.example.app"), std::string::npos);
}

TEST(ScanCommandTest, HostileNamesArePrintedEscaped) {
    Velmora v;
    v.file("Library/Caches/new\nline/blob", 10);
    v.file("Library/Caches/esc\x1b[2Jname/blob", 10);
    v.age("Library", kDays);
    Outcome table = v.scan({"scan"});
    EXPECT_EQ(table.status, 0) << table.err;
    EXPECT_EQ(table.out.find('\x1b'), std::string::npos);
    EXPECT_NE(table.out.find("~/Library/Caches/new\\nline"), std::string::npos) << table.out;
    EXPECT_NE(table.out.find("~/Library/Caches/esc\\x1b[2Jname"), std::string::npos) << table.out;

    Outcome json = v.scan({"scan", "--json"});
    EXPECT_EQ(json.out.find('\x1b'), std::string::npos);
    ScanReport report = decoded(json);
    ASSERT_EQ(report.candidates.size(), 2u);
    for (const auto& c : report.candidates) {
        EXPECT_TRUE(c.displayName == "new\nline" || c.displayName == "esc\x1b[2Jname")
            << c.displayName;
    }
}

TEST(ScanCommandTest, CustomFolderInsideHomeIsScanned) {
    Velmora v;
    const std::string blob = v.file("Projects/build-cache/obj/blob", 20000);
    v.age("Projects", kDays);
    ScanReport report =
        decoded(v.scan({"scan", "--folder", v.homePath("Projects/build-cache"), "--json"}));
    ASSERT_EQ(report.scannedRoots.size(), 5u);
    EXPECT_EQ(report.scannedRoots.back(), FileURL::directory(v.homePath("Projects/build-cache")));
    ASSERT_EQ(report.candidates.size(), 1u);
    const CleanupCandidate& c = report.candidates[0];
    EXPECT_EQ(c.category, CleanupCategory::customFolder);
    EXPECT_EQ(c.id, "customFolder:" + v.homePath("Projects/build-cache/obj"));
    EXPECT_EQ(c.safety, CleanupSafety::manualReview);
    EXPECT_FALSE(c.isSelectedByDefault);
    EXPECT_EQ(c.sizeBytes, allocated(blob));
}

}  // namespace
}  // namespace velmora

// What the environment can point Velmora at: caches that are the home folder or a system folder,
// a data folder (with the Trash and the history) inside the cache, and a home folder that
// belongs to someone else. Nothing of that may ever be offered or touched.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/CommandRunner.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::CommandHome;
using test::Outcome;
nlohmann::json scanJSON(const Outcome& o) {
    EXPECT_EQ(o.status, 0) << o.err;
    return nlohmann::json::parse(o.out);
}

// reason of the skipped item at `path`, "" when there is none.
std::string skipReason(const nlohmann::json& report, const std::string& path) {
    for (const auto& s : report["skippedItems"]) {
        if (test::pathOfFileURL(s["url"].get<std::string>()) == path)
            return s["reason"].get<std::string>();
    }
    return "";
}

TEST(ProtectedRootsTest, DataFolderInsideTheCacheKeepsTrashAndHistory) {
    CommandHome h;
    const std::string data = h.homePath(".cache/share");
    h.environment = {"XDG_DATA_HOME=" + data};
    h.oldCacheFile("a/inner/data", "a");
    const std::string b = h.oldCacheFile("b/inner/data", "b");
    // Earlier, with the data folder elsewhere, "b" went to a Trash that now lies in the cache.
    h.tree.dir("home/.cache/share/Trash/info");
    h.tree.file("home/.cache/share/Trash/files/old-item");
    h.tree.dir("home/.cache/share/Velmora");
    std::ofstream(data + "/Velmora/cleanup-audit-log.json") << "[]";
    h.tree.setMtimeRecursive("home/.cache/share", test::unixNow() - 3 * 86400);
    const auto before = h.snapshot();

    Outcome clean = h.velmora({"clean", "--defaults", "--yes"});
    EXPECT_EQ(clean.status, 0) << clean.err;
    EXPECT_EQ(h.snapshot(), before) << clean.out;

    const auto report = h.scan();
    EXPECT_TRUE(report["candidates"].empty()) << report.dump(1);
    EXPECT_NE(skipReason(report, h.homePath(".cache")).find("protected data"), std::string::npos)
        << report.dump(1);
}

TEST(ProtectedRootsTest, CacheFolderThatIsTheHomeOrASystemFolderIsNeverScanned) {
    CommandHome h;
    h.tree.file("home/Projects/app/main.c", 100);
    h.tree.setMtimeRecursive("home/Projects", test::unixNow() - 3 * 86400);
    const auto before = h.snapshot();
    h.environment = {"XDG_CACHE_HOME=" + h.home};
    Outcome o = h.velmora({"clean", "--defaults", "--yes", "--delete-permanently"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(h.snapshot(), before) << o.out;

    // Without --home every XDG variable is honoured, wherever it points.
    for (const std::string system : {"/usr/share/doc", "/var/lib/dpkg"}) {
        h.environment = {"XDG_CACHE_HOME=" + system};
        const auto report = scanJSON(h.run(
            {VELMORA_BINARY, "--catalogue", "linux", "scan", "--mode", "aggressive", "--json"}));
        EXPECT_TRUE(report["candidates"].empty()) << system;
        EXPECT_EQ(skipReason(report, system),
                  "This folder belongs to the operating system, so it is not scanned for cleanup.");
    }
}

// A cache kept on another disk behind a link at ~/.cache is scanned and cleaned as the folder it
// leads to; a link that leads into a system folder is refused as that folder would be.
TEST(ProtectedRootsTest, LinkedCacheIsScannedAndCleanedAsItsFolder) {
    CommandHome h;
    const std::string disk = h.tree.dir("disk/cache");
    h.tree.symlink("home/.cache", disk);
    h.oldCacheFile("tool/data", "cached");
    const auto report = h.scan();
    ASSERT_EQ(report["candidates"].size(), 1u) << report.dump(1);
    EXPECT_EQ(test::pathOfFileURL(report["candidates"][0]["url"].get<std::string>()),
              disk + "/tool");
    Outcome clean = h.velmora({"clean", "--defaults", "--yes"});
    EXPECT_EQ(clean.status, 0) << clean.err << clean.out;
    EXPECT_FALSE(fs::exists(disk + "/tool"));
    EXPECT_TRUE(fs::exists(h.trashFiles + "/tool"));

    fs::remove(h.homePath(".cache"));
    h.tree.symlink("home/.cache", "/usr/share/doc");
    EXPECT_EQ(skipReason(h.scan(), h.homePath(".cache")),
              "This folder belongs to the operating system, so it is not scanned for cleanup.");
}

TEST(ProtectedRootsTest, HomeFolderOfAnotherUserIsRefused) {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root to hand the home folder to another user";
    CommandHome h;
    h.oldCacheFile("a/inner/data", "a");
    ASSERT_EQ(::chown(h.home.c_str(), 65534, 65534), 0);
    const auto before = h.snapshot();
    const std::vector<std::vector<std::string>> commands = {
        {"scan"}, {"clean", "--defaults", "--yes"}, {"restore", "--last", "--yes"}};
    for (const auto& args : commands) {
        Outcome o = h.velmora(args);
        EXPECT_EQ(o.status, 2) << args[0];
        EXPECT_NE(o.err.find(h.home + " belongs to another user"), std::string::npos) << o.err;
        EXPECT_EQ(o.out, "") << args[0];
    }
    // $HOME naming it (as after `sudo` without -H) is refused as well.
    std::vector<std::string> argv = {VELMORA_BINARY, "--catalogue", "linux",
                                     "clean",        "--defaults",  "--yes"};
    EXPECT_EQ(h.run(argv).status, 2);
    EXPECT_EQ(h.snapshot(), before);
}

}  // namespace
}  // namespace velmora

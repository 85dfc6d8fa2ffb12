// `velmora folders`: a kept folder is part of every scan and fences `clean` the same way, a
// folder replaced at its path is skipped with its reason instead of being scanned, and refused
// folders or unknown ids change nothing.
#include <gtest/gtest.h>

#include <filesystem>

#include "cli/CommandRunner.h"
#include "support/Files.h"

namespace velmora {
namespace {

using test::CommandHome;

bool scansFolder(const nlohmann::json& report, const std::string& folder) {
    for (const auto& url : report["scannedRoots"]) {
        if (test::pathOfFileURL(url.get<std::string>()) == folder) return true;
    }
    return false;
}

TEST(FoldersCommandTest, AKeptFolderIsScannedUntilItIsReplacedOrRemoved) {
    CommandHome h;
    const std::string kept = h.tree.dir("home/Projects/build-output");
    auto list = h.velmoraJSON({"folders", "add", kept});
    ASSERT_EQ(list.size(), 1u);
    EXPECT_EQ(list[0]["path"], kept);
    EXPECT_TRUE(list[0]["usable"]);
    // Adding it again keeps one entry.
    EXPECT_EQ(h.velmoraJSON({"folders", "add", kept}).size(), 1u);
    EXPECT_TRUE(scansFolder(h.scan(), kept));
    // The same folder typed for one run is scanned once.
    const auto both = h.scan({"--folder", kept});
    EXPECT_EQ(std::count(both["scannedRoots"].begin(), both["scannedRoots"].end(),
                         h.scan()["scannedRoots"].back()),
              1);

    // Another folder at the same path is not the one that was granted.
    std::filesystem::remove_all(kept);
    h.tree.dir("home/Projects/build-output");
    list = h.velmoraJSON({"folders"});
    EXPECT_FALSE(list[0]["usable"]);
    const auto report = h.scan();
    EXPECT_FALSE(scansFolder(report, kept));
    bool reported = false;
    for (const auto& s : report["skippedItems"]) {
        reported = reported || test::pathOfFileURL(s["url"].get<std::string>()) == kept;
    }
    EXPECT_TRUE(reported) << report["skippedItems"].dump();

    EXPECT_TRUE(h.velmoraJSON({"folders", "remove", list[0]["id"].get<std::string>()}).empty());
}

TEST(FoldersCommandTest, RefusedFoldersAndUnknownIdsChangeNothing) {
    CommandHome h;
    const std::string file = test::writeFile(h.tree, "home/notes.txt", "x");
    for (const auto& args : std::vector<std::vector<std::string>>{{"folders", "add", "/"},
                                                                  {"folders", "add", h.home},
                                                                  {"folders", "add", file},
                                                                  {"folders", "remove", "C0FFEE"},
                                                                  {"folders", "rename"}}) {
        const test::Outcome o = h.velmora(args);
        EXPECT_EQ(o.status, 2) << args[1] << " " << (args.size() > 2 ? args[2] : "");
        EXPECT_FALSE(o.err.empty());
    }
    EXPECT_FALSE(test::exists(h.homePath(".config/Velmora/Velmora.conf")));
}

}  // namespace
}  // namespace velmora

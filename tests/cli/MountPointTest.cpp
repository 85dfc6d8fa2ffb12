// Mount points under a scanned folder, as a person meets them with the command: a file system
// mounted at a cache folder, a bind mount of a folder from elsewhere, and bind mounts inside a
// cache folder. None is offered by the scan, and a saved report that selects them anyway cleans
// nothing in either mode: every file that the mounts show stays where it is.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "cli/CommandRunner.h"
#include "support/MountNamespace.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::ChildFindings;
using test::CommandHome;
using test::Outcome;

struct MountCase {
    std::string name;         // the folder under ~/.cache
    std::string skipReason;   // what the scan says about it
    std::string mountedPath;  // relative to the folder: where the mount is ("" = the folder)
    std::vector<std::string> precious;  // files the mount shows, relative to ~/.cache
};

std::string findings(CommandHome& h) {
    ChildFindings f;
    const double old = test::unixNow() - 3 * 86400;
    const std::string cache = h.homePath(".cache");

    // A plain cache folder: the scan offers it, and it is the model for the forged entries.
    h.oldCacheFile("plain/inner/data", "plain");
    // A tmpfs mounted at a cache folder.
    test::mountTmpfs(h.tree.dir("home/.cache/mp"));
    h.tree.file("home/.cache/mp/inner/precious", 64);
    // A folder of the same file system bound at a cache folder.
    h.tree.file("outside/bound/precious", 64);
    test::bindMount(h.tree.path("outside/bound"), h.tree.dir("home/.cache/bm"));
    // Folders bound inside a cache folder, whose other contents are ordinary.
    h.tree.file("home/.cache/holder/inner/data", 64);
    h.tree.file("outside/inside/precious", 64);
    test::bindMount(h.tree.path("outside/inside"), h.tree.dir("home/.cache/holder/inner/bound"));
    // A single file bound inside a cache folder.
    h.tree.file("home/.cache/fileholder/data", 64);
    h.tree.file("home/.cache/fileholder/bound", 1);
    h.tree.file("outside/precious-file", 64);
    test::bindMount(h.tree.path("outside/precious-file"), h.homePath(".cache/fileholder/bound"));
    h.tree.setMtimeRecursive("home/.cache", old);
    h.tree.setMtimeRecursive("outside", old);

    const std::vector<MountCase> cases = {
        {"mp", "Mount points are skipped for safety", "", {"mp/inner/precious"}},
        {"bm", "Mount points are skipped for safety", "", {"bm/precious"}},
        {"holder", "Contains a mount point", "inner/bound", {"holder/inner/bound/precious"}},
        {"fileholder", "Contains a mount point", "bound", {"fileholder/bound"}},
    };
    std::map<std::string, std::string> before;
    for (const auto& c : cases) {
        for (const auto& p : c.precious) before[p] = test::readAll(cache + "/" + p);
    }

    const Outcome scan = h.velmora({"scan", "--json"});
    f.expect(scan.status == 0, "scan failed: " + scan.err);
    nlohmann::json report = nlohmann::json::parse(scan.out);
    std::map<std::string, std::string> skipped;
    for (const auto& s : report.at("skippedItems")) {
        skipped[test::pathOfFileURL(s.at("url"))] = s.at("reason");
    }
    nlohmann::json model;
    nlohmann::json kept = nlohmann::json::array();
    for (const auto& c : report.at("candidates")) {
        const std::string path = test::pathOfFileURL(c.at("url"));
        if (path == cache + "/plain") model = c;
        bool isMountCase = false;
        for (const auto& m : cases) isMountCase = isMountCase || path == cache + "/" + m.name;
        f.expect(!isMountCase, path + " was offered");
        if (!isMountCase) kept.push_back(c);
    }
    if (model.is_null()) return f.text + "the plain folder was not offered\n";

    // A report that selects the mounts anyway, without a recorded identity or date to compare.
    std::vector<std::string> selection;
    for (const auto& m : cases) {
        const std::string path = cache + "/" + m.name;
        f.expect(skipped[path] == m.skipReason,
                 m.name + ": skipped with \"" + skipped[path] + "\"");
        kept.push_back(test::forgedCandidate(model, path, true));
        selection.insert(selection.end(), {"--id", "userCaches:" + path});
    }
    report["candidates"] = kept;
    h.save(report.dump());

    for (const bool permanently : {true, false}) {
        const std::string mode = permanently ? "delete permanently: " : "move to Trash: ";
        std::vector<std::string> args = {"clean", "--report", h.reportFile, "--yes", "--json"};
        if (permanently) args.push_back("--delete-permanently");
        args.insert(args.end(), selection.begin(), selection.end());
        const Outcome clean = h.velmora(args);
        const nlohmann::json result = nlohmann::json::parse(clean.out, nullptr, false);
        if (result.is_discarded()) return f.text + mode + "no JSON: " + clean.out + clean.err;
        f.expect(result.at("cleanedItems").empty(), mode + "something was cleaned");
        std::map<std::string, std::string> reasons;
        for (const auto& failed : result.at("failedItems")) {
            reasons[test::pathOfFileURL(failed["candidate"]["url"])] = failed.at("reason");
        }
        for (const auto& m : cases) {
            const std::string path = cache + "/" + m.name;
            const std::string expected =
                m.mountedPath.empty()
                    ? "Refusing to clean a mount point: " + path
                    : "Refusing to clean a folder that holds a mount point: " + path + "/" +
                          m.mountedPath;
            f.expect(reasons[path] == expected, mode + m.name + ": \"" + reasons[path] + "\"");
        }
        for (const auto& [relative, content] : before) {
            f.expect(fs::exists(cache + "/" + relative) &&
                         test::readAll(cache + "/" + relative) == content,
                     mode + relative + " was touched");
        }
    }
    return f.text;
}

TEST(MountPointTest, MountsAreNeitherOfferedNorCleaned) {
    CommandHome h;
    const auto report = test::runInPrivateMountNamespace([&] { return findings(h); });
    if (report.status == test::kMountNamespaceUnavailable) {
        GTEST_SKIP() << "no private mount namespace here (" << report.text << ")";
    }
    EXPECT_EQ(report.status, 0) << report.text;
}

}  // namespace
}  // namespace velmora

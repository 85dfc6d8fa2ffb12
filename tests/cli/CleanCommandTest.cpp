// `velmora clean`, `restore` and `history` as a new user meets them: what is refused (and that a
// refusal changes nothing), what the history check says after the file was edited, and that the
// desktop's trash tools see Velmora's work.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "CleanerCore/workflows/InsightCleanupRun.h"
#include "CleanerCore/workflows/InsightRun.h"
#include "cli/CommandRunner.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::CommandHome;
using test::Outcome;

const std::string kNoTerminal = "there is no terminal to ask for confirmation";

// A home with old cache folders.
struct CacheHome : CommandHome {
    explicit CacheHome(const std::vector<std::string>& folders) {
        for (const auto& f : folders) oldCacheFile(f + "/inner/data", "data of " + f);
    }
    std::string id(const std::string& name) const { return "userCaches:" + cache(name); }
};

TEST(CleanCommandTest, RefusedInvocationsExitTwoAndChangeNothing) {
    CacheHome h({"a", "b"});
    h.scan();
    // One cleanup in the history, so that `restore` has something it could act on.
    // --quiet with --yes prints the results and nothing else.
    Outcome first =
        h.velmora({"clean", "--report", h.reportFile, "--id", h.id("b"), "--yes", "--quiet"});
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_TRUE(first.out.starts_with("Moved to Trash: ~/.cache/b\n\n1 item (")) << first.out;
    EXPECT_EQ(first.err, "");
    const auto before = h.snapshot();

    struct Case {
        std::vector<std::string> args;
        std::string message;  // in standard error
    };
    const std::string unknownID = "no candidate has the id ";
    const std::string unknownPath = "not a cleanup candidate of this scan: ";
    const std::vector<Case> cases = {
        // Without a terminal, nothing is done unless --yes confirms it.
        {{"clean", "--report", h.reportFile, "--id", h.id("a")}, kNoTerminal},
        {{"clean", h.cache("a")}, kNoTerminal},
        {{"clean", "--defaults"}, kNoTerminal},
        {{"clean", "--delete-permanently", h.cache("a")}, kNoTerminal},
        {{"restore", "--last"}, kNoTerminal},
        // A selection naming anything that is not a candidate cleans nothing at all.
        {{"clean", "--report", h.reportFile, "--id", h.id("a"), "--id", "userCaches:/nope",
          "--yes"},
         unknownID + "userCaches:/nope"},
        {{"clean", h.cache("a"), h.cache("missing"), "--yes"}, unknownPath + h.cache("missing")},
        {{"clean", h.homePath("Documents"), "--yes"}, unknownPath + h.homePath("Documents")},
        {{"clean", "--report", h.tree.path("io/absent.json"), "--id", h.id("a"), "--yes"},
         "could not read the report"},
        {{"clean", "--yes"}, "choose what to clean"},
        {{"restore", "--entry", "00000000-0000-0000-0000-000000000000", "--yes"},
         "the history holds no cleanup with the id"},
        {{"restore", "--last", h.cache("a"), "--yes"}, "was not cleaned by that cleanup"},
        {{"clean", "--mode", "direct", "--defaults", "--yes"},
         "needs --allow-direct; nothing was cleaned"},
    };
    for (const auto& c : cases) {
        Outcome o = h.velmora(c.args);
        SCOPED_TRACE(c.message + "\n" + o.err);
        EXPECT_EQ(o.status, 2);
        EXPECT_NE(o.err.find(c.message), std::string::npos);
        EXPECT_EQ(h.snapshot(), before);
    }
}

TEST(CleanCommandTest, HistoryVerifyFailsOnceAStoredEntryIsEdited) {
    CacheHome h({"a", "b"});
    for (const char* name : {"a", "b"}) {
        Outcome o = h.velmora({"clean", h.cache(name), "--yes"});
        ASSERT_EQ(o.status, 0) << o.err;
    }
    Outcome intact = h.velmora({"history", "--verify"});
    EXPECT_EQ(intact.status, 0) << intact.out;
    EXPECT_NE(intact.out.find("Record integrity: no entry was changed or removed"),
              std::string::npos)
        << intact.out;

    const std::string file = h.dataHome + "/Velmora/cleanup-audit-log.json";
    std::string text = test::readAll(file);
    const std::string edited = nlohmann::json::parse(text)[0]["id"];  // the first affectedBytes
    const std::string key = "\"affectedBytes\": ";
    const size_t at = text.find(key);
    ASSERT_NE(at, std::string::npos) << text;
    const size_t from = at + key.size();
    const size_t digits = text.find_first_not_of("0123456789", from) - from;
    text.replace(from, digits, std::to_string(std::stoll(text.substr(from, digits)) + 1));
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;

    Outcome broken = h.velmora({"history", "--verify"});
    EXPECT_EQ(broken.status, 1);
    EXPECT_EQ(broken.out,
              "Record integrity: an entry was changed or removed. This log no longer matches what "
              "was written. The chain breaks at entry " +
                  edited + ".\n");
}

// Whether a line of trash-list's output ends in " <path>".
bool listsPath(const std::string& listing, const std::string& path) {
    std::istringstream lines(listing);
    for (std::string line; std::getline(lines, line);) {
        if (line.size() > path.size() + 1 && line.ends_with(" " + path)) return true;
    }
    return false;
}

// The desktop's trash tools read what Velmora writes: trash-list shows each trashed item with
// its original path, and no longer once Velmora restored it.
TEST(CleanCommandTest, TrashListShowsTheOriginalPathsUntilTheRestore) {
    const std::string trashList = "/usr/bin/trash-list";
    if (::access(trashList.c_str(), X_OK) != 0) GTEST_SKIP() << "trash-list is not installed";
    CacheHome h({"app one", "100%", "x"});
    Outcome cleaned =
        h.velmora({"clean", h.cache("app one"), h.cache("100%"), h.cache("x"), "--yes"});
    ASSERT_EQ(cleaned.status, 0) << cleaned.err;

    Outcome listed = h.run({trashList});
    EXPECT_EQ(listed.status, 0) << listed.err;
    for (const char* name : {"app one", "100%", "x"}) {
        // "<date> <time> <original path>" per line.
        EXPECT_TRUE(listsPath(listed.out, h.cache(name))) << name << " in\n" << listed.out;
    }

    Outcome restored = h.velmora({"restore", "--last", "--yes"});
    ASSERT_EQ(restored.status, 0) << restored.err;
    Outcome after = h.run({trashList});
    EXPECT_EQ(after.out.find(h.home), std::string::npos) << after.out;
}

// A cleanup of insight findings lies in the person's own folders, outside every cleaner
// location: `restore` must hold it to the insight scan's folders, or it would refuse each item.
TEST(CleanCommandTest, RestorePutsBackACleanupOfInsightFindings) {
    CommandHome h;
    const std::string kept = h.homePath("Documents/photo.raw");
    const std::string moved = h.homePath("Downloads/photo.raw");
    for (const std::string& path : {kept, moved}) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << "the same bytes";
    }
    h.tree.setMtimeRecursive("home", test::unixNow() - 3 * 86400);
    InsightRunRequest request;
    request.homeOverride = h.home;
    request.overrides.duplicateFileBytes = 1;
    const UserEnvironment environment = insightEnvironment(request);
    const InsightRun run = runInsightScan(request, environment, {}, CancellationToken());
    const InsightCleanupScope scope = insightCleanupScope(
        environment, Catalogue::linux, run.configuration.maximumVisitedItemsPerRoot);
    const auto outcome = runInsightCleanup(scope, run.report, run.keepers, {"duplicate:" + moved},
                                           [] { return false; });
    ASSERT_EQ(outcome.cleaned.size(), 1u);
    ASSERT_FALSE(std::filesystem::exists(moved));

    const Outcome restored = h.velmora({"restore", "--last", "--yes"});
    EXPECT_EQ(restored.status, 0) << restored.err;
    EXPECT_TRUE(std::filesystem::exists(moved));
    const auto history = h.velmoraJSON({"history"});
    ASSERT_TRUE(history.is_array()) << history;
    ASSERT_EQ(history.size(), 2u) << history;  // the cleanup and its restore
    for (const auto& entry : history) EXPECT_EQ(entry["source"], "macInsights") << entry;
}

}  // namespace
}  // namespace velmora

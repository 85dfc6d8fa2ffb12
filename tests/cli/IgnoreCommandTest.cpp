// `velmora ignore` / `unignore`: an ignored candidate is hidden from the scan (and counted),
// never chosen by `clean --defaults`, still cleaned when named, and shown again by `unignore`
// or when its time runs out; unknown names and wrong arguments store nothing. Also
// `--profile`, which narrows a scan and the cleanup fenced by it.
#include <gtest/gtest.h>

#include <filesystem>

#include "VelmoraUI/state/CleanupIgnoreStore.h"
#include "VelmoraUI/state/PreferenceFile.h"
#include "cli/CommandRunner.h"
#include "support/Files.h"

namespace velmora {
namespace {

using test::CommandHome;
using test::Outcome;

std::vector<std::string> candidatePaths(const nlohmann::json& report) {
    std::vector<std::string> out;
    for (const auto& c : report["candidates"]) {
        out.push_back(test::pathOfFileURL(c["url"].get<std::string>()));
    }
    std::sort(out.begin(), out.end());
    return out;
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

struct IgnoreHome : CommandHome {
    std::string a = oldCacheFile("alpha/data", "aaaa");
    std::string b = oldCacheFile("beta/data", "bbbb");
    std::string alpha = cache("alpha"), beta = cache("beta");
    std::string conf = homePath(".config/Velmora/Velmora.conf");

    nlohmann::json list() { return velmoraJSON({"ignore", "--list"}); }
};

TEST(IgnoreCommandTest, IgnoredCandidatesAreHiddenCountedAndShownAgain) {
    IgnoreHome h;
    auto report = h.scan();
    ASSERT_EQ(candidatePaths(report), (std::vector<std::string>{h.alpha, h.beta}));
    EXPECT_EQ(report["ignoredCount"], 0);
    const std::string alphaID = "userCaches:" + h.alpha;

    // One by id, the other by a path relative to where the person stands.
    Outcome o = h.velmora({"ignore", alphaID});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, "~/.cache/alpha is ignored until you show it again.\n");
    o = h.velmora({"ignore", "beta"}, {.workingDirectory = h.cache("")});
    ASSERT_EQ(o.status, 0) << o.err;

    report = h.scan();
    EXPECT_TRUE(report["candidates"].empty());
    EXPECT_EQ(report["ignoredCount"], 2);
    // The saved report still serves `clean --report`.
    EXPECT_EQ(h.velmora({"clean", "--report", h.reportFile, "--defaults", "--yes"}).status, 0);
    EXPECT_TRUE(test::exists(h.a));

    o = h.velmora({"scan"});
    EXPECT_TRUE(contains(o.out, "2 ignored items are hidden; `velmora ignore --list` shows them."))
        << o.out;

    auto items = h.list();
    ASSERT_EQ(items.size(), 2u);
    for (const auto& item : items) {
        EXPECT_EQ(item["duration"], "untilShownAgain");
        EXPECT_FALSE(item.contains("expiresAt"));
    }
    o = h.velmora({"ignore", "--list"});
    EXPECT_TRUE(contains(o.out, "~/.cache/alpha (")) << o.out;
    EXPECT_TRUE(contains(o.out, "until you show it again\n    " + alphaID + "\n")) << o.out;

    o = h.velmora({"unignore", alphaID});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_EQ(o.out, "~/.cache/alpha is shown again.\n");
    report = h.scan();
    EXPECT_EQ(candidatePaths(report), std::vector<std::string>{h.alpha});
    EXPECT_EQ(report["ignoredCount"], 1);
    o = h.velmora({"scan"});
    EXPECT_TRUE(contains(o.out, "1 ignored item is hidden; `velmora ignore --list` shows it."))
        << o.out;

    // By path, as the list shows it.
    EXPECT_EQ(h.velmoraJSON({"unignore", h.beta})["shown"],
              nlohmann::json::array({"userCaches:" + h.beta}));
    report = h.scan();
    EXPECT_EQ(report["candidates"].size(), 2u);
    EXPECT_EQ(report["ignoredCount"], 0);
    EXPECT_FALSE(contains(h.velmora({"scan"}).out, "ignored"));
    EXPECT_EQ(h.velmora({"ignore", "--list"}).out, "No items are ignored.\n");
}

TEST(IgnoreCommandTest, EachDurationSetsItsExpiry) {
    IgnoreHome h;
    struct Case {
        const char* choice;
        const char* duration;
        std::optional<double> interval;
    };
    const Case cases[] = {{"day", "oneDay", 86400},
                          {"week", "oneWeek", 604800},
                          {"ever", "untilShownAgain", std::nullopt}};
    for (const Case& c : cases) {
        const auto out = h.velmoraJSON({"ignore", h.alpha, "--for", c.choice});
        ASSERT_EQ(out["ignored"].size(), 1u) << c.choice;
        const auto& item = out["ignored"][0];
        EXPECT_EQ(item["duration"], c.duration);
        EXPECT_EQ(item["id"], "userCaches:" + h.alpha);
        if (c.interval) {
            EXPECT_EQ(item["expiresAt"].get<double>() - item["ignoredAt"].get<double>(),
                      *c.interval);
        } else {
            EXPECT_FALSE(item.contains("expiresAt"));
        }
        // Ignoring again replaces the item.
        EXPECT_EQ(h.list().size(), 1u) << c.choice;
    }
    const Outcome o = h.velmora({"ignore", h.beta, "--for", "day"});
    EXPECT_TRUE(contains(o.out, "~/.cache/beta is ignored until 20")) << o.out;
}

// An item whose time ran out is shown again, and dropped from the list when it is read.
TEST(IgnoreCommandTest, ExpiredItemsAreShownAgainAndDropped) {
    IgnoreHome h;
    auto make = [](const std::string& path) {
        CleanupCandidate c;
        c.url = FileURL(path, true);
        c.displayName = c.url.lastComponent();
        c.category = CleanupCategory::userCaches;
        return c;
    };
    {
        PreferenceFile file = openPreferenceFileAt(h.conf);
        CleanupIgnoreStore store(*file.settings, std::string(kCleanupIgnoreItemsKey), {}, 0);
        const Date now = currentDate();
        // Ignored for a day two days ago, and for a week three days ago.
        ASSERT_TRUE(store.ignore({make(h.alpha)}, CleanupIgnoreDuration::oneDay, now - 2 * 86400));
        ASSERT_TRUE(store.ignore({make(h.beta)}, CleanupIgnoreDuration::oneWeek, now - 3 * 86400));
    }
    const auto report = h.scan();
    EXPECT_EQ(candidatePaths(report), std::vector<std::string>{h.alpha});
    EXPECT_EQ(report["ignoredCount"], 1);
    const auto items = h.list();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0]["id"], "userCaches:" + h.beta);
    EXPECT_FALSE(contains(test::readFile(h.conf), "alpha"));
}

TEST(IgnoreCommandTest, CleanDefaultsLeavesIgnoredCandidatesButANamedOneIsCleaned) {
    IgnoreHome h;
    ASSERT_EQ(h.velmora({"ignore", h.alpha}).status, 0);
    Outcome o = h.velmora({"clean", "--defaults", "--yes"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_TRUE(test::exists(h.a));
    EXPECT_FALSE(test::exists(h.b));
    EXPECT_TRUE(contains(o.out, "1 ignored item was left out of the selection")) << o.out;

    o = h.velmora({"clean", h.alpha, "--yes"});
    ASSERT_EQ(o.status, 0) << o.err;
    EXPECT_FALSE(test::exists(h.a));
}

TEST(IgnoreCommandTest, UnknownNamesAreReportedAndNothingIsStoredForThem) {
    IgnoreHome h;
    Outcome o = h.velmora({"ignore", "userCaches:/nowhere", "no-such-folder"});
    EXPECT_EQ(o.status, 2);
    EXPECT_TRUE(contains(o.err,
                         "No candidate of this scan has the id or path "
                         "'userCaches:/nowhere'; it was not ignored."))
        << o.err;
    EXPECT_TRUE(contains(o.err, "'no-such-folder'")) << o.err;
    EXPECT_TRUE(h.list().empty());

    // The known one is ignored; the unknown one is reported and the run says so.
    o = h.velmora({"ignore", "--json", h.alpha, "userLogs:" + h.alpha});
    EXPECT_EQ(o.status, 1);
    const auto out = nlohmann::json::parse(o.out);
    EXPECT_EQ(out["ignored"].size(), 1u);
    EXPECT_EQ(out["unknown"], nlohmann::json::array({"userLogs:" + h.alpha}));
    EXPECT_EQ(h.list().size(), 1u);

    o = h.velmora({"--language", "ja", "unignore", "userCaches:/nowhere"});
    EXPECT_EQ(o.status, 2);
    EXPECT_TRUE(contains(o.err, "userCaches:/nowhere")) << o.err;
    EXPECT_FALSE(contains(o.err, "No ignored item")) << o.err;
    EXPECT_EQ(h.list().size(), 1u);
    EXPECT_EQ(h.velmora({"unignore", "--all"}).out, "Every ignored item is shown again.\n");
    EXPECT_EQ(h.velmora({"unignore", "--all"}).out, "No items are ignored.\n");
}

TEST(IgnoreCommandTest, WrongArgumentsAreRefusedAndNothingIsWritten) {
    IgnoreHome h;
    const std::vector<std::vector<std::string>> cases = {
        {"ignore"},
        {"ignore", "--list", h.alpha},
        {"ignore", h.alpha, "--for", "month"},
        {"ignore", h.alpha, "--profile", "everything"},
        {"unignore"},
        {"unignore", "--all", "userCaches:" + h.alpha},
    };
    for (const auto& args : cases) {
        const Outcome o = h.velmora(args);
        EXPECT_EQ(o.status, 2) << args.back();
        EXPECT_FALSE(o.err.empty()) << args.back();
    }
    EXPECT_FALSE(test::exists(h.conf));
}

TEST(IgnoreCommandTest, AListThatCannotBeWrittenGivesTheStoresMessage) {
    IgnoreHome h;
    ASSERT_EQ(h.velmora({"ignore", h.beta}).status, 0);
    h.tree.chmod("home/.config/Velmora", 0555);
    const bool ok = test::runWithoutPrivileges(h.tree, [&] {
        const Outcome o = h.velmora({"ignore", h.alpha});
        const bool matches = o.status == 1 && o.out.empty() &&
                             contains(o.err,
                                      "velmora: Could not save ignored cleanup items: The "
                                      "preferences file could not be written.\n");
        if (!matches) std::cerr << "status " << o.status << "\n" << o.out << o.err;
        return matches;
    });
    EXPECT_TRUE(ok);
    h.tree.chmod("home/.config/Velmora", 0755);
    EXPECT_EQ(h.list().size(), 1u);
}

// With the macOS catalogue the standard scan has four roots; each profile keeps its own.
TEST(IgnoreCommandTest, AProfileNarrowsTheScanAndTheCleanup) {
    CommandHome h;
    h.catalogue = "macos";
    const std::string caches = h.tree.dir("home/Library/Caches/app");
    const std::string derived = h.tree.dir("home/Library/Developer/Xcode/DerivedData/Proj");
    h.tree.file("home/Library/Caches/app/c", 10);
    h.tree.file("home/Library/Developer/Xcode/DerivedData/Proj/d", 10);
    h.tree.setMtimeRecursive("home/Library", test::unixNow() - 3 * 86400);
    const std::string kept = h.tree.dir("home/Projects/out");
    h.tree.file("home/Projects/out/old", 10);
    h.tree.setMtimeRecursive("home/Projects", test::unixNow() - 3 * 86400);
    ASSERT_EQ(h.velmora({"folders", "add", kept}).status, 0);

    EXPECT_EQ(candidatePaths(h.scan()).size(), 3u);
    EXPECT_EQ(candidatePaths(h.scan({"--profile", "balanced"})), std::vector<std::string>{caches});
    const auto developer = h.scan({"--profile", "developerCaches"});
    EXPECT_EQ(candidatePaths(developer), std::vector<std::string>{derived});
    for (const auto& c : developer["candidates"]) EXPECT_FALSE(c["isSelectedByDefault"]);
    EXPECT_TRUE(h.scan({"--profile", "downloads"})["candidates"].empty());

    // The cleanup is fenced by the narrowed scan.
    Outcome o = h.velmora({"clean", "--profile", "balanced", derived, "--yes"});
    EXPECT_EQ(o.status, 2);
    EXPECT_TRUE(test::exists(derived));
    o = h.velmora({"clean", "--profile", "developerCaches", "--defaults", "--yes"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_TRUE(test::exists(derived));
    o = h.velmora({"clean", "--profile", "balanced", "--defaults", "--yes"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_FALSE(test::exists(caches));
    EXPECT_TRUE(test::exists(kept + "/old"));

    // A profile sets the mode and leaves custom folders out; asking for either is refused.
    o = h.velmora({"scan", "--profile", "balanced", "--mode", "aggressive"});
    EXPECT_EQ(o.status, 2);
    o = h.velmora({"scan", "--profile", "balanced", "--folder", kept});
    EXPECT_EQ(o.status, 2);
    EXPECT_TRUE(contains(o.err, "does not scan custom folders")) << o.err;
}

}  // namespace
}  // namespace velmora

// The cleaning service against real trees: what it moves, and every refusal with its exact text.
#include "CleanerCore/cleaning/CleaningService.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "CleanerCore/platform/FileSystem.h"
#include "cleaning/CleaningFixture.h"
#include "support/Files.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::CleaningFixture;
using test::exists;
using test::readFile;
using test::reasons;

using CleaningServiceTest = CleaningFixture;

// Confirmed items go to the home Trash, recorded with where they went and what they were, and
// come back byte for byte; also when the data folder is reached through the user's own link
// (~/.local pointing elsewhere), which is still the user's trash.
TEST_F(CleaningServiceTest, MovesConfirmedItemsToTheHomeTrashAndRestoresThem) {
    const std::string files = home + "/.local/share/Trash/files";
    for (const bool linked : {false, true}) {
        SCOPED_TRACE(linked ? "linked data folder" : "plain data folder");
        fs::remove_all(home + "/.local");
        if (linked) tree.symlink("home/.local", tree.dir("elsewhere/local"));
        tree.file("home/.cache/app/blob", 5000);
        tree.file("home/.cache/log.txt", 10);
        auto candidates = scan();
        ASSERT_EQ(candidates.size(), 2u);

        auto result = clean(candidates);
        ASSERT_TRUE(result.failedItems.empty()) << result.failedItems[0].reason;
        ASSERT_EQ(result.cleanedItems.size(), 2u);
        EXPECT_FALSE(result.wasCancelled);
        for (size_t i = 0; i < 2; ++i) {
            const auto& item = result.cleanedItems[i];
            EXPECT_EQ(item.candidate, candidates[i]);  // input order
            EXPECT_FALSE(exists(candidates[i].url.path));
            ASSERT_TRUE(item.destinationURL);
            EXPECT_TRUE(exists(item.destinationURL->path));
            EXPECT_EQ(item.restoreSourceRootURL, FileURL::directory(files));
            ASSERT_TRUE(item.restoreSourceIdentity);
            EXPECT_EQ(item.restoreSourceIdentity->systemFileNumber,
                      candidates[i].resourceIdentity->systemFileNumber);
            EXPECT_TRUE(exists(home + "/.local/share/Trash/info/" +
                               item.destinationURL->lastComponent() + ".trashinfo"));
        }
        EXPECT_EQ(exists(tree.path("elsewhere/local/share/Trash/files/app/blob")), linked);

        auto restored = restore(result.cleanedItems);
        ASSERT_TRUE(restored.failedItems.empty()) << restored.failedItems[0].reason;
        ASSERT_EQ(restored.restoredItems.size(), 2u);
        EXPECT_EQ(restored.restoredItems[0].restoredURL, candidates[0].url);
        EXPECT_EQ(readFile(cache + "/app/blob"), std::string(5000, 'x'));
        EXPECT_EQ(readFile(cache + "/log.txt"), std::string(10, 'x'));
        EXPECT_TRUE(fs::is_empty(files));
        EXPECT_TRUE(fs::is_empty(home + "/.local/share/Trash/info"));
    }
}

TEST_F(CleaningServiceTest, RefusesEachUnsafeCandidateWithItsExactReason) {
    struct Case {
        std::string name;
        // Prepares the tree after the scan; returns the expected reason.
        std::function<std::string(CleaningFixture&, CleanupCandidate&)> change;
    };
    const double old = test::unixNow() - 7200;
    const std::vector<Case> cases = {
        {"outside-scope",
         [](CleaningFixture& f, CleanupCandidate& c) {
             c.url = FileURL(f.tree.file("home/Documents/outside-scope"));
             return "Path is outside the active scan scope: " + c.url.path;
         }},
        {"protected-name",
         [](CleaningFixture& f, CleanupCandidate& c) {
             c.url = FileURL(f.tree.dir("home/.cache/.ssh"));
             return "Path is outside the active scan scope: " + c.url.path;
         }},
        {"replaced",
         [](CleaningFixture& f, CleanupCandidate& c) {
             fs::remove_all(c.url.path);
             f.tree.file("home/.cache/replaced/f");
             return "Refusing to clean because the item changed since it was scanned: " +
                    c.url.path;
         }},
        {"fresh",
         [old](CleaningFixture& f, CleanupCandidate& c) {
             // Only a descendant changes: the folder's own identity still matches.
             f.tree.setMtime("home/.cache/fresh/sub/f", old + 1.1);
             return "Refusing to clean because the item changed since the scan result: " +
                    c.url.path;
         }},
        {"became-link",
         [](CleaningFixture& f, CleanupCandidate& c) {
             fs::remove_all(c.url.path);
             f.tree.symlink("home/.cache/became-link", f.outside);
             return "Refusing to clean symbolic link: " + c.url.path;
         }},
        {"protected-inside",
         [](CleaningFixture& f, CleanupCandidate& c) {
             std::string key = f.tree.file("home/.cache/protected-inside/sub/.gnupg/key");
             (void)c;
             return "Refusing to clean protected user data path: " + deletingLastPathComponent(key);
         }},
        {"middle-link",
         [](CleaningFixture& f, CleanupCandidate& c) {
             // The candidate's folder is swapped for a link to a look-alike outside, and the
             // item named through it: not an entry of the root, so never reached.
             const std::string mid = f.cache + "/middle-link";
             fs::rename(mid, f.tree.path("moved-away"));
             f.tree.file("outside/item/f");
             f.tree.symlink("home/.cache/middle-link", f.outside);
             c.url = FileURL(mid + "/item");
             return "Path is outside the active scan scope: " + mid + "/item";
         }},
    };
    std::vector<CleanupCandidate> candidates;
    for (const auto& c : cases) {
        tree.file("home/.cache/" + c.name + "/sub/f");
        tree.setMtimeRecursive("home/.cache/" + c.name, old);
    }
    auto scanned = scan();
    std::vector<std::string> expected;
    for (const auto& c : cases) {
        CleanupCandidate candidate = test::named(scanned, c.name);
        expected.push_back(c.change(*this, candidate));
        candidates.push_back(candidate);
    }
    auto result = clean(candidates);
    EXPECT_TRUE(result.cleanedItems.empty());
    EXPECT_EQ(reasons(result), expected);
    EXPECT_TRUE(exists(tree.path("outside/item/f")));
    EXPECT_FALSE(exists(home + "/.local/share/Trash/files/item"));
}

TEST_F(CleaningServiceTest, FreshnessToleratesOneSecondEitherWay) {
    const double old = test::unixNow() - 7200;
    for (const char* name : {"newer", "older"}) {
        tree.file(std::string("home/.cache/") + name + "/sub/f");
        tree.setMtimeRecursive(std::string("home/.cache/") + name, old);
    }
    auto candidates = scan();
    tree.setMtime("home/.cache/newer/sub/f", old + 0.9);
    // The newest content moving back in time counts as a change as well.
    tree.setMtime("home/.cache/older/sub/f", old - 1.5);
    tree.setMtime("home/.cache/older/sub", old - 1.5);
    tree.setMtime("home/.cache/older", old - 1.5);
    for (auto& c : candidates) c.resourceIdentity.reset();  // freshness alone

    auto result = clean(candidates);
    ASSERT_EQ(result.cleanedItems.size(), 1u);
    EXPECT_EQ(result.cleanedItems[0].candidate.url.lastComponent(), "newer");
    EXPECT_EQ(reasons(result),
              std::vector<std::string>{
                  "Refusing to clean because the item changed since the scan result: " + cache +
                  "/older"});
}

TEST_F(CleaningServiceTest, RefusesWhenTheFenceOrItsLimitsNoLongerHold) {
    tree.file("home/.cache/big/a");
    tree.file("home/.cache/big/b");
    tree.file("home/.cache/big/c");
    auto candidates = scan();
    descendantLimit = 2;
    EXPECT_EQ(reasons(clean(candidates)),
              std::vector<std::string>{
                  "Refusing to clean because validation exceeded the scanned item limit: " + cache +
                  "/big"});

    // The scan root replaced after the fence was built: nothing under it is eligible.
    descendantLimit = 100;
    auto fence = policy();
    fs::rename(cache, tree.path("old-cache"));
    fs::create_directories(cache);
    fs::rename(tree.path("old-cache/big"), cache + "/big");
    auto result = clean(candidates, fence);
    EXPECT_EQ(reasons(result),
              std::vector<std::string>{"Path is outside the active scan scope: " + cache + "/big"});
}

TEST_F(CleaningServiceTest, DeletesPermanentlyWithoutFollowingLinks) {
    tree.file("outside/keep", 100);
    tree.file("home/.cache/app/data", 100);
    tree.symlink("home/.cache/app/link", tree.path("outside"));
    tree.symlink("home/.cache/app/file-link", tree.path("outside/keep"));
    auto candidates = scan();
    auto result = clean(candidates, CleaningMode::deletePermanently);
    ASSERT_EQ(result.cleanedItems.size(), 1u) << reasons(result)[0];
    const auto& item = result.cleanedItems[0];
    EXPECT_FALSE(item.destinationURL);
    EXPECT_FALSE(item.restoreSourceRootURL);
    EXPECT_FALSE(item.restoreSourceIdentity);
    EXPECT_FALSE(exists(cache + "/app"));
    EXPECT_TRUE(exists(tree.path("outside/keep")));
    EXPECT_FALSE(exists(home + "/.local/share/Trash"));
}

TEST_F(CleaningServiceTest, CancellationStopsBetweenItemsAndKeepsWhatWasDone) {
    tree.file("home/.cache/a/f", 10);
    tree.file("home/.cache/b/f", 10);
    auto candidates = scan();

    auto none = clean(candidates, CleaningMode::moveToTrash, [] { return true; });
    EXPECT_TRUE(none.wasCancelled);
    EXPECT_TRUE(none.cleanedItems.empty() && none.failedItems.empty());

    // Cancelled while the second item is being validated: the first stays cleaned.
    bool firstDone = false;
    auto partial = clean(candidates, CleaningMode::moveToTrash, [&] {
        firstDone = firstDone || !exists(candidates[0].url.path);
        return firstDone;
    });
    EXPECT_TRUE(partial.wasCancelled);
    ASSERT_EQ(partial.cleanedItems.size(), 1u);
    EXPECT_TRUE(partial.failedItems.empty());
    EXPECT_TRUE(exists(candidates[1].url.path));

    // A cancelled restore leaves it in the Trash.
    TrashRestoreService service({home, Catalogue::linux, trash(), std::nullopt},
                                [] { return true; });
    auto restored = service.restore(partial.cleanedItems, locations, policy());
    EXPECT_TRUE(restored.wasCancelled);
    EXPECT_TRUE(restored.restoredItems.empty() && restored.failedItems.empty());
    EXPECT_FALSE(exists(candidates[0].url.path));
}

TEST_F(CleaningServiceTest, WithoutATrashEveryItemIsRefusedAndKept) {
    tree.file("home/.cache/a/f", 10);
    auto candidates = scan();
    CleaningService service({home, Catalogue::linux, std::nullopt, currentDate});
    auto result = service.clean(candidates, locations, CleaningMode::moveToTrash, policy());
    EXPECT_EQ(reasons(result),
              std::vector<std::string>{"Move to Trash is only available on macOS"});
    EXPECT_TRUE(exists(cache + "/a/f"));
}

TEST_F(CleaningServiceTest, AnItemThatCannotBeVerifiedGoneIsReportedFailed) {
    // Without a recorded identity, anything at the original place fails verification; a new
    // object at the place passes when the identity is known.
    tree.file("home/.cache/a/f", 10);
    auto candidates = scan();
    auto result = clean(candidates);
    ASSERT_EQ(result.cleanedItems.size(), 1u);
    auto anchored = openAnchoredItem(cache, *AnchorIdentity::ofPath(cache), cache + "/a");
    ASSERT_TRUE(anchored);
    tree.file("home/.cache/a/new");
    EXPECT_FALSE(verifyAfterOperation(*anchored, candidates[0].resourceIdentity));
    EXPECT_EQ(
        verifyAfterOperation(*anchored, std::nullopt),
        (CleaningError{CleaningError::Kind::cleanupPostOperationVerificationFailed, cache + "/a"}));
}

TEST_F(CleaningServiceTest, TheRootsAgeRuleIsJudgedAtCleanTimeByTheInjectedClock) {
    // Two days old, under a root that offers only what is three days old: a scan would not
    // offer it, so no recorded date or identity may get it cleaned, until the clock moves on.
    locations[0].minimumModificationAge = 3 * 86'400;
    tree.file("home/.cache/young/f", 10);
    const double twoDaysAgo = test::unixNow() - 2 * 86'400;
    tree.setMtimeRecursive("home/.cache/young", twoDaysAgo);
    CleanupCandidate candidate;
    candidate.url = FileURL::directory(cache + "/young");

    const Date now = currentDate();
    auto cleanAt = [&](Date clock) {
        CleaningService service({home, Catalogue::linux, trash(), [clock] { return clock; }});
        return service.clean({candidate}, locations, CleaningMode::moveToTrash, policy());
    };
    EXPECT_EQ(reasons(cleanAt(now)),
              std::vector<std::string>{
                  "Refusing to clean because the item changed since the scan result: " + cache +
                  "/young"});
    EXPECT_TRUE(exists(cache + "/young/f"));
    EXPECT_EQ(cleanAt(now + 1.5 * 86'400).cleanedItems.size(), 1u);
    EXPECT_FALSE(exists(cache + "/young"));
}

}  // namespace
}  // namespace velmora

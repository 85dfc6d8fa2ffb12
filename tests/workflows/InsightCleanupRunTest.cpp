// Moving insight findings to the Trash on a throw-away home: what the run refuses before the
// cleaning service, what the service refuses because the file changed, the last copy of a
// duplicate group, the history record and the restore.
#include "CleanerCore/workflows/InsightCleanupRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/safety/CleaningError.h"
#include "CleanerCore/workflows/InsightRun.h"
#include "CleanerCore/workflows/RestoreRun.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using Kind = InsightCleanupRefusal::Kind;

class InsightCleanupRunTest : public ::testing::Test {
  public:
    InsightCleanupRunTest() {
        for (const char* copy : {"Documents/photo.raw", "Downloads/photo.raw"})
            write(copy, "the same bytes");
        write("Downloads/installer.sh", "echo hi");
    }

    void write(const std::string& relative, const std::string& content) {
        const std::string path = home + "/" + relative;
        fs::create_directories(fs::path(path).parent_path());
        std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
        tree.setMtime("home/" + relative, old);
    }

    void scan() {
        InsightRunRequest request;
        request.homeOverride = home;
        request.overrides.duplicateFileBytes = 1;
        request.overrides.largeFileBytes = 1;
        environment = insightEnvironment(request);
        run = runInsightScan(request, environment, {}, CancellationToken());
        scope = insightCleanupScope(environment, Catalogue::linux,
                                    run.configuration.maximumVisitedItemsPerRoot);
        ASSERT_EQ(run.report.duplicateGroups.size(), 1u);
    }

    InsightCleanupOutcome clean(const std::vector<std::string>& ids) {
        return runInsightCleanup(scope, run.report, run.keepers, ids, [] { return false; });
    }

    std::vector<CleanupAuditEntry> history() const {
        return CleanupAuditStore(CleanupAuditStore::defaultFilePath(environment)).recentEntries();
    }

    test::TestTree tree;
    const std::string home = tree.dir("home");
    test::ScopedHome scoped{home};
    const double old = test::unixNow() - 3 * 86400;
    UserEnvironment environment;
    InsightRun run;
    InsightCleanupScope scope;
    std::string documents = home + "/Documents/photo.raw";
    std::string downloads = home + "/Downloads/photo.raw";
};

std::vector<std::string> cleanedPaths(const InsightCleanupOutcome& o) {
    std::vector<std::string> out;
    for (const auto& item : o.cleaned) out.push_back(item.candidate.url.path);
    return out;
}

TEST_F(InsightCleanupRunTest, RefusesWhatMayNotMoveAndKeepsTheLastCopy) {
    struct Case {
        const char* name;
        std::vector<std::string> ids;  // relative to home, with the list's prefix
        std::function<void(InsightCleanupRunTest&)> afterScan;
        std::vector<std::string> moved;  // relative to home
        std::vector<std::pair<Kind, std::string>> refused;
        std::vector<CleaningError::Kind> failed;
    };
    const std::vector<Case> cases = {
        {"the Downloads copy moves",
         {"duplicate:Downloads/photo.raw"},
         {},
         {"Downloads/photo.raw"},
         {},
         {}},
        {"both copies: the keeper stays",
         {"duplicate:Documents/photo.raw", "duplicate:Downloads/photo.raw"},
         {},
         {"Downloads/photo.raw"},
         {{Kind::keptLastCopy, "Documents/photo.raw"}},
         {}},
        // The large-file and Downloads entries of the same file move it once, and it is one of
        // the copies: with the other copy chosen too the keeper stays.
        {"one file through three lists",
         {"largeFile:Downloads/photo.raw", "download:Downloads/photo.raw",
          "duplicate:Downloads/photo.raw", "largeFile:Documents/photo.raw"},
         {},
         {"Downloads/photo.raw"},
         {{Kind::keptLastCopy, "Documents/photo.raw"}},
         {}},
        {"an unknown id", {"duplicate:Music/none"}, {}, {}, {{Kind::unknownFinding, ""}}, {}},
        {"changed since the scan",
         {"securitySignal:Downloads/installer.sh"},
         [](InsightCleanupRunTest& t) { t.write("Downloads/installer.sh", "echo changed"); },
         {},
         {},
         {CleaningError::Kind::cleanupCandidateChanged}},
        {"replaced since the scan",
         {"duplicate:Downloads/photo.raw"},
         [](InsightCleanupRunTest& t) {
             fs::remove(t.downloads);
             t.write("Downloads/photo.raw", "the same bytes");
         },
         {},
         {},
         {CleaningError::Kind::cleanupCandidateChanged}},
        {"its folder replaced since the scan",
         {"duplicate:Downloads/photo.raw"},
         [](InsightCleanupRunTest& t) {
             fs::rename(t.home + "/Downloads", t.home + "/Old");
             t.write("Downloads/photo.raw", "the same bytes");
         },
         {},
         {{Kind::notOffered, "Downloads/photo.raw"}},
         {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        tree.dir("home/Downloads");
        for (const char* copy : {"Documents/photo.raw", "Downloads/photo.raw"})
            write(copy, "the same bytes");
        write("Downloads/installer.sh", "echo hi");
        scan();
        if (c.afterScan) c.afterScan(*this);
        std::vector<std::string> ids;
        for (const auto& id : c.ids) {
            const auto colon = id.find(':');
            ids.push_back(id.substr(0, colon + 1) + home + "/" + id.substr(colon + 1));
        }
        const auto outcome = clean(ids);

        std::vector<std::string> moved;
        for (const auto& m : c.moved) moved.push_back(home + "/" + m);
        EXPECT_EQ(cleanedPaths(outcome), moved);
        for (const auto& path : moved) EXPECT_FALSE(fs::exists(path)) << path;
        ASSERT_EQ(outcome.refused.size(), c.refused.size());
        for (size_t i = 0; i < c.refused.size(); ++i) {
            EXPECT_EQ(outcome.refused[i].kind, c.refused[i].first);
            if (!c.refused[i].second.empty()) {
                EXPECT_EQ(outcome.refused[i].path, home + "/" + c.refused[i].second);
                EXPECT_TRUE(fs::exists(outcome.refused[i].path));
            }
        }
        ASSERT_EQ(outcome.failed.size(), c.failed.size());
        for (size_t i = 0; i < c.failed.size(); ++i) {
            const std::string path = outcome.failed[i].candidate.url.path;
            EXPECT_EQ(outcome.failed[i].reason, (CleaningError{c.failed[i], path}.description()));
            EXPECT_TRUE(fs::exists(path));
        }
        // Whatever moved is in the history, from the insights.
        if (!moved.empty()) {
            ASSERT_FALSE(history().empty());
            EXPECT_EQ(history().front().source, CleanupAuditSource::macInsights);
        }
        // Back to the same start for the next case.
        fs::remove_all(home);
        tree.dir("home");
    }
}

TEST_F(InsightCleanupRunTest, TheMovedCopyComesBackThroughTheRestoreRun) {
    scan();
    const auto outcome = clean({"duplicate:" + downloads});
    ASSERT_EQ(cleanedPaths(outcome), std::vector<std::string>{downloads});
    EXPECT_EQ(outcome.run.record, CleanupHistoryRecord::withItems);
    EXPECT_FALSE(fs::exists(downloads));
    EXPECT_TRUE(fs::exists(home + "/.local/share/Trash/files/photo.raw"));

    // A restore started later builds the scope again from the same folders.
    const InsightCleanupScope later = insightCleanupScope(environment, Catalogue::linux, 128);
    auto planned = planRestore(later.setup, RestoreRequest{true, std::nullopt, {}});
    ASSERT_TRUE(std::holds_alternative<RestorePlan>(planned));
    const auto restored = runRestore(later.setup, std::get<RestorePlan>(planned),
                                     CleanupAuditSource::macInsights, [] { return false; });
    EXPECT_EQ(restored.result.restoredItems.size(), 1u);
    EXPECT_TRUE(restored.result.failedItems.empty());
    EXPECT_TRUE(restored.recorded);
    EXPECT_TRUE(fs::exists(downloads));
}

TEST_F(InsightCleanupRunTest, MovedFindingsLeaveEveryListAndAGroupOfOneGoes) {
    write("Music/photo.raw", "the same bytes");
    scan();
    ASSERT_EQ(run.report.duplicateGroups[0].files.size(), 3u);
    removeMovedFindings(run.report, run.keepers, {documents}, Catalogue::linux);
    ASSERT_EQ(run.report.duplicateGroups.size(), 1u);
    const auto& group = run.report.duplicateGroups[0];
    EXPECT_EQ(group.files.size(), 2u);
    EXPECT_EQ(group.files[0].detail, duplicateSetDetail(2));
    ASSERT_EQ(run.keepers.size(), 1u);
    EXPECT_EQ(run.keepers[0].keeperPath, home + "/Music/photo.raw");  // the keeper moved
    for (const auto& f : run.report.largeFiles) EXPECT_NE(f.url.path, documents);

    removeMovedFindings(run.report, run.keepers, {downloads}, Catalogue::linux);
    EXPECT_TRUE(run.report.duplicateGroups.empty());
    EXPECT_TRUE(run.keepers.empty());
    EXPECT_TRUE(run.report.downloadFiles.size() == 1u &&
                run.report.downloadFiles[0].url.path == home + "/Downloads/installer.sh");
}

}  // namespace
}  // namespace velmora

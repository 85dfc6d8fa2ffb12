// The insights without widgets: scan with progress, the keeper of a duplicate group, moving a
// copy to the Trash, a cancelled scan, and the system history sampled and saved on injected
// time.
#include "VelmoraUI/dashboard/InsightsViewModel.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>

#include "dashboard/ViewModelHarness.h"
#include "support/FakeTime.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::waitFor;

constexpr uint64_t kSecond = 1'000'000'000;

class InsightsViewModelTest : public ::testing::Test {
  protected:
    InsightsViewModelTest() {
        for (const char* copy : {"Documents/photo.raw", "Downloads/photo.raw"}) {
            const std::string path = h.home + "/" + copy;
            fs::create_directories(fs::path(path).parent_path());
            std::ofstream(path) << "the same bytes";
            h.tree.setMtime(std::string("home/") + copy, test::unixNow() - 3 * 86400);
        }
    }

    InsightsEnvironment environment() {
        InsightsEnvironment e;
        e.homeOverride = h.home;
        e.catalogue = Catalogue::linux;
        e.overrides.duplicateFileBytes = 1;
        e.clock = clock;
        e.progressScheduler = scheduler;
        e.mainScheduler = scheduler;
        e.captureSnapshot = [this] {
            SystemResourceSnapshot s;
            s.capturedAt = currentDate();
            s.physicalMemoryBytes = 100;
            s.usedMemoryBytes = ++captures * 10;
            s.normalizedCPULoad = 0.5;
            return s;
        };
        return e;
    }

    std::optional<SystemMetricHistory> stored() {
        if (!preferenceData(*h.preferences.settings, kSystemMetricHistoryKey)) return std::nullopt;
        return SystemMetricHistoryStore(*h.preferences.settings).load(currentDate());
    }

    test::ViewModelHome h;
    std::shared_ptr<test::FakeClock> clock = std::make_shared<test::FakeClock>();
    std::shared_ptr<test::FakeScheduler> scheduler = std::make_shared<test::FakeScheduler>(clock);
    int captures = 0;
    const std::string documents = h.home + "/Documents/photo.raw";
    const std::string downloads = h.home + "/Downloads/photo.raw";
};

TEST_F(InsightsViewModelTest, ScansRecommendsAKeeperAndMovesTheOtherCopy) {
    InsightsViewModel vm(environment(), *h.preferences.settings);
    EXPECT_FALSE(vm.report().hasCompletedScan);  // the placeholder before the first scan
    EXPECT_FALSE(vm.moveToTrash({"duplicate:" + downloads}));  // nothing scanned yet
    int progressSignals = 0;
    QObject::connect(&vm, &InsightsViewModel::progressChanged, [&] { ++progressSignals; });

    ASSERT_TRUE(vm.startScan());
    EXPECT_FALSE(vm.startScan());  // one task at a time
    ASSERT_TRUE(waitFor(&vm, &InsightsViewModel::reportChanged));
    EXPECT_EQ(vm.phase(), InsightsViewModel::Phase::idle);
    EXPECT_GE(progressSignals, 2);  // the reset, then at least the finished sample
    ASSERT_TRUE(vm.progress().has_value());
    EXPECT_EQ(vm.progress()->fractionCompleted, 1.0);
    ASSERT_TRUE(vm.report().hasCompletedScan);
    ASSERT_EQ(vm.report().duplicateGroups.size(), 1u);

    // Both copies map to the one recommendation: keep the copy in Documents.
    const std::string keptID = "duplicate:" + documents, goingID = "duplicate:" + downloads;
    ASSERT_EQ(vm.keepers().size(), 2u);
    EXPECT_EQ(vm.keepers().at(goingID).keeperID, keptID);
    EXPECT_TRUE(vm.isRecommendedKeeper(*findInsight(vm.report(), keptID)));
    EXPECT_FALSE(vm.isRecommendedKeeper(*findInsight(vm.report(), goingID)));
    EXPECT_TRUE(vm.mayMoveToTrash(goingID));
    EXPECT_TRUE(vm.mayMoveToTrash("download:" + downloads));

    ASSERT_TRUE(vm.moveToTrash({goingID}));
    ASSERT_TRUE(waitFor(&vm, &InsightsViewModel::moveFinished));
    ASSERT_EQ(vm.moveResults().size(), 1u);
    EXPECT_EQ(vm.moveResults()[0],
              (InsightMoveResult{downloads, InsightMoveResult::State::moved, {}}));
    EXPECT_TRUE(fs::exists(h.trashFiles + "/photo.raw"));
    // Gone from every list; the group of one left goes with its keeper.
    EXPECT_TRUE(vm.report().duplicateGroups.empty());
    EXPECT_TRUE(vm.keepers().empty());
    EXPECT_EQ(findInsight(vm.report(), "download:" + downloads), nullptr);
    EXPECT_FALSE(vm.mayMoveToTrash("download:" + downloads));
    EXPECT_NE(vm.message(AppLanguage::english)->find("moved to the Trash"), std::string::npos);
}

TEST_F(InsightsViewModelTest, BothCopiesChosenKeepsTheKeeperAndSaysSo) {
    InsightsViewModel vm(environment(), *h.preferences.settings);
    ASSERT_TRUE(vm.startScan());
    ASSERT_TRUE(waitFor(&vm, &InsightsViewModel::reportChanged));
    ASSERT_TRUE(vm.moveToTrash({"duplicate:" + documents, "duplicate:" + downloads}));
    ASSERT_TRUE(waitFor(&vm, &InsightsViewModel::moveFinished));
    using State = InsightMoveResult::State;
    EXPECT_EQ(vm.moveResults(), (std::vector<InsightMoveResult>{
                                    {documents, State::keptLastCopy, {}},
                                    {downloads, State::moved, {}},
                                }));
    EXPECT_TRUE(fs::exists(documents));
    EXPECT_NE(vm.message(AppLanguage::english)->find("was kept"), std::string::npos);
}

TEST_F(InsightsViewModelTest, ACancelledScanKeepsThePreviousReport) {
    // The second scan is held until the cancellation has been asked for: it cannot end first.
    std::promise<void> cancelled;
    auto env = environment();
    auto scans = std::make_shared<int>(0);
    env.runScan = [asked = cancelled.get_future().share(), scans](
                      const InsightRunRequest& request, const UserEnvironment& user,
                      const auto& progress, const CancellationToken& cancel) {
        if (++*scans == 2) asked.wait();
        return runInsightScan(request, user, progress, cancel);
    };
    InsightsViewModel vm(env, *h.preferences.settings);
    ASSERT_TRUE(vm.startScan());
    ASSERT_TRUE(waitFor(&vm, &InsightsViewModel::reportChanged));
    const MacStorageInsightReport before = vm.report();
    fs::remove(downloads);  // a finished scan would no longer show the group

    ASSERT_TRUE(vm.startScan());
    vm.cancel();
    cancelled.set_value();
    ASSERT_TRUE(waitFor(&vm, &InsightsViewModel::phaseChanged));
    EXPECT_EQ(vm.phase(), InsightsViewModel::Phase::idle);
    EXPECT_TRUE(vm.scanWasCancelled());
    EXPECT_EQ(vm.report(), before);
    EXPECT_EQ(vm.keepers().size(), 2u);
    EXPECT_NE(vm.message(AppLanguage::english)->find("previous scan"), std::string::npos);
}

TEST_F(InsightsViewModelTest, SamplesWhileActiveAndSavesOnceAfterTheDebounce) {
    auto vm = std::make_unique<InsightsViewModel>(environment(), *h.preferences.settings);
    EXPECT_TRUE(vm->metricHistory().isEmpty());
    vm->setSystemSamplingActive(true);  // one sample at once
    EXPECT_EQ(vm->metricHistory().memoryUsage(), (std::vector<double>{0.1}));
    scheduler->advanceTo(3 * kSecond - 1);  // inside the debounce: nothing written yet
    EXPECT_FALSE(stored().has_value());
    scheduler->advanceTo(3 * kSecond);
    ASSERT_TRUE(stored().has_value());
    EXPECT_EQ(stored()->memoryUsage(), (std::vector<double>{0.1}));

    // The next sample is written once, a debounce after it, and not before.
    h.preferences.settings->clear();
    scheduler->advanceTo(8 * kSecond - 1);
    EXPECT_EQ(vm->metricHistory().memoryUsage().size(), 2u);
    EXPECT_FALSE(stored().has_value());
    scheduler->advanceTo(8 * kSecond);
    ASSERT_TRUE(stored().has_value());
    EXPECT_EQ(stored()->memoryUsage(), (std::vector<double>{0.1, 0.2}));

    // Hidden: no more samples, however long it stays hidden.
    vm->setSystemSamplingActive(false);
    scheduler->advanceTo(60 * kSecond);
    EXPECT_EQ(captures, 2);

    // A refresh right before closing is written when the view model goes, and a new one
    // continues the line from the preferences.
    vm->refreshSystemSnapshot();
    vm.reset();
    EXPECT_EQ(stored()->memoryUsage(), (std::vector<double>{0.1, 0.2, 0.3}));
    InsightsViewModel again(environment(), *h.preferences.settings);
    EXPECT_EQ(again.metricHistory().memoryUsage().size(), 3u);
}

}  // namespace
}  // namespace velmora

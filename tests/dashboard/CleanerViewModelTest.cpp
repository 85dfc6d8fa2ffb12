// The desktop flow without widgets: scan, review, ignore, move to the Trash, history, restore.
#include "VelmoraUI/dashboard/CleanerViewModel.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>

#include "dashboard/ViewModelHarness.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::waitFor;

size_t rowOf(const CleanerViewModel& vm, const std::string& path) {
    const auto& c = vm.report().candidates;
    for (size_t i = 0; i < c.size(); ++i)
        if (c[i].url.path == path) return i;
    return c.size();
}

TEST(CleanerViewModelTest, ScanIgnoreCleanRecordAndRestore) {
    test::ViewModelHome h;
    const std::string kept = h.oldCacheFile("kept/data", "kept");
    const std::string moved = h.oldCacheFile("moved/data", "moved");
    h.oldCacheFile("ignored/data", "ignored");
    CleanerViewModel vm(h.environment(), h.ignores, h.folders, h.review);

    ASSERT_TRUE(vm.startScan(CleanupScanMode::standard));
    EXPECT_EQ(vm.phase(), CleanerViewModel::Phase::scanning);
    EXPECT_FALSE(vm.startScan(CleanupScanMode::standard));  // one task at a time
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::phaseChanged));
    ASSERT_EQ(vm.phase(), CleanerViewModel::Phase::review);
    const std::string keptDir = fs::path(kept).parent_path();
    const std::string movedDir = fs::path(moved).parent_path();
    const std::string ignoredDir = h.home + "/.cache/ignored";
    ASSERT_LT(rowOf(vm, ignoredDir), vm.report().candidates.size());
    // Nothing was cleaned before: nothing to say about reappearance.
    ASSERT_TRUE(vm.reappearance().has_value());
    EXPECT_EQ(vm.reappearance()->assessment,
              CleanupReappearanceObservation::Assessment::noRecentCleanup);
    EXPECT_EQ(vm.reappearanceText(AppLanguage::english), std::nullopt);

    // Ignored for a week: gone from this report and from the next scan, and counted.
    ASSERT_TRUE(vm.ignore({rowOf(vm, ignoredDir)}, CleanupIgnoreDuration::oneWeek));
    EXPECT_EQ(rowOf(vm, ignoredDir), vm.report().candidates.size());
    EXPECT_EQ(vm.ignoredCount(), 1u);

    vm.selectAll(false);
    vm.setSelected(rowOf(vm, movedDir), true);
    EXPECT_EQ(vm.selectionPreview().count, 1);
    ASSERT_TRUE(vm.startCleanup());
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::cleanupFinished));
    ASSERT_EQ(vm.cleanupResults().size(), 1u);
    EXPECT_TRUE(vm.cleanupResults()[0].cleaned) << vm.cleanupResults()[0].reason;
    EXPECT_FALSE(fs::exists(movedDir));
    EXPECT_TRUE(fs::exists(keptDir));
    EXPECT_TRUE(fs::exists(h.trashFiles + "/moved"));
    EXPECT_EQ(rowOf(vm, movedDir), vm.report().candidates.size());  // left the report
    EXPECT_TRUE(h.review.lastReviewedAt().has_value());             // a review was completed
    // The report no longer follows the newest cleanup, so it says nothing about it.
    EXPECT_EQ(vm.reappearance(), std::nullopt);

    HistoryViewModel history(h.environment(), h.folders);
    ASSERT_TRUE(history.reload());
    ASSERT_TRUE(waitFor(&history, &HistoryViewModel::entriesChanged));
    ASSERT_EQ(history.entries().size(), 1u);
    const CleanupAuditEntry entry = history.entries()[0];
    EXPECT_TRUE(HistoryViewModel::canRestore(entry));
    EXPECT_EQ(history.integrity().status, CleanupAuditChainStatus::intact);

    ASSERT_TRUE(history.startRestore(entry.id));
    ASSERT_TRUE(waitFor(&history, &HistoryViewModel::restoreFinished));
    ASSERT_TRUE(history.restoreOutcome().has_value()) << *history.message(AppLanguage::english);
    EXPECT_EQ(history.restoreOutcome()->result.restoredItems.size(), 1u);
    EXPECT_TRUE(fs::exists(moved));
    ASSERT_EQ(history.entries().size(), 2u);  // the restore is recorded too
    EXPECT_EQ(history.entries()[0].operation, CleanupAuditOperation::restore);

    // The next scan still hides the ignored folder.
    ASSERT_TRUE(vm.startScan(CleanupScanMode::standard));
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::reportChanged));
    EXPECT_EQ(rowOf(vm, ignoredDir), vm.report().candidates.size());
    EXPECT_EQ(vm.ignoredCount(), 1u);
    EXPECT_LT(rowOf(vm, movedDir), vm.report().candidates.size());
    // The folder is back because it was put back, not because it regenerated.
    ASSERT_TRUE(vm.reappearance().has_value());
    EXPECT_EQ(vm.reappearance()->assessment,
              CleanupReappearanceObservation::Assessment::ambiguousAfterRestore);
    const auto sentence = vm.reappearanceText(AppLanguage::english);
    ASSERT_TRUE(sentence.has_value());
    EXPECT_NE(sentence->find("were restored since"), std::string::npos) << *sentence;
}

TEST(CleanerViewModelTest, AnItemReplacedAfterTheScanIsNotMoved) {
    test::ViewModelHome h;
    const std::string file = h.oldCacheFile("swapped/data", "old");
    CleanerViewModel vm(h.environment(), h.ignores, h.folders, h.review);
    ASSERT_TRUE(vm.startScan(CleanupScanMode::standard));
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::reportChanged));
    const std::string dir = h.home + "/.cache/swapped";
    const size_t row = rowOf(vm, dir);
    ASSERT_LT(row, vm.report().candidates.size());

    // Between review and confirmation the folder is replaced by another one.
    fs::remove_all(dir);
    h.oldCacheFile("swapped/data", "new and different");
    vm.selectAll(false);
    vm.setSelected(row, true);
    ASSERT_TRUE(vm.startCleanup());
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::cleanupFinished));
    ASSERT_EQ(vm.cleanupResults().size(), 1u);
    EXPECT_FALSE(vm.cleanupResults()[0].cleaned);
    EXPECT_FALSE(vm.cleanupResults()[0].reason.empty());
    EXPECT_TRUE(fs::exists(file));
    EXPECT_LT(rowOf(vm, dir), vm.report().candidates.size());  // still offered
}

TEST(CleanerViewModelTest, ACancelledScanShowsWhatItFoundAndCleansNothing) {
    test::ViewModelHome h;
    h.oldCacheFile("a/data", "a");
    // The scan is held until the cancellation has been asked for, so it cannot end first.
    std::promise<void> cancelled;
    auto environment = h.environment();
    environment.runScan = [asked = cancelled.get_future().share()](
                              const ScanSetup& setup, const auto& progress,
                              const CancellationToken& cancel) {
        asked.wait();
        return runScanSession(setup, progress, cancel);
    };
    CleanerViewModel vm(environment, h.ignores, h.folders, h.review);
    ASSERT_TRUE(vm.startScan(CleanupScanMode::standard));
    vm.cancel();
    cancelled.set_value();
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::reportChanged));
    EXPECT_EQ(vm.phase(), CleanerViewModel::Phase::review);
    EXPECT_TRUE(vm.scanWasCancelled());
    EXPECT_TRUE(fs::exists(h.home + "/.cache/a/data"));
}

TEST(CleanerViewModelTest, NothingSelectedStartsNoCleanup) {
    test::ViewModelHome h;
    h.oldCacheFile("a/data", "a");
    CleanerViewModel vm(h.environment(), h.ignores, h.folders, h.review);
    EXPECT_FALSE(vm.startCleanup());  // no scan yet
    ASSERT_TRUE(vm.startScan(CleanupScanMode::standard));
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::reportChanged));
    vm.selectAll(false);
    EXPECT_FALSE(vm.startCleanup());
    EXPECT_EQ(vm.phase(), CleanerViewModel::Phase::review);
}

TEST(CleanerViewModelTest, DestroyingTheViewModelDuringAScanWaitsForIt) {
    test::ViewModelHome h;
    for (int i = 0; i < 50; ++i) h.oldCacheFile("many" + std::to_string(i) + "/data", "x");
    auto vm = std::make_unique<CleanerViewModel>(h.environment(), h.ignores, h.folders, h.review);
    ASSERT_TRUE(vm->startScan(CleanupScanMode::standard));
    vm.reset();  // must neither crash nor leave a thread posting to a dead object
    QCoreApplication::processEvents();
    SUCCEED();
}

}  // namespace
}  // namespace velmora

namespace velmora {
namespace {

TEST(CleanerViewModelTest, CandidatesInsideACleanedItemLeaveTheReportWithIt) {
    test::ViewModelHome h;
    h.oldCacheFile("pip/http/wheel", "w");
    CleanerViewModel vm(h.environment(), h.ignores, h.folders, h.review);
    ASSERT_TRUE(vm.startScan(CleanupScanMode::direct));
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::reportChanged));
    const std::string outer = h.home + "/.cache/pip", inner = outer + "/http";
    ASSERT_LT(rowOf(vm, inner), vm.report().candidates.size());
    ASSERT_LT(rowOf(vm, outer), vm.report().candidates.size());
    vm.selectAll(false);
    vm.setSelected(rowOf(vm, outer), true);
    ASSERT_TRUE(vm.startCleanup());
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::cleanupFinished));
    EXPECT_EQ(rowOf(vm, outer), vm.report().candidates.size());
    EXPECT_EQ(rowOf(vm, inner), vm.report().candidates.size());  // went to the Trash with it
}

}  // namespace
}  // namespace velmora

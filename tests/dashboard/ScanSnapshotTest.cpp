// The application keeps a snapshot of every completed scan, as the command does, and speaks only
// when the snapshot store was in trouble.
#include <gtest/gtest.h>

#include <future>

#include "CleanerCore/platform/Environment.h"
#include "CleanerCore/workflows/SnapshotCapture.h"
#include "dashboard/ViewModelHarness.h"
#include "support/Files.h"

namespace velmora {
namespace {

using test::waitFor;

size_t keptSnapshots(const test::ViewModelHome& h) {
    auto store = openSnapshotStore(currentUserEnvironment(h.home));
    return store ? store->load().snapshots.size() : 0;
}

void scanToEnd(CleanerViewModel& vm) {
    ASSERT_TRUE(vm.startScan(CleanupScanMode::standard));
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::reportChanged));
}

TEST(ScanSnapshotTest, OneSnapshotPerCompletedScanAndNoneForACancelledOne) {
    test::ViewModelHome h;
    h.oldCacheFile("a/data", "a");
    // The first scan is held until it has been cancelled, so it cannot end first; once let go,
    // the later scans pass straight through.
    std::promise<void> release;
    auto environment = h.environment();
    environment.runScan = [released = release.get_future().share()](
                              const ScanSetup& setup, const auto& progress,
                              const CancellationToken& cancel) {
        released.wait();
        return runScanSession(setup, progress, cancel);
    };
    CleanerViewModel vm(environment, h.ignores, h.folders, h.review);

    ASSERT_TRUE(vm.startScan(CleanupScanMode::standard));
    vm.cancel();
    release.set_value();
    ASSERT_TRUE(waitFor(&vm, &CleanerViewModel::reportChanged));
    ASSERT_TRUE(vm.scanWasCancelled());
    EXPECT_FALSE(test::exists(DeltaBlameSnapshotStore::defaultFilePath(h.home + "/.local/share")));

    for (size_t scans = 1; scans <= 2; ++scans) {
        scanToEnd(vm);
        ASSERT_FALSE(vm.scanWasCancelled());
        EXPECT_EQ(keptSnapshots(h), scans);
        EXPECT_EQ(vm.message(AppLanguage::english), std::nullopt);  // a normal save is silent
    }
}

TEST(ScanSnapshotTest, AStoreSetAsideIsSaidOnceTheScanEnds) {
    test::ViewModelHome h;
    h.oldCacheFile("a/data", "a");
    test::writeFile(DeltaBlameSnapshotStore::defaultFilePath(h.home + "/.local/share"),
                    "not a snapshot store");
    CleanerViewModel vm(h.environment(), h.ignores, h.folders, h.review);
    scanToEnd(vm);
    EXPECT_EQ(keptSnapshots(h), 1u);  // started anew with this scan
    EXPECT_EQ(vm.message(AppLanguage::english),
              "The saved scan snapshots could not be read; they were set aside and new "
              "snapshots start now.");
    // The notice follows the language, each sentence starting as a sentence does.
    const auto german = vm.message(AppLanguage::german);
    ASSERT_TRUE(german.has_value());
    EXPECT_TRUE(german->starts_with("Die gespeicherten")) << *german;

    scanToEnd(vm);  // the store is sound again: nothing to say
    EXPECT_EQ(vm.message(AppLanguage::english), std::nullopt);
}

}  // namespace
}  // namespace velmora

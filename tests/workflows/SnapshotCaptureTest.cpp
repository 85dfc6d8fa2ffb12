// Keeping a snapshot of each finished scan: only completed scans, one more kept per scan, and a
// replaced installation key starting the store anew with a notice.
#include <gtest/gtest.h>

#include "CleanerCore/platform/InstallationKey.h"
#include "CleanerCore/workflows/SnapshotCapture.h"
#include "support/Candidates.h"
#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

class SnapshotCaptureTest : public ::testing::Test {
  protected:
    SnapshotCaptureTest() {
        environment.home = tree.dir("home");
        environment.xdgDataHome = tree.dir("home/.local/share");
    }
    ScanReport report(bool completed) const {
        ScanReport r;
        r.hasCompletedScan = completed;
        r.scannedRoots = {FileURL::directory(environment.home + "/.cache")};
        r.candidates = {test::candidateAt(environment.home + "/.cache/pip",
                                          CleanupCategory::packageManagerCaches, 4096)};
        return r;
    }
    std::string storeFile() const {
        return DeltaBlameSnapshotStore::defaultFilePath(environment.xdgDataHome);
    }
    test::TestTree tree;
    UserEnvironment environment;
};

TEST_F(SnapshotCaptureTest, KeepsCompletedScansOnly) {
    auto outcome = captureScanSnapshot(report(false), CleanupScanMode::standard, environment);
    EXPECT_EQ(outcome.failure, SnapshotCaptureFailure::notCompleted);
    EXPECT_FALSE(test::exists(storeFile()));

    for (int64_t kept = 1; kept <= 2; ++kept) {
        outcome = captureScanSnapshot(report(true), CleanupScanMode::standard, environment);
        EXPECT_TRUE(outcome.saved);
        EXPECT_FALSE(outcome.failure);
        EXPECT_FALSE(outcome.storeIssue);
        EXPECT_EQ(outcome.keptSnapshots, kept);
    }
    const std::string text = test::readFile(storeFile());
    EXPECT_EQ(text.find(environment.home), std::string::npos);
    EXPECT_NE(text.find(kCleanupPolicyRevision), std::string::npos);
}

TEST_F(SnapshotCaptureTest, ReplacedKeyStartsTheStoreAnew) {
    ASSERT_TRUE(captureScanSnapshot(report(true), CleanupScanMode::standard, environment).saved);
    // A damaged key file is replaced by a new key, under which the old tokens mean nothing.
    test::writeFile(installationKeyPath(environment.xdgDataHome), "short");
    const auto outcome = captureScanSnapshot(report(true), CleanupScanMode::standard, environment);
    EXPECT_TRUE(outcome.saved);
    EXPECT_EQ(outcome.storeIssue, DeltaBlameStoreIssue::otherKey);
    EXPECT_FALSE(outcome.storeNotice.empty());
    EXPECT_EQ(outcome.keptSnapshots, 1);
}

}  // namespace
}  // namespace velmora

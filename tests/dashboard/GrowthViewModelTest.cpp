// The "What grew" view model over a snapshot store of hand-built scans kept in a throw-away data
// folder: the rows a comparison gives, the folders named by what a scan looks at now, the
// earlier side each "since" choice picks, and why nothing can be compared.
#include "VelmoraUI/dashboard/GrowthViewModel.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "VelmoraUI/dashboard/GrowthTexts.h"
#include "VelmoraUI/dashboard/SnapshotTexts.h"
#include "dashboard/ViewModelHarness.h"
#include "delta-blame/DeltaBlameTestSupport.h"

namespace velmora {
namespace {

constexpr Date kDay = 86400;
constexpr Date kNow = 800'000'000;

class GrowthViewModelTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::filesystem::create_directories(v.home + "/.cache");
        ScanRequest request;
        request.homeOverride = v.home;
        request.catalogue = Catalogue::linux;
        const auto roots = currentScanRootPaths(request);
        ASSERT_FALSE(roots.empty());
        root = roots.front();
    }

    void keep(const ScanReport& report, Date at) {
        ASSERT_TRUE(test::keepSnapshotAt(currentUserEnvironment(v.home), report, at));
    }

    ScanReport report(std::vector<CleanupCandidate> candidates,
                      std::vector<std::string> roots) const {
        ScanReport r;
        r.hasCompletedScan = true;
        for (const auto& path : roots) r.scannedRoots.push_back(FileURL::directory(path));
        r.candidates = std::move(candidates);
        return r;
    }

    CleanupCandidate item(const std::string& name, CleanupCategory category, int64_t size,
                          const std::string& resource) const {
        return test::candidateAt(root + "/" + name, category, size, resource);
    }

    std::unique_ptr<GrowthViewModel> load(GrowthSince since = GrowthSince::previousScan) {
        CleanerEnvironment environment = v.environment();
        environment.now = [] { return kNow; };
        auto model = std::make_unique<GrowthViewModel>(environment, v.folders);
        if (since != GrowthSince::previousScan) {
            model->setSince(since);
        } else {
            EXPECT_TRUE(model->reload());
        }
        EXPECT_TRUE(test::waitFor(model.get(), &GrowthViewModel::reportChanged));
        return model;
    }

    test::ViewModelHome v;
    std::string root;
    const std::string elsewhere = v.home + "/old-builds";
    const GrowthViewModel::DateWriter day = [](Date d) {
        return std::to_string(int64_t((kNow - d) / kDay)) + " days ago";
    };
};

// Two scans around a change: the headline, the categories by change with their items, the
// folder named as the scan now sees it, and the folder scanned only the first time.
TEST_F(GrowthViewModelTest, ComparisonGivesTheRowsThePageShows) {
    keep(
        report({item("pip", CleanupCategory::packageManagerCaches, 500, "1:11"),
                item("thumbnails", CleanupCategory::userCaches, 300, "1:12"),
                test::candidateAt(elsewhere + "/obj", CleanupCategory::temporaryFiles, 70, "1:13")},
               {root, elsewhere}),
        kNow - 2 * kDay);
    keep(report({item("pip", CleanupCategory::packageManagerCaches, 1500, "1:11"),
                 item("go-build", CleanupCategory::developerToolCaches, 200, "1:14")},
                {root}),
         kNow - kDay);
    const auto model = load();
    const AppLanguage en = AppLanguage::english;

    EXPECT_EQ(model->unavailableSentence(en), std::nullopt);
    EXPECT_EQ(model->headline(en, day),
              "Since the scan of 2 days ago, cleanup candidates grew by 900 bytes, from 800 "
              "bytes to 1.7 kB.");

    const auto categories = model->categoryRows(en);
    ASSERT_EQ(categories.size(), 3u);
    EXPECT_EQ(categories[0].change, 1000);
    EXPECT_EQ(categories[0].changeText, "+1.0 kB");
    ASSERT_EQ(categories[0].items.size(), 1u);
    EXPECT_EQ(categories[0].items[0].kindLabel, "grew");
    EXPECT_TRUE(categories[0].items[0].lastModified.has_value());
    EXPECT_EQ(categories[1].change, -300);
    EXPECT_EQ(categories[1].items.at(0).kindLabel,
              changeKindLabel(DeltaBlameChangeKind::noLongerObserved, en));
    EXPECT_EQ(categories[2].change, 200);
    EXPECT_FALSE(categories[2].tally.empty());

    const auto folders = model->folderRows(en);
    ASSERT_EQ(folders.size(), 1u);
    EXPECT_EQ(folders[0].name, "~/.cache");
    EXPECT_EQ(folders[0].change, 900);

    const auto left = model->notComparedRows(en);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left[0].name, unnamedRootText(en)) << "not a folder a scan looks at now";
    EXPECT_TRUE(left[0].why.has_value());

    const auto points = model->timeline();
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[0].totalBytes, 870);
    EXPECT_EQ(points[1].totalBytes, 1700);
}

// Each choice of the earlier side, over scans kept 40, 10, 3 and 1 day ago.
TEST_F(GrowthViewModelTest, SinceChoosesTheEarlierScan) {
    keep(report({item("pip", CleanupCategory::packageManagerCaches, 100, "1:11")}, {root}),
         kNow - 40 * kDay);
    keep(report({item("pip", CleanupCategory::packageManagerCaches, 200, "1:11")}, {root}),
         kNow - 10 * kDay);
    keep(report({item("pip", CleanupCategory::packageManagerCaches, 300, "1:11")}, {root}),
         kNow - 3 * kDay);
    keep(report({item("pip", CleanupCategory::packageManagerCaches, 400, "1:11")}, {root}),
         kNow - kDay);
    struct Case {
        GrowthSince since;
        const char* earlier;
    };
    for (const Case c : {Case{GrowthSince::previousScan, "3 days ago"},
                         Case{GrowthSince::sevenDays, "10 days ago"},
                         Case{GrowthSince::thirtyDays, "40 days ago"}}) {
        const auto model = load(c.since);
        const auto headline = model->headline(AppLanguage::english, day);
        ASSERT_TRUE(headline.has_value());
        EXPECT_NE(headline->find(c.earlier), std::string::npos) << *headline;
        EXPECT_EQ(model->sinceNotReachedSentence(AppLanguage::english, day), std::nullopt);
        EXPECT_EQ(model->timeline().size(), 4u);
    }
}

// Too few scans, or a damaged store, leave nothing to compare, each with its sentence.
TEST_F(GrowthViewModelTest, SaysWhyNothingCanBeCompared) {
    auto model = load();
    EXPECT_EQ(model->unavailableSentence(AppLanguage::english),
              growthUnavailableSentence(std::nullopt, 0, AppLanguage::english));
    EXPECT_EQ(model->headline(AppLanguage::english, day), std::nullopt);
    EXPECT_TRUE(model->categoryRows(AppLanguage::english).empty());

    keep(report({item("pip", CleanupCategory::packageManagerCaches, 100, "1:11")}, {root}),
         kNow - kDay);
    model = load();
    EXPECT_EQ(model->unavailableSentence(AppLanguage::english),
              growthUnavailableSentence(std::nullopt, 1, AppLanguage::english));
    EXPECT_EQ(model->storeNotice(AppLanguage::english), std::nullopt);

    std::ofstream(v.home + "/.local/share/Velmora/delta-blame-snapshots.json", std::ios::trunc)
        << "{\"keyCheck\": 12";
    model = load();
    EXPECT_EQ(model->storeNotice(AppLanguage::english),
              snapshotStoreNotice(DeltaBlameStoreIssue::undecodable, AppLanguage::english));
    EXPECT_EQ(model->timeline().size(), 0u);
}

// A scan that keeps a snapshot while a read runs is not lost: the reload asked for then
// follows the running one.
TEST_F(GrowthViewModelTest, AReloadAskedDuringAReadFollowsIt) {
    keep(report({item("pip", CleanupCategory::packageManagerCaches, 100, "1:11")}, {root}),
         kNow - 2 * kDay);
    GrowthViewModel model(v.environment(), v.folders);
    ASSERT_TRUE(model.reload());
    keep(report({item("pip", CleanupCategory::packageManagerCaches, 200, "1:11")}, {root}),
         kNow - kDay);
    EXPECT_FALSE(model.reload()) << "busy until the first read is posted back";
    ASSERT_TRUE(test::waitFor(&model, &GrowthViewModel::reportChanged));
    ASSERT_TRUE(test::waitFor(&model, &GrowthViewModel::reportChanged)) << "the second read";
    EXPECT_EQ(model.timeline().size(), 2u);
    EXPECT_TRUE(model.headline(AppLanguage::english, day).has_value());
}

}  // namespace
}  // namespace velmora

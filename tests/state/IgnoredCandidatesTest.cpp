// The ignore filter the scan shows and the default selection use, and the scan a saved review
// profile asks for: only ever narrower than the request it starts from.
#include <gtest/gtest.h>

#include "VelmoraUI/state/CleanupIgnoreStore.h"
#include "VelmoraUI/state/IgnoredCandidates.h"
#include "VelmoraUI/state/PreferenceFile.h"
#include "VelmoraUI/state/ReviewProfileScan.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using C = CleanupCategory;

CleanupCandidate candidate(const std::string& path, C category = C::userCaches) {
    CleanupCandidate c;
    c.url = FileURL(path);
    c.displayName = c.url.lastComponent();
    c.category = category;
    return c;
}

std::vector<std::string> paths(const ScanReport& report) {
    std::vector<std::string> out;
    for (const auto& c : report.candidates) out.push_back(c.url.path);
    return out;
}

TEST(IgnoredCandidatesTest, HidesExactlyTheActiveIgnoredIDsAndCountsThem) {
    struct Case {
        const char* name;
        std::unordered_set<std::string> ids;
        std::vector<std::string> visible;
        size_t hidden;
    };
    const std::vector<Case> cases = {
        {"nothing ignored", {}, {"/h/a", "/h/b", "/h/a"}, 0},
        {"one id", {"userCaches:/h/b"}, {"/h/a", "/h/a"}, 1},
        // The id carries the category: the same folder found under another category stays.
        {"category is part of the id", {"userCaches:/h/a"}, {"/h/b", "/h/a"}, 1},
        {"an id of no candidate", {"userCaches:/h/z"}, {"/h/a", "/h/b", "/h/a"}, 0},
        {"everything", {"userCaches:/h/a", "userCaches:/h/b", "userLogs:/h/a"}, {}, 3},
    };
    for (const Case& c : cases) {
        ScanReport report;
        report.candidates = {candidate("/h/a"), candidate("/h/b"), candidate("/h/a", C::userLogs)};
        report.skippedItems = {{FileURL("/h/x"), "Folder does not exist"}};
        EXPECT_EQ(hideIgnoredCandidates(report, c.ids), c.hidden) << c.name;
        EXPECT_EQ(paths(report), c.visible) << c.name;
        EXPECT_EQ(report.skippedItems.size(), 1u) << c.name;
    }
}

// A name that is not valid text is stored in its rendered form; the candidate it came from is
// still recognised.
TEST(IgnoredCandidatesTest, MatchesANameThatIsNotValidTextThroughItsStoredForm) {
    test::TestTree tree;
    PreferenceFile file = openPreferenceFileAt(tree.dir("config") + "/Velmora.conf");
    CleanupIgnoreStore store(*file.settings, std::string(kCleanupIgnoreItemsKey), {}, 100);
    const CleanupCandidate odd = candidate("/h/caf\xE9");
    ASSERT_TRUE(store.ignore({odd}, CleanupIgnoreDuration::oneDay, 100));
    EXPECT_TRUE(isIgnoredCandidate(odd, store.activeIgnoredIDs(100)));
    EXPECT_FALSE(isIgnoredCandidate(candidate("/h/cafe"), store.activeIgnoredIDs(100)));
    // At its expiry instant it is shown again.
    EXPECT_FALSE(isIgnoredCandidate(odd, store.activeIgnoredIDs(100 + 86400)));
}

TEST(ReviewProfileScanTest, EachProfileNarrowsTheRequest) {
    ScanRequest base;
    base.homeOverride = "/home/ana";
    base.catalogue = Catalogue::macos;
    base.mode = CleanupScanMode::direct;
    base.allowDirect = true;
    base.customFolders = {"/home/ana/build"};
    base.unavailableCustomFolders = {{FileURL("/home/ana/gone"), "The folder no longer exists"}};
    struct Case {
        CleanupReviewProfileID id;
        CleanupScanMode mode;
        std::vector<C> categories;
    };
    const std::vector<Case> cases = {
        {CleanupReviewProfileID::balanced,
         CleanupScanMode::standard,
         {C::userCaches, C::userLogs, C::temporaryFiles}},
        {CleanupReviewProfileID::downloads, CleanupScanMode::standard, {C::temporaryFiles}},
        {CleanupReviewProfileID::developerCaches,
         CleanupScanMode::aggressive,
         {C::xcodeDerivedData, C::simulatorCaches, C::xcodeDeviceSupport}},
    };
    for (const Case& c : cases) {
        const ScanRequest r = scanRequestForProfile(cleanupReviewProfile(c.id), base);
        EXPECT_EQ(r.mode, c.mode) << rawValue(c.id);
        ASSERT_TRUE(r.categories) << rawValue(c.id);
        EXPECT_EQ(*r.categories, c.categories) << rawValue(c.id);
        // No profile includes custom folders: neither the typed nor the kept ones are scanned.
        EXPECT_TRUE(r.customFolders.empty()) << rawValue(c.id);
        EXPECT_TRUE(r.unavailableCustomFolders.empty()) << rawValue(c.id);
        EXPECT_EQ(r.homeOverride, base.homeOverride);
        EXPECT_EQ(r.catalogue, Catalogue::macos);
        EXPECT_TRUE(r.allowDirect);
    }
}

TEST(ReviewProfileScanTest, NeverWidensARequestThatIsAlreadyNarrowed) {
    CleanupReviewProfile withFolders = cleanupReviewProfile(CleanupReviewProfileID::balanced);
    withFolders.includesCustomFolders = true;
    ScanRequest base;
    base.categories = std::vector<C>{C::userLogs, C::xcodeDerivedData};
    base.customFolders = {"/home/ana/build"};
    const ScanRequest r = scanRequestForProfile(withFolders, base);
    EXPECT_EQ(*r.categories, std::vector<C>{C::userLogs});
    EXPECT_EQ(r.customFolders, base.customFolders);

    base.categories = std::vector<C>{C::customFolder};
    EXPECT_TRUE(scanRequestForProfile(withFolders, base).categories->empty());
}

}  // namespace
}  // namespace velmora

// The locations a scan starts from when the environment names unusual folders: a catalogue root
// that fails the root checks is left out (so it can never become a cleanup root) and reported
// with its reason, and the rest of the catalogue stays.
#include "CleanerCore/workflows/ScanSetup.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/TestTree.h"

namespace velmora {
namespace {

TEST(ScanSetupTest, EnvironmentRootsFailingTheRootChecksAreSkippedWithAReason) {
    test::TestTree tree;
    const std::string home = tree.dir("home");
    tree.dir("home/Documents");
    tree.dir("home/.local/share/xorg");
    test::ScopedHome scopedHome(home);
    const std::string xorg = home + "/.local/share/xorg";
    const std::pair<std::string, ScanRootRefusal> cases[] = {
        {home, ScanRootRefusal::tooBroad},
        {tree.root(), ScanRootRefusal::tooBroad},
        {"/usr/share/doc", ScanRootRefusal::systemFolder},
        {"/var/lib/dpkg", ScanRootRefusal::systemFolder},
        {home + "/Documents", ScanRootRefusal::userFolder},
        {home + "/.local", ScanRootRefusal::protectedData},
    };
    for (const auto& [cacheHome, refusal] : cases) {
        ::setenv("XDG_CACHE_HOME", cacheHome.c_str(), 1);  // restored with the scoped home
        for (CleanupScanMode mode : {CleanupScanMode::standard, CleanupScanMode::aggressive}) {
            ScanRequest request;
            request.catalogue = Catalogue::linux;
            request.mode = mode;
            CancellationToken live;
            auto setup = prepareScan(request, live);
            ASSERT_TRUE(setup) << cacheHome;
            ASSERT_EQ(setup->locations.size(), 1u) << cacheHome;
            EXPECT_EQ(setup->locations[0].rootURL.path, xorg);
            ASSERT_EQ(setup->skippedRoots.size(), 1u) << cacheHome;
            EXPECT_EQ(setup->skippedRoots[0].url.path, standardizePath(cacheHome));
            EXPECT_EQ(setup->skippedRoots[0].reason, description(refusal)) << cacheHome;
        }
    }
}

// A request narrowed to some categories scans only their catalogue roots and reports nothing
// about the others; custom folders are not a catalogue category and stay.
TEST(ScanSetupTest, CategoriesNarrowTheCatalogueButKeepCustomFolders) {
    test::TestTree tree;
    const std::string home = tree.dir("home");
    tree.dir("home/.local/share/xorg");
    const std::string build = tree.dir("home/build");
    test::ScopedHome scopedHome(home);
    ::setenv("XDG_CACHE_HOME", home.c_str(), 1);  // refused as too broad when it is scanned
    struct Case {
        std::optional<std::vector<CleanupCategory>> categories;
        size_t catalogueRoots, skippedRoots;
    };
    const Case cases[] = {
        {std::nullopt, 1, 1},
        {std::vector{CleanupCategory::userLogs}, 1, 0},
        {std::vector{CleanupCategory::userCaches}, 0, 1},
        {std::vector<CleanupCategory>{}, 0, 0},
    };
    for (const Case& c : cases) {
        ScanRequest request;
        request.catalogue = Catalogue::linux;
        request.categories = c.categories;
        request.customFolders = {build};
        CancellationToken live;
        auto setup = prepareScan(request, live);
        ASSERT_TRUE(setup);
        ASSERT_EQ(setup->locations.size(), c.catalogueRoots + 1);
        EXPECT_EQ(setup->locations.back().rootURL.path, build);
        EXPECT_EQ(setup->skippedRoots.size(), c.skippedRoots);
    }
}

}  // namespace
}  // namespace velmora

// The home-folder grant: only the current home or its Library folder, never through a link,
// kept across restarts, and cleared with a request to grant again when it no longer resolves.
#include "VelmoraUI/state/HomeAccessBookmark.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "VelmoraUI/state/PreferenceFile.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

TEST(HomeAccessBookmarkTest, OnlyTheHomeOrItsLibraryIsGrantedAndNeverThroughALink) {
    TestTree tree;
    const std::string home = tree.dir("home");
    tree.dir("home/Library");
    tree.dir("home/Documents");
    tree.file("home/plain");
    tree.symlink("elsewhere", home);
    tree.dir("home/inner");
    tree.symlink("home/inner/Library", home + "/Documents");
    const std::string onlyHome = "Select your current home folder or its Library folder only: ";
    struct Case {
        std::string path;
        std::string grantHome;
        std::optional<std::string> refusal;
    };
    const Case cases[] = {
        {home, home, std::nullopt},
        {home + "/Library/", home, std::nullopt},
        {home + "/Documents", home, onlyHome + home + "/Documents"},
        {tree.path("elsewhere"), home, onlyHome + tree.path("elsewhere")},
        {home + "/plain", home, "Selected item is not a folder: " + home + "/plain"},
        // The link's own path names "<home>/Library" of a home that is not the current one.
        {home + "/inner/Library", home + "/inner", onlyHome + home + "/inner/Library"},
        {home, "", onlyHome + home},
        {"/", "/", onlyHome + "/"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        PreferenceFile file = openPreferenceFileAt(tree.path("config/Velmora.conf"));
        HomeAccessBookmarkStore store(*file.settings, AppLanguage::english);
        ASSERT_TRUE(store.clear());
        EXPECT_EQ(store.grant(c.path, c.grantHome, 5), !c.refusal);
        EXPECT_EQ(store.lastErrorMessage(), c.refusal);
        if (c.refusal) {
            EXPECT_FALSE(store.bookmark());
            continue;
        }
        // The grant survives a restart and stands for the home folder.
        HomeAccessBookmarkStore reloaded(
            *openPreferenceFileAt(tree.path("config/Velmora.conf")).settings, AppLanguage::english);
        ASSERT_TRUE(reloaded.bookmark());
        EXPECT_EQ(reloaded.bookmark(), store.bookmark());
        EXPECT_EQ(reloaded.bookmark()->effectiveHomeFallbackPath, home);
        const auto resolved = reloaded.resolve(home);
        ASSERT_TRUE(resolved);
        EXPECT_EQ(resolved->effectiveHomeDirectory, home);
        EXPECT_FALSE(resolved->bookmarkWasStale);
    }
}

TEST(HomeAccessBookmarkTest, AGrantThatNoLongerResolvesIsClearedWithARequestToGrantAgain) {
    TestTree tree;
    const std::string home = tree.dir("home");
    const std::string library = tree.dir("home/Library");
    PreferenceFile file = openPreferenceFileAt(tree.path("Velmora.conf"));
    HomeAccessBookmarkStore store(*file.settings, AppLanguage::english);
    ASSERT_TRUE(store.grant(library, home));
    ASSERT_EQ(::rmdir(library.c_str()), 0);
    EXPECT_FALSE(store.resolve(home));
    EXPECT_FALSE(store.bookmark());
    EXPECT_FALSE(file.settings->contains("velmora.homeAccessBookmark.v1"));
    EXPECT_EQ(store.lastErrorMessage(),
              "Could not resolve home folder access bookmark and cleared it. Grant access again: "
              "The folder no longer exists: " +
                  library);
}

TEST(HomeAccessBookmarkTest, DamagedOrOlderRecordsLoadAsDescribed) {
    TestTree tree;
    PreferenceFile file = openPreferenceFileAt(tree.path("Velmora.conf"));
    // A record from before the effective home was kept still loads.
    const QByteArray older(R"({"fallbackPath":"/h","bookmarkData":"","createdAt":3})");
    ASSERT_TRUE(storePreference(*file.settings, kHomeAccessBookmarkKey, older));
    HomeAccessBookmarkStore olderStore(*file.settings, AppLanguage::english);
    ASSERT_TRUE(olderStore.bookmark());
    EXPECT_EQ(olderStore.bookmark()->effectiveHomeFallbackPath, std::nullopt);

    const QByteArray damaged(R"({"fallbackPath":7})");
    ASSERT_TRUE(storePreference(*file.settings, kHomeAccessBookmarkKey, damaged));
    HomeAccessBookmarkStore store(*file.settings, AppLanguage::english);
    EXPECT_FALSE(store.bookmark());
    ASSERT_TRUE(store.lastErrorMessage());
    EXPECT_EQ(store.lastErrorMessage()->rfind("Could not load home folder access bookmark. The "
                                              "saved bookmark was backed up and reset: ",
                                              0),
              0u);
    EXPECT_EQ(file.settings->value("velmora.homeAccessBookmark.v1.malformedBackup"), damaged);
    EXPECT_FALSE(file.settings->contains("velmora.homeAccessBookmark.v1"));
}

}  // namespace
}  // namespace velmora

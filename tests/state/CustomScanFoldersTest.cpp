// Custom scan folders: which folders are refused and with which sentence, one entry per path,
// recovery from a damaged list, and resolution that never scans a folder the person did not
// choose (a folder replaced at the same path is stale and skipped).
#include "VelmoraUI/state/CustomScanFolders.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/Environment.h"
#include "VelmoraUI/state/FolderBookmark.h"
#include "VelmoraUI/state/PreferenceFile.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

class CustomScanFoldersTest : public ::testing::Test {
  protected:
    TestTree tree;
    std::string home = tree.dir("home");
    test::ScopedHome scopedHome{home};
    UserEnvironment environment = currentUserEnvironment(home);
    ScanRootRules rules = scanRootRules(environment, Catalogue::linux);
    PreferenceFile file = openPreferenceFileAt(tree.path("config/Velmora.conf"));

    std::string folder(const std::string& relative) { return tree.dir("home/" + relative); }
};

TEST_F(CustomScanFoldersTest, RefusedFoldersLeaveTheListUnchangedWithTheirSentence) {
    // Which folders are refused is the root checks' own table; here: what a refusal leaves, and
    // that the rules built from the environment protect Velmora's own configuration folder.
    tree.file("home/notes.txt");
    tree.dir("home/.config/Velmora");
    const std::string tooBroad = "Selected folder is too broad or protected for cleanup scanning: ";
    struct Case {
        std::string path;
        std::string message;
    };
    const Case cases[] = {
        {home + "/", tooBroad + home},
        {environment.xdgConfigHome, tooBroad + environment.xdgConfigHome},
        {home + "/notes.txt", "Selected item is not an accessible folder: " + home + "/notes.txt"},
    };
    CustomScanFolderStore store(*file.settings, AppLanguage::english);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.path);
        EXPECT_FALSE(store.add(c.path, rules));
        EXPECT_EQ(store.lastErrorMessage(), c.message);
        EXPECT_TRUE(store.folders().empty());
    }
    EXPECT_FALSE(preferenceData(*file.settings, kCustomScanFoldersKey));
}

TEST_F(CustomScanFoldersTest, TheSameFolderTwiceLeavesOneNewerEntryAndTheListIsKept) {
    const std::string build9 = folder("a/Build 9");
    const std::string build10 = folder("b/build 10");
    CustomScanFolderStore store(*file.settings, AppLanguage::english);
    ASSERT_TRUE(store.add(build10, rules, 100));
    ASSERT_TRUE(store.add(build9, rules, 100));
    const std::string firstId = store.folders()[0].id;
    ASSERT_TRUE(store.add(build9 + "/", rules, 200));
    EXPECT_FALSE(store.lastErrorMessage());

    ASSERT_EQ(store.folders().size(), 2u);
    EXPECT_EQ(store.folders()[0].fallbackPath, build9) << "numbers compare by value";
    EXPECT_EQ(store.folders()[0].displayName, "Build 9");
    EXPECT_NE(store.folders()[0].id, firstId);
    EXPECT_EQ(store.folders()[0].createdAt, 200);

    CustomScanFolderStore reloaded(*openPreferenceFileAt(tree.path("config/Velmora.conf")).settings,
                                   AppLanguage::english);
    EXPECT_EQ(reloaded.folders(), store.folders());
    EXPECT_FALSE(reloaded.lastErrorMessage());

    EXPECT_TRUE(store.remove(firstId)) << "an id no longer listed changes nothing";
    ASSERT_TRUE(store.remove(store.folders()[0].id));
    ASSERT_EQ(store.folders().size(), 1u);
    EXPECT_EQ(store.folders()[0].fallbackPath, build10);
}

TEST_F(CustomScanFoldersTest, AFailedSaveKeepsThePreviousListAndSaysSo) {
    const std::string folderPath = folder("projects");
    tree.dir("ro");
    tree.chmod("ro", 0555);
    EXPECT_TRUE(test::runWithoutPrivileges(tree, [&] {
        PreferenceFile readOnly = openPreferenceFileAt(tree.path("ro/Velmora.conf"));
        CustomScanFolderStore store(*readOnly.settings, AppLanguage::english);
        const bool refused = !store.add(folderPath, scanRootRules(environment, Catalogue::linux));
        return refused && store.folders().empty() &&
               store.lastErrorMessage() ==
                   "Could not save custom scan folders: the preference file could not be written" &&
               !readOnly.settings->contains("velmora.customScanFolders.v1");
    }));
}

TEST_F(CustomScanFoldersTest, ADamagedListIsBackedUpUnchangedAndTheStoreStartsEmpty) {
    const QByteArray valid = QByteArray::fromStdString(
        encodeCustomScanFolders({{"6F1C2A4E-0B7D-4C55-9A3E-2D8B1F0C7E61", "x", "/x", "bm", 1}}));
    struct Case {
        const char* name;
        QVariant value;
    };
    const Case cases[] = {
        {"not JSON", QByteArray("[{\"id\":")},
        {"not a list", QByteArray("{}")},
        {"an id that is no UUID", QByteArray(R"([{"id":"7","displayName":"x","fallbackPath":"/x",)"
                                             R"("bookmarkData":"","createdAt":1}])")},
        {"bookmark not base64", QByteArray(valid).replace("Ym0=", "*")},
        {"text instead of a blob", QString("[]")},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestTree own;
        PreferenceFile f = openPreferenceFileAt(own.path("Velmora.conf"));
        ASSERT_TRUE(storePreference(*f.settings, kCustomScanFoldersKey, c.value));
        CustomScanFolderStore store(*f.settings, AppLanguage::english);
        EXPECT_TRUE(store.folders().empty());
        ASSERT_TRUE(store.lastErrorMessage());
        EXPECT_EQ(store.lastErrorMessage()->rfind("Could not load custom scan folders. The saved "
                                                  "folder list was backed up and reset: ",
                                                  0),
                  0u)
            << *store.lastErrorMessage();
        EXPECT_EQ(f.settings->value("velmora.customScanFolders.v1.malformedBackup"), c.value);
        EXPECT_FALSE(f.settings->contains("velmora.customScanFolders.v1"));
    }
    // The valid form decodes, so the cases above fail for the reason they name.
    EXPECT_TRUE(decodeCustomScanFolders(valid.toStdString()));
}

TEST_F(CustomScanFoldersTest, ResolutionSkipsStaleAndVanishedFoldersAndTheScanReportsThem) {
    const std::string kept = folder("kept");
    const std::string replaced = folder("replaced");
    const std::string vanished = folder("vanished");
    CustomScanFolderStore store(*file.settings, AppLanguage::english);
    for (const auto& path : {kept, replaced, vanished}) ASSERT_TRUE(store.add(path, rules));
    std::vector<CustomScanFolder> folders = store.folders();
    folders.push_back(folders[0]);
    folders.back().bookmarkData = "damaged";

    // Another folder now stands at the same path; the chosen one lives on elsewhere.
    ASSERT_EQ(std::rename(replaced.c_str(), (replaced + "-old").c_str()), 0);
    folder("replaced");
    ASSERT_EQ(::rmdir(vanished.c_str()), 0);

    const CustomScanFolderResolution resolution = resolveCustomScanFolders(folders, rules);
    ASSERT_EQ(resolution.resolvedFolders.size(), 1u);
    EXPECT_EQ(resolution.resolvedFolders[0].path, kept);
    ASSERT_EQ(resolution.locations.size(), 1u);
    EXPECT_EQ(resolution.locations[0].rootURL.path, kept);
    EXPECT_EQ(resolution.locations[0].category, CleanupCategory::customFolder);
    const std::vector<SkippedItem> expected = {
        {FileURL::directory(replaced), std::string(kStaleCustomFolderReason)},
        {FileURL::directory(vanished), "The folder no longer exists: " + vanished},
        {FileURL::directory(kept), "The saved bookmark of this folder is damaged."},
    };
    EXPECT_EQ(resolution.skippedItems, expected);

    ScanRequest request;
    request.homeOverride = home;
    request.catalogue = Catalogue::linux;
    resolution.addTo(request);
    const auto setup = prepareScan(request, CancellationToken());
    ASSERT_TRUE(setup) << setup.error();
    ASSERT_GE(setup->skippedRoots.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), setup->skippedRoots.begin()));
    EXPECT_EQ(setup->locations.back().rootURL.path, kept);
    EXPECT_EQ(
        std::count_if(setup->locations.begin(), setup->locations.end(),
                      [](const auto& l) { return l.category == CleanupCategory::customFolder; }),
        1);
}

TEST(FolderBookmarkTest, AFolderSwappedForALinkToItselfIsStale) {
    TestTree tree;
    const std::string chosen = tree.dir("chosen");
    const auto bookmark = makeFolderBookmark(chosen);
    ASSERT_TRUE(bookmark);
    ASSERT_EQ(std::rename(chosen.c_str(), tree.path("moved").c_str()), 0);
    tree.symlink("chosen", tree.path("moved"));
    const auto resolved = resolveFolderBookmark(*bookmark);
    ASSERT_TRUE(resolved);
    EXPECT_TRUE(resolved->isStale);
    EXPECT_FALSE(makeFolderBookmark(tree.file("plain")));
}

}  // namespace
}  // namespace velmora

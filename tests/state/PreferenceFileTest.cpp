// The preference file: a damaged file is set aside byte for byte instead of being written over,
// writes replace the file whole, and a folder that refuses writes makes saving report failure.
#include "VelmoraUI/state/PreferenceFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

ino_t inodeOf(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

TEST(PreferenceFileTest, DamagedFileIsSetAsideUnchangedAndTheStoreStartsEmpty) {
    TestTree tree;
    const std::string damaged("\xff\xfe\0[General\nvelmora.language=ja\n[[[\n", 36);
    const std::string conf = test::writeFile(tree, "config/Velmora/Velmora.conf", damaged);
    PreferenceFile file = openPreferenceFile(tree.path("config"));
    ASSERT_TRUE(file.wasDamaged);
    ASSERT_TRUE(file.damagedFileBackup);
    EXPECT_EQ(test::readFile(*file.damagedFileBackup), damaged);
    EXPECT_TRUE(file.settings->allKeys().isEmpty());
    EXPECT_TRUE(storePreference(*file.settings, "velmora.language", QString("de")));
    EXPECT_EQ(test::readFile(*file.damagedFileBackup), damaged);
    const std::string message = *damagedPreferencesMessage(file, AppLanguage::english);
    EXPECT_NE(message.find(*file.damagedFileBackup), std::string::npos) << message;

    // A second damaged file on the same second gets its own backup name.
    test::writeFile(conf, damaged);
    PreferenceFile again = openPreferenceFileAt(conf);
    ASSERT_TRUE(again.damagedFileBackup);
    EXPECT_NE(*again.damagedFileBackup, *file.damagedFileBackup);
}

TEST(PreferenceFileTest, GoodFileIsReadAndWrittenThroughANewFile) {
    TestTree tree;
    const std::string conf =
        test::writeFile(tree, "c/Velmora.conf", "[General]\nvelmora.language=ja\n");
    PreferenceFile file = openPreferenceFileAt(conf);
    EXPECT_FALSE(file.wasDamaged);
    EXPECT_FALSE(damagedPreferencesMessage(file, AppLanguage::english));
    EXPECT_EQ(file.settings->value("velmora.language").toString(), "ja");

    const ino_t before = inodeOf(conf);
    ASSERT_TRUE(storePreference(*file.settings, "velmora.blob", QByteArray("[1,\0 2]", 7)));
    EXPECT_NE(inodeOf(conf), before) << "written in place, not through a renamed temporary file";
    EXPECT_EQ(preferenceData(*openPreferenceFileAt(conf).settings, "velmora.blob"),
              QByteArray("[1,\0 2]", 7));
    // A string is not a data blob.
    EXPECT_FALSE(preferenceData(*file.settings, "velmora.language"));
    EXPECT_TRUE(removePreference(*file.settings, "velmora.blob"));
    EXPECT_FALSE(preferenceData(*openPreferenceFileAt(conf).settings, "velmora.blob"));
}

TEST(PreferenceFileTest, AWriteThatFailsLeavesTheValuesAsTheyWere) {
    // Otherwise the refused value would reach the file with the next write that succeeds.
    TestTree tree;
    test::writeFile(tree, "ro/Velmora.conf", "[General]\nvelmora.language=ja\n");
    tree.chmod("ro", 0555);
    EXPECT_TRUE(test::runWithoutPrivileges(tree, [&] {
        PreferenceFile file = openPreferenceFileAt(tree.path("ro/Velmora.conf"));
        const bool storeFailed =
            !storePreference(*file.settings, "velmora.language", QString("fr")) &&
            !storePreference(*file.settings, "velmora.new", QString("x"));
        const bool removeFailed = !removePreference(*file.settings, "velmora.language");
        const bool undone = storeFailed && removeFailed &&
                            file.settings->value("velmora.language").toString() == "ja" &&
                            !file.settings->contains("velmora.new");
        // A failure is not remembered against later writes that do reach the file.
        ::chmod(tree.path("ro").c_str(), 0755);
        return undone && storePreference(*file.settings, "velmora.language", QString("de")) &&
               openPreferenceFileAt(tree.path("ro/Velmora.conf"))
                       .settings->value("velmora.language") == "de" &&
               removePreference(*file.settings, "velmora.language");
    }));
}

}  // namespace
}  // namespace velmora

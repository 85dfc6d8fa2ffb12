// Settings write their keys in the exact forms the preference file keeps, apply at once, and
// read unknown stored values as the defaults.
#include "VelmoraUI/dashboard/SettingsViewModel.h"

#include <gtest/gtest.h>

#include "dashboard/ViewModelHarness.h"

namespace velmora {
namespace {

TEST(SettingsViewModelTest, ChangesAreStoredInTheirKeyFormsAndPublished) {
    test::ViewModelHome h;
    QSettings& s = *h.preferences.settings;
    SettingsViewModel vm(s, AppLanguage::english, h.review, h.folders, ScanRootRules{});
    int languageSignals = 0;
    QObject::connect(&vm, &SettingsViewModel::languageChanged, [&] { ++languageSignals; });
    auto language = vm.languageSource();

    ASSERT_TRUE(vm.setLanguage(AppLanguage::german));
    EXPECT_EQ(languageSignals, 1);
    EXPECT_EQ(language(), AppLanguage::german);  // other view models see it without restart
    ASSERT_TRUE(vm.setAppearanceMode(AppearanceMode::dark));
    ASSERT_TRUE(vm.setTextScale(TextScale::extraLarge));
    ASSERT_TRUE(vm.setScanMode(CleanupScanMode::aggressive));
    ASSERT_TRUE(vm.completeOnboarding());
    EXPECT_TRUE(vm.remindersEnabled());  // on until turned off
    ASSERT_TRUE(vm.setRemindersEnabled(false));
    ASSERT_TRUE(vm.setCadence(CleanupReviewCadence::monthly));

    // A second reader of the same file sees every value in its stored form.
    PreferenceFile again = openPreferenceFileAt(s.fileName().toStdString());
    QSettings& r = *again.settings;
    EXPECT_EQ(r.value("velmora.language").toString(), "de");
    EXPECT_EQ(r.value("velmora.appearanceMode").toString(), "dark");
    EXPECT_EQ(r.value("velmora.textScale").toString(), "extraLarge");
    EXPECT_EQ(r.value("velmora.macScanMode").toString(), "aggressive");
    EXPECT_EQ(r.value("velmora.macOnboardingCompleted.v1").toString(), "true");
    EXPECT_EQ(r.value("velmora.menuBarRemindersEnabled").toString(), "false");
    EXPECT_EQ(r.value("velmora.cleanupReviewLoop.cadence").toString(), "monthly");
    DashboardPreferences read{r};
    EXPECT_EQ(read.textScale(), TextScale::extraLarge);
    EXPECT_TRUE(read.onboardingCompleted());
}

TEST(SettingsViewModelTest, UnknownStoredValuesReadAsDefaults) {
    test::ViewModelHome h;
    QSettings& s = *h.preferences.settings;
    s.setValue("velmora.appearanceMode", "sepia");
    s.setValue("velmora.textScale", "huge");
    s.setValue("velmora.macScanMode", "");
    s.setValue("velmora.macOnboardingCompleted.v1", "yes");
    s.setValue("velmora.menuBarRemindersEnabled", "false");
    DashboardPreferences p{s};
    EXPECT_EQ(p.appearanceMode(), AppearanceMode::system);
    EXPECT_EQ(p.textScale(), TextScale::standard);
    EXPECT_EQ(p.scanMode(), CleanupScanMode::standard);
    EXPECT_FALSE(p.onboardingCompleted());
    SettingsViewModel vm(s, AppLanguage::english, h.review, h.folders, ScanRootRules{});
    EXPECT_FALSE(vm.remindersEnabled());
}

TEST(SettingsViewModelTest, ARefusedFolderIsExplained) {
    test::ViewModelHome h;
    const ScanRootRules rules = scanRootRules(currentUserEnvironment(h.home), Catalogue::linux);
    SettingsViewModel vm(*h.preferences.settings, AppLanguage::english, h.review, h.folders, rules);
    EXPECT_FALSE(vm.addFolder(h.home));  // the home folder itself is never a scan root
    ASSERT_TRUE(vm.message().has_value());
    EXPECT_TRUE(vm.folders().empty());
    const std::string work = h.tree.dir("home/work");
    EXPECT_TRUE(vm.addFolder(work));
    EXPECT_FALSE(vm.message().has_value());
    ASSERT_EQ(vm.folders().size(), 1u);
    EXPECT_EQ(vm.folders()[0].fallbackPath, work);
}

}  // namespace
}  // namespace velmora

#pragma once
// The settings of the desktop application: language (applies at once), appearance, text
// scale, review cadence and profile, kept scan folders, reminders. Each setter writes its key
// at once; a write that fails keeps the previous value and says so in `message`.
//
// `language()` is the one every view presents in: the other view models take it through the
// function `languageSource()` returns, so a change needs no restart.
//
// Threading: a QObject of the UI thread.
#include <QObject>
#include <QSettings>
#include <functional>
#include <optional>
#include <string>

#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/dashboard/CleanerViewModel.h"
#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/state/CleanupReviewPreferencesStore.h"
#include "VelmoraUI/state/CustomScanFolders.h"
#include "VelmoraUI/state/DashboardPreferences.h"

namespace velmora {

class SettingsViewModel final : public QObject {
    Q_OBJECT

  public:
    /// `language` is the language resolved at launch.
    SettingsViewModel(QSettings& settings, AppLanguage language,
                      CleanupReviewPreferencesStore& reviewStore,
                      CustomScanFolderStore& folderStore, ScanRootRules folderRules,
                      std::function<Date()> now = currentDate, QObject* parent = nullptr);

    AppLanguage language() const { return language_; }
    bool setLanguage(AppLanguage language);
    std::function<AppLanguage()> languageSource() const {
        return [this] { return language_; };
    }

    AppearanceMode appearanceMode() const { return preferences_.appearanceMode(); }
    bool setAppearanceMode(AppearanceMode mode);
    TextScale textScale() const { return preferences_.textScale(); }
    bool setTextScale(TextScale scale);
    CleanupScanMode scanMode() const { return preferences_.scanMode(); }
    bool setScanMode(CleanupScanMode mode);
    bool onboardingCompleted() const { return preferences_.onboardingCompleted(); }
    /// Whether the dashboard shows its advanced scan options (the scan mode).
    bool advancedExpanded() const { return preferences_.advancedExpanded(); }
    bool setAdvancedExpanded(bool expanded) {
        return saved(preferences_.setAdvancedExpanded(expanded));
    }
    bool completeOnboarding();

    CleanupReviewCadence cadence() const { return reviewStore_.cadence(); }
    bool setCadence(CleanupReviewCadence cadence);
    CleanupReviewProfileID profile() const { return reviewStore_.selectedProfileID(); }
    bool setProfile(CleanupReviewProfileID id);
    /// "Next safety review reminder in 3 days." and the like, in the current language.
    std::string reviewStatusSentence() const;
    CleanupReviewCadenceStatus reviewStatus() const { return reviewStore_.status(now_()); }

    /// Reminders are on unless the person turned them off.
    bool remindersEnabled() const;
    bool setRemindersEnabled(bool enabled);

    const std::vector<CustomScanFolder>& folders() const;
    /// Adds the folder at `path` after the scan-root checks; false with `message` set when
    /// refused or not saved.
    bool addFolder(const std::string& path);
    bool removeFolder(const std::string& id);

    std::optional<std::string> message() const;

  signals:
    void languageChanged();
    void appearanceChanged();
    void reviewChanged();
    void foldersChanged();
    void remindersChanged();
    void messageChanged();

  private:
    bool saved(bool ok);

    QSettings& settings_;
    AppLanguage language_;
    DashboardPreferences preferences_;
    CleanupReviewPreferencesStore& reviewStore_;
    CustomScanFolderStore& folderStore_;
    ScanRootRules folderRules_;
    std::function<Date()> now_;
    Sentence message_;
};

}  // namespace velmora

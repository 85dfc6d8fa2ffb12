#include "VelmoraUI/dashboard/SettingsViewModel.h"

#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/CustomScanFolders.h"
#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {

SettingsViewModel::SettingsViewModel(QSettings& settings, AppLanguage language,
                                     CleanupReviewPreferencesStore& reviewStore,
                                     CustomScanFolderStore& folderStore, ScanRootRules folderRules,
                                     std::function<Date()> now, QObject* parent)
    : QObject(parent),
      settings_(settings),
      language_(language),
      preferences_{settings},
      reviewStore_(reviewStore),
      folderStore_(folderStore),
      folderRules_(std::move(folderRules)),
      now_(std::move(now)) {
    connect(&reviewStore_, &CleanupReviewPreferencesStore::cadenceChanged, this,
            &SettingsViewModel::reviewChanged);
    connect(&reviewStore_, &CleanupReviewPreferencesStore::selectedProfileIDChanged, this,
            &SettingsViewModel::reviewChanged);
    connect(&reviewStore_, &CleanupReviewPreferencesStore::lastReviewedAtChanged, this,
            &SettingsViewModel::reviewChanged);
    connect(&folderStore_, &CustomScanFolderStore::foldersChanged, this,
            &SettingsViewModel::foldersChanged);
}

std::optional<std::string> SettingsViewModel::message() const {
    if (!message_) return std::nullopt;
    return message_(language_);
}

bool SettingsViewModel::saved(bool ok) {
    if (ok) {
        if (message_) {
            message_ = {};
            emit messageChanged();
        }
        return true;
    }
    message_ = [path = settings_.fileName().toStdString()](AppLanguage language) {
        // clang-format off
        // i18n-example: "The setting could not be saved to /home/ana/.config/Velmora/Velmora.conf; it keeps its previous value."
        // clang-format on
        return VelmoraCopy{language}.text(
            "The setting could not be saved to " + path + "; it keeps its previous value.",
            "설정을 " + path + "에 저장할 수 없어 이전 값을 유지합니다.");
    };
    emit messageChanged();
    return false;
}

bool SettingsViewModel::setLanguage(AppLanguage language) {
    const std::string_view code = languageCode(language);
    if (!saved(storePreference(settings_, kLanguagePreferenceKey,
                               QString::fromUtf8(code.data(), qsizetype(code.size()))))) {
        return false;
    }
    if (language_ != language) {
        language_ = language;
        emit languageChanged();
    }
    return true;
}

bool SettingsViewModel::setAppearanceMode(AppearanceMode mode) {
    if (!saved(preferences_.setAppearanceMode(mode))) return false;
    emit appearanceChanged();
    return true;
}

bool SettingsViewModel::setTextScale(TextScale scale) {
    if (!saved(preferences_.setTextScale(scale))) return false;
    emit appearanceChanged();
    return true;
}

bool SettingsViewModel::setScanMode(CleanupScanMode mode) {
    return saved(preferences_.setScanMode(mode));
}

bool SettingsViewModel::completeOnboarding() {
    return saved(preferences_.setOnboardingCompleted(true));
}

bool SettingsViewModel::setCadence(CleanupReviewCadence cadence) {
    return saved(reviewStore_.setCadence(cadence));
}

bool SettingsViewModel::setProfile(CleanupReviewProfileID id) {
    return saved(reviewStore_.setSelectedProfileID(id));
}

std::string SettingsViewModel::reviewStatusSentence() const {
    return CleanupReviewPreferencesStore::statusMessage(reviewStatus(), language_);
}

bool SettingsViewModel::remindersEnabled() const {
    return velmora::remindersEnabled(settings_);
}

bool SettingsViewModel::setRemindersEnabled(bool enabled) {
    if (!saved(storePreference(settings_, kRemindersEnabledKey, enabled))) return false;
    emit remindersChanged();
    return true;
}

const std::vector<CustomScanFolder>& SettingsViewModel::folders() const {
    return folderStore_.folders();
}

bool SettingsViewModel::addFolder(const std::string& path) {
    if (folderStore_.add(path, folderRules_, now_())) return saved(true);
    message_ = [text = folderStore_.lastErrorMessage().value_or("")](AppLanguage language) {
        return presentedReason(text, language);
    };
    emit messageChanged();
    return false;
}

bool SettingsViewModel::removeFolder(const std::string& id) {
    if (folderStore_.remove(id)) return saved(true);
    return saved(false);
}

}  // namespace velmora

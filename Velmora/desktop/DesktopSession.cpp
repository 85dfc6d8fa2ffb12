#include "Velmora/desktop/DesktopSession.h"

#include "CleanerCore/platform/Environment.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/localization/LanguagePreference.h"
#include "VelmoraUI/relief/ResourceReliefTexts.h"

namespace velmora::desktop {

DesktopSession::DesktopSession(SessionOptions options) : options_(std::move(options)) {
    const UserEnvironment environment = currentUserEnvironment(options_.homeOverride);
    preferences_ = openPreferenceFile(environment.xdgConfigHome);
    QSettings& settings = *preferences_.settings;
    seedLaunchLanguage(settings, defaultLanguageFromBuild(), std::nullopt);
    const AppLanguage language = resolvedLanguage(settings);

    reviewStore_ = std::make_unique<CleanupReviewPreferencesStore>(settings);
    folderStore_ = std::make_unique<CustomScanFolderStore>(settings, language);
    settingsModel_ =
        std::make_unique<SettingsViewModel>(settings, language, *reviewStore_, *folderStore_,
                                            scanRootRules(environment, options_.catalogue));
    ignoreStore_ =
        std::make_unique<CleanupIgnoreStore>(settings, std::string(kCleanupIgnoreItemsKey),
                                             settingsModel_->languageSource(), currentDate());

    CleanerEnvironment cleanerEnvironment;
    cleanerEnvironment.homeOverride = options_.homeOverride;
    cleanerEnvironment.catalogue = options_.catalogue;
    if (options_.runScan) cleanerEnvironment.runScan = options_.runScan;
    cleaner_ = std::make_unique<CleanerViewModel>(cleanerEnvironment, *ignoreStore_, *folderStore_,
                                                  *reviewStore_);
    history_ = std::make_unique<HistoryViewModel>(cleanerEnvironment, *folderStore_);
    historyExport_ = std::make_unique<HistoryExportViewModel>(cleanerEnvironment);
    growth_ = std::make_unique<GrowthViewModel>(cleanerEnvironment, *folderStore_);
    InsightsEnvironment insightsEnvironment;
    insightsEnvironment.homeOverride = options_.homeOverride;
    insightsEnvironment.catalogue = options_.catalogue;
    insightsEnvironment.overrides = options_.insightOverrides;
    insights_ = std::make_unique<InsightsViewModel>(std::move(insightsEnvironment), settings);
    SystemResourceRelief relief =
        options_.relief ? *options_.relief
                        : systemResourceRelief(environment.xdgDataHome, reliefLocales(language),
                                               environment.isSandboxed);
    scheduler_ = std::make_unique<MainThreadScheduler>();
    relief_ = std::make_unique<ResourceReliefViewModel>(
        std::move(relief.providers), std::move(relief.identity), *scheduler_,
        options_.postQuitRefreshDelayNanoseconds, nullptr,
        ResourceReliefViewModel::collatorComparator(uiLocale(language)));
}

std::optional<std::string> DesktopSession::startupMessage() const {
    return damagedPreferencesMessage(preferences_, settingsModel_->language());
}

}  // namespace velmora::desktop

#pragma once
// Everything the window shows, created once at start-up in the order start-up needs: the
// preference file (a damaged one set aside), the language (resolved before any message is
// built), the stores, then the view models. Nothing is scanned or cleaned here.
//
// Main thread only. The window and the tests build on one session.
#include <memory>
#include <optional>
#include <string>

#include "VelmoraUI/dashboard/CleanerViewModel.h"
#include "VelmoraUI/dashboard/GrowthViewModel.h"
#include "VelmoraUI/dashboard/HistoryExportViewModel.h"
#include "VelmoraUI/dashboard/HistoryViewModel.h"
#include "VelmoraUI/dashboard/InsightsViewModel.h"
#include "VelmoraUI/dashboard/SettingsViewModel.h"
#include "VelmoraUI/relief/ResourceReliefViewModel.h"
#include "VelmoraUI/state/CleanupIgnoreStore.h"
#include "VelmoraUI/state/CleanupReviewPreferencesStore.h"
#include "VelmoraUI/state/CustomScanFolders.h"
#include "VelmoraUI/state/MainThreadScheduler.h"
#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora::desktop {

struct SessionOptions {
    std::optional<std::string> homeOverride;  ///< none: this user's home folder
    Catalogue catalogue = hostCatalogue();
    /// Replaces the insight scan's thresholds (tests lower the duplicate size floor).
    InsightConfigurationOverrides insightOverrides = {};
    /// Replaces the survey of this machine's applications and the quit request (tests and
    /// pictures use made-up applications); none: the real ones.
    std::optional<SystemResourceRelief> relief = {};
    /// The pause between a pass of quit requests and the list's own refresh.
    uint64_t postQuitRefreshDelayNanoseconds = 1'500'000'000;
    /// Replaces how the cleanup scan runs (tests hold a scan until they have cancelled it);
    /// none: as it is.
    decltype(CleanerEnvironment::runScan) runScan = {};
};

class DesktopSession {
  public:
    explicit DesktopSession(SessionOptions options);

    const SessionOptions& options() const { return options_; }
    /// The sentence saying the preference file was damaged and set aside; none when it was fine.
    std::optional<std::string> startupMessage() const;

    QSettings& settings() { return *preferences_.settings; }
    CleanerViewModel& cleaner() { return *cleaner_; }
    HistoryViewModel& history() { return *history_; }
    HistoryExportViewModel& historyExport() { return *historyExport_; }
    GrowthViewModel& growth() { return *growth_; }
    InsightsViewModel& insights() { return *insights_; }
    ResourceReliefViewModel& relief() { return *relief_; }
    SettingsViewModel& settingsModel() { return *settingsModel_; }
    CleanupIgnoreStore& ignoreStore() { return *ignoreStore_; }
    AppLanguage language() const { return settingsModel_->language(); }

  private:
    SessionOptions options_;
    PreferenceFile preferences_;
    std::unique_ptr<CleanupReviewPreferencesStore> reviewStore_;
    std::unique_ptr<CustomScanFolderStore> folderStore_;
    std::unique_ptr<CleanupIgnoreStore> ignoreStore_;
    std::unique_ptr<SettingsViewModel> settingsModel_;
    std::unique_ptr<CleanerViewModel> cleaner_;
    std::unique_ptr<HistoryViewModel> history_;
    std::unique_ptr<HistoryExportViewModel> historyExport_;
    std::unique_ptr<GrowthViewModel> growth_;
    std::unique_ptr<InsightsViewModel> insights_;
    std::unique_ptr<MainThreadScheduler> scheduler_;
    std::unique_ptr<ResourceReliefViewModel> relief_;
};

}  // namespace velmora::desktop

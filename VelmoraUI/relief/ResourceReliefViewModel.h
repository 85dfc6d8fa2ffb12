#pragma once
// The resource relief panel: the running applications ranked by CPU and by memory, the
// selection, and the pass that asks the selected ones to quit after the person confirmed.
//
// The survey and the request pass run off the UI thread (each on a background task); results
// are published on the UI thread through the signals below. After a request pass the list
// refreshes itself once `postQuitRefreshDelay` has passed (through the injected scheduler); a
// newer pending refresh replaces an older one.
//
// Threading: a QObject of the UI thread; members are called and signals emitted there. The
// providers run on background threads and must be thread-safe.
#include <QObject>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "CleanerCore/base/Scheduling.h"
#include "CleanerCore/relief/ReliefText.h"
#include "CleanerCore/relief/ResourceReliefProviders.h"
#include "VelmoraUI/dashboard/BackgroundTask.h"
#include "VelmoraUI/localization/AppLanguage.h"

class QLocale;

namespace velmora {

class ResourceReliefViewModel final : public QObject {
    Q_OBJECT

  public:
    /// `scheduler` runs the automatic refresh; it must outlive this object (its task does
    /// nothing once this object is gone). Names are ranked by `compareNames`, by default the
    /// collation of the system locale, case-insensitive.
    ResourceReliefViewModel(ResourceReliefProviders providers, ResourceReliefIdentity identity,
                            Scheduler& scheduler, uint64_t postQuitRefreshDelayNanoseconds,
                            QObject* parent = nullptr, DisplayNameComparator compareNames = {});
    ~ResourceReliefViewModel() override;

    /// A case-insensitive comparator over QCollator for `locale`.
    static DisplayNameComparator collatorComparator(const QLocale& locale);

    const std::vector<ResourceReliefCandidate>& candidates() const { return candidates_; }
    const std::vector<ResourceReliefCandidate>& cpuSortedCandidates() const { return byCPU_; }
    const std::vector<ResourceReliefCandidate>& memorySortedCandidates() const { return byMemory_; }
    const std::set<ResourceReliefCandidateID>& selectedIDs() const { return selected_; }
    const ResourceReliefCapability& capability() const { return capability_; }
    const std::vector<ResourceReliefActionResult>& lastResults() const { return lastResults_; }
    bool isRefreshing() const { return refreshing_; }
    bool isRequestingQuit() const { return requesting_; }

    bool hasActionableCandidates() const;
    /// Whether `requestQuitForSelected` would start now.
    bool canRequestQuit() const;

    /// Reads the capability and surveys the applications again. False (nothing started) while
    /// a refresh runs.
    bool refresh();
    /// Adds or removes `id`; only ids of actionable candidates can be added.
    void toggleSelection(const ResourceReliefCandidateID& id);
    /// The request pass over the selected candidates in list order; call after the person
    /// confirmed the dialog. False (nothing started) while a pass runs, with an empty selection
    /// or without the capability.
    bool requestQuitForSelected();

    /// What the panel says instead of (or above) the list: the sandbox explanation, or that no
    /// application can be asked to quit; nothing when the list has actionable candidates.
    std::optional<std::string> panelNote(AppLanguage language) const;
    /// The confirmation for the current selection.
    std::string quitDialogTitle(AppLanguage language) const;
    std::string quitDialogText(AppLanguage language) const;

  signals:
    void candidatesChanged();
    void selectionChanged();
    void capabilityChanged();
    void lastResultsChanged();
    void refreshingChanged();
    void requestingQuitChanged();

  private:
    struct PendingRefresh;
    void publish(ResourceReliefCapability capability,
                 std::vector<ResourceReliefProcessSnapshot> snapshots);
    void finishPass(std::vector<ResourceReliefActionResult> results);
    void schedulePostQuitRefresh();

    ResourceReliefProviders providers_;
    ResourceReliefIdentity identity_;
    Scheduler& scheduler_;
    uint64_t postQuitRefreshDelay_;
    DisplayNameComparator compareNames_;

    std::vector<ResourceReliefCandidate> candidates_, byCPU_, byMemory_;
    std::set<ResourceReliefCandidateID> selected_;
    ResourceReliefCapability capability_;
    std::vector<ResourceReliefActionResult> lastResults_;
    bool refreshing_ = false;
    bool requesting_ = false;
    bool refreshAgain_ = false;  ///< the automatic refresh came while one ran

    std::shared_ptr<PendingRefresh> pending_;
    BackgroundTask refreshTask_;
    BackgroundTask quitTask_;
};

}  // namespace velmora

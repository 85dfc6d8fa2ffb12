#pragma once
// The insights of the desktop application: the read-only storage insight scan, moving chosen
// findings to the Trash, and the system panel with its recent history.
//
// A scan runs on a background task with its progress thinned by the coalescer; a cancelled scan
// keeps the report shown before (the placeholder before the first scan) and says so. A finished
// scan publishes its report, the keeper recommendation of each duplicate copy (by file id) and
// which findings may be offered for the Trash. Moving runs on the same task through the insight
// cleanup run (checked again, recorded in the history); the moved findings then leave every
// list, and a duplicate group left with one copy goes.
//
// The system snapshot is refreshed while sampling is on (the page turns it on while it is
// shown): at once, then every `samplingIntervalNanoseconds`. Each snapshot is appended to the
// metric history, which is loaded from the preferences at creation and saved through the
// debounced persistence scheduler; destruction writes what is still waiting.
//
// Threading: a QObject of the UI thread; members are called and signals emitted there. The
// `mainScheduler` must run its tasks on this thread (the default does). Destroying the view
// model cancels and waits for the task.
#include <QObject>
#include <QSettings>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "CleanerCore/workflows/InsightCleanupRun.h"
#include "CleanerCore/workflows/InsightRun.h"
#include "VelmoraUI/dashboard/BackgroundTask.h"
#include "VelmoraUI/dashboard/CleanerViewModel.h"
#include "VelmoraUI/state/SystemMetricHistory.h"

namespace velmora {

class ScanProgressCoalescer;

struct InsightsEnvironment {
    std::optional<std::string> homeOverride;  ///< none: this user's home folder
    Catalogue catalogue = hostCatalogue();
    InsightConfigurationOverrides overrides;
    /// Monotonic time for the progress coalescer and the save debounce (tests inject fakes).
    std::shared_ptr<MonotonicClock> clock;
    /// Deferral of the progress coalescer; any thread.
    std::shared_ptr<Scheduler> progressScheduler;
    /// The sampling timer and the history writes; runs tasks on the view model's thread.
    std::shared_ptr<Scheduler> mainScheduler;
    /// The system snapshot source; default SystemResourceSnapshot::capture.
    std::function<SystemResourceSnapshot()> captureSnapshot;
    /// Wall-clock time for loading the history.
    std::function<Date()> now = currentDate;
    uint64_t samplingIntervalNanoseconds = 5'000'000'000;
    uint64_t saveDebounceNanoseconds = 3'000'000'000;
    uint64_t maximumDeferredSaveNanoseconds = 15'000'000'000;
    /// Runs the insight scan on the view model's worker thread (tests wrap it to hold a scan
    /// at a known point).
    std::function<InsightRun(const InsightRunRequest&, const UserEnvironment&,
                             const std::function<void(const StorageScanProgress&)>&,
                             const CancellationToken&)>
        runScan = runInsightScan;
};

/// What became of one finding the person chose to move.
struct InsightMoveResult {
    enum class State { moved, failed, keptLastCopy, notOffered };
    std::string path;
    State state = State::moved;
    std::string reason;  ///< the English reason of a failure (present it with presentedReason)
    friend bool operator==(const InsightMoveResult&, const InsightMoveResult&) = default;
};

class InsightsViewModel final : public QObject {
    Q_OBJECT

  public:
    enum class Phase { idle, scanning, moving };

    /// Loads the metric history from `settings` (which must outlive the view model).
    InsightsViewModel(InsightsEnvironment environment, QSettings& settings,
                      QObject* parent = nullptr);
    ~InsightsViewModel() override;

    Phase phase() const { return phase_; }
    /// Starts a scan. False while a task runs.
    bool startScan();
    /// Stops the scan or the move at its next item.
    void cancel() { task_.cancel(); }

    const std::optional<StorageScanProgress>& progress() const { return progress_; }
    /// The shown report: the placeholder before the first scan, moved findings removed.
    const MacStorageInsightReport& report() const { return report_; }
    /// The scanned home folder (standardized), for display paths.
    const std::string& home() const { return home_; }
    /// Folder and file sizes below the home as the last completed scan found them (moves to
    /// the Trash since then are not subtracted); null before the first scan.
    const std::shared_ptr<const StorageTree>& storageTree() const { return storageTree_; }
    /// Whether the last scan was cancelled (the report is then the earlier one).
    bool scanWasCancelled() const { return scanWasCancelled_; }
    /// The recommendation of each duplicate copy's group, by the copy's finding id.
    const std::map<std::string, DuplicateKeeperRecommendation>& keepers() const { return keepers_; }
    /// Whether `finding` is the recommended keeper of its group.
    bool isRecommendedKeeper(const FileInsight& finding) const;
    /// Whether the finding may be offered for "Move to Trash" (judged when the scan ended).
    bool mayMoveToTrash(const std::string& findingID) const { return movable_.count(findingID); }

    /// Moves the findings `ids` to the Trash. False when none is given, no scan has finished or
    /// a task runs.
    bool moveToTrash(std::vector<std::string> ids);
    /// The results of the last move, one per chosen file, in the order chosen.
    const std::vector<InsightMoveResult>& moveResults() const { return moveResults_; }
    const std::optional<InsightCleanupOutcome>& moveOutcome() const { return moveOutcome_; }

    /// The latest sentence for the person: a cancelled scan, the summary of a move.
    std::optional<std::string> message(AppLanguage language) const;

    /// The newest system snapshot (the last scan's until the first refresh).
    const SystemResourceSnapshot& systemSnapshot() const { return systemSnapshot_; }
    const SystemMetricHistory& metricHistory() const { return metricHistory_; }
    /// Takes a snapshot now and appends it to the history.
    void refreshSystemSnapshot();
    /// Starts or stops the periodic refresh; starting refreshes at once.
    void setSystemSamplingActive(bool active);
    bool isSystemSamplingActive() const { return sampling_; }

  signals:
    void phaseChanged();
    void progressChanged();
    void reportChanged();
    void moveFinished();
    void messageChanged();
    void systemChanged();

  private:
    struct Scanned;
    void setPhase(Phase phase);
    void setMessage(Sentence sentence);
    void finishScan(std::shared_ptr<Scanned> scanned);
    void finishMove(InsightCleanupOutcome outcome, std::vector<std::string> ids);
    void rebuildKeepers();
    void scheduleSample();

    InsightsEnvironment environment_;
    SystemMetricHistoryStore store_;
    Phase phase_ = Phase::idle;
    std::optional<StorageScanProgress> progress_;
    MacStorageInsightReport report_ = MacStorageInsightReport::placeholder();
    std::vector<DuplicateKeeperRecommendation> keeperList_;
    std::map<std::string, DuplicateKeeperRecommendation> keepers_;
    std::set<std::string> movable_;
    std::shared_ptr<const InsightCleanupScope> scope_;
    std::string home_;
    std::shared_ptr<const StorageTree> storageTree_;
    bool scanWasCancelled_ = false;
    std::vector<InsightMoveResult> moveResults_;
    std::optional<InsightCleanupOutcome> moveOutcome_;
    Sentence message_;
    SystemResourceSnapshot systemSnapshot_;
    SystemMetricHistory metricHistory_;
    bool sampling_ = false;
    uint64_t samplingGeneration_ = 0;
    std::shared_ptr<ScanProgressCoalescer> coalescer_;
    std::unique_ptr<SystemMetricHistoryPersistenceScheduler> persistence_;
    BackgroundTask task_;  // last: destroyed (and waited for) first
};

}  // namespace velmora

#pragma once
// The cleaner of the desktop application: Scan → Review → Move to Trash.
//
// A scan resolves the person's kept folders, prepares the locations of the chosen mode (or of
// the review profile, for a review), scans them on a background task with its progress thinned
// by the coalescer, and hides the candidates on the ignore list. The candidates the scan marks
// as selected by default start selected. The person adjusts the selection, ignores items, and
// confirms; the cleanup then runs on a background task against the same locations, each item
// validated again, and reports every item's result as it is known. The history entry is written
// by the cleanup run itself. A completed scan also keeps its privacy-preserving snapshot, in
// the same background work; only trouble with the snapshot store becomes a message.
//
// Threading: a QObject of the UI thread; every member is called there and every signal is
// emitted there. One background task at a time: a scan and a cleanup never overlap, and
// `cancel` stops whichever runs at its next item. Destroying the view model cancels and waits
// for the task.
//
// Sentences are kept as functions of the language, so that a change of language re-renders
// the message at once.
#include <QObject>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/review/CleanupReappearance.h"
#include "CleanerCore/review/CleanupSelectionPreview.h"
#include "CleanerCore/workflows/CleanupRun.h"
#include "CleanerCore/workflows/ScanSession.h"
#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/dashboard/BackgroundTask.h"
#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/state/CleanupReviewProfile.h"
#include "VelmoraUI/state/IgnoredCleanupItem.h"

namespace velmora {

class CleanupIgnoreStore;
class CustomScanFolderStore;
class CleanupReviewPreferencesStore;
class MonotonicClock;
class Scheduler;
class ScanProgressCoalescer;

/// A sentence in any language.
using Sentence = std::function<std::string(AppLanguage)>;

struct CleanerEnvironment {
    std::optional<std::string> homeOverride;  ///< none: this user's home folder
    Catalogue catalogue = hostCatalogue();
    /// Wall-clock time for the ignore list and the review date (tests pin it).
    std::function<Date()> now = currentDate;
    /// Time and deferral for the progress coalescer (tests inject fakes).
    std::shared_ptr<MonotonicClock> progressClock;
    std::shared_ptr<Scheduler> progressScheduler;
    /// Runs the scan of a prepared setup on the view model's worker thread (tests wrap it to
    /// hold a scan at a known point).
    std::function<ScanReport(const ScanSetup&, const StorageScanner::ProgressCallback&,
                             const CancellationToken&)>
        runScan = runScanSession;
};

/// What became of one confirmed item.
struct CleanupItemResult {
    CleanupCandidate candidate;
    bool cleaned = false;
    std::string reason;  ///< the English reason of a failure (present it with presentedReason)
};

class CleanerViewModel final : public QObject {
    Q_OBJECT

  public:
    enum class Phase {
        idle,      ///< nothing scanned yet (nothing is scanned until the person asks)
        scanning,  ///< a scan runs; `progress` moves
        review,    ///< a report is shown; the selection can change
        cleaning,  ///< a cleanup runs; `cleanupResults` grows
    };

    CleanerViewModel(CleanerEnvironment environment, CleanupIgnoreStore& ignoreStore,
                     CustomScanFolderStore& folderStore, CleanupReviewPreferencesStore& reviewStore,
                     QObject* parent = nullptr);
    ~CleanerViewModel() override;

    Phase phase() const { return phase_; }

    /// Starts a scan in `mode` (direct mode chosen here counts as the person's permission), or,
    /// with `profile`, the scan that review profile asks for. False while a task runs.
    bool startScan(CleanupScanMode mode,
                   std::optional<CleanupReviewProfileID> profile = std::nullopt);
    /// Stops the scan or the cleanup at its next item; what was done stays done.
    void cancel();

    const std::optional<StorageScanProgress>& progress() const { return progress_; }
    /// The shown report: ignored candidates hidden, cleaned ones removed after a cleanup.
    const ScanReport& report() const { return report_; }
    const std::string& home() const { return home_; }
    size_t ignoredCount() const { return ignoredCount_; }
    /// The bytes the shown candidates hold, each byte counted once (a candidate inside another
    /// adds nothing).
    int64_t reclaimableBytes() const;
    bool scanWasCancelled() const { return scanWasCancelled_; }
    /// What the last completed scan found of the newest recorded cleanup's material; none
    /// before a scan, after a cancelled one, and once a cleanup from this report has run (the
    /// scan no longer follows the newest cleanup).
    const std::optional<CleanupReappearanceObservation>& reappearance() const {
        return reappearance_;
    }
    /// The sentence to show for `reappearance()`; none when there is nothing to say (no
    /// observation, or no cleanup to compare).
    std::optional<std::string> reappearanceText(AppLanguage language) const;

    bool isSelected(size_t row) const { return row < selected_.size() && selected_[row]; }
    void setSelected(size_t row, bool selected);
    void setSelected(const std::vector<size_t>& rows, bool selected);
    void selectAll(bool selected);
    std::vector<CleanupCandidate> selectedCandidates() const;
    CleanupSelectionPreview selectionPreview() const;

    /// Puts the candidates of `rows` on the ignore list for `duration` and removes them from
    /// the report and the selection. False (nothing changed) when the list could not be
    /// saved; `message` then says why.
    bool ignore(const std::vector<size_t>& rows, CleanupIgnoreDuration duration);

    /// Moves the selected candidates to the Trash. False when nothing is selected or a task
    /// runs. The selection is taken as it is now; the report keeps showing it while the
    /// items move, and the cleaned ones leave the report when the run ends.
    bool startCleanup();
    const std::vector<CleanupItemResult>& cleanupResults() const { return cleanupResults_; }
    /// How the last cleanup went, once it has ended.
    const std::optional<CleanupRunOutcome>& cleanupOutcome() const { return cleanupOutcome_; }
    /// The selection's total when the last cleanup started (the figure its summary compares).
    int64_t cleanupRequestedBytes() const { return cleanupRequestedBytes_; }

    /// The latest sentence for the person: a refused scan, a failed save, a scan snapshot that
    /// could not be kept (or a snapshot store set aside), a cleanup that could not be recorded;
    /// none when all is well.
    std::optional<std::string> message(AppLanguage language) const;

  signals:
    void phaseChanged();
    void progressChanged();
    void reportChanged();
    void selectionChanged();
    /// `cleanupResults()[index]` is new.
    void cleanupItemFinished(int index);
    void cleanupFinished();
    void messageChanged();

  private:
    void setPhase(Phase phase);
    void setMessage(Sentence sentence);
    void finishScan(std::optional<ScanSetup> setup, ScanReport report,
                    std::optional<CleanupReappearanceObservation> reappearance, Sentence refusal,
                    bool hidesIgnored);
    void finishCleanup(CleanupRunOutcome outcome);

    CleanerEnvironment environment_;
    CleanupIgnoreStore& ignoreStore_;
    CustomScanFolderStore& folderStore_;
    CleanupReviewPreferencesStore& reviewStore_;
    Phase phase_ = Phase::idle;
    std::optional<StorageScanProgress> progress_;
    std::shared_ptr<ScanProgressCoalescer> coalescer_;
    std::optional<ScanSetup> setup_;
    ScanReport report_;
    std::string home_;
    size_t ignoredCount_ = 0;
    bool scanWasCancelled_ = false;
    std::optional<CleanupReappearanceObservation> reappearance_;
    std::vector<bool> selected_;
    std::vector<CleanupItemResult> cleanupResults_;
    std::optional<CleanupRunOutcome> cleanupOutcome_;
    int64_t cleanupRequestedBytes_ = 0;
    Sentence message_;
    BackgroundTask task_;
};

}  // namespace velmora

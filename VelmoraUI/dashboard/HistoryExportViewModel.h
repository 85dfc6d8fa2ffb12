#pragma once
// Exporting the cleanup history from the desktop application: the person picks the format,
// full or redacted, and the file; the export is made and saved on a background task, and one
// sentence says where it was written or why it was not.
//
// Threading: a QObject of the UI thread; members are called and signals emitted there. One
// export at a time. Destroying the view model waits for a running export.
#include <QObject>
#include <optional>
#include <string>

#include "CleanerCore/workflows/ExportRun.h"
#include "VelmoraUI/dashboard/BackgroundTask.h"
#include "VelmoraUI/dashboard/CleanerViewModel.h"

namespace velmora {

/// What became of one export: the file it was written to, or why it was not.
struct HistoryExportOutcome {
    std::string path;  ///< the destination the person chose
    bool redacted = false;
    std::optional<ExportFailure> failure;  ///< none: written
};

/// The sentence for `outcome` in `language`: where the export was written, or why not.
std::string historyExportSentence(const HistoryExportOutcome& outcome, AppLanguage language);

/// What a redacted export is, in a sentence, for the person choosing between the two.
std::string redactedExportExplanation(AppLanguage language);

class HistoryExportViewModel final : public QObject {
    Q_OBJECT

  public:
    explicit HistoryExportViewModel(CleanerEnvironment environment, QObject* parent = nullptr);
    ~HistoryExportViewModel() override;

    bool isBusy() const { return busy_; }
    /// Exports the stored history in `format` (redacted or full) to `path`, replacing a regular
    /// file there. False while an export runs.
    bool startExport(ExportFormat format, bool redacted, std::string path);
    /// How the last export went; none before the first has ended.
    const std::optional<HistoryExportOutcome>& outcome() const { return outcome_; }
    std::optional<std::string> message(AppLanguage language) const;

  signals:
    void busyChanged();
    void exportFinished();

  private:
    CleanerEnvironment environment_;
    bool busy_ = false;
    std::optional<HistoryExportOutcome> outcome_;
    BackgroundTask task_;
};

}  // namespace velmora

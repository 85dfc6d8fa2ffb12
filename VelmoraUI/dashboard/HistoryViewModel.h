#pragma once
// The history of the desktop application: every recorded cleanup and restore with the
// integrity of the record, and putting a whole cleanup (or some of its items) back.
//
// Reading the history and restoring run on one background task; a restore reads the history
// again when it ends so that the list shows the new restore entry. A damaged history file is
// moved aside by the store, and `damageSentence` tells where.
//
// Threading: a QObject of the UI thread; members are called and signals emitted there.
#include <QObject>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/workflows/RestoreRun.h"
#include "VelmoraUI/dashboard/BackgroundTask.h"
#include "VelmoraUI/dashboard/CleanerViewModel.h"

namespace velmora {

class HistoryViewModel final : public QObject {
    Q_OBJECT

  public:
    HistoryViewModel(CleanerEnvironment environment, CustomScanFolderStore& folderStore,
                     QObject* parent = nullptr);
    ~HistoryViewModel() override;

    bool isBusy() const { return busy_; }
    /// Reads the history again. False while a task runs.
    bool reload();

    /// Newest first.
    const std::vector<CleanupAuditEntry>& entries() const { return entries_; }
    const CleanupAuditChainReport& integrity() const { return integrity_; }
    /// The sentence about the record's integrity ("Record integrity: ...").
    std::string integritySentence(AppLanguage language) const;
    /// Set when the history file was found damaged on the last read.
    std::optional<std::string> damageSentence(AppLanguage language) const;
    const std::string& home() const { return home_; }

    /// Whether `entry` is a cleanup whose items can be put back (it kept their Trash records).
    static bool canRestore(const CleanupAuditEntry& entry);

    /// Puts back the items of the cleanup `entryID` (a cleanup of insight findings within the
    /// insight scan's folders, any other within the cleaner's locations); `paths` (standardized)
    /// narrows it to those items. False while a task runs.
    bool startRestore(const std::string& entryID, std::vector<std::string> paths = {});
    /// How the last restore went: its result, or the refusal sentence.
    const std::optional<RestoreRunOutcome>& restoreOutcome() const { return restoreOutcome_; }
    std::optional<std::string> message(AppLanguage language) const;

    void cancel() { task_.cancel(); }

  signals:
    void busyChanged();
    void entriesChanged();
    void restoreFinished();
    void messageChanged();

  private:
    struct Loaded {
        std::vector<CleanupAuditEntry> entries;
        CleanupAuditChainReport integrity;
        std::optional<std::string> damage;
        std::optional<std::string> backupPath;
        std::string home;
    };
    static Loaded load(const CleanerEnvironment& environment);
    void apply(Loaded loaded);
    void setBusy(bool busy);

    CleanerEnvironment environment_;
    CustomScanFolderStore& folderStore_;
    bool busy_ = false;
    std::vector<CleanupAuditEntry> entries_;
    CleanupAuditChainReport integrity_;
    std::optional<std::string> damage_;
    std::optional<std::string> backupPath_;
    std::string home_;
    std::optional<RestoreRunOutcome> restoreOutcome_;
    Sentence message_;
    BackgroundTask task_;
};

}  // namespace velmora

#pragma once
// The history: every recorded cleanup and restore, newest first, with the integrity of the
// record; the items of a chosen cleanup, and putting all or some of them back; exporting the
// history to a file.
#include <QAbstractTableModel>
#include <QWidget>
#include <functional>
#include <optional>

#include "CleanerCore/export/ExportSettings.h"
#include "VelmoraUI/localization/AppLanguage.h"

class QLabel;
class QListWidget;
class QPushButton;
class QTableView;

namespace velmora::desktop {

class DesktopSession;

/// One row per history entry: when, what, and its counts.
class HistoryModel final : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum Column { when, operation, summary, numberOfColumns };
    HistoryModel(DesktopSession& session, QObject* parent = nullptr);
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void retranslate();

  private:
    DesktopSession& session_;
};

/// What the person chose for an export: the format, full or redacted, and the file.
struct HistoryExportChoice {
    ExportFormat format = ExportFormat::json;
    bool redacted = false;
    QString path;
};

/// Asks the person for an export's format, form and file; none when they cancel. The page uses
/// `askForHistoryExport` unless another is set (tests answer without a real dialog).
using HistoryExportDialog =
    std::function<std::optional<HistoryExportChoice>(QWidget* parent, AppLanguage language)>;

/// The format and form in a small dialog (with what redacted means), then the file in a save
/// dialog that suggests a name in the home folder `home`.
std::optional<HistoryExportChoice> askForHistoryExport(QWidget* parent, AppLanguage language,
                                                       const QString& home);

class HistoryPage final : public QWidget {
    Q_OBJECT

  public:
    explicit HistoryPage(DesktopSession& session, QWidget* parent = nullptr);
    void retranslate();
    QTableView* table() const { return table_; }
    void setExportDialog(HistoryExportDialog dialog) { exportDialog_ = std::move(dialog); }

  private:
    void refresh();
    void showEntry();
    void restore(bool onlyChecked);
    int currentEntry() const;
    void startExport();
    void showExportState();

    DesktopSession& session_;
    HistoryModel* model_;
    QLabel* heading_;
    QLabel* explanation_;
    QLabel* integrity_;
    QLabel* damage_;
    QTableView* table_;
    QLabel* entryHeading_;
    QListWidget* items_;
    QPushButton* restoreAll_;
    QPushButton* restoreChecked_;
    QPushButton* reload_;
    QPushButton* export_;
    QLabel* message_;
    QLabel* exportMessage_;
    HistoryExportDialog exportDialog_;
};

}  // namespace velmora::desktop

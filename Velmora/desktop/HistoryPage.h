#pragma once
// The history: every recorded cleanup and restore, newest first, with the integrity of the
// record; the items of a chosen cleanup, and putting all or some of them back.
#include <QAbstractTableModel>
#include <QWidget>

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

class HistoryPage final : public QWidget {
    Q_OBJECT

  public:
    explicit HistoryPage(DesktopSession& session, QWidget* parent = nullptr);
    void retranslate();
    QTableView* table() const { return table_; }

  private:
    void refresh();
    void showEntry();
    void restore(bool onlyChecked);
    int currentEntry() const;

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
    QLabel* message_;
};

}  // namespace velmora::desktop

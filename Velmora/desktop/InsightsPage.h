#pragma once
// The insights: the read-only storage insight scan with its progress, the largest files, older
// downloads, duplicate groups (the copy to keep marked, with its reasons) and security findings,
// each finding revealed in the file manager or, where it may, moved to the Trash after a
// confirmation that lists every path; the skipped items; the storage map; and the system panel
// with its recent history, sampled while the page is shown.
#include <QWidget>
#include <string>
#include <vector>

class QLabel;
class QListWidget;
class QProgressBar;
class QPushButton;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;
class QVBoxLayout;

namespace velmora {
struct FileInsight;
}

namespace velmora::desktop {

class DesktopSession;
class StorageMapView;
class SystemPanel;

class InsightsPage final : public QWidget {
    Q_OBJECT

  public:
    explicit InsightsPage(DesktopSession& session, QWidget* parent = nullptr);
    void retranslate();

    StorageMapView* storageMapView() const { return storageMap_; }

    /// The ids of the checked findings of the shown tab.
    std::vector<std::string> checkedFindings() const;
    QTreeWidget* duplicatesTree() const { return duplicates_; }

  protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    void refresh();
    void refreshProgress();
    void rebuildLists();
    void fillFindings(QTreeWidget* tree, const std::vector<FileInsight>& findings);
    QTreeWidgetItem* findingItem(const FileInsight& finding);
    void moveToTrash();
    void reveal();
    void showSkipped();
    void showResults();
    QTreeWidget* currentTree() const;

    DesktopSession& session_;
    QLabel* heading_;
    QPushButton* scan_;
    QPushButton* cancel_;
    QProgressBar* progress_;
    QLabel* summary_;
    QLabel* message_;
    QTabWidget* tabs_;
    QTreeWidget* largeFiles_;
    QTreeWidget* downloads_;
    QTreeWidget* duplicates_;
    QTreeWidget* security_;
    StorageMapView* storageMap_;
    SystemPanel* system_;
    QPushButton* skipped_;
    QPushButton* reveal_;
    QPushButton* move_;
    QListWidget* results_;
};

}  // namespace velmora::desktop

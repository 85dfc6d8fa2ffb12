#pragma once
// "What grew": the headline of the comparison of two kept scans, the trend of the totals over
// time, the categories by their change (each opens to its items: change, how, when modified),
// the folders by their change and the folders that were not compared with why. With nothing to
// compare it says why and offers a scan.
#include <QWidget>

class QComboBox;
class QLabel;
class QPushButton;
class QTreeWidget;

namespace velmora::desktop {

class DesktopSession;
class StorageTrendWidget;

class GrowthPage final : public QWidget {
    Q_OBJECT

  public:
    explicit GrowthPage(DesktopSession& session, QWidget* parent = nullptr);
    void retranslate();

    StorageTrendWidget* timeline() const { return timeline_; }
    QTreeWidget* categories() const { return categories_; }

  signals:
    /// The person asked for a scan from the empty page.
    void scanRequested();

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void refresh();

    DesktopSession& session_;
    QLabel* heading_;
    QComboBox* since_;
    QLabel* headline_;
    QLabel* notices_;
    QLabel* unavailable_;
    QPushButton* scan_;
    QLabel* timelineHeading_;
    StorageTrendWidget* timeline_;
    QLabel* categoriesHeading_;
    QTreeWidget* categories_;
    QLabel* foldersHeading_;
    QTreeWidget* folders_;
    QLabel* notComparedHeading_;
    QTreeWidget* notCompared_;
};

}  // namespace velmora::desktop

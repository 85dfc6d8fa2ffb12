#pragma once
// The storage map of the last insight scan: the same tree as a treemap or as a flame graph, with
// the path of the folder in view and a way back up. Drilling into a folder in one picture moves
// the other along, so switching pictures keeps the place.
//
// Main thread only.
#include <QWidget>
#include <memory>

#include "CleanerCore/insights/StorageTree.h"
#include "VelmoraUI/localization/AppLanguage.h"

class QLabel;
class QPushButton;
class QStackedWidget;

namespace velmora::desktop {

class FlameGraphWidget;
class TreemapWidget;

class StorageMapView final : public QWidget {
    Q_OBJECT

  public:
    explicit StorageMapView(AppLanguage language, QWidget* parent = nullptr);

    /// Shows `tree` from the home; null says that no scan has run yet.
    void setTree(std::shared_ptr<const StorageTree> tree);
    void setLanguage(AppLanguage language);
    /// Shows the flame graph instead of the treemap, or back.
    void showFlameGraph(bool flame);

    TreemapWidget* treemap() const { return treemap_; }
    FlameGraphWidget* flameGraph() const { return flame_; }
    QLabel* place() const { return place_; }

  private:
    void retranslate();
    void showPlace();

    AppLanguage language_;
    std::shared_ptr<const StorageTree> tree_;
    QPushButton* up_;
    QLabel* place_;
    QPushButton* treemapButton_;
    QPushButton* flameButton_;
    QLabel* hint_;
    QStackedWidget* pictures_;
    TreemapWidget* treemap_;
    FlameGraphWidget* flame_;
};

}  // namespace velmora::desktop

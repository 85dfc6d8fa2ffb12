#pragma once
// Paints the treemap of a storage tree. The layout is computed when the tree, the focus or the
// size changes and is only read when painting. A tile's colour follows the top-level item it
// lies in; names are drawn where they fit. Hovering a tile sets the tooltip (display path and
// size); clicking a folder drills into it; Backspace (or `goUp`) returns to the folder above.
// Every change of focus emits `breadcrumbChanged` with the names from the home down.
#include <QStringList>
#include <QWidget>
#include <memory>

#include "CleanerCore/insights/StorageTree.h"
#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/visual/TreemapLayout.h"

namespace velmora::desktop {

class TreemapWidget : public QWidget {
    Q_OBJECT
  public:
    explicit TreemapWidget(QWidget* parent = nullptr);

    /// Shows `tree` from its root; null shows nothing.
    void setTree(std::shared_ptr<const StorageTree> tree);
    void setLanguage(AppLanguage language);
    void setOptions(const visual::TreemapOptions& options);

    StorageTree::Index focus() const { return focus_; }
    /// Shows the subtree of `node` (a folder); ignored for other nodes.
    void drillInto(StorageTree::Index node);
    /// Back to the folder above the focus; false at the root.
    bool goUp();
    /// The names from the root down to the focus.
    QStringList breadcrumb() const;
    /// Goes to breadcrumb entry `level` (0: the root).
    void goToBreadcrumb(int level);

    const visual::TreemapLayout& layout() const { return layout_; }
    /// The tooltip text for the tile at `point`, empty when there is none.
    QString toolTipAt(const QPointF& point) const;

  signals:
    void breadcrumbChanged(const QStringList& names);

  protected:
    /// A new font (the text size setting) changes the label bands: lay out again.
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void leaveEvent(QEvent* event) override;

  private:
    void relayout();
    void focusChanged();

    std::shared_ptr<const StorageTree> tree_;
    StorageTree::Index focus_ = 0;
    AppLanguage language_ = AppLanguage::english;
    visual::TreemapOptions options_;
    visual::TreemapLayout layout_;
    const visual::TreemapTile* hovered_ = nullptr;
};

}  // namespace velmora::desktop

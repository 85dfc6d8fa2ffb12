#pragma once
// Paints the flame graph of a storage tree: the focus across the top, its children below it,
// and so on, each as wide as its share of its parent. The rows are computed when the tree, the
// focus or the width changes and are only read when painting. Hovering an item sets the tooltip
// (display path and size); clicking an item focuses it (the top row: the folder above);
// Backspace (or `goUp`) returns to the folder above.
#include <QWidget>
#include <memory>

#include "CleanerCore/insights/StorageTree.h"
#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/visual/FlameGraphRows.h"

namespace velmora::desktop {

class FlameGraphWidget : public QWidget {
    Q_OBJECT
  public:
    explicit FlameGraphWidget(QWidget* parent = nullptr);

    /// Shows `tree` from its root; null shows nothing.
    void setTree(std::shared_ptr<const StorageTree> tree);
    void setLanguage(AppLanguage language);

    StorageTree::Index focus() const { return focus_; }
    /// Puts `node` (a folder with children) at the top; ignored for other nodes.
    void focusOn(StorageTree::Index node);
    /// Back to the folder above the focus; false at the root.
    bool goUp();

    const visual::FlameGraphRows& rows() const { return rows_; }
    /// The height of one row in pixels.
    int rowHeight() const;
    /// The tooltip text for the item at `point`, empty when there is none.
    QString toolTipAt(const QPointF& point) const;

  signals:
    void focusChanged(StorageTree::Index node);

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
    const visual::FlameGraphItem* itemAt(const QPointF& point) const;

    std::shared_ptr<const StorageTree> tree_;
    StorageTree::Index focus_ = 0;
    AppLanguage language_ = AppLanguage::english;
    visual::FlameGraphRows rows_;
    const visual::FlameGraphItem* hovered_ = nullptr;
};

}  // namespace velmora::desktop

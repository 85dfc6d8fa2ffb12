#include "Velmora/desktop/TreemapWidget.h"

#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include "Velmora/desktop/StoragePalette.h"
#include "Velmora/desktop/UiText.h"

namespace velmora::desktop {

TreemapWidget::TreemapWidget(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(120, 80);
}

void TreemapWidget::setTree(std::shared_ptr<const StorageTree> tree) {
    tree_ = std::move(tree);
    focus_ = 0;
    focusChanged();
}

void TreemapWidget::setLanguage(AppLanguage language) {
    language_ = language;
    update();
}

void TreemapWidget::setOptions(const visual::TreemapOptions& options) {
    options_ = options;
    relayout();
}

void TreemapWidget::drillInto(StorageTree::Index node) {
    if (!tree_ || node >= tree_->nodeCount() || node == focus_) return;
    const auto& n = tree_->node(node);
    if (!n.isFolder() || n.childCount == 0) return;
    focus_ = node;
    focusChanged();
}

bool TreemapWidget::goUp() {
    if (!tree_ || focus_ == tree_->root()) return false;
    focus_ = tree_->node(focus_).parent;
    focusChanged();
    return true;
}

QStringList TreemapWidget::breadcrumb() const {
    QStringList names;
    if (!tree_) return names;
    for (auto i = focus_; i != StorageTree::kNoNode; i = tree_->node(i).parent) {
        QString name = i == tree_->root() ? qs(tree_->displayPath(i)) : qs(tree_->node(i).name);
        // The map items carry their display path; the crumb shows the part below the home.
        if (tree_->node(i).parent == tree_->root() && name.startsWith(QLatin1String("~/")))
            name = name.mid(2);
        names.prepend(name);
    }
    return names;
}

void TreemapWidget::goToBreadcrumb(int level) {
    if (!tree_) return;
    int depth = tree_->depth(focus_);
    auto node = focus_;
    while (depth > level && depth > 0) {
        node = tree_->node(node).parent;
        --depth;
    }
    if (node == focus_) return;
    focus_ = node;
    focusChanged();
}

void TreemapWidget::focusChanged() {
    relayout();
    emit breadcrumbChanged(breadcrumb());
}

void TreemapWidget::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange) relayout();
}

void TreemapWidget::relayout() {
    hovered_ = nullptr;
    // The folder names need a band as tall as the text at the chosen size.
    visual::TreemapOptions options = options_;
    options.labelBand = std::max(options.labelBand, double(fontMetrics().height() + 2));
    layout_ = tree_ ? visual::TreemapLayout(*tree_, focus_, QRectF(rect()), options)
                    : visual::TreemapLayout();
    update();
}

QString TreemapWidget::toolTipAt(const QPointF& point) const {
    const auto* tile = layout_.tileAt(point);
    if (!tile || !tree_) return {};
    return storageToolTip(*tree_, tile->node, tile->isMerged, tile->mergedCount, tile->sizeBytes,
                          language_);
}

void TreemapWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const QPalette& pal = palette();
    p.fillRect(rect(), pal.color(QPalette::Base));
    if (!tree_) return;
    const QColor edge = pal.color(QPalette::Base);
    const QColor text = isDarkPalette(pal) ? QColor(0xf0, 0xf2, 0xf5) : QColor(0x1d, 0x1f, 0x23);
    const QFontMetrics fm = fontMetrics();
    const int lineHeight = fm.height();
    p.setPen(Qt::NoPen);
    for (const auto& tile : layout_.tiles()) {
        const auto& node = tree_->node(tile.node);
        const bool muted = tile.isMerged || node.isAggregate();
        p.setBrush(storageFill(pal, topLevelPlace(*tree_, tile.node),
                               tree_->depth(tile.node) + (tile.isMerged ? 1 : 0), muted));
        p.setPen(QPen(edge, 1));
        p.drawRect(tile.rect);
        // Names only where they fit: a line high and a few characters wide.
        if (tile.rect.height() < lineHeight + 2 || tile.rect.width() < 36) continue;
        const QString label = tile.isMerged ? mergedLabel(tile.mergedCount, language_)
                                            : storageNodeLabel(*tree_, tile.node, language_);
        const QRectF band(tile.rect.left() + 3, tile.rect.top() + 1, tile.rect.width() - 6,
                          lineHeight);
        p.setPen(text);
        p.drawText(band, Qt::AlignLeft | Qt::AlignVCenter,
                   fm.elidedText(label, Qt::ElideMiddle, static_cast<int>(band.width())));
    }
    if (hovered_) {
        p.setBrush(Qt::NoBrush);
        p.setPen(QPen(pal.color(QPalette::Highlight), 2));
        p.drawRect(hovered_->rect.adjusted(1, 1, -1, -1));
    }
}

void TreemapWidget::resizeEvent(QResizeEvent*) {
    relayout();
}

void TreemapWidget::mouseMoveEvent(QMouseEvent* event) {
    const auto* tile = layout_.tileAt(event->position());
    if (tile == hovered_) return;
    hovered_ = tile;
    showStorageTip(*this, toolTipAt(event->position()), *event);
    update();
}

void TreemapWidget::leaveEvent(QEvent*) {
    hovered_ = nullptr;
    update();
}

void TreemapWidget::mousePressEvent(QMouseEvent* event) {
    if (isStepBackPress(*event)) {
        goUp();
        return;
    }
    if (event->button() != Qt::LeftButton || !tree_) return;
    const auto* tile = layout_.tileAt(event->position());
    if (!tile) return;
    // A folder opens; a file, an aggregate or a merged tile opens the folder it lies in.
    auto node = tile->node;
    const auto& n = tree_->node(node);
    if (!tile->isMerged && !(n.isFolder() && n.childCount > 0)) node = n.parent;
    if (node != StorageTree::kNoNode) drillInto(node);
}

void TreemapWidget::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Backspace) {
        goUp();
        return;
    }
    QWidget::keyPressEvent(event);
}

}  // namespace velmora::desktop

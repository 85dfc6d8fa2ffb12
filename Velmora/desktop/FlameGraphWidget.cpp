#include "Velmora/desktop/FlameGraphWidget.h"

#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

#include "Velmora/desktop/StoragePalette.h"

namespace velmora::desktop {

FlameGraphWidget::FlameGraphWidget(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(120, 80);
}

void FlameGraphWidget::setTree(std::shared_ptr<const StorageTree> tree) {
    tree_ = std::move(tree);
    focus_ = 0;
    relayout();
    emit focusChanged(focus_);
}

void FlameGraphWidget::setLanguage(AppLanguage language) {
    language_ = language;
    update();
}

void FlameGraphWidget::focusOn(StorageTree::Index node) {
    if (!tree_ || node >= tree_->nodeCount() || node == focus_) return;
    const auto& n = tree_->node(node);
    if (!n.isFolder() || n.childCount == 0) return;
    focus_ = node;
    relayout();
    emit focusChanged(focus_);
}

bool FlameGraphWidget::goUp() {
    if (!tree_ || focus_ == tree_->root()) return false;
    focus_ = tree_->node(focus_).parent;
    relayout();
    emit focusChanged(focus_);
    return true;
}

int FlameGraphWidget::rowHeight() const {
    return fontMetrics().height() + 6;
}

void FlameGraphWidget::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange) relayout();
}

void FlameGraphWidget::relayout() {
    hovered_ = nullptr;
    if (tree_) {
        visual::FlameGraphOptions options;
        options.maximumDepth = std::max(0, height() / std::max(rowHeight(), 1) - 1);
        rows_ = visual::FlameGraphRows(*tree_, focus_, width(), options);
    } else {
        rows_ = {};
    }
    update();
}

const visual::FlameGraphItem* FlameGraphWidget::itemAt(const QPointF& point) const {
    if (point.y() < 0) return nullptr;
    return rows_.itemAt(static_cast<int>(point.y()) / std::max(rowHeight(), 1), point.x());
}

QString FlameGraphWidget::toolTipAt(const QPointF& point) const {
    const auto* item = itemAt(point);
    if (!item || !tree_) return {};
    return storageToolTip(*tree_, item->node, item->isMerged, item->mergedCount, item->sizeBytes,
                          language_);
}

void FlameGraphWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const QPalette& pal = palette();
    p.fillRect(rect(), pal.color(QPalette::Base));
    if (!tree_) return;
    const QColor edge = pal.color(QPalette::Base);
    const QColor text = isDarkPalette(pal) ? QColor(0xf0, 0xf2, 0xf5) : QColor(0x1d, 0x1f, 0x23);
    const QFontMetrics fm = fontMetrics();
    const int h = rowHeight();
    for (size_t r = 0; r < rows_.rows().size(); ++r) {
        const double y = static_cast<double>(r) * h;
        for (const auto& item : rows_.rows()[r]) {
            const auto& node = tree_->node(item.node);
            const QRectF box(item.x, y, item.width, h);
            p.setPen(QPen(edge, 1));
            p.setBrush(storageFill(pal, topLevelPlace(*tree_, item.node),
                                   tree_->depth(item.node) + (item.isMerged ? 1 : 0),
                                   item.isMerged || node.isAggregate()));
            p.drawRect(box);
            if (item.width < 36) continue;
            const QString label = item.isMerged ? mergedLabel(item.mergedCount, language_)
                                                : storageNodeLabel(*tree_, item.node, language_);
            const QRectF inner = box.adjusted(3, 0, -3, 0);
            p.setPen(text);
            p.drawText(inner, Qt::AlignLeft | Qt::AlignVCenter,
                       fm.elidedText(label, Qt::ElideMiddle, static_cast<int>(inner.width())));
        }
    }
    if (hovered_) {
        const int row = [&] {
            for (size_t r = 0; r < rows_.rows().size(); ++r) {
                const auto& items = rows_.rows()[r];
                if (!items.empty() && hovered_ >= &items.front() && hovered_ <= &items.back())
                    return static_cast<int>(r);
            }
            return -1;
        }();
        if (row >= 0) {
            p.setBrush(Qt::NoBrush);
            p.setPen(QPen(pal.color(QPalette::Highlight), 2));
            p.drawRect(QRectF(hovered_->x, row * h, hovered_->width, h).adjusted(1, 1, -1, -1));
        }
    }
}

void FlameGraphWidget::resizeEvent(QResizeEvent*) {
    relayout();
}

void FlameGraphWidget::mouseMoveEvent(QMouseEvent* event) {
    const auto* item = itemAt(event->position());
    if (item == hovered_) return;
    hovered_ = item;
    showStorageTip(*this, toolTipAt(event->position()), *event);
    update();
}

void FlameGraphWidget::leaveEvent(QEvent*) {
    hovered_ = nullptr;
    update();
}

void FlameGraphWidget::mousePressEvent(QMouseEvent* event) {
    if (isStepBackPress(*event)) {
        goUp();
        return;
    }
    if (event->button() != Qt::LeftButton || !tree_) return;
    const auto* item = itemAt(event->position());
    if (!item) return;
    if (item->node == focus_) {
        goUp();  // the top row stands for the focus: a click there steps back out
        return;
    }
    // A merged item opens the folder it belongs to; a file cannot be opened.
    focusOn(item->node);
}

void FlameGraphWidget::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Backspace) {
        goUp();
        return;
    }
    QWidget::keyPressEvent(event);
}

}  // namespace velmora::desktop

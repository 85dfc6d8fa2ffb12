#include "Velmora/desktop/StorageTrendWidget.h"

#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>
#include <algorithm>
#include <cmath>

#include "Velmora/desktop/StoragePalette.h"
#include "Velmora/desktop/UiText.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"

namespace velmora::desktop {

namespace {

constexpr double kPointRadius = 4;
constexpr double kHitRadius = 8;

}  // namespace

StorageTrendWidget::StorageTrendWidget(QWidget* parent) : QWidget(parent) {
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
}

void StorageTrendWidget::setPoints(std::vector<visual::StorageTrendPoint> points) {
    timeline_ = visual::StorageTrendTimeline(std::move(points));
    current_ = -1;
    setToolTip({});
    setAccessibleDescription({});
    updateGeometry();
    update();
}

void StorageTrendWidget::setLanguage(AppLanguage language) {
    language_ = language;
    updateGeometry();
    update();
}

QSize StorageTrendWidget::sizeHint() const {
    return {480, fontMetrics().height() * 12};
}

QSize StorageTrendWidget::minimumSizeHint() const {
    return {200, fontMetrics().height() * 10};
}

QString StorageTrendWidget::byteLabel(int64_t bytes) const {
    return qs(bytesText(bytes, language_));
}

QString StorageTrendWidget::dateLabel(const QDateTime& date) const {
    const QDateTime local = date.toLocalTime();
    // Ticks closer than a day apart need the time of day to tell them apart.
    const auto& ticks = timeline_.dateTicks();
    const bool withTime = ticks.size() > 1 && ticks[0].secsTo(ticks[1]) < 86400;
    return withTime ? uiLocale(language_).toString(local, QLocale::ShortFormat)
                    : uiLocale(language_).toString(local.date(), QLocale::ShortFormat);
}

QRectF StorageTrendWidget::plotRect() const {
    const QFontMetricsF fm(font());
    double labelWidth = 0;
    for (int64_t tick : timeline_.byteTicks())
        labelWidth = std::max(labelWidth, fm.horizontalAdvance(byteLabel(tick)));
    double lastDate = 0;
    if (!timeline_.dateTicks().empty())
        lastDate = fm.horizontalAdvance(dateLabel(timeline_.dateTicks().back()));
    const double left = labelWidth + 12;
    const double top = fm.height() / 2 + kHitRadius;
    const double right = std::max(kHitRadius + 4, lastDate / 2 + 4);
    const double bottom = fm.height() + 10;
    return QRectF(rect()).adjusted(left, top, -right, -bottom);
}

QPointF StorageTrendWidget::pointPosition(size_t i) const {
    return timeline_.position(i, plotRect());
}

int StorageTrendWidget::pointAt(const QPointF& at) const {
    const QRectF plot = plotRect();
    int best = -1;
    double bestDistance = kHitRadius;
    for (size_t i = 0; i < timeline_.points().size(); ++i) {
        const QPointF p = timeline_.position(i, plot);
        const double d = std::hypot(p.x() - at.x(), p.y() - at.y());
        if (d <= bestDistance) {
            bestDistance = d;
            best = int(i);
        }
    }
    return best;
}

QString StorageTrendWidget::pointText(int i) const {
    if (i < 0 || size_t(i) >= timeline_.points().size()) return {};
    const auto& p = timeline_.points()[size_t(i)];
    return uiLocale(language_).toString(p.date.toLocalTime(), QLocale::ShortFormat) + ": " +
           byteLabel(p.totalBytes);
}

void StorageTrendWidget::setCurrent(int i, bool showTip) {
    if (i == current_) return;
    current_ = i;
    const QString text = pointText(i);
    setToolTip(text);
    setAccessibleDescription(text);
    if (showTip) {
        if (text.isEmpty()) {
            QToolTip::hideText();
        } else {
            QToolTip::showText(mapToGlobal(pointPosition(size_t(i)).toPoint()), text, this);
        }
    }
    update();
}

void StorageTrendWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPalette& pal = palette();
    p.fillRect(rect(), pal.color(QPalette::Base));
    if (timeline_.isEmpty()) return;
    const QRectF plot = plotRect();
    const QFontMetricsF fm(font());
    const QColor text = pal.color(QPalette::Text);
    QColor grid = text;
    grid.setAlphaF(0.15);

    // The byte axis: a faint line for every tick, and a label for as many as fit apart at this
    // text size (every other one, or fewer, when the plot is low).
    const auto& byteTicks = timeline_.byteTicks();
    const double tickGap = byteTicks.size() > 1 ? timeline_.yFor(byteTicks[0], plot) -
                                                      timeline_.yFor(byteTicks[1], plot)
                                                : plot.height();
    const size_t labelEvery =
        tickGap > 0 ? std::max<size_t>(1, size_t(std::ceil(fm.height() * 1.1 / tickGap))) : 1;
    for (size_t i = 0; i < byteTicks.size(); ++i) {
        const double y = timeline_.yFor(byteTicks[i], plot);
        p.setPen(QPen(grid, 1));
        p.drawLine(QPointF(plot.left(), y), QPointF(plot.right(), y));
        if (i % labelEvery != 0) continue;
        p.setPen(text);
        p.drawText(QRectF(0, y - fm.height() / 2, plot.left() - 8, fm.height()),
                   Qt::AlignRight | Qt::AlignVCenter, byteLabel(byteTicks[i]));
    }
    // The date axis: a short mark and a label centred under every tick.
    for (const auto& tick : timeline_.dateTicks()) {
        const double x = timeline_.xFor(tick, plot);
        p.setPen(QPen(grid, 1));
        p.drawLine(QPointF(x, plot.bottom()), QPointF(x, plot.bottom() + 4));
        const QString label = dateLabel(tick);
        const double w = fm.horizontalAdvance(label);
        // Centred under the tick, but never into the byte labels' column or past the edge.
        const double left = std::clamp(x - w / 2, plot.left() - 4, std::max(0.0, width() - w));
        p.setPen(text);
        p.drawText(QRectF(left, plot.bottom() + 6, w, fm.height()), Qt::AlignCenter, label);
    }

    const QColor line = pal.color(QPalette::Highlight);
    const size_t n = timeline_.points().size();
    if (n > 1) {
        QPainterPath path(pointPosition(0));
        for (size_t i = 1; i < n; ++i) path.lineTo(pointPosition(i));
        p.setPen(QPen(line, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(Qt::NoBrush);
        p.drawPath(path);
    }
    for (size_t i = 0; i < n; ++i) {
        const bool chosen = int(i) == current_;
        p.setPen(QPen(chosen ? text : line, chosen ? 3 : 2));
        p.setBrush(pal.color(QPalette::Base));
        const double r = chosen ? kPointRadius + 2 : kPointRadius;
        p.drawEllipse(pointPosition(i), r, r);
    }
    if (hasFocus()) {
        p.setPen(QPen(pal.color(QPalette::Highlight), 1, Qt::DotLine));
        p.setBrush(Qt::NoBrush);
        p.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
    }
}

void StorageTrendWidget::mouseMoveEvent(QMouseEvent* event) {
    const int i = pointAt(event->position());
    if (i == current_) return;
    current_ = i;
    const QString text = pointText(i);
    setAccessibleDescription(text);
    showStorageTip(*this, text, *event);
    update();
}

void StorageTrendWidget::leaveEvent(QEvent*) {
    if (!hasFocus()) setCurrent(-1, false);
}

void StorageTrendWidget::focusOutEvent(QFocusEvent* event) {
    QWidget::focusOutEvent(event);
    setCurrent(-1, false);
}

void StorageTrendWidget::keyPressEvent(QKeyEvent* event) {
    const int n = int(timeline_.points().size());
    if (n == 0) {
        QWidget::keyPressEvent(event);
        return;
    }
    int next = current_;
    switch (event->key()) {
        case Qt::Key_Left:
            next = current_ < 0 ? n - 1 : std::max(current_ - 1, 0);
            break;
        case Qt::Key_Right:
            next = current_ < 0 ? 0 : std::min(current_ + 1, n - 1);
            break;
        case Qt::Key_Home:
            next = 0;
            break;
        case Qt::Key_End:
            next = n - 1;
            break;
        default:
            QWidget::keyPressEvent(event);
            return;
    }
    setCurrent(next, true);
}

void StorageTrendWidget::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange) updateGeometry();
}

}  // namespace velmora::desktop

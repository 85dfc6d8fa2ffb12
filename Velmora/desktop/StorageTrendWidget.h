#pragma once
// Paints the storage trend timeline: the total of cleanup candidates of each kept scan as a
// line over time, with the byte and date ticks of visual::StorageTrendTimeline written in the
// person's units. The plot leaves room for the tick labels at the current font, so it stays
// readable at every text size. Hovering a point sets the tooltip ("date: size"); with the
// keyboard focus, Left and Right (Home, End) step through the points and show the same text.
#include <QWidget>
#include <vector>

#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/visual/StorageTrendTimeline.h"

namespace velmora::desktop {

class StorageTrendWidget : public QWidget {
    Q_OBJECT
  public:
    explicit StorageTrendWidget(QWidget* parent = nullptr);

    void setPoints(std::vector<visual::StorageTrendPoint> points);
    void setLanguage(AppLanguage language);

    const visual::StorageTrendTimeline& timeline() const { return timeline_; }
    /// Where the line is drawn, inside the tick labels.
    QRectF plotRect() const;
    /// Where point `i` (in the timeline's date order) is drawn.
    QPointF pointPosition(size_t i) const;
    /// The point drawn at `at` (within a few pixels), -1 when none is.
    int pointAt(const QPointF& at) const;
    /// "18 Nov 2026 14:02: 4.6 GB"; empty for an index out of range.
    QString pointText(int i) const;
    /// The point chosen with the keyboard or the pointer; -1 when none is.
    int current() const { return current_; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void setCurrent(int i, bool showTip);
    QString byteLabel(int64_t bytes) const;
    QString dateLabel(const QDateTime& date) const;

    visual::StorageTrendTimeline timeline_;
    AppLanguage language_ = AppLanguage::english;
    int current_ = -1;
};

}  // namespace velmora::desktop

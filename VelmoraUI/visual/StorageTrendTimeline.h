#pragma once
// The data behind the storage trend timeline: points of (date, total bytes) and the scales of
// its two axes, with the values of their ticks (the view writes them in the person's units).
//
// Points are kept in date order (equal dates in the order given); points without a valid date
// are dropped and negative totals count as 0. The byte axis starts at 0 and ends at the first
// tick at or above the largest total, ticks at 1, 2 or 5 times a power of ten bytes, about five
// of them. The date axis spans the first to the last date; a single point is centred in a span
// of one day either side. Date ticks are multiples (since the epoch, in UTC) of the smallest step
// of hour, 3 h, 6 h, 12 h, day, 2 days, week, 2 weeks, 30 days, 91 days, 365 days that gives at
// most six ticks. With no points there are no ticks and nothing to place. Pure, thread-safe.
#include <QDateTime>
#include <QPointF>
#include <QRectF>
#include <cstdint>
#include <vector>

namespace velmora::visual {

struct StorageTrendPoint {
    QDateTime date;
    int64_t totalBytes = 0;
};

class StorageTrendTimeline {
  public:
    StorageTrendTimeline() = default;
    explicit StorageTrendTimeline(std::vector<StorageTrendPoint> points);

    const std::vector<StorageTrendPoint>& points() const { return points_; }
    bool isEmpty() const { return points_.empty(); }

    /// The date axis; invalid dates when empty.
    const QDateTime& start() const { return start_; }
    const QDateTime& end() const { return end_; }
    /// The byte axis: 0 up to `axisMaximum` (0 when empty or every total is 0).
    int64_t axisMaximum() const { return axisMaximum_; }
    const std::vector<int64_t>& byteTicks() const { return byteTicks_; }
    const std::vector<QDateTime>& dateTicks() const { return dateTicks_; }

    /// Where point `i` lies in `plot` (larger totals higher up).
    QPointF position(size_t i, const QRectF& plot) const;
    /// Where `date` and `bytes` lie in `plot`; the middle when the axis has no span.
    double xFor(const QDateTime& date, const QRectF& plot) const;
    double yFor(int64_t bytes, const QRectF& plot) const;
    /// The last total minus the first (0 with fewer than two points).
    int64_t change() const;

  private:
    std::vector<StorageTrendPoint> points_;
    QDateTime start_, end_;
    int64_t axisMaximum_ = 0;
    std::vector<int64_t> byteTicks_;
    std::vector<QDateTime> dateTicks_;
};

}  // namespace velmora::visual

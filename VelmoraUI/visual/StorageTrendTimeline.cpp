#include "VelmoraUI/visual/StorageTrendTimeline.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velmora::visual {

namespace {

constexpr int64_t kMax = std::numeric_limits<int64_t>::max();

// 1, 2 or 5 times a power of ten, at least `raw` (and at least 1).
int64_t niceStep(double raw) {
    if (!(raw > 1)) return 1;
    const double power = std::pow(10.0, std::floor(std::log10(raw)));
    for (double m : {1.0, 2.0, 5.0, 10.0}) {
        if (m * power >= raw) {
            const double step = m * power;
            return step >= static_cast<double>(kMax) ? kMax : static_cast<int64_t>(step);
        }
    }
    return kMax;
}

}  // namespace

StorageTrendTimeline::StorageTrendTimeline(std::vector<StorageTrendPoint> points) {
    for (auto& p : points) {
        if (!p.date.isValid()) continue;
        p.totalBytes = std::max<int64_t>(p.totalBytes, 0);
        points_.push_back(std::move(p));
    }
    std::stable_sort(points_.begin(), points_.end(),
                     [](const auto& a, const auto& b) { return a.date < b.date; });
    if (points_.empty()) return;

    start_ = points_.front().date;
    end_ = points_.back().date;
    if (start_ == end_) {
        start_ = start_.addDays(-1);
        end_ = end_.addDays(1);
    }

    int64_t largest = 0;
    for (const auto& p : points_) largest = std::max(largest, p.totalBytes);
    if (largest > 0) {
        const int64_t step = niceStep(static_cast<double>(largest) / 5);
        const int64_t count = largest / step + (largest % step != 0 ? 1 : 0);
        axisMaximum_ = count > kMax / step ? kMax : count * step;
        for (int64_t i = 0; i <= count && (i == 0 || step <= kMax / i); ++i) {
            byteTicks_.push_back(i * step);
        }
    } else {
        byteTicks_.push_back(0);
    }

    constexpr int64_t kHour = 3600, kDay = 24 * kHour;
    const int64_t steps[] = {kHour,    3 * kHour, 6 * kHour, 12 * kHour, kDay,      2 * kDay,
                             7 * kDay, 14 * kDay, 30 * kDay, 91 * kDay,  365 * kDay};
    const int64_t first = start_.toSecsSinceEpoch(), last = end_.toSecsSinceEpoch();
    int64_t step = steps[std::size(steps) - 1];
    for (int64_t s : steps) {
        if ((last - first) / s + 1 <= 6) {
            step = s;
            break;
        }
    }
    // The first multiple of the step at or after the start (division truncates toward zero,
    // which lands at or after the start for dates before 1970 too).
    int64_t tick = first / step * step;
    if (tick < first) tick += step;
    for (; tick <= last; tick += step)
        dateTicks_.push_back(QDateTime::fromSecsSinceEpoch(tick, Qt::UTC));
}

double StorageTrendTimeline::xFor(const QDateTime& date, const QRectF& plot) const {
    const double span = static_cast<double>(start_.msecsTo(end_));
    if (!(span > 0)) return plot.center().x();
    return plot.left() + static_cast<double>(start_.msecsTo(date)) / span * plot.width();
}

double StorageTrendTimeline::yFor(int64_t bytes, const QRectF& plot) const {
    if (axisMaximum_ <= 0) return plot.bottom();
    return plot.bottom() -
           static_cast<double>(bytes) / static_cast<double>(axisMaximum_) * plot.height();
}

QPointF StorageTrendTimeline::position(size_t i, const QRectF& plot) const {
    return {xFor(points_[i].date, plot), yFor(points_[i].totalBytes, plot)};
}

int64_t StorageTrendTimeline::change() const {
    if (points_.size() < 2) return 0;
    int64_t d = 0;
    if (__builtin_sub_overflow(points_.back().totalBytes, points_.front().totalBytes, &d)) {
        return points_.back().totalBytes > points_.front().totalBytes ? kMax : -kMax;
    }
    return d;
}

}  // namespace velmora::visual

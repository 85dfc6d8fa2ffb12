#include "VelmoraUI/visual/StorageTrendTimeline.h"

#include <gtest/gtest.h>

#include <limits>

namespace velmora::visual {
namespace {

QDateTime day(int d, int hour = 0) {
    return QDateTime(QDate(2026, 3, d), QTime(hour, 0), Qt::UTC);
}

TEST(StorageTrendTimelineTest, EmptyHasNothingToPlace) {
    const StorageTrendTimeline t({{QDateTime(), 5}});
    EXPECT_TRUE(t.isEmpty());
    EXPECT_FALSE(t.start().isValid());
    EXPECT_TRUE(t.byteTicks().empty());
    EXPECT_TRUE(t.dateTicks().empty());
    EXPECT_EQ(t.axisMaximum(), 0);
    EXPECT_EQ(t.change(), 0);
}

TEST(StorageTrendTimelineTest, OnePointSitsInTheMiddleOfTwoDays) {
    const StorageTrendTimeline t({{day(10, 12), 1'400'000'000}});
    EXPECT_EQ(t.start(), day(9, 12));
    EXPECT_EQ(t.end(), day(11, 12));
    // 1.4 GB / 5 rounds up to a step of 500 MB; the axis ends at the next tick.
    EXPECT_EQ(t.axisMaximum(), 1'500'000'000);
    EXPECT_EQ(t.byteTicks(), (std::vector<int64_t>{0, 500'000'000, 1'000'000'000, 1'500'000'000}));
    const QRectF plot(10, 10, 200, 150);
    const QPointF p = t.position(0, plot);
    EXPECT_DOUBLE_EQ(p.x(), 110);
    EXPECT_NEAR(p.y(), 160 - 140, 1e-9);
    // Two days at a 12-hour step: the ticks are the midnights and noons inside the span.
    ASSERT_FALSE(t.dateTicks().empty());
    EXPECT_EQ(t.dateTicks().front(), day(9, 12));
    EXPECT_LE(t.dateTicks().size(), 6u);
}

TEST(StorageTrendTimelineTest, ManyPointsInDateOrderWithNiceTicks) {
    const StorageTrendTimeline t({{day(20), 3'000}, {day(1), 1'000}, {day(11), 0}, {day(1), 900}});
    ASSERT_EQ(t.points().size(), 4u);
    EXPECT_EQ(t.points()[0].totalBytes, 1'000);  // equal dates keep the given order
    EXPECT_EQ(t.points()[1].totalBytes, 900);
    EXPECT_EQ(t.points()[3].date, day(20));
    EXPECT_EQ(t.change(), 2'000);
    // 3000 / 5 = 600 rounds up to a step of 1000.
    EXPECT_EQ(t.byteTicks(), (std::vector<int64_t>{0, 1'000, 2'000, 3'000}));
    EXPECT_EQ(t.axisMaximum(), 3'000);
    // 19 days: a week apart, on multiples of a week since the epoch.
    ASSERT_FALSE(t.dateTicks().empty());
    for (const auto& tick : t.dateTicks()) {
        EXPECT_EQ(tick.toSecsSinceEpoch() % (7 * 86'400), 0);
        EXPECT_GE(tick, t.start());
        EXPECT_LE(tick, t.end());
    }
    const QRectF plot(0, 0, 190, 300);
    EXPECT_DOUBLE_EQ(t.position(0, plot).x(), 0);
    EXPECT_DOUBLE_EQ(t.position(2, plot).x(), 100);
    EXPECT_DOUBLE_EQ(t.position(2, plot).y(), 300);
    EXPECT_DOUBLE_EQ(t.position(3, plot).x(), 190);
}

TEST(StorageTrendTimelineTest, ZeroAndLargestTotalsAreSafe) {
    const StorageTrendTimeline zero({{day(1), 0}, {day(2), -7}});
    EXPECT_EQ(zero.byteTicks(), std::vector<int64_t>{0});
    EXPECT_EQ(zero.axisMaximum(), 0);
    EXPECT_DOUBLE_EQ(zero.position(1, {0, 0, 10, 10}).y(), 10);

    constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
    const StorageTrendTimeline huge({{day(1), 0}, {day(2), kMax}});
    EXPECT_EQ(huge.axisMaximum(), kMax);
    EXPECT_EQ(huge.change(), kMax);
    ASSERT_GE(huge.byteTicks().size(), 2u);
    for (size_t i = 1; i < huge.byteTicks().size(); ++i)
        EXPECT_GT(huge.byteTicks()[i], huge.byteTicks()[i - 1]);
    EXPECT_NEAR(huge.position(1, {0, 0, 10, 10}).y(), 0, 1e-9);
}

}  // namespace
}  // namespace velmora::visual

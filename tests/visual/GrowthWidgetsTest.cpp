// The trend timeline widget places its points where the timeline's geometry says, inside room
// for the tick labels, and names them by pointer and keyboard; the "What grew" page shows the
// headline and the categories of two kept scans.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTreeWidget>
#include <filesystem>

#include "Velmora/desktop/DesktopSession.h"
#include "Velmora/desktop/GrowthPage.h"
#include "Velmora/desktop/StorageTrendWidget.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/GrowthTexts.h"
#include "dashboard/ViewModelHarness.h"
#include "delta-blame/DeltaBlameTestSupport.h"
#include "support/OffscreenApplication.h"

namespace velmora::desktop {
namespace {

QApplication& application() {
    return test::offscreenApplication();
}

TEST(GrowthWidgetsTest, TimelinePlacesItsPointsAndNamesThem) {
    application();
    StorageTrendWidget w;
    w.resize(420, 260);
    const QDateTime first = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    // Given out of order: the widget draws them by date.
    w.setPoints({{first.addDays(2), 2'000'000}, {first, 1'000'000}, {first.addDays(1), 5'000'000}});

    const QRectF plot = w.plotRect();
    EXPECT_TRUE(QRectF(w.rect()).contains(plot));
    EXPECT_GT(plot.left(), w.fontMetrics().horizontalAdvance(
                               QString::fromStdString(bytesText(5'000'000, AppLanguage::english))))
        << "room for the byte labels";
    ASSERT_EQ(w.timeline().points().size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(w.pointPosition(i), w.timeline().position(i, plot));
        EXPECT_EQ(w.pointAt(w.pointPosition(i)), int(i));
    }
    EXPECT_LT(w.pointPosition(0).x(), w.pointPosition(1).x());
    EXPECT_LT(w.pointPosition(1).y(), w.pointPosition(2).y()) << "the larger total higher up";
    EXPECT_EQ(w.pointAt(plot.topLeft()), -1);

    // The pointer over a point gives its text; so do the arrow keys from either end.
    const QPointF at = w.pointPosition(1);
    QMouseEvent move(QEvent::MouseMove, at, w.mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(&w, &move);
    EXPECT_EQ(w.current(), 1);
    EXPECT_EQ(w.toolTip(), w.pointText(1));
    EXPECT_TRUE(w.pointText(1).endsWith(
        ": " + QString::fromStdString(bytesText(5'000'000, AppLanguage::english))));
    QTest::keyClick(&w, Qt::Key_End);
    EXPECT_EQ(w.current(), 2);
    QTest::keyClick(&w, Qt::Key_Left);
    QTest::keyClick(&w, Qt::Key_Left);
    QTest::keyClick(&w, Qt::Key_Left);
    EXPECT_EQ(w.current(), 0);
    EXPECT_EQ(w.accessibleDescription(), w.pointText(0));
}

TEST(GrowthWidgetsTest, PageShowsTheHeadlineAndTheCategories) {
    application();
    test::ViewModelHome v;
    std::filesystem::create_directories(v.home + "/.cache");
    SessionOptions options;
    options.homeOverride = v.home;
    options.catalogue = Catalogue::linux;
    DesktopSession session(options);
    GrowthPage page(session);
    page.resize(900, 700);
    page.show();
    ASSERT_TRUE(test::waitFor(&session.growth(), &GrowthViewModel::reportChanged));
    auto* unavailable = page.findChild<QLabel*>("growthUnavailable");
    EXPECT_FALSE(unavailable->isHidden());
    EXPECT_FALSE(page.findChild<QPushButton*>("growthScanButton")->isHidden());
    EXPECT_TRUE(page.categories()->isHidden());

    const std::string root = v.home + "/.cache";
    const auto report = [&](int64_t size) {
        ScanReport r;
        r.hasCompletedScan = true;
        r.scannedRoots = {FileURL::directory(root)};
        r.candidates = {
            test::candidateAt(root + "/pip", CleanupCategory::packageManagerCaches, size, "1:11")};
        return r;
    };
    const UserEnvironment user = currentUserEnvironment(v.home);
    ASSERT_TRUE(test::keepSnapshotAt(user, report(1000), currentDate() - 86400));
    ASSERT_TRUE(test::keepSnapshotAt(user, report(4000), currentDate()));
    ASSERT_TRUE(session.growth().reload());
    ASSERT_TRUE(test::waitFor(&session.growth(), &GrowthViewModel::reportChanged));

    EXPECT_TRUE(unavailable->isHidden());
    auto* headline = page.findChild<QLabel*>("growthHeadline");
    EXPECT_FALSE(headline->isHidden());
    EXPECT_TRUE(headline->text().contains("cleanup candidates grew by"))
        << headline->text().toStdString();
    ASSERT_EQ(page.categories()->topLevelItemCount(), 1);
    const QTreeWidgetItem* row = page.categories()->topLevelItem(0);
    EXPECT_EQ(row->text(0), QString::fromStdString(signedBytes(3000)));
    EXPECT_EQ(row->text(1),
              QString::fromStdString(categoryKeyTitle(DeltaBlameCategoryKey{"packageManagerCaches"},
                                                      AppLanguage::english)));
    ASSERT_EQ(row->childCount(), 1);
    EXPECT_EQ(row->child(0)->text(1), QString::fromStdString(changeKindLabel(
                                          DeltaBlameChangeKind::grown, AppLanguage::english)));
    EXPECT_EQ(page.timeline()->timeline().points().size(), 2u);
    EXPECT_FALSE(page.timeline()->isHidden());
}

}  // namespace
}  // namespace velmora::desktop

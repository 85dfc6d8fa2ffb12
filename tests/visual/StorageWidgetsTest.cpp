// The treemap and flame graph widgets under the offscreen platform: hovering gives the tooltip,
// clicking drills in, Backspace goes back up.
#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTest>

#include "Velmora/desktop/FlameGraphWidget.h"
#include "Velmora/desktop/TreemapWidget.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "support/OffscreenApplication.h"
#include "visual/TreeSpecs.h"

namespace velmora::desktop {
namespace {

using test::fileSpec;
using test::folderSpec;

QApplication& application() {
    return test::offscreenApplication();
}

void send(QWidget& w, QEvent::Type type, QPointF at, Qt::MouseButton button = Qt::NoButton) {
    QMouseEvent e(type, at, w.mapToGlobal(at), button,
                  type == QEvent::MouseMove ? Qt::NoButton : Qt::MouseButtons(button),
                  Qt::NoModifier);
    QApplication::sendEvent(&w, &e);
}

class StorageWidgetsTest : public ::testing::Test {
  protected:
    void SetUp() override { application(); }

    std::shared_ptr<const StorageTree> tree =
        std::make_shared<const StorageTree>(StorageTree::fromSpec(
            folderSpec("home", {folderSpec("Documents", {fileSpec("a", 4000),
                                                         folderSpec("sub", {fileSpec("c", 2000)})}),
                                folderSpec("Music", {fileSpec("e", 3000)})}),
            "/h"));

    StorageTree::Index named(const std::string& name) const { return test::nodeNamed(*tree, name); }
};

TEST_F(StorageWidgetsTest, TreemapHoversDrillsInAndGoesBack) {
    TreemapWidget w;
    w.resize(400, 300);
    QSignalSpy crumbs(&w, &TreemapWidget::breadcrumbChanged);
    w.setTree(tree);
    ASSERT_EQ(crumbs.count(), 1);
    EXPECT_EQ(crumbs.last()[0].toStringList(), QStringList{"home"});

    auto centreOf = [&](const std::string& name) {
        for (const auto& t : w.layout().tiles())
            if (t.node == named(name)) return t.rect.center();
        ADD_FAILURE() << name << " has no tile";
        return QPointF();
    };
    send(w, QEvent::MouseMove, centreOf("a"));
    EXPECT_EQ(w.toolTip(), QString("Documents/a\n") +
                               QString::fromStdString(bytesText(4000, AppLanguage::english)));

    // A file opens the folder it lies in.
    send(w, QEvent::MouseButtonPress, centreOf("c"), Qt::LeftButton);
    EXPECT_EQ(w.focus(), named("sub"));
    EXPECT_EQ(crumbs.last()[0].toStringList(), (QStringList{"home", "Documents", "sub"}));
    ASSERT_EQ(w.layout().tiles().size(), 1u);
    EXPECT_EQ(w.layout().tiles()[0].rect, QRectF(w.rect()));

    QTest::keyClick(&w, Qt::Key_Backspace);
    EXPECT_EQ(w.focus(), named("Documents"));
    w.goToBreadcrumb(0);
    EXPECT_EQ(w.focus(), tree->root());
    EXPECT_FALSE(w.goUp());

    // Painting reads the layout: the tiles' colours reach the image.
    QImage image(w.size(), QImage::Format_ARGB32);
    w.render(&image);
    EXPECT_NE(image.pixel(centreOf("e").toPoint()), image.pixel(centreOf("a").toPoint()));
}

TEST_F(StorageWidgetsTest, FlameGraphHoversFocusesAndGoesBack) {
    FlameGraphWidget w;
    w.resize(500, 200);
    w.setTree(tree);
    const int h = w.rowHeight();
    ASSERT_GE(w.rows().rows().size(), 3u);
    const auto& documents = w.rows().rows()[1][0];
    EXPECT_EQ(documents.node, named("Documents"));
    const QPointF at(documents.x + documents.width / 2, h + h / 2);

    send(w, QEvent::MouseMove, at);
    EXPECT_TRUE(w.toolTip().startsWith("Documents\n")) << w.toolTip().toStdString();

    send(w, QEvent::MouseButtonPress, at, Qt::LeftButton);
    EXPECT_EQ(w.focus(), named("Documents"));
    EXPECT_EQ(w.rows().rows()[0][0].width, 500);

    // A file cannot become the focus; the top row steps back out.
    send(w, QEvent::MouseButtonPress, QPointF(1, h + h / 2), Qt::LeftButton);
    EXPECT_EQ(w.focus(), named("Documents"));
    QTest::keyClick(&w, Qt::Key_Backspace);
    EXPECT_EQ(w.focus(), tree->root());
    send(w, QEvent::MouseButtonPress, QPointF(250, h / 2), Qt::LeftButton);
    EXPECT_EQ(w.focus(), tree->root());
}

}  // namespace
}  // namespace velmora::desktop

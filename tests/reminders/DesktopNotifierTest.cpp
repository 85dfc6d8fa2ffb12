// The real notification sender outside a desktop: no bus, and a bus without a notification
// service, both give an error value at once instead of an exception or a wait.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QProcess>

#include "VelmoraUI/reminders/DesktopNotifier.h"
#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using Kind = NotificationFailure::Kind;

DesktopNotification someNotification() {
    return {"Title", "Body", {{"open-review", "Open review"}}};
}

TEST(DesktopNotifierTest, WithoutABusTheFailureIsAValue) {
    test::TestTree tree;
    FreedesktopNotificationSender sender("unix:path=" + tree.path("no-bus"));
    const auto result = sender.send(someNotification());
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, Kind::noSessionBus);
    EXPECT_EQ(notificationFailureMessage(result.error(), AppLanguage::english),
              "The reminder could not be shown: this is not a desktop session (there is no "
              "session bus to reach).");
    EXPECT_FALSE(sender.waitForAction(1, std::chrono::milliseconds(1)));
}

TEST(DesktopNotifierTest, ABusWithoutANotificationServiceIsAFailureNotAWait) {
    test::TestTree tree;
    const std::string socket = tree.path("bus");
    // A private bus that can start no services, so nothing answers for notifications.
    const std::string config = test::writeFile(
        tree, "bus.conf",
        "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
        " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
        "<busconfig><type>session</type><listen>unix:path=" +
            socket +
            "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
            "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/>"
            "</policy></busconfig>\n");
    QProcess daemon;
    daemon.start("dbus-daemon", {"--config-file=" + QString::fromStdString(config), "--nofork",
                                 "--print-address"});
    if (!daemon.waitForStarted(5000)) GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_TRUE(daemon.waitForReadyRead(10000)) << "the bus did not start";
    const std::string address = daemon.readLine().trimmed().toStdString();

    // The bus connection runs in Qt's own thread, which needs the application object.
    int argc = 1;
    char name[] = "tests_reminders";
    char* argv[] = {name, nullptr};
    QCoreApplication application(argc, argv);
    FreedesktopNotificationSender sender(address, std::chrono::milliseconds(2000));
    const auto result = sender.send(someNotification());
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, Kind::serviceUnavailable);
    EXPECT_NE(result.error().detail.find("org.freedesktop.DBus.Error.ServiceUnknown"),
              std::string::npos)
        << result.error().detail;
    daemon.kill();
    daemon.waitForFinished(5000);
}

}  // namespace
}  // namespace velmora

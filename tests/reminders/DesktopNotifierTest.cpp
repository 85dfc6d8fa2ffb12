// The real notification sender on buses the test starts: no bus, and a bus without a
// notification service, both give an error value at once instead of an exception or a wait; a
// service that answers receives the notification in the form the desktop expects.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QProcess>
#include <QThread>

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

/// A private bus that can start no services, so only what the test puts on it answers.
class PrivateBus {
  public:
    PrivateBus() {
        const std::string config = test::writeFile(
            tree, "bus.conf",
            "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
            " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
            "<busconfig><type>session</type><listen>unix:path=" +
                tree.path("bus") +
                "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/><allow own=\"*\"/>"
                "</policy></busconfig>\n");
        daemon.start("dbus-daemon", {"--config-file=" + QString::fromStdString(config), "--nofork",
                                     "--print-address"});
        if (!daemon.waitForStarted(5000) || !daemon.waitForReadyRead(10000)) return;
        address = daemon.readLine().trimmed().toStdString();
    }
    ~PrivateBus() {
        daemon.kill();
        daemon.waitForFinished(5000);
    }
    test::TestTree tree;
    QProcess daemon;
    std::string address;  ///< empty when the bus could not be started
};

/// The application object Qt's bus thread needs.
struct Application {
    int argc = 1;
    char name[16] = "tests_reminders";
    char* argv[2] = {name, nullptr};
    QCoreApplication application{argc, argv};
};

TEST(DesktopNotifierTest, ABusWithoutANotificationServiceIsAFailureNotAWait) {
    Application app;
    PrivateBus bus;
    if (bus.address.empty()) GTEST_SKIP() << "dbus-daemon could not be started";
    FreedesktopNotificationSender sender(bus.address, std::chrono::milliseconds(2000));
    const auto result = sender.send(someNotification());
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().kind, Kind::serviceUnavailable);
    EXPECT_NE(result.error().detail.find("org.freedesktop.DBus.Error.ServiceUnknown"),
              std::string::npos)
        << result.error().detail;
}

/// A notification service that keeps the arguments of each Notify call. It lives on a thread of
/// its own, so it answers while the sender's thread waits for the reply.
class FakeNotificationService : public QDBusVirtualObject {
  public:
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.member() != "Notify") return false;
        {
            QMutexLocker lock(&mutex);
            calls.push_back(message.arguments());
        }
        connection.send(message.createReply(QVariant::fromValue(uint(42))));
        // The person answers at once: first another notification's button, then this one's.
        for (const auto& [id, key] : {std::pair<uint, QString>{41, "open-review"},
                                      std::pair<uint, QString>{42, "open-review"}}) {
            QDBusMessage signal = QDBusMessage::createSignal(
                "/org/freedesktop/Notifications", "org.freedesktop.Notifications", "ActionInvoked");
            signal << id << key;
            connection.send(signal);
        }
        return true;
    }
    QMutex mutex;
    QList<QVariantList> calls;
};

TEST(DesktopNotifierTest, TheServiceGetsTheNotificationAsTheDesktopExpectsAndTheChoiceComesBack) {
    Application app;
    PrivateBus bus;
    if (bus.address.empty()) GTEST_SKIP() << "dbus-daemon could not be started";
    QDBusConnection service =
        QDBusConnection::connectToBus(QString::fromStdString(bus.address), "fake-service");
    QThread thread;
    FakeNotificationService fake;
    fake.moveToThread(&thread);
    thread.start();
    ASSERT_TRUE(service.registerVirtualObject("/org/freedesktop/Notifications", &fake,
                                              QDBusConnection::SingleNode));
    ASSERT_TRUE(service.registerService("org.freedesktop.Notifications"));

    {
        FreedesktopNotificationSender sender(bus.address, std::chrono::milliseconds(5000));
        const auto result = sender.send(someNotification());
        ASSERT_TRUE(result) << result.error().detail;
        EXPECT_EQ(*result, 42u);
        // A choice made before the sender starts waiting is not lost.
        EXPECT_EQ(sender.waitForAction(42, std::chrono::seconds(10)), "open-review");
    }
    service.unregisterObject("/org/freedesktop/Notifications");
    QDBusConnection::disconnectFromBus("fake-service");
    thread.quit();
    thread.wait();
    QMutexLocker lock(&fake.mutex);
    ASSERT_EQ(fake.calls.size(), 1);
    const QVariantList& a = fake.calls[0];
    ASSERT_EQ(a.size(), 8);
    EXPECT_EQ(a[0].toString(), "Velmora");
    EXPECT_EQ(a[1].toUInt(), 0u);
    EXPECT_EQ(a[2].toString(), "org.velmora.Velmora");
    EXPECT_EQ(a[3].toString(), "Title");
    EXPECT_EQ(a[4].toString(), "Body");
    EXPECT_EQ(a[5].toStringList(), QStringList({"open-review", "Open review"}));
    const QVariantMap hints = qdbus_cast<QVariantMap>(a[6]);
    EXPECT_EQ(hints.value("desktop-entry").toString(), "org.velmora.Velmora");
    EXPECT_EQ(a[7].toInt(), -1);
}

}  // namespace
}  // namespace velmora

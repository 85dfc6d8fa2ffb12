#include "VelmoraUI/reminders/DesktopNotifier.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QTimer>
#include <QVariantMap>
#include <atomic>
#include <cstdlib>

#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");
const QString kInterface = QStringLiteral("org.freedesktop.Notifications");

std::string nextConnectionName() {
    static std::atomic<int> counter{0};
    return "velmora-notifications-" + std::to_string(++counter);
}

}  // namespace

std::string_view rawValue(NotificationFailure::Kind kind) {
    switch (kind) {
        case NotificationFailure::Kind::noSessionBus:
            return "noSessionBus";
        case NotificationFailure::Kind::serviceUnavailable:
            return "serviceUnavailable";
    }
    return "noSessionBus";
}

std::string notificationFailureMessage(const NotificationFailure& failure, AppLanguage language) {
    const VelmoraCopy copy{language};
    switch (failure.kind) {
        case NotificationFailure::Kind::noSessionBus:
            return copy.text(
                "The reminder could not be shown: this is not a desktop session (there is no "
                "session bus to reach).",
                "알림을 표시하지 못했습니다. 데스크톱 세션이 아닙니다(연결할 세션 버스가 "
                "없습니다).");
        case NotificationFailure::Kind::serviceUnavailable:
            return copy.text(
                "The reminder could not be shown: the desktop's notification service did not "
                "answer.",
                "알림을 표시하지 못했습니다. 데스크톱 알림 서비스가 응답하지 않았습니다.");
    }
    return {};
}

std::optional<std::string> sessionBusAddress() {
    if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address) {
        return std::string(address);
    }
    // The per-user bus of a systemd session; libdbus would otherwise try to start a bus of its
    // own ("autolaunch"), which is no desktop anyone sees.
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
        const std::string socket = std::string(runtime) + "/bus";
        if (QFileInfo(QString::fromStdString(socket)).exists()) return "unix:path=" + socket;
    }
    return std::nullopt;
}

FreedesktopNotificationSender::FreedesktopNotificationSender(std::optional<std::string> busAddress,
                                                             std::chrono::milliseconds callTimeout)
    : busAddress_(busAddress ? std::move(busAddress) : sessionBusAddress()),
      callTimeout_(callTimeout),
      connectionName_(nextConnectionName()) {}

FreedesktopNotificationSender::~FreedesktopNotificationSender() {
    if (connected_) QDBusConnection::disconnectFromBus(qText(connectionName_));
}

std::optional<NotificationAnswers::Answer> NotificationAnswers::take(uint32_t id) {
    for (auto it = answers_.begin(); it != answers_.end(); ++it) {
        if (it->id != id) continue;
        Answer answer = *it;
        answers_.erase(it);
        return answer;
    }
    return std::nullopt;
}

void NotificationAnswers::actionInvoked(uint id, const QString& actionKey) {
    answers_.push_back({id, actionKey.toStdString()});
    emit heard();
}

void NotificationAnswers::notificationClosed(uint id, uint) {
    answers_.push_back({id, std::nullopt});
    emit heard();
}

Result<uint32_t, NotificationFailure> FreedesktopNotificationSender::send(
    const DesktopNotification& notification) {
    using Kind = NotificationFailure::Kind;
    if (!busAddress_) return Failure{NotificationFailure{Kind::noSessionBus, "no session bus"}};
    QDBusConnection bus =
        QDBusConnection::connectToBus(qText(*busAddress_), qText(connectionName_));
    connected_ = true;
    if (!bus.isConnected()) {
        return Failure{
            NotificationFailure{Kind::noSessionBus, bus.lastError().message().toStdString()}};
    }
    if (!answers_) {
        answers_ = std::make_unique<NotificationAnswers>();
        bus.connect(QString(), kPath, kInterface, QStringLiteral("ActionInvoked"), answers_.get(),
                    SLOT(actionInvoked(uint, QString)));
        bus.connect(QString(), kPath, kInterface, QStringLiteral("NotificationClosed"),
                    answers_.get(), SLOT(notificationClosed(uint, uint)));
    }
    QStringList actions;
    for (const auto& action : notification.actions) {
        actions << qText(action.key) << qText(action.label);
    }
    QVariantMap hints;
    hints.insert(QStringLiteral("desktop-entry"), qText(kApplicationID));
    QDBusMessage call =
        QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("Notify"));
    call << qText(kNotificationAppName) << uint(0) << qText(kApplicationID)
         << qText(notification.title) << qText(notification.body) << actions << hints << int(-1);
    const QDBusMessage reply = bus.call(call, QDBus::Block, static_cast<int>(callTimeout_.count()));
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        const std::string detail =
            reply.type() == QDBusMessage::ErrorMessage
                ? (reply.errorName() + ": " + reply.errorMessage()).toStdString()
                : std::string("no reply to Notify");
        return Failure{NotificationFailure{Kind::serviceUnavailable, detail}};
    }
    return static_cast<uint32_t>(reply.arguments().front().toUInt());
}

std::optional<std::string> FreedesktopNotificationSender::waitForAction(
    uint32_t id, std::chrono::milliseconds limit) {
    if (!answers_) return std::nullopt;
    const QDeadlineTimer deadline(limit);
    while (true) {
        if (auto answer = answers_->take(id)) return answer->action;
        if (deadline.hasExpired()) return std::nullopt;
        QEventLoop loop;
        QObject::connect(answers_.get(), &NotificationAnswers::heard, &loop, &QEventLoop::quit);
        QTimer::singleShot(
            std::chrono::ceil<std::chrono::milliseconds>(deadline.remainingTimeAsDuration()), &loop,
            &QEventLoop::quit);
        // Answers that arrived before the loop ran are delivered by it, before it waits.
        loop.exec();
    }
}

}  // namespace velmora

#pragma once
// Desktop notifications through the freedesktop notification service
// (`org.freedesktop.Notifications` on the session bus). The service draws the notification and
// tells which action the person chose; a missing bus or service is an error value, never an
// exception, and every call is bounded by a short timeout so a stuck service cannot hold a
// timer-started run.
#include <QObject>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Result.h"
#include "VelmoraUI/localization/AppLanguage.h"

class QDBusConnection;

namespace velmora {

/// The identity every notification carries: the application's desktop-file id names its icon
/// and lets the notification service show it under the application.
inline constexpr std::string_view kNotificationAppName = "Velmora";
inline constexpr std::string_view kApplicationID = "org.velmora.Velmora";

struct NotificationAction {
    std::string key;    ///< sent back when chosen
    std::string label;  ///< shown on the button
};

struct DesktopNotification {
    std::string title;
    std::string body;
    std::vector<NotificationAction> actions;
};

struct NotificationFailure {
    enum class Kind {
        noSessionBus,        ///< not in a desktop session (no session bus to reach)
        serviceUnavailable,  ///< the bus is there but no notification service answered
    };
    Kind kind = Kind::noSessionBus;
    std::string detail;  ///< the bus's own words, in English, for logs and JSON
};

std::string_view rawValue(NotificationFailure::Kind);

/// The sentence that tells the person why the notification could not be shown.
std::string notificationFailureMessage(const NotificationFailure& failure, AppLanguage language);

/// Shows notifications. The real one talks to the session bus; tests put in their own.
class NotificationSender {
  public:
    virtual ~NotificationSender() = default;
    /// Shows `notification`; its id, or why it could not be shown.
    virtual Result<uint32_t, NotificationFailure> send(const DesktopNotification& notification) = 0;
    /// Waits up to `limit` for the person to choose an action of notification `id`; the chosen
    /// action's key, or none when the notification was closed or the time ran out.
    virtual std::optional<std::string> waitForAction(uint32_t id,
                                                     std::chrono::milliseconds limit) = 0;
};

class NotificationAnswers;

/// The session bus's notification service. The connection is made when the first notification
/// is sent and kept until destruction, because the service sends the chosen action back on it;
/// the sender listens for the answers before it sends, so an immediate choice is not lost.
/// Needs a QCoreApplication (Qt's bus thread, and the wait's event loop).
class FreedesktopNotificationSender : public NotificationSender {
  public:
    /// `busAddress`: the bus to use; by default the session bus of this desktop session
    /// ($DBUS_SESSION_BUS_ADDRESS, else $XDG_RUNTIME_DIR/bus when that socket exists).
    explicit FreedesktopNotificationSender(
        std::optional<std::string> busAddress = std::nullopt,
        std::chrono::milliseconds callTimeout = std::chrono::milliseconds(5000));
    ~FreedesktopNotificationSender() override;

    Result<uint32_t, NotificationFailure> send(const DesktopNotification& notification) override;
    std::optional<std::string> waitForAction(uint32_t id, std::chrono::milliseconds limit) override;

  private:
    std::optional<std::string> busAddress_;
    std::chrono::milliseconds callTimeout_;
    std::string connectionName_;
    bool connected_ = false;
    std::unique_ptr<NotificationAnswers> answers_;
};

/// The session bus address of this desktop session, if there is one to reach; never starts a
/// bus.
std::optional<std::string> sessionBusAddress();

/// The notification service's answers heard on the sender's connection (declared here for moc).
class NotificationAnswers : public QObject {
    Q_OBJECT

  public:
    struct Answer {
        uint32_t id = 0;
        std::optional<std::string> action;  ///< none: the notification was closed
    };
    /// The first answer for `id`, taken out of those heard so far.
    std::optional<Answer> take(uint32_t id);

  signals:
    void heard();

  public slots:
    void actionInvoked(uint id, const QString& actionKey);
    void notificationClosed(uint id, uint reason);

  private:
    std::vector<Answer> answers_;
};

}  // namespace velmora

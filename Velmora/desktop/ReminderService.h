#pragma once
// Review reminders while the application runs: a check soon after start and every half hour;
// when a review is due (and reminders are on, and none was shown for this due period) the
// reminder goes out through the desktop's notification service, so it arrives with or without
// a tray. Choosing "Open review" on it asks the window to open the review.
//
// When no notification service answers, nothing is recorded and the next check tries again;
// the failure is kept in `lastFailure` and never interrupts the person.
//
// Threading: a QObject of the UI thread. A notification call waits for the bus at most two
// seconds (a healthy service answers within milliseconds).
#include <QObject>
#include <QTimer>
#include <memory>
#include <optional>
#include <string>

namespace velmora {
class NotificationSender;
}

namespace velmora::desktop {

class DesktopSession;

class ReminderService final : public QObject {
    Q_OBJECT

  public:
    /// `sender` shows the notifications (the session bus's service in the application).
    ReminderService(DesktopSession& session, std::unique_ptr<NotificationSender> sender,
                    QObject* parent = nullptr);
    ~ReminderService() override;

    /// Decides now and shows the reminder when it is due.
    void check();
    const std::optional<std::string>& lastFailure() const { return lastFailure_; }

  signals:
    void openReviewRequested();

  private:
    void listen();

    DesktopSession& session_;
    std::unique_ptr<NotificationSender> sender_;
    QTimer checks_;
    QTimer answers_;
    std::optional<uint32_t> shownID_;
    int answerPolls_ = 0;
    std::optional<std::string> lastFailure_;
};

}  // namespace velmora::desktop

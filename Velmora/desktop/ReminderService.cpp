#include "Velmora/desktop/ReminderService.h"

#include "Velmora/desktop/DesktopSession.h"
#include "VelmoraUI/reminders/DesktopNotifier.h"
#include "VelmoraUI/reminders/ReminderWorkflow.h"

namespace velmora::desktop {
namespace {

constexpr int kCheckIntervalMs = 30 * 60 * 1000;
constexpr int kAnswerPollMs = 1000;
constexpr int kAnswerPolls = 10 * 60;  // the reminder is answered within ten minutes or not

}  // namespace

ReminderService::ReminderService(DesktopSession& session,
                                 std::unique_ptr<NotificationSender> sender, QObject* parent)
    : QObject(parent), session_(session), sender_(std::move(sender)) {
    checks_.setInterval(kCheckIntervalMs);
    connect(&checks_, &QTimer::timeout, this, &ReminderService::check);
    checks_.start();
    answers_.setInterval(kAnswerPollMs);
    connect(&answers_, &QTimer::timeout, this, &ReminderService::listen);
}

ReminderService::~ReminderService() = default;

void ReminderService::check() {
    // The person's choice is handled here, by the running application: nothing to launch.
    const ReviewReminderRun run =
        runReviewReminder(session_.settings(), *sender_, currentDate(), session_.language(),
                          std::chrono::milliseconds(0), [] { return true; });
    if (run.failure) {
        lastFailure_ = notificationFailureMessage(*run.failure, session_.language());
        return;
    }
    lastFailure_.reset();
    if (run.delivered && run.chosenAction) {
        emit openReviewRequested();
        return;
    }
    if (run.delivered && run.notificationID) {
        shownID_ = run.notificationID;
        answerPolls_ = 0;
        answers_.start();
    }
}

void ReminderService::listen() {
    if (++answerPolls_ > kAnswerPolls) {
        answers_.stop();
        return;
    }
    if (!shownID_) return;
    // Answers arrive through the event loop; this only takes one already heard.
    const auto action = sender_->waitForAction(*shownID_, std::chrono::milliseconds(0));
    if (!action) return;
    answers_.stop();
    shownID_.reset();
    if (*action == kOpenReviewAction || *action == kDefaultAction) emit openReviewRequested();
}

}  // namespace velmora::desktop

#include "VelmoraUI/reminders/ReminderWorkflow.h"

#include <QProcess>

#include "VelmoraUI/state/CleanupReviewPreferencesStore.h"
#include "VelmoraUI/state/DashboardLaunchRequest.h"

namespace velmora {

bool launchDesktopApplication() {
    // The section is named on the command line too, so the review opens even in a version of
    // the application that does not read the request.
    return QProcess::startDetached(QStringLiteral("velmora-desktop"),
                                   {QStringLiteral("--section"), QStringLiteral("review")});
}

DesktopNotification reviewReminderNotification(AppLanguage language) {
    const ReviewReminderTexts texts = reviewReminderTexts(language);
    return {texts.title,
            texts.body,
            {{std::string(kDefaultAction), texts.openReviewLabel},
             {std::string(kOpenReviewAction), texts.openReviewLabel}}};
}

ReviewReminderRun runReviewReminder(QSettings& settings, NotificationSender& sender, Date now,
                                    AppLanguage language, std::chrono::milliseconds waitLimit,
                                    const ApplicationLauncher& launch) {
    ReviewReminderRun run;
    const CleanupReviewPreferencesStore review(settings);
    run.verdict = decideReviewReminder(review.status(now), readReviewReminderSettings(settings));
    if (run.verdict != ReviewReminderVerdict::remind) return run;

    auto shown = sender.send(reviewReminderNotification(language));
    if (!shown) {
        run.failure = shown.error();
        return run;
    }
    run.delivered = true;
    run.notificationID = *shown;
    run.recorded = recordReviewReminderDelivered(settings, now);
    if (waitLimit.count() <= 0) return run;
    run.chosenAction = sender.waitForAction(*shown, waitLimit);
    if (run.chosenAction == kOpenReviewAction || run.chosenAction == kDefaultAction) {
        run.openedReview = openReviewInApplication(settings, launch);
    }
    return run;
}

bool openReviewInApplication(QSettings& settings, const ApplicationLauncher& launch) {
    if (!requestDashboardLaunch(settings, kDashboardReviewDestination)) return false;
    return launch();
}

}  // namespace velmora

#pragma once
// One reminder run, as a timer starts it: read the review loop and the reminder keys, decide,
// show the reminder, record the delivery, and, when the person chooses to open the review,
// leave the launch request for the desktop application and start it.
#include <QSettings>
#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "CleanerCore/base/Date.h"
#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/reminders/DesktopNotifier.h"
#include "VelmoraUI/reminders/ReviewReminder.h"

namespace velmora {

/// The action keys of the reminder: its button, and a click on the notification itself.
inline constexpr std::string_view kOpenReviewAction = "open-review";
inline constexpr std::string_view kDefaultAction = "default";

/// Starts the desktop application; false when it could not be started.
using ApplicationLauncher = std::function<bool()>;

/// Starts `velmora-desktop --section review` from the search path, detached from this process.
bool launchDesktopApplication();

struct ReviewReminderRun {
    ReviewReminderVerdict verdict = ReviewReminderVerdict::remindersOff;
    bool delivered = false;
    std::optional<uint32_t> notificationID;      ///< the shown reminder, to hear its answer later
    std::optional<NotificationFailure> failure;  ///< the reminder was due but not shown
    bool recorded = true;                        ///< false: shown, but the delivery not written
    std::optional<std::string> chosenAction;
    bool openedReview = false;  ///< the request was written and the application started
};

/// The reminder as it would be shown in `language`.
DesktopNotification reviewReminderNotification(AppLanguage language);

/// Decides at `now`, shows the reminder through `sender` when due, records the delivery only
/// when it was shown, and waits up to `waitLimit` (zero: not at all) for the person to choose
/// to open the review, which asks the application for its review section and starts it through
/// `launch`.
ReviewReminderRun runReviewReminder(QSettings& settings, NotificationSender& sender, Date now,
                                    AppLanguage language, std::chrono::milliseconds waitLimit,
                                    const ApplicationLauncher& launch);

/// Leaves the request "open the review" for the application and starts it; false when the
/// request could not be written (then nothing is started) or the application did not start.
bool openReviewInApplication(QSettings& settings, const ApplicationLauncher& launch);

}  // namespace velmora

#include "Velmora/cli/RemindCommand.h"

#include <QCoreApplication>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/reminders/ReminderWorkflow.h"

namespace velmora::cli {

int runRemindCommand(const RemindCommandOptions& options) {
    // The bus connection is served by Qt's own thread and the wait by an event loop; both need
    // the application object.
    std::unique_ptr<QCoreApplication> application;
    static int argc = 1;
    static char name[] = "velmora";
    static char* argv[] = {name, nullptr};
    if (!QCoreApplication::instance()) {
        application = std::make_unique<QCoreApplication>(argc, argv);
    }

    CommandPreferences preferences =
        openCommandPreferences(options.homeOverride, options.runLanguage);
    FreedesktopNotificationSender sender;
    const ReviewReminderRun run =
        runReviewReminder(*preferences.file.settings, sender, currentDate(), preferences.language,
                          std::chrono::seconds(options.waitSeconds), launchDesktopApplication);

    const int status = run.failure     ? kExitNotificationUnavailable
                       : !run.recorded ? kExitFailures
                                       : kExitDone;
    if (options.json) {
        nlohmann::json out = {{"verdict", rawValue(run.verdict)},
                              {"delivered", run.delivered},
                              {"recorded", run.delivered && run.recorded},
                              {"openedReview", run.openedReview}};
        if (run.failure) {
            out["failure"] = {{"kind", rawValue(run.failure->kind)},
                              {"detail", run.failure->detail}};
        }
        std::cout << out.dump(2) << "\n";
        return status;
    }
    const AppLanguage language = preferences.language;
    if (run.failure) {
        std::cerr << "velmora: " << notificationFailureMessage(*run.failure, language) << "\n";
        return status;
    }
    std::cout << reviewReminderVerdictMessage(run.verdict, language) << "\n";
    if (!run.recorded) {
        std::cerr << "velmora: "
                  << VelmoraCopy{language}.text(
                         "The reminder was shown, but the preferences file could not be written, "
                         "so it may be shown again.",
                         "알림을 표시했지만 환경설정 파일에 쓸 수 없어 다시 표시될 수 "
                         "있습니다.")
                  << "\n";
    }
    return status;
}

}  // namespace velmora::cli

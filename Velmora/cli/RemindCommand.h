#pragma once
// `velmora remind`: shows the review reminder when it is due, once per due period; the systemd
// user timer runs it so reminders also come when the desktop application is closed.
// `--wait SECONDS` keeps the run listening that long for the person to choose "Open review"
// (the timer's service passes it; a run from a terminal returns at once by default).
// Exit status: 0 nothing was due, or the reminder was shown; 1 it was shown but the delivery
// could not be recorded (it may come again); 3 it was due but the desktop's notification
// service could not be reached (nothing recorded, the next run tries again).
#include <optional>
#include <string>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct RemindCommandOptions {
    std::optional<std::string> homeOverride;
    std::optional<AppLanguage> runLanguage;
    unsigned waitSeconds = 0;
    bool json = false;
};

int runRemindCommand(const RemindCommandOptions& options);

}  // namespace velmora::cli

#pragma once
// Whether the person should be reminded of the review loop now, and what the reminder says.
//
// Two preference keys besides the review loop's own:
//   menuBarRemindersEnabled         boolean; a missing key means enabled, so that a person who
//                                   chose a cadence is reminded without a second switch; only
//                                   false (or the text "false") turns reminders off, as the
//                                   settings screen reads it
//   menuBarReminderLastDeliveredAt  number, seconds since 1970-01-01 UTC, the same form as the
//                                   review loop's lastReviewedAt; not a positive finite number
//                                   reads as "never delivered"
//
// At most one reminder per due period. A period starts at the instant the review falls due
// (last review + cadence) and lasts until the next review is recorded; a reminder delivered at
// or after that instant covers the period. Before the first review there is no due instant and
// so no reminder: the status sentence already asks for that first review.
#include <QSettings>
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/base/Date.h"
#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/state/CleanupReviewPreferencesStore.h"

namespace velmora {

inline constexpr std::string_view kReminderLastDeliveredAtKey =
    "velmora.menuBarReminderLastDeliveredAt";

struct ReviewReminderSettings {
    bool enabled = true;
    std::optional<Date> lastDeliveredAt;
};

/// The two reminder keys; reading never fails (see above for what an odd value means).
ReviewReminderSettings readReviewReminderSettings(const QSettings& settings);

/// Writes `at` as the last delivery; false when the file could not be written.
bool recordReviewReminderDelivered(QSettings& settings, Date at);

enum class ReviewReminderVerdict {
    remind,            ///< a review is due and this period has had no reminder yet
    remindersOff,      ///< the person turned reminders off
    cadenceOff,        ///< the review cadence is off
    notStarted,        ///< no review has been completed yet
    notDueYet,         ///< the next review lies ahead
    alreadyDelivered,  ///< this due period has had its reminder
};

std::string_view rawValue(ReviewReminderVerdict);

/// The decision for the review loop standing at `status` (computed at the current time).
ReviewReminderVerdict decideReviewReminder(const CleanupReviewCadenceStatus& status,
                                           const ReviewReminderSettings& settings);

struct ReviewReminderTexts {
    std::string title;
    std::string body;
    std::string openReviewLabel;  ///< the label of the action that opens the review
};

ReviewReminderTexts reviewReminderTexts(AppLanguage language);

/// The sentence that says what `verdict` meant for this run, once the reminder (if any) was
/// delivered.
std::string reviewReminderVerdictMessage(ReviewReminderVerdict verdict, AppLanguage language);

}  // namespace velmora

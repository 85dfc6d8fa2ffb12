#include "VelmoraUI/reminders/ReviewReminder.h"

#include <cmath>

#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {

ReviewReminderSettings readReviewReminderSettings(const QSettings& settings) {
    ReviewReminderSettings out;
    out.enabled = remindersEnabled(settings);
    bool ok = false;
    const double unixSeconds = settings.value(qText(kReminderLastDeliveredAtKey)).toDouble(&ok);
    if (ok && std::isfinite(unixSeconds) && unixSeconds > 0) {
        out.lastDeliveredAt = dateFromUnixSeconds(unixSeconds);
    }
    return out;
}

bool recordReviewReminderDelivered(QSettings& settings, Date at) {
    const double unixSeconds = at + kReferenceDateUnixOffset;
    if (!std::isfinite(unixSeconds) || unixSeconds <= 0) return false;
    return storePreference(settings, kReminderLastDeliveredAtKey, unixSeconds);
}

std::string_view rawValue(ReviewReminderVerdict verdict) {
    switch (verdict) {
        case ReviewReminderVerdict::remind:
            return "remind";
        case ReviewReminderVerdict::remindersOff:
            return "remindersOff";
        case ReviewReminderVerdict::cadenceOff:
            return "cadenceOff";
        case ReviewReminderVerdict::notStarted:
            return "notStarted";
        case ReviewReminderVerdict::notDueYet:
            return "notDueYet";
        case ReviewReminderVerdict::alreadyDelivered:
            return "alreadyDelivered";
    }
    return "remindersOff";
}

ReviewReminderVerdict decideReviewReminder(const CleanupReviewCadenceStatus& status,
                                           const ReviewReminderSettings& settings) {
    using Kind = CleanupReviewCadenceStatus::Kind;
    if (!settings.enabled) return ReviewReminderVerdict::remindersOff;
    switch (status.kind) {
        case Kind::disabled:
            return ReviewReminderVerdict::cadenceOff;
        case Kind::notStarted:
            return ReviewReminderVerdict::notStarted;
        case Kind::upcoming:
            return ReviewReminderVerdict::notDueYet;
        case Kind::due:
            break;
    }
    // A due status always carries its instant; without one, any earlier delivery counts.
    const bool covered =
        settings.lastDeliveredAt &&
        (!status.nextReviewAt || *settings.lastDeliveredAt >= *status.nextReviewAt);
    return covered ? ReviewReminderVerdict::alreadyDelivered : ReviewReminderVerdict::remind;
}

ReviewReminderTexts reviewReminderTexts(AppLanguage language) {
    const VelmoraCopy copy{language};
    CleanupReviewCadenceStatus due;
    due.kind = CleanupReviewCadenceStatus::Kind::due;
    return {copy.text("Time for a safety review", "안전 검토 시간입니다"),
            cleanupReviewStatusMessage(due, language), copy.text("Open review", "검토 열기")};
}

std::string reviewReminderVerdictMessage(ReviewReminderVerdict verdict, AppLanguage language) {
    const VelmoraCopy copy{language};
    switch (verdict) {
        case ReviewReminderVerdict::remind:
            return copy.text("A reminder that a safety review is due was shown.",
                             "안전 검토 시기를 알리는 알림을 표시했습니다.");
        case ReviewReminderVerdict::remindersOff:
            return copy.text("Reminders are turned off, so none was shown.",
                             "알림이 꺼져 있어 표시하지 않았습니다.");
        case ReviewReminderVerdict::cadenceOff:
            return copy.text("Review cadence is off, so no reminder was shown.",
                             "검토 주기가 꺼져 있어 알림을 표시하지 않았습니다.");
        case ReviewReminderVerdict::notStarted:
            return copy.text(
                "No review has been completed yet, so there is nothing to remind of. Complete "
                "one review to start the reminders.",
                "아직 완료한 검토가 없어 알릴 내용이 없습니다. 검토를 한 번 완료하면 알림이 "
                "시작됩니다.");
        case ReviewReminderVerdict::notDueYet:
            return copy.text("The next safety review is not due yet, so no reminder was shown.",
                             "다음 안전 검토 시기가 아직 아니어서 알림을 표시하지 않았습니다.");
        case ReviewReminderVerdict::alreadyDelivered:
            return copy.text(
                "The reminder for this review was already shown, so it was not shown again.",
                "이번 검토 알림은 이미 표시했으므로 다시 표시하지 않았습니다.");
    }
    return {};
}

}  // namespace velmora

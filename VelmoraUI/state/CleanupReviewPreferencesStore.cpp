#include "VelmoraUI/state/CleanupReviewPreferencesStore.h"

#include <algorithm>
#include <cmath>

#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {

namespace {

/// Larger day counts than this are no reminder anyone waits for; the cap keeps the conversion
/// to an integer defined for absurd stored times.
constexpr double kMaximumReportedDays = 1e9;

}  // namespace

std::string_view rawValue(CleanupReviewCadence cadence) {
    switch (cadence) {
        case CleanupReviewCadence::off:
            return "off";
        case CleanupReviewCadence::weekly:
            return "weekly";
        case CleanupReviewCadence::monthly:
            return "monthly";
    }
    return "weekly";
}

std::optional<CleanupReviewCadence> reviewCadenceFromRaw(std::string_view raw) {
    for (auto c :
         {CleanupReviewCadence::off, CleanupReviewCadence::weekly, CleanupReviewCadence::monthly}) {
        if (rawValue(c) == raw) return c;
    }
    return std::nullopt;
}

std::optional<double> reviewInterval(CleanupReviewCadence cadence) {
    switch (cadence) {
        case CleanupReviewCadence::off:
            return std::nullopt;
        case CleanupReviewCadence::weekly:
            return 604800.0;
        case CleanupReviewCadence::monthly:
            return 2592000.0;
    }
    return std::nullopt;
}

std::string_view rawValue(CleanupReviewCadenceStatus::Kind kind) {
    using Kind = CleanupReviewCadenceStatus::Kind;
    switch (kind) {
        case Kind::disabled:
            return "disabled";
        case Kind::notStarted:
            return "notStarted";
        case Kind::due:
            return "due";
        case Kind::upcoming:
            return "upcoming";
    }
    return "disabled";
}

CleanupReviewCadenceStatus cleanupReviewStatus(std::optional<Date> lastReviewedAt, Date now,
                                               CleanupReviewCadence cadence) {
    using Kind = CleanupReviewCadenceStatus::Kind;
    const auto interval = reviewInterval(cadence);
    if (!interval) return {Kind::disabled, std::nullopt, std::nullopt};
    if (!lastReviewedAt) return {Kind::notStarted, std::nullopt, std::nullopt};
    const Date next = *lastReviewedAt + *interval;
    const double remaining = next - now;
    if (remaining > 0) {
        const double days = std::clamp(std::ceil(remaining / 86400.0), 1.0, kMaximumReportedDays);
        return {Kind::upcoming, next, static_cast<int64_t>(days)};
    }
    return {Kind::due, next, 0};
}

std::string cleanupReviewStatusMessage(const CleanupReviewCadenceStatus& status,
                                       AppLanguage language) {
    using Kind = CleanupReviewCadenceStatus::Kind;
    const VelmoraCopy copy{language};
    switch (status.kind) {
        case Kind::disabled:
            return copy.text("Review cadence is off.", "검토 주기가 꺼져 있습니다.");
        case Kind::notStarted:
            return copy.text("Complete one review to calculate the next reminder.",
                             "검토를 한 번 완료하면 다음 알림을 계산합니다.");
        case Kind::due:
            return copy.text("Safety review is due. Review candidates before choosing anything.",
                             "안전 검토 시기입니다. 항목을 고르기 전에 후보를 검토하세요.");
        case Kind::upcoming:
            break;
    }
    const int64_t days = status.daysUntilNextReview.value_or(1);
    const std::string n = std::to_string(days);
    // i18n-example: "Next safety review reminder in 1 day."
    // i18n-example: "Next safety review reminder in 12 days."
    return copy.text("Next safety review reminder in " + n + (days == 1 ? " day." : " days."),
                     "다음 안전 검토 알림까지 " + n + "일 남았습니다.");
}

CleanupReviewPreferencesStore::CleanupReviewPreferencesStore(QSettings& settings, QObject* parent)
    : QObject(parent), settings_(settings) {
    cadence_ = reviewCadenceFromRaw(storedText(settings_, kReviewCadenceKey))
                   .value_or(CleanupReviewCadence::weekly);
    selectedProfileID_ = reviewProfileIDFromRaw(storedText(settings_, kReviewProfileKey))
                             .value_or(CleanupReviewProfileID::balanced);
    bool ok = false;
    const double unixSeconds = settings_.value(qText(kLastReviewedAtKey)).toDouble(&ok);
    if (ok && std::isfinite(unixSeconds) && unixSeconds > 0) {
        lastReviewedAt_ = dateFromUnixSeconds(unixSeconds);
    }
}

bool CleanupReviewPreferencesStore::setCadence(CleanupReviewCadence cadence) {
    return change(cadence_, cadence, &CleanupReviewPreferencesStore::cadenceChanged,
                  kReviewCadenceKey, qText(rawValue(cadence)));
}

bool CleanupReviewPreferencesStore::setSelectedProfileID(CleanupReviewProfileID id) {
    return change(selectedProfileID_, id, &CleanupReviewPreferencesStore::selectedProfileIDChanged,
                  kReviewProfileKey, qText(rawValue(id)));
}

bool CleanupReviewPreferencesStore::markReviewed(Date date) {
    const double unixSeconds = date + kReferenceDateUnixOffset;
    if (!std::isfinite(unixSeconds) || unixSeconds <= 0) return false;
    return change(lastReviewedAt_, std::optional<Date>(date),
                  &CleanupReviewPreferencesStore::lastReviewedAtChanged, kLastReviewedAtKey,
                  unixSeconds);
}

template <typename T>
bool CleanupReviewPreferencesStore::change(T& field, T value,
                                           void (CleanupReviewPreferencesStore::*changed)(),
                                           std::string_view key, const QVariant& stored) {
    const T previous = field;
    field = value;
    if (previous != value) emit(this->*changed)();
    if (storePreference(settings_, key, stored)) return true;
    field = previous;
    if (previous != value) emit(this->*changed)();
    return false;
}

bool remindersEnabled(const QSettings& settings) {
    return storedBool(settings, kRemindersEnabledKey).value_or(true);
}

}  // namespace velmora

#pragma once
// The review loop: how often the person wants to be reminded to review cleanup candidates, the
// selected review profile and when the last review was completed. Three preference keys whose
// value forms are shared with the settings screen, which binds them directly:
//   cadence             string "off", "weekly" or "monthly"; anything else reads as weekly
//   selectedProfileID   string, a profile's raw value; anything else reads as "balanced"
//   lastReviewedAt      number, seconds since 1970-01-01 UTC; not a positive finite number
//                       reads as "never reviewed"
// Reading never fails. Main thread only; changes are published synchronously.
#include <QObject>
#include <QSettings>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/base/Date.h"
#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/state/CleanupReviewProfile.h"

namespace velmora {

inline constexpr std::string_view kReviewCadenceKey = "velmora.cleanupReviewLoop.cadence";
inline constexpr std::string_view kReviewProfileKey = "velmora.cleanupReviewLoop.selectedProfileID";
inline constexpr std::string_view kLastReviewedAtKey = "velmora.cleanupReviewLoop.lastReviewedAt";
/// Whether the person wants to be reminded when a review falls due: a boolean, missing means
/// yes; the settings screen writes it and the reminder reads it.
inline constexpr std::string_view kRemindersEnabledKey = "velmora.menuBarRemindersEnabled";

/// The value under `kRemindersEnabledKey`: off only when it says false.
bool remindersEnabled(const QSettings& settings);

enum class CleanupReviewCadence { off, weekly, monthly };

std::string_view rawValue(CleanupReviewCadence);
std::optional<CleanupReviewCadence> reviewCadenceFromRaw(std::string_view);
/// Seconds between reviews (monthly is 30 days, not a calendar month); none when off.
std::optional<double> reviewInterval(CleanupReviewCadence);

struct CleanupReviewCadenceStatus {
    enum class Kind { disabled, notStarted, due, upcoming };
    Kind kind = Kind::disabled;
    std::optional<Date> nextReviewAt;
    std::optional<int64_t> daysUntilNextReview;
    friend bool operator==(const CleanupReviewCadenceStatus&,
                           const CleanupReviewCadenceStatus&) = default;
};

std::string_view rawValue(CleanupReviewCadenceStatus::Kind);

/// Where the loop stands at `now`. A review falls due at exactly its instant; the days still to
/// go round up and are at least 1.
CleanupReviewCadenceStatus cleanupReviewStatus(std::optional<Date> lastReviewedAt, Date now,
                                               CleanupReviewCadence cadence);

/// The sentence that tells the person `status`.
std::string cleanupReviewStatusMessage(const CleanupReviewCadenceStatus& status,
                                       AppLanguage language);

class CleanupReviewPreferencesStore : public QObject {
    Q_OBJECT

  public:
    explicit CleanupReviewPreferencesStore(QSettings& settings, QObject* parent = nullptr);

    CleanupReviewCadence cadence() const { return cadence_; }
    CleanupReviewProfileID selectedProfileID() const { return selectedProfileID_; }
    std::optional<Date> lastReviewedAt() const { return lastReviewedAt_; }

    /// Each setter publishes the value and writes it. When the file could not be written the
    /// previous value is put back (and published again) and the setter returns false.
    bool setCadence(CleanupReviewCadence cadence);
    bool setSelectedProfileID(CleanupReviewProfileID id);
    /// Records a completed review at `date`; false (nothing changed) when `date` is not a time
    /// after 1970-01-01, which the stored form could not tell from "never".
    bool markReviewed(Date date);

    CleanupReviewCadenceStatus status(Date now) const {
        return cleanupReviewStatus(lastReviewedAt_, now, cadence_);
    }
    static std::string statusMessage(const CleanupReviewCadenceStatus& status,
                                     AppLanguage language) {
        return cleanupReviewStatusMessage(status, language);
    }
    static const CleanupReviewProfile& profile(CleanupReviewProfileID id) {
        return cleanupReviewProfile(id);
    }

  signals:
    void cadenceChanged();
    void selectedProfileIDChanged();
    void lastReviewedAtChanged();

  private:
    template <typename T>
    bool change(T& field, T value, void (CleanupReviewPreferencesStore::*changed)(),
                std::string_view key, const QVariant& stored);

    QSettings& settings_;
    CleanupReviewCadence cadence_ = CleanupReviewCadence::weekly;
    CleanupReviewProfileID selectedProfileID_ = CleanupReviewProfileID::balanced;
    std::optional<Date> lastReviewedAt_;
};

}  // namespace velmora

#pragma once
// One entry of the person's ignore list and its JSON form.
//
// The list is stored as a UTF-8 JSON array of objects whose keys are the field names, in field
// order; dates are seconds since 2001-01-01 as numbers; an absent `expiresAt` is left out.
// Decoding is strict: a wrong type, a missing field, an unknown raw value or a date that is not
// a finite number rejects the whole list, with a description of the first fault found.
//
// Linux names are bytes while JSON text is UTF-8: item texts are kept as valid UTF-8 (invalid
// sequences become U+FFFD when an item is made and when a stored list is read), so an item
// reads back equal to what was saved and one odd name never costs the rest of the list. Look a
// candidate up through `ignoreMatchKey`.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/Result.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// Offered to the person in this order.
enum class CleanupIgnoreDuration { oneDay, oneWeek, untilShownAgain };

inline constexpr std::array<CleanupIgnoreDuration, 3> kCleanupIgnoreDurations = {
    CleanupIgnoreDuration::oneDay,
    CleanupIgnoreDuration::oneWeek,
    CleanupIgnoreDuration::untilShownAgain,
};

std::string_view rawValue(CleanupIgnoreDuration);
std::optional<CleanupIgnoreDuration> ignoreDurationFromRaw(std::string_view);
/// Seconds an item stays ignored; none for `untilShownAgain`.
std::optional<double> ignoreInterval(CleanupIgnoreDuration);

struct IgnoredCleanupItem {
    std::string id;  ///< the candidate's id: the match key
    std::string displayName;
    std::string path;  ///< standardized
    CleanupCategory category = CleanupCategory::userCaches;
    int64_t sizeBytes = 0;
    Date ignoredAt = 0;
    CleanupIgnoreDuration duration = CleanupIgnoreDuration::oneDay;
    std::optional<Date> expiresAt;

    /// Active while `expiresAt` is absent or still ahead: an item expires at exactly its
    /// `expiresAt`.
    bool isActive(Date now) const { return !expiresAt || now < *expiresAt; }
    friend bool operator==(const IgnoredCleanupItem&, const IgnoredCleanupItem&) = default;
};

/// The item that ignores `candidate` from `now` for `duration`.
IgnoredCleanupItem makeIgnoredCleanupItem(const CleanupCandidate& candidate,
                                          CleanupIgnoreDuration duration, Date now);

/// The form of a candidate id that ignored items are keyed by.
std::string ignoreMatchKey(std::string_view candidateID);

/// Why a stored list could not be read; `description` says it in a language.
struct IgnoreListDecodingError {
    enum class Kind {
        notJSON,
        notList,
        notObject,
        missingField,
        wrongType,
        unknownValue,
        invalidDate,
    };
    Kind kind = Kind::notJSON;
    size_t index = 0;   ///< the item concerned, counted from 1 (item faults only)
    std::string field;  ///< the field concerned (field faults only)
    std::string value;  ///< the unknown raw value (valid UTF-8)

    std::string description(AppLanguage language) const;
};

Result<std::vector<IgnoredCleanupItem>, IgnoreListDecodingError> decodeIgnoredCleanupItems(
    std::string_view data);

/// The stored form of `items`. Fails, describing why in `language`, when a date is not a
/// finite number (JSON has no form for it, and writing one would make the list unreadable).
Result<std::string> encodeIgnoredCleanupItems(const std::vector<IgnoredCleanupItem>& items,
                                              AppLanguage language);

}  // namespace velmora

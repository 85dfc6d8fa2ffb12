#pragma once
// The fixed catalogue of saved review profiles. A profile can only narrow a review: none adds
// custom folders and every one keeps the ignore and snooze rules. There are no user-defined
// profiles. Pure and thread-safe.
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

enum class CleanupReviewProfileID { balanced, downloads, developerCaches };
enum class CleanupReviewProfileScope { standardSafeRoots, downloadsInsights, developerCacheReview };

std::string_view rawValue(CleanupReviewProfileID);
std::string_view rawValue(CleanupReviewProfileScope);
std::optional<CleanupReviewProfileID> reviewProfileIDFromRaw(std::string_view);
std::optional<CleanupReviewProfileScope> reviewProfileScopeFromRaw(std::string_view);

struct CleanupReviewProfile {
    CleanupReviewProfileID id = CleanupReviewProfileID::balanced;
    CleanupReviewProfileScope scope = CleanupReviewProfileScope::standardSafeRoots;
    CleanupScanMode scanMode = CleanupScanMode::standard;
    std::vector<CleanupCategory> categories;
    bool includesCustomFolders = false;
    bool respectsIgnoreAndSnoozeRules = true;
    friend bool operator==(const CleanupReviewProfile&, const CleanupReviewProfile&) = default;
};

/// Every profile, in the order they are offered.
const std::array<CleanupReviewProfile, 3>& cleanupReviewProfiles();
const CleanupReviewProfile& cleanupReviewProfile(CleanupReviewProfileID id);

std::string reviewProfileTitle(CleanupReviewProfileID id, AppLanguage language);
/// What the profile promises about the scope of a review.
std::string reviewProfileFootnote(const CleanupReviewProfile& profile, AppLanguage language);
/// "<count> ignored/snoozed items", the end of a profile's summary line.
std::string reviewProfileHiddenItems(int64_t count, AppLanguage language);

/// JSON object with the field names as keys, enumerations as their raw values.
std::string encodeCleanupReviewProfile(const CleanupReviewProfile& profile);
/// Strict: a missing field, a wrong type or an unknown raw value fails with a description.
Result<CleanupReviewProfile> decodeCleanupReviewProfile(std::string_view text);

}  // namespace velmora

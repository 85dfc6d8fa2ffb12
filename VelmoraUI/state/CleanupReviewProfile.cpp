#include "VelmoraUI/state/CleanupReviewProfile.h"

#include <nlohmann/json.hpp>

#include "CleanerCore/scanning/ModelJson.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

using nlohmann::json;
using nlohmann::ordered_json;

std::string_view rawValue(CleanupReviewProfileID id) {
    switch (id) {
        case CleanupReviewProfileID::balanced:
            return "balanced";
        case CleanupReviewProfileID::downloads:
            return "downloads";
        case CleanupReviewProfileID::developerCaches:
            return "developerCaches";
    }
    return "balanced";
}

std::string_view rawValue(CleanupReviewProfileScope scope) {
    switch (scope) {
        case CleanupReviewProfileScope::standardSafeRoots:
            return "standardSafeRoots";
        case CleanupReviewProfileScope::downloadsInsights:
            return "downloadsInsights";
        case CleanupReviewProfileScope::developerCacheReview:
            return "developerCacheReview";
    }
    return "standardSafeRoots";
}

std::optional<CleanupReviewProfileID> reviewProfileIDFromRaw(std::string_view raw) {
    for (auto id : {CleanupReviewProfileID::balanced, CleanupReviewProfileID::downloads,
                    CleanupReviewProfileID::developerCaches}) {
        if (rawValue(id) == raw) return id;
    }
    return std::nullopt;
}

std::optional<CleanupReviewProfileScope> reviewProfileScopeFromRaw(std::string_view raw) {
    for (auto scope : {CleanupReviewProfileScope::standardSafeRoots,
                       CleanupReviewProfileScope::downloadsInsights,
                       CleanupReviewProfileScope::developerCacheReview}) {
        if (rawValue(scope) == raw) return scope;
    }
    return std::nullopt;
}

const std::array<CleanupReviewProfile, 3>& cleanupReviewProfiles() {
    using C = CleanupCategory;
    static const std::array<CleanupReviewProfile, 3> profiles = {
        CleanupReviewProfile{CleanupReviewProfileID::balanced,
                             CleanupReviewProfileScope::standardSafeRoots,
                             CleanupScanMode::standard,
                             {C::userCaches, C::userLogs, C::temporaryFiles},
                             false,
                             true},
        CleanupReviewProfile{CleanupReviewProfileID::downloads,
                             CleanupReviewProfileScope::downloadsInsights,
                             CleanupScanMode::standard,
                             {C::temporaryFiles},
                             false,
                             true},
        CleanupReviewProfile{CleanupReviewProfileID::developerCaches,
                             CleanupReviewProfileScope::developerCacheReview,
                             CleanupScanMode::aggressive,
                             {C::xcodeDerivedData, C::simulatorCaches, C::xcodeDeviceSupport},
                             false,
                             true},
    };
    return profiles;
}

const CleanupReviewProfile& cleanupReviewProfile(CleanupReviewProfileID id) {
    for (const auto& profile : cleanupReviewProfiles()) {
        if (profile.id == id) return profile;
    }
    return cleanupReviewProfiles().front();
}

std::string reviewProfileTitle(CleanupReviewProfileID id, AppLanguage language) {
    const VelmoraCopy copy{language};
    switch (id) {
        case CleanupReviewProfileID::balanced:
            return copy.text("Balanced review", "균형 검토");
        case CleanupReviewProfileID::downloads:
            return copy.text("Downloads review", "다운로드 검토");
        case CleanupReviewProfileID::developerCaches:
            return copy.text("Developer caches", "개발자 캐시");
    }
    return {};
}

std::string reviewProfileFootnote(const CleanupReviewProfile& profile, AppLanguage language) {
    const VelmoraCopy copy{language};
    if (profile.scanMode == CleanupScanMode::aggressive) {
        return copy.text("Aggressive review still does not auto-select items.",
                         "적극적 검토에서도 항목을 자동으로 선택하지 않습니다.");
    }
    return copy.text("Saved profiles do not widen scan roots.",
                     "저장된 프로필은 검사 위치를 넓히지 않습니다.");
}

std::string reviewProfileHiddenItems(int64_t count, AppLanguage language) {
    const std::string n = std::to_string(count);
    const VelmoraCopy copy{language};
    if (count == 1) return copy.text("1 ignored/snoozed item", "1개 항목 무시/일시 숨김");
    // i18n-example: "4 ignored/snoozed items"
    return copy.text(n + " ignored/snoozed items", n + "개 항목 무시/일시 숨김");
}

std::string encodeCleanupReviewProfile(const CleanupReviewProfile& profile) {
    ordered_json o;
    o["id"] = rawValue(profile.id);
    o["scope"] = rawValue(profile.scope);
    o["scanMode"] = rawValue(profile.scanMode);
    ordered_json categories = ordered_json::array();
    for (CleanupCategory c : profile.categories) categories.push_back(rawValue(c));
    o["categories"] = std::move(categories);
    o["includesCustomFolders"] = profile.includesCustomFolders;
    o["respectsIgnoreAndSnoozeRules"] = profile.respectsIgnoreAndSnoozeRules;
    return o.dump();
}

Result<CleanupReviewProfile> decodeCleanupReviewProfile(std::string_view text) {
    const json root = json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (root.is_discarded()) return fail("The review profile is not valid JSON");
    if (!root.is_object()) return fail("The review profile is not a JSON object");
    try {
        CleanupReviewProfile p;
        p.id = decodeEnum<CleanupReviewProfileID>(root.at("id"), reviewProfileIDFromRaw, "id");
        p.scope = decodeEnum<CleanupReviewProfileScope>(root.at("scope"), reviewProfileScopeFromRaw,
                                                        "scope");
        p.scanMode = decodeEnum<CleanupScanMode>(root.at("scanMode"), scanModeFromRaw, "scanMode");
        for (const json& c : root.at("categories").get_ref<const json::array_t&>()) {
            p.categories.push_back(decodeEnum<CleanupCategory>(c, categoryFromRaw, "categories"));
        }
        p.includesCustomFolders = root.at("includesCustomFolders").get_ref<const bool&>();
        p.respectsIgnoreAndSnoozeRules =
            root.at("respectsIgnoreAndSnoozeRules").get_ref<const bool&>();
        return p;
    } catch (const json::exception& e) {
        return fail(std::string("The review profile could not be read: ") + e.what());
    }
}

}  // namespace velmora

#pragma once
// The desktop application's own preferences: the scan mode, appearance, text scale, whether
// onboarding was completed and whether the advanced scan options are open. Each is one key of
// the preference file, in the form the key table gives; an unknown stored value reads as the
// default (the first case, or false) and is never an error. Main thread only.
#include <QSettings>
#include <optional>
#include <string_view>

#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

inline constexpr std::string_view kScanModeKey = "velmora.macScanMode";
inline constexpr std::string_view kAppearanceModeKey = "velmora.appearanceMode";
inline constexpr std::string_view kTextScaleKey = "velmora.textScale";
inline constexpr std::string_view kOnboardingCompletedKey = "velmora.macOnboardingCompleted.v1";
inline constexpr std::string_view kAdvancedExpandedKey = "velmora.macAdvancedExpanded";

enum class AppearanceMode { system, light, dark };
enum class TextScale { standard, large, extraLarge };

std::string_view rawValue(AppearanceMode mode);
std::string_view rawValue(TextScale scale);
std::optional<AppearanceMode> appearanceModeFromRaw(std::string_view raw);
std::optional<TextScale> textScaleFromRaw(std::string_view raw);
/// How much larger than the standard the text of `scale` is drawn (1 for standard).
double textScaleFactor(TextScale scale);

/// Reads and writes the keys above. Writers return false when the file could not be written
/// (the previous value is kept).
struct DashboardPreferences {
    QSettings& settings;

    CleanupScanMode scanMode() const;
    bool setScanMode(CleanupScanMode mode);
    AppearanceMode appearanceMode() const;
    bool setAppearanceMode(AppearanceMode mode);
    TextScale textScale() const;
    bool setTextScale(TextScale scale);
    bool onboardingCompleted() const;
    bool setOnboardingCompleted(bool completed);
    bool advancedExpanded() const;
    bool setAdvancedExpanded(bool expanded);
};

}  // namespace velmora

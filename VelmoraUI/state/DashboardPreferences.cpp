#include "VelmoraUI/state/DashboardPreferences.h"

#include <QString>

#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {
namespace {

bool storeString(QSettings& settings, std::string_view key, std::string_view raw) {
    return storePreference(settings, key, QString::fromUtf8(raw.data(), qsizetype(raw.size())));
}

}  // namespace

std::string_view rawValue(AppearanceMode mode) {
    switch (mode) {
        case AppearanceMode::system:
            return "system";
        case AppearanceMode::light:
            return "light";
        case AppearanceMode::dark:
            return "dark";
    }
    return "system";
}

std::string_view rawValue(TextScale scale) {
    switch (scale) {
        case TextScale::standard:
            return "standard";
        case TextScale::large:
            return "large";
        case TextScale::extraLarge:
            return "extraLarge";
    }
    return "standard";
}

std::optional<AppearanceMode> appearanceModeFromRaw(std::string_view raw) {
    for (AppearanceMode m : {AppearanceMode::system, AppearanceMode::light, AppearanceMode::dark})
        if (rawValue(m) == raw) return m;
    return std::nullopt;
}

std::optional<TextScale> textScaleFromRaw(std::string_view raw) {
    for (TextScale s : {TextScale::standard, TextScale::large, TextScale::extraLarge})
        if (rawValue(s) == raw) return s;
    return std::nullopt;
}

double textScaleFactor(TextScale scale) {
    switch (scale) {
        case TextScale::standard:
            return 1.0;
        case TextScale::large:
            return 1.2;
        case TextScale::extraLarge:
            return 1.4;
    }
    return 1.0;
}

CleanupScanMode DashboardPreferences::scanMode() const {
    return scanModeFromRaw(storedText(settings, kScanModeKey)).value_or(CleanupScanMode::standard);
}

bool DashboardPreferences::setScanMode(CleanupScanMode mode) {
    return storeString(settings, kScanModeKey, rawValue(mode));
}

AppearanceMode DashboardPreferences::appearanceMode() const {
    return appearanceModeFromRaw(storedText(settings, kAppearanceModeKey))
        .value_or(AppearanceMode::system);
}

bool DashboardPreferences::setAppearanceMode(AppearanceMode mode) {
    return storeString(settings, kAppearanceModeKey, rawValue(mode));
}

TextScale DashboardPreferences::textScale() const {
    return textScaleFromRaw(storedText(settings, kTextScaleKey)).value_or(TextScale::standard);
}

bool DashboardPreferences::setTextScale(TextScale scale) {
    return storeString(settings, kTextScaleKey, rawValue(scale));
}

bool DashboardPreferences::onboardingCompleted() const {
    return storedBool(settings, kOnboardingCompletedKey).value_or(false);
}

bool DashboardPreferences::setOnboardingCompleted(bool completed) {
    return storePreference(settings, kOnboardingCompletedKey, completed);
}

bool DashboardPreferences::advancedExpanded() const {
    return storedBool(settings, kAdvancedExpandedKey).value_or(false);
}

bool DashboardPreferences::setAdvancedExpanded(bool expanded) {
    return storePreference(settings, kAdvancedExpandedKey, expanded);
}

}  // namespace velmora

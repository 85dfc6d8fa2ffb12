#pragma once
// The texts of resource relief in the person's language: the result of each quit request, why
// an application is protected, the confirmation and the panel's notes. Shared by the desktop
// panel and the command line. Pure, thread-safe.
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/relief/ResourceReliefModel.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// The result sentence of `status` for the application `displayName` ("Sent a normal quit
/// request to Notes.").
std::string reliefActionSentence(ResourceReliefActionStatus status, std::string_view displayName,
                                 AppLanguage language);
inline std::string reliefActionSentence(const ResourceReliefActionResult& result,
                                        AppLanguage language) {
    return reliefActionSentence(result.status, result.displayName, language);
}

/// One short sentence on why an application cannot be asked to quit.
std::string reliefProtectionSentence(ResourceReliefProtectionReason reason, AppLanguage language);

/// The confirmation's title and text for `selectedCount` applications.
std::string reliefQuitDialogTitle(AppLanguage language);
std::string reliefQuitDialogText(size_t selectedCount, AppLanguage language);

/// Said instead of the list when quit requests cannot be sent from inside a sandbox.
std::string reliefSandboxExplanation(AppLanguage language);
/// Said when no listed application can be asked to quit.
std::string reliefNoCandidatesSentence(AppLanguage language);

/// The locales whose names desktop entries should show for `language` (as "zh_TW"), followed
/// by the environment's message locales.
std::vector<std::string> reliefLocales(AppLanguage language);

}  // namespace velmora

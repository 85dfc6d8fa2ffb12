#pragma once
// The preference file of one run of the command and the language its human output uses.
// Opening it says on standard error when a damaged file had to be set aside.
#include <optional>
#include <string>

#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora::cli {

struct CommandPreferences {
    PreferenceFile file;
    AppLanguage language = AppLanguage::english;
};

/// The file below the config folder of `homeOverride` (or of this user), and the language:
/// `runLanguage` (the global --language) when given, else the kept or the system's language.
CommandPreferences openCommandPreferences(const std::optional<std::string>& homeOverride,
                                          std::optional<AppLanguage> runLanguage);

/// The language of a refusal given before the preferences are opened: `runLanguage` when
/// given, else the kept or the system's. Reads the file without changing or setting aside
/// anything.
AppLanguage commandLanguage(const std::optional<std::string>& homeOverride,
                            std::optional<AppLanguage> runLanguage);

}  // namespace velmora::cli

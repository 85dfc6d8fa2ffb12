#pragma once
// The chosen language as it is kept in the preferences ("velmora.language"), and how a launch
// seeds it. Reads and writes only the settings object it is given.
#include <optional>
#include <string>
#include <vector>

#include "VelmoraUI/localization/AppLanguage.h"

class QSettings;

namespace velmora {

/// The stored code under "velmora.language", when there is one.
std::optional<std::string> storedLanguage(const QSettings& settings);

/// `resolvedLanguage` with the stored value read from `settings`.
AppLanguage resolvedLanguage(const QSettings& settings, const std::vector<std::string>& preferred);

/// `resolvedLanguage` with the stored value read from `settings` and the system's languages.
AppLanguage resolvedLanguage(const QSettings& settings);

/// Stores a language at launch when the stored value is missing or does not normalize: the
/// first query item of `launchURL` named "velmoraLanguage", "lang" or "language" (any case)
/// whose value normalizes, else `defaultLanguageFromBuild` when it normalizes. Writes that
/// language's code and returns the language; writes nothing and returns nothing otherwise, so
/// the run-time resolution applies.
std::optional<AppLanguage> seedLaunchLanguage(QSettings& settings,
                                              std::optional<std::string> defaultLanguageFromBuild,
                                              std::optional<std::string> launchURL);

/// The build's default language ("VelmoraDefaultLanguage"), set at configure time with
/// -DVELMORA_DEFAULT_LANGUAGE=<identifier>; nothing when the build sets none.
std::optional<std::string> defaultLanguageFromBuild();

}  // namespace velmora

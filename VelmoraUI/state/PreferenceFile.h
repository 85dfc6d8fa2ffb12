#pragma once
// The user's preference file: `QSettings` in the native format, organisation and application
// "Velmora" (on Linux `<config home>/Velmora/Velmora.conf`). QSettings writes through a
// temporary file renamed over the old one, so a reader never sees half a file.
//
// A file QSettings cannot parse as a whole is never written over (QSettings would drop what it
// could not read): it is renamed aside to "Velmora.conf.damaged-<UTC time>" and the program
// starts with an empty store, carrying the backup's path so the front end can say so.
//
// Main thread only, like the stores that use it.
#include <QByteArray>
#include <QSettings>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

struct PreferenceFile {
    std::unique_ptr<QSettings> settings;
    /// The file could not be parsed; the store started empty.
    bool wasDamaged = false;
    /// Where the damaged file was moved to. Absent when it could not be moved: its folder does
    /// not let us rename, so it does not let QSettings replace the file either.
    std::optional<std::string> damagedFileBackup;
};

/// Where the preference file lies below `configHome` (the XDG config folder):
/// `<configHome>/Velmora/Velmora.conf`.
std::string preferenceFilePath(const std::string& configHome);

/// The preference file at `preferenceFilePath(configHome)`.
PreferenceFile openPreferenceFile(const std::string& configHome);

/// The preference file at exactly `path` (tests, and the above).
PreferenceFile openPreferenceFileAt(const std::string& path);

/// The sentence that tells the person their preferences were damaged and what became of them;
/// nothing when the file was fine.
std::optional<std::string> damagedPreferencesMessage(const PreferenceFile& file,
                                                     AppLanguage language);

/// `text` (UTF-8) as a QString: a preference key, or a value in its stored form.
QString qText(std::string_view text);

/// The text under `key`; empty when the key is missing or holds something else.
std::string storedText(const QSettings& settings, std::string_view key);

/// The boolean under `key`: a stored boolean, or the text "true" or "false" (the native file
/// keeps booleans as those words); nothing when the key is missing or holds something else.
std::optional<bool> storedBool(const QSettings& settings, std::string_view key);

/// The data blob under `key`, if the key holds one.
std::optional<QByteArray> preferenceData(const QSettings& settings, std::string_view key);

/// Writes `value` under `key` and flushes; false when the file could not be written, and then
/// the key keeps its previous value in memory as well.
bool storePreference(QSettings& settings, std::string_view key, const QVariant& value);

/// Removes `key` and flushes; false when the file could not be written (the key is kept).
bool removePreference(QSettings& settings, std::string_view key);

}  // namespace velmora

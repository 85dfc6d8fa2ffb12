#pragma once
// Reading freedesktop.org desktop entries for the names and visibility of running
// applications. Entries are found by desktop-file id below $XDG_DATA_HOME/applications and each
// $XDG_DATA_DIRS/applications; any process of the user may name an entry file through its
// environment, so the reader treats the file as hostile: only regular files up to 256 KiB are
// read (a FIFO or device never blocks it), only the "[Desktop Entry]" group counts, invalid
// UTF-8 and control characters make a name unusable, and names are capped in length. Thread-safe;
// nothing is cached.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct DesktopEntryInfo {
    std::string id;                   ///< the desktop-file id without ".desktop"
    std::optional<std::string> name;  ///< the best localized Name, else Name
    bool noDisplay = false;           ///< NoDisplay=true
    bool hidden = false;              ///< Hidden=true (the entry counts as deleted)
    friend bool operator==(const DesktopEntryInfo&, const DesktopEntryInfo&) = default;
};

/// Parses an entry's text. `locales` are the message locales in preference order, each of the
/// form lang[_COUNTRY][.ENCODING][@MODIFIER] (e.g. "fr_CA.UTF-8"); Name[...] keys are matched as
/// freedesktop.org orders them (lang_COUNTRY@MODIFIER, lang_COUNTRY, lang@MODIFIER, lang).
/// nullopt when the text has no "[Desktop Entry]" group.
std::optional<DesktopEntryInfo> parseDesktopEntry(std::string_view text, std::string id,
                                                  const std::vector<std::string>& locales);

/// The folders searched for entries, in order: `dataHome`/applications (the user's
/// $XDG_DATA_HOME), then each absolute folder of $XDG_DATA_DIRS (default
/// /usr/local/share:/usr/share) followed by "/applications".
std::vector<std::string> desktopEntryFolders(const std::string& dataHome);

/// The message locales of this process: $LANGUAGE (colon-separated), then the first of
/// $LC_ALL, $LC_MESSAGES, $LANG; "C" and "POSIX" are left out.
std::vector<std::string> messageLocales();

/// Finds the entry of `id` in `folders` (the first folder that has it wins; a "-" in the id
/// may also stand for a subfolder, as "kde-konsole" for "kde/konsole.desktop") and reads it.
std::optional<DesktopEntryInfo> findDesktopEntry(std::string_view id,
                                                 const std::vector<std::string>& folders,
                                                 const std::vector<std::string>& locales);

/// Reads the entry file at `path` (as GIO_LAUNCHED_DESKTOP_FILE names it); its id is the file
/// name without ".desktop". nullopt for anything that is not a readable regular ".desktop" file.
std::optional<DesktopEntryInfo> readDesktopEntryFile(const std::string& path,
                                                     const std::vector<std::string>& locales);

}  // namespace velmora

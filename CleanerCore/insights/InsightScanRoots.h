#pragma once
// Which folders a storage insight scan walks, in their fixed order.
//
// `macos`: "Downloads", "Desktop", "Documents", "Movies", "Pictures", "Music",
// "Library/Application Support", "Library/Developer" under the home folder.
// `linux`: the XDG user folders for download, desktop, documents, videos, pictures and music,
// read from `<configHome>/user-dirs.dirs` when that file exists (a folder it does not name, or
// names as the home folder itself, which xdg-user-dirs uses to switch a folder off, falls back
// to / is dropped respectively), else the English names "Downloads", "Desktop", "Documents",
// "Videos", "Pictures", "Music"; then "~/.local/share" and "~/.var/app"; then every other
// top-level folder of the home (hidden ones included, symbolic links not), in byte order of
// their names; last the home folder itself for the files directly in it. Only the user folders
// give per-file findings; the others are storage-map items, so that the map adds up to the
// home. A path listed twice is kept once, at its first place.
//
// Whether a root exists is the scanner's business, except for the top-level folders, which are
// found by listing the home folder. Reads at most the user-dirs file and the home's listing;
// thread-safe.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/safety/PathConventions.h"

namespace velmora {

struct InsightScanRoot {
    /// What a root contributes besides its map item.
    enum class Role {
        userFolder,  ///< findings (large files, downloads, duplicates, security) come from it
        mapOnly,     ///< its size only
        looseFiles,  ///< the home folder: only its own regular files, no folder below it
    };
    std::string path;          ///< standardized absolute path
    bool isDownloads = false;  ///< the root whose files become Downloads items
    Role role = Role::userFolder;
    friend bool operator==(const InsightScanRoot&, const InsightScanRoot&) = default;
};

/// The XDG user-folder assignments in `text` (the user-dirs.dirs format: lines
/// `XDG_<NAME>_DIR="$HOME/path"` or `="/absolute/path"`, `#` comments, backslash escapes inside
/// the quotes). Returns the standardized path for `key` (for example "XDG_DOWNLOAD_DIR"), or
/// nullopt when the text does not assign it or assigns a value of another form.
std::optional<std::string> xdgUserDirectory(std::string_view text, std::string_view key,
                                            std::string_view home);

/// The roots in scan order. `configHome` is where user-dirs.dirs lives (`linux` only; default
/// "<home>/.config").
std::vector<InsightScanRoot> insightScanRoots(const std::string& home, Catalogue catalogue,
                                              const std::optional<std::string>& configHome = {});

}  // namespace velmora

#pragma once
// Turns a scan mode and the user's folders into the ordered scan locations of a catalogue.
//
// `macos` is the macOS layout (Library/Caches, Library/Containers, ...) exactly; `linux` maps
// each category to its freedesktop equivalent (docs/linux-catalogue.md). Building the
// aggressive and direct catalogues lists folders and reads attributes, so it runs inside the
// scan task and observes its cancellation. Nothing fails: unreadable parents, missing folders,
// links and protected paths just produce fewer locations. Thread-safe (no shared state).
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/base/Cancellation.h"
#include "CleanerCore/safety/PathConventions.h"
#include "CleanerCore/safety/PathRules.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

/// The folders a catalogue is built from.
struct ProfileFolders {
    std::string home;             ///< the (effective) home folder
    std::string cacheHome;        ///< linux: $XDG_CACHE_HOME
    std::string dataHome;         ///< linux: $XDG_DATA_HOME
    std::string temporaryFolder;  ///< for the sandboxed catalogue
    Catalogue catalogue = Catalogue::macos;

    /// Folders for `home` with the XDG defaults below it.
    static ProfileFolders defaults(const std::string& home, Catalogue catalogue);
};

namespace StorageProfiles {

inline constexpr double kOneDay = 86'400;

/// standard, aggressive (+ direct when permitted).
std::vector<CleanupScanMode> permittedModes(bool directModePermitted);

/// The catalogue of the permitted mode; a mode that is not permitted falls back to standard.
std::vector<ScanLocation> locations(CleanupScanMode mode, const ProfileFolders& folders,
                                    bool directModePermitted, const CancellationToken& cancel);

std::vector<ScanLocation> standardLocations(const ProfileFolders& folders);
std::vector<ScanLocation> aggressiveLocations(const ProfileFolders& folders,
                                              const CancellationToken& cancel);
std::vector<ScanLocation> directLocations(const ProfileFolders& folders,
                                          const CancellationToken& cancel);
/// Used instead of the others when the app sees only its own container.
std::vector<ScanLocation> sandboxedLocations(const ProfileFolders& folders);

/// One location per container folder below `parent` whose `relativeCachePath` is a real
/// folder (silent about everything passed over).
std::vector<ScanLocation> containerCacheLocations(
    const std::string& parent, const std::string& relativeCachePath, CleanupCategory category,
    const std::string& displayPrefix, Catalogue catalogue, const CancellationToken& cancel);

/// A user-added folder as a scan location.
ScanLocation customFolderLocation(const std::string& path, const std::string& displayName);

/// The display name of a custom folder: its last component, the whole path when that is empty.
std::string customFolderDisplayName(const std::string& path);

}  // namespace StorageProfiles

/// What every scan root is checked against before it is scanned, whether it comes from the
/// catalogue (and so from the environment: $XDG_CACHE_HOME, $XDG_DATA_HOME, ...) or from the
/// user.
struct ScanRootRules {
    /// Built for the effective home folder, with the protected places.
    SafePathPolicy paths;
    /// The XDG user folders (Desktop, Documents, Downloads, ...), standardized.
    std::vector<std::string> userFolders;
    /// The user every root must belong to: the one running the program.
    uid_t owner = 0;

    static ScanRootRules make(const std::string& home, Catalogue catalogue,
                              ProtectedPlaces protectedPlaces,
                              std::vector<std::string> userFolders);
};

/// Why a folder may not be a scan root.
enum class ScanRootRefusal {
    tooBroad,       ///< "/", the home folder or a folder that contains it
    userFolder,     ///< an XDG user folder or a folder that contains one
    systemFolder,   ///< a critical path, an ancestor of one, or inside a system folder
    otherUser,      ///< another user's area (the users folder, their homes)
    protectedData,  ///< personal data, the Trash or Velmora's own folders, or contains them
    notOwned,       ///< owned by another user
};

/// The reason a refused root is reported with among the skipped items.
std::string description(ScanRootRefusal refusal);

/// The system folders whose contents are never scanned (unless they lie in the home folder):
/// the operating system's own folders of Linux and macOS. `/tmp`, `/mnt` and `/media`
/// themselves are refused as critical paths, but folders inside them may be scanned; so may
/// folders in `/run/media` and `/run/user` (removable drives, a sandbox's temporary folder).
const std::vector<std::string>& systemFolders();

/// The root checks, on the path as given and on its link-resolved form. A folder that does not
/// exist is judged by its path alone (the scanner reports it as missing).
std::optional<ScanRootRefusal> checkScanRoot(const std::string& path, const ScanRootRules& rules);

/// Why a folder cannot be added to the scan.
struct CustomScanFolderError {
    enum class Kind { notDirectory, unsafeRoot };
    Kind kind = Kind::notDirectory;
    std::string path;
    std::string description() const;
    friend bool operator==(const CustomScanFolderError&, const CustomScanFolderError&) = default;
};

/// Validation of "add a custom folder": it must be an existing directory (else `notDirectory`);
/// a symbolic link, or a folder that any root check refuses, is refused with `unsafeRoot`.
std::optional<CustomScanFolderError> validateCustomScanFolder(const std::string& path,
                                                              const ScanRootRules& rules);

}  // namespace velmora

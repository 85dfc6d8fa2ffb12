#pragma once
// Turns a scan mode and the user's folders into the ordered scan locations of a catalogue.
//
// `macos` is the macOS layout (Library/Caches, Library/Containers, ...) exactly; `linux` maps
// each category to its freedesktop equivalent (docs/linux-catalogue.md). Building the
// aggressive and direct catalogues lists folders and reads attributes, so it runs inside the
// scan task and observes its cancellation. Nothing fails: unreadable parents, missing folders,
// links and protected paths just produce fewer locations. Thread-safe (no shared state).
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/scanning/Cancellation.h"
#include "CleanerCore/scanning/CleanupModel.h"
#include "CleanerCore/scanning/PathConventions.h"

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

/// Why a folder cannot be added to the scan.
struct CustomScanFolderError {
    enum class Kind { notDirectory, unsafeRoot };
    Kind kind = Kind::notDirectory;
    std::string path;
    std::string description() const;
    friend bool operator==(const CustomScanFolderError&, const CustomScanFolderError&) = default;
};

/// Validation of "add a custom folder": it must be an existing directory (else `notDirectory`);
/// "/", the home folder itself, critical system folders and their ancestors, protected user
/// data, other users' areas, symbolic links and folders that contain the home folder are
/// refused with `unsafeRoot`. Both the path as given and its link-resolved form are checked.
std::optional<CustomScanFolderError> validateCustomScanFolder(const std::string& path,
                                                              const std::string& home,
                                                              Catalogue catalogue);

}  // namespace velmora

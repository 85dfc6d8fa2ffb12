#pragma once
// The rules that decide which paths may ever be proposed or touched.
//
// - Path keys and containment: CleanerCore/base/PathContainment.h (lexical) and
//   `pathKey` in CleanerCore/platform/FileSystem.h (resolving links).
// - Protected user data: name-based, wherever the components occur (macOS rule; the `linux`
//   catalogue adds Linux personal-data names, see docs/linux-catalogue.md).
// - Other-user rule and critical paths: `SafePathPolicy`.
//
// Everything but `SafePathPolicy::make` and the `check...Path` functions (which read the file
// system) is pure. All are thread-safe.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/base/PathContainment.h"
#include "CleanerCore/safety/CleaningError.h"
#include "CleanerCore/safety/PathConventions.h"
#include "CleanerCore/safety/ProtectedPlaces.h"

namespace velmora {

/// The protected user-data rule for the given catalogue's conventions.
bool isProtectedUserDataPath(std::string_view path, Catalogue catalogue);

/// The part of the `linux` rule that is about privacy rather than about what may be cleaned:
/// keys, password stores, mail, browser profiles and Trash folders, without the libraries,
/// backups and disk images. The insight scan (read-only) builds its `linux` rule on it.
bool isLinuxPersonalDataPath(std::string_view path);

struct AllowedRoot {
    std::string rawPath;
    std::string resolvedPathKey;
    bool usesCaseInsensitivePathComparison = false;
};

struct SafePathPolicy {
    std::vector<AllowedRoot> allowedRoots;
    std::vector<std::string> protectedPathKeys;  ///< critical keys, deduplicated, ascending
    std::string homePathKey;
    /// The home folder as given, standardized but not resolved: paths are compared lexically,
    /// so a home reached through a linked /home must still count as the user's own area.
    std::string homeLexicalKey;
    bool usesCaseInsensitivePathComparison = false;
    Catalogue catalogue = Catalogue::macos;
    /// The Trash and Velmora's own folders: a path that is, lies in or contains one of them is
    /// refused as `protectedUserData`.
    ProtectedPlaces protectedPlaces;

    /// Builds the policy from the allowed scan roots and the home folder (reads the file system
    /// to resolve links and to learn each volume's comparison mode).
    static SafePathPolicy make(const std::vector<std::string>& allowedRootPaths,
                               const std::string& homeFolder, Catalogue catalogue,
                               ProtectedPlaces protectedPlaces = {});

    /// The other-user rule on path keys.
    static bool isOutsideCurrentUserArea(std::string_view pathKey, std::string_view homeKey,
                                         bool caseInsensitive, const PathConventions& conventions);

    /// True when `key` is a critical key or an ancestor of one (so "/" and, say, "/private"
    /// are refused as well as "/private/etc" itself).
    bool isCriticalKey(std::string_view key) const;

    /// The other-user rule (`pathNotAllowed`) and the critical paths (`criticalPath`) on a
    /// path key; pure.
    std::optional<CleaningError> checkAreaAndCriticality(const std::string& key) const;

    /// Whether a path where nothing exists passes the symbolic-link test. Cleaning needs the
    /// item; a restore checks its original place, which is normally empty.
    enum class MissingItem { refused, allowed };

    /// The checks that do not depend on allowed roots: other users' areas (`pathNotAllowed`),
    /// critical paths, protected user data and the protected places, then the symbolic-link test on
    /// the item itself
    /// (`unreadableAttributes` when lstat fails, `symbolicLink` for a link).
    std::optional<CleaningError> checkPathIgnoringScope(
        const std::string& path, MissingItem missing = MissingItem::refused) const;

    /// The full clean-time check: inside an allowed root (else `pathNotAllowed`), then the above.
    std::optional<CleaningError> checkCleanPath(const std::string& path,
                                                MissingItem missing = MissingItem::refused) const;

    /// The part of `checkCleanPath` that reads nothing from the file system: inside an allowed
    /// root, other users' areas, critical paths, protected user data, and the protected places
    /// compared with the path as given. The caller must complete it with the protected places
    /// compared with where the item's parent really is (`ProtectedPlaces::relationOfEntry`)
    /// and with the symbolic-link test on the item.
    std::optional<CleaningError> checkCleanPathLexically(const std::string& path) const;

    /// The check for an item inside a trash folder (the allowed roots are trash folders). The
    /// trash itself is protected user data, so the protection rule applies only to the part of
    /// the path below the containing root and the protected places are not consulted;
    /// everything else is as in `checkCleanPath`.
    std::optional<CleaningError> checkTrashedPath(const std::string& path) const;

    /// The allowed root containing the path key (by its resolved form, else by the form it was
    /// given in) and the form that matched; nullopt when none contains it.
    struct RootMatch {
        const AllowedRoot* root;
        std::string key;
    };
    std::optional<RootMatch> containingRoot(const std::string& key) const;
};

}  // namespace velmora

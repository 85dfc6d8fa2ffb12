#pragma once
// Where the current user's folders are. Reads the process environment once per call; no caching.
#include <optional>
#include <string>

namespace velmora {

struct UserEnvironment {
    std::string home;             ///< standardized home folder
    std::string xdgCacheHome;     ///< $XDG_CACHE_HOME, else ~/.cache
    std::string xdgDataHome;      ///< $XDG_DATA_HOME, else ~/.local/share
    std::string xdgConfigHome;    ///< $XDG_CONFIG_HOME, else ~/.config
    std::string temporaryFolder;  ///< $TMPDIR, else /tmp
    bool isSandboxed = false;  ///< Flatpak (/.flatpak-info, FLATPAK_ID) or APP_SANDBOX_CONTAINER_ID
};

/// The environment of this process. With `homeOverride` (the command's --home), the XDG
/// variables are honoured only when they lie inside that home; otherwise they describe another
/// home and the defaults below the override are used.
UserEnvironment currentUserEnvironment(const std::optional<std::string>& homeOverride);

}  // namespace velmora

#include "CleanerCore/platform/Environment.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/base/PathContainment.h"
#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

namespace {

std::optional<std::string> env(const char* name) {
    const char* v = std::getenv(name);
    if (v == nullptr || *v == '\0') return std::nullopt;
    return std::string(v);
}

std::string defaultHome() {
    if (auto h = env("HOME")) return *h;
    if (const passwd* pw = ::getpwuid(::getuid()); pw != nullptr && pw->pw_dir != nullptr) {
        return pw->pw_dir;
    }
    return "/";
}

}  // namespace

UserEnvironment currentUserEnvironment(const std::optional<std::string>& homeOverride) {
    UserEnvironment e;
    e.home = standardizePath(homeOverride ? *homeOverride : defaultHome());
    auto xdg = [&](const char* name, const char* fallback) {
        auto v = env(name);
        // XDG paths must be absolute; relative ones are ignored as the specification of the
        // base directories says.
        if (v && !v->empty() && v->front() == '/' &&
            (!homeOverride || StoragePathContainment::pathIsWithin(*v, e.home))) {
            return standardizePath(*v);
        }
        return appendingPathComponent(e.home, fallback);
    };
    e.xdgCacheHome = xdg("XDG_CACHE_HOME", ".cache");
    e.xdgDataHome = xdg("XDG_DATA_HOME", ".local/share");
    e.xdgConfigHome = xdg("XDG_CONFIG_HOME", ".config");
    auto tmp = env("TMPDIR");
    e.temporaryFolder = standardizePath(tmp && tmp->front() == '/' ? *tmp : "/tmp");
    e.isSandboxed = env("APP_SANDBOX_CONTAINER_ID").has_value() || env("FLATPAK_ID").has_value() ||
                    lstatPath("/.flatpak-info").has_value();
    return e;
}

}  // namespace velmora

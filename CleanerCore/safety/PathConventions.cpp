#include "CleanerCore/safety/PathConventions.h"

namespace velmora {

std::string_view rawValue(Catalogue c) {
    return c == Catalogue::linux ? "linux" : "macos";
}

std::optional<Catalogue> catalogueFromRaw(std::string_view raw) {
    if (raw == "linux") return Catalogue::linux;
    if (raw == "macos") return Catalogue::macos;
    return std::nullopt;
}

Catalogue hostCatalogue() {
#if defined(__APPLE__)
    return Catalogue::macos;
#else
    return Catalogue::linux;
#endif
}

const PathConventions& PathConventions::forCatalogue(Catalogue c) {
    static const PathConventions macos{
        Catalogue::macos,
        "/Users",
        "/Users/Shared",
        {"/", "/System", "/Library", "/Applications", "/bin", "/sbin", "/usr", "/etc", "/dev",
         "/Volumes", "/Users/Shared", "/private/etc", "/private/tmp", "/private/var/db",
         "/private/var/root", "/private/var/vm", "/private/var/log"},
    };
    static const PathConventions linux{
        Catalogue::linux,
        "/home",
        std::nullopt,
        {"/",      "/bin",   "/boot",   "/dev",        "/etc",     "/home",   "/lib",
         "/lib32", "/lib64", "/libx32", "/lost+found", "/media",   "/mnt",    "/opt",
         "/proc",  "/root",  "/run",    "/sbin",       "/snap",    "/srv",    "/sys",
         "/tmp",   "/usr",   "/var",    "/var/log",    "/var/tmp", "/var/lib"},
    };
    return c == Catalogue::linux ? linux : macos;
}

}  // namespace velmora

#pragma once
// The path conventions of a scan catalogue. `macos` follows the macOS layout exactly (users
// folder "/Users", shared folder "/Users/Shared", the macOS critical paths); `linux` uses "/home",
// the Linux system folders and extra personal-data names (see docs/linux-catalogue.md).
//
// Pure data, thread-safe.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

enum class Catalogue { linux, macos };

std::string_view rawValue(Catalogue);
std::optional<Catalogue> catalogueFromRaw(std::string_view);
/// The catalogue of the machine this program runs on.
Catalogue hostCatalogue();

struct PathConventions {
    Catalogue catalogue = Catalogue::macos;
    std::string usersFolder;                  ///< "/Users" or "/home"
    std::optional<std::string> sharedFolder;  ///< "/Users/Shared" on macOS, none on Linux
    std::vector<std::string> criticalPaths;   ///< in their documented order, unresolved

    static const PathConventions& forCatalogue(Catalogue);
};

}  // namespace velmora

#include "CleanerCore/safety/ProtectedPlaces.h"

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/base/PathContainment.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/safety/PathRules.h"

namespace velmora {

ProtectedPlaces ProtectedPlaces::forFolders(const std::string& dataHome,
                                            const std::string& configHome) {
    ProtectedPlaces out;
    auto add = [&out](const std::string& base, const char* name) {
        if (base.empty()) return;
        const std::string lexical = lexicalPathKey(appendingPathComponent(base, name));
        Place place{lexical, pathKey(lexical)};
        for (const auto& p : out.places) {
            if (p == place) return;
        }
        out.places.push_back(std::move(place));
    };
    add(dataHome, "Trash");
    add(dataHome, "Velmora");
    add(configHome, "Velmora");
    return out;
}

ProtectedPlaces::Relation ProtectedPlaces::relationTo(std::string_view lexicalKey,
                                                      std::string_view resolvedKey) const {
    Relation found = Relation::none;
    for (const auto& place : places) {
        for (std::string_view path : {lexicalKey, resolvedKey}) {
            if (path.empty()) continue;
            for (std::string_view protectedKey :
                 {std::string_view(place.lexicalKey), std::string_view(place.resolvedKey)}) {
                if (path == protectedKey) return Relation::isPlace;
                if (keyIsWithin(path, protectedKey)) found = Relation::insidePlace;
                if (found == Relation::none && keyIsWithin(protectedKey, path)) {
                    found = Relation::containsPlace;
                }
            }
        }
    }
    return found;
}

ProtectedPlaces::Relation ProtectedPlaces::relationOf(const std::string& path) const {
    if (places.empty()) return Relation::none;
    const std::string key = lexicalPathKey(path);
    if (key == "/") return relationTo(key, key);
    return relationOfEntry(key, resolvingSymlinksInPath(deletingLastPathComponent(key)));
}

ProtectedPlaces::Relation ProtectedPlaces::relationOfEntry(
    const std::string& key, const std::string& resolvedParent) const {
    if (places.empty()) return Relation::none;
    return relationTo(
        key, lexicalPathKey(appendingPathComponent(resolvedParent, lastPathComponent(key))));
}

}  // namespace velmora

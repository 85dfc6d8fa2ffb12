#pragma once
// The places that hold what restores and the history depend on: the home Trash
// (`$XDG_DATA_HOME/Trash`), Velmora's data folder (`$XDG_DATA_HOME/Velmora`) and its
// configuration folder (`$XDG_CONFIG_HOME/Velmora`). A path that is one of them, lies inside one
// or contains one is never offered, cleaned or restored into, wherever the environment puts
// them. Volume Trash folders (".Trash", ".Trash-<uid>") are protected by name instead, through
// the protected user-data rule of the `linux` catalogue.
//
// Built once per operation from the user's folders (reads the file system to resolve links);
// afterwards an immutable value, safe to share between threads.
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

struct ProtectedPlaces {
    struct Place {
        std::string lexicalKey;   ///< standardized, as the environment names it
        std::string resolvedKey;  ///< with symbolic links resolved
        friend bool operator==(const Place&, const Place&) = default;
    };
    std::vector<Place> places;

    /// The home Trash and Velmora's data folder below `dataHome`, Velmora's configuration folder
    /// below `configHome`. Empty arguments add nothing.
    static ProtectedPlaces forFolders(const std::string& dataHome, const std::string& configHome);

    enum class Relation { none, isPlace, insidePlace, containsPlace };

    /// How a path relates to the places, given both its lexical key and its link-resolved key;
    /// each form is compared with both forms of every place. Pure.
    Relation relationTo(std::string_view lexicalKey, std::string_view resolvedKey) const;

    /// The same for a path, resolving the links of its parent folder (the item itself is never
    /// followed: a link is refused on its own account).
    Relation relationOf(const std::string& path) const;

    /// The same for the path key `key` of an entry whose parent folder is known to be at
    /// `resolvedParent` (links already resolved, for instance from an open descriptor of it).
    Relation relationOfEntry(const std::string& key, const std::string& resolvedParent) const;

    bool empty() const { return places.empty(); }
    friend bool operator==(const ProtectedPlaces&, const ProtectedPlaces&) = default;
};

}  // namespace velmora

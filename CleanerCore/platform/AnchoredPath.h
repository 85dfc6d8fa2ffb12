#pragma once
// Reaching an item through descriptors whose identity was checked, so that a destructive
// operation acts on exactly the object that was validated even while the tree changes.
//
// An anchor is a folder opened by path and then compared (device, inode) with the identity that
// was recorded for it; everything below it is opened one component at a time with O_NOFOLLOW, so
// a component that is (or becomes) a symbolic link is refused, never followed. Links above the
// anchor are the user's own layout and are followed when the anchor is opened.
//
// Thread-safe; errors are values.
#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

struct AnchorFailure {
    enum class Kind {
        anchorChanged,  ///< the anchor folder is missing or is no longer the recorded object
        symbolicLink,   ///< `path` (a component below the anchor) is a symbolic link
        missing,        ///< `path` does not exist
        unreadable,     ///< `path` could not be opened or read (`errorNumber` says why)
    };
    Kind kind = Kind::unreadable;
    std::string path;
    int errorNumber = 0;
};

/// What identifies a folder over time: device and inode, plus the birth time where the file
/// system records it (an inode number freed by a deletion is reused at once).
struct AnchorIdentity {
    uint64_t device = 0;
    uint64_t inode = 0;
    std::optional<std::pair<int64_t, int64_t>> birthTime;  ///< seconds, nanoseconds
    friend bool operator==(const AnchorIdentity&, const AnchorIdentity&) = default;

    /// The identity of the object `fd` refers to; nullopt when it cannot be read.
    static std::optional<AnchorIdentity> of(int fd);
    /// The identity of the folder at `path` (links above it followed, a final link never);
    /// nullopt when it is unreadable, a link or not a folder.
    static std::optional<AnchorIdentity> ofPath(const std::string& path);
};

/// The parent folder of an item, opened through an anchor, plus the item's name in it.
struct AnchoredItem {
    UniqueFd parentFd;
    std::string parentPath;  ///< standardized
    std::string name;        ///< one component
    std::string path;        ///< standardized path of the item
};

/// Opens the folder at `anchorPath` and checks it is still `anchor`. Then opens every
/// component between it and the parent of `itemPath` with O_NOFOLLOW. `itemPath` must be the
/// anchor itself or lie below it (both standardized); when it is the anchor, the parent is
/// opened by path and the item is checked to be the anchor object.
Result<AnchoredItem, AnchorFailure> openAnchoredItem(const std::string& anchorPath,
                                                     const AnchorIdentity& anchor,
                                                     const std::string& itemPath);

/// lstat of `name` in `dirFd`; nullopt when it cannot be read (errno set).
std::optional<struct stat> statAt(int dirFd, const std::string& name);

/// Where and why a permanent removal stopped.
struct RemoveTreeFailure {
    int errorNumber = 0;       ///< EXDEV: a mount point; ESTALE: not the expected object
    std::string relativePath;  ///< the entry it stopped at, relative to the item; "": the item
    bool removedSome = false;  ///< something inside the item had been removed before it stopped
};

/// Removes `name` from `dirFd` and, for a folder, everything inside it, opening each folder with
/// O_NOFOLLOW and checking it is the object listed; links are removed, never followed. A mount
/// point — another device, or another mount id (a bind mount of the same file system) — is
/// neither entered nor removed: the removal stops there with EXDEV, also when the item itself is
/// mounted on (compared with `dirFd`). The item must be (device, inode). What was removed before
/// a failure stays removed, and the failure says so.
std::optional<RemoveTreeFailure> removeTreeAt(int dirFd, const std::string& name, dev_t device,
                                              ino_t inode);

}  // namespace velmora

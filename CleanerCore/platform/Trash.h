#pragma once
// The freedesktop.org Trash (specification 1.0) on Linux.
//
// Where an item goes:
//   - the home trash `$XDG_DATA_HOME/Trash` when the item is on the same file system as
//     `$XDG_DATA_HOME` (the home trash is created, mode 0700, when missing);
//   - otherwise the trash of the item's volume: `$topdir/.Trash/$uid` when `$topdir/.Trash` is a
//     real directory (not a link) with the sticky bit, else `$topdir/.Trash-$uid` (created 0700).
//     An unusable per-volume trash refuses the item: nothing is ever copied across file systems.
//
// How an item moves, anchored on descriptors so that no path is re-resolved:
//   1. `info/<name>.trashinfo` is created first with O_CREAT|O_EXCL|O_NOFOLLOW (a taken name gets a
//      numbered variant; names are shortened so that `<name>.trashinfo` fits in 255 bytes). `Path`
//      is the original path percent-encoded from its raw bytes (absolute for the home trash,
//      relative to `$topdir` for a volume trash); `DeletionDate` is local time.
//   2. `renameat2(parentFd, name, filesFd, trashName, RENAME_NOREPLACE)` (plain `renameat` after
//      checking the target is free where the kernel lacks the flag).
//   3. The moved object is checked against the expected device and inode; if something else was
//      moved (the item was swapped in the meantime), it is moved back and the move is refused.
//   A failure at any step removes the `.trashinfo` it created.
//
// Every trash folder is opened component by component with O_NOFOLLOW below `$XDG_DATA_HOME`
// (or `$topdir`), must belong to the current user and must not be a symbolic link.
//
// Thread-safety: a Trash object is immutable after construction; calls may run concurrently.
// Errors are values: every failure is a `TrashError` with a sentence for the user.
#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/platform/UniqueFd.h"
#include "CleanerCore/scanning/Date.h"
#include "CleanerCore/scanning/Result.h"

namespace velmora {

struct TrashError {
    enum class Kind {
        system,             ///< an operating-system call failed; `description` is strerror text
        crossDevice,        ///< no trash on the item's file system could be used
        changedDuringMove,  ///< the object at the name was not the expected one; put back
    };
    Kind kind = Kind::system;
    int errorNumber = 0;
    std::string description;  ///< a sentence for the user (for `system`, strerror's text)
};

/// One item now in a trash.
struct TrashedItem {
    std::string trashedPath;    ///< `<trash>/files/<trashName>`, standardized
    std::string filesFolder;    ///< `<trash>/files`, standardized
    std::string trashInfoPath;  ///< `<trash>/info/<trashName>.trashinfo`
    std::string trashName;
    UniqueFd filesFd;  ///< the `files` folder that received the item, for identity reads
};

struct TrashOptions {
    std::string xdgDataHome;  ///< home trash lives in `<xdgDataHome>/Trash`
    uid_t uid = 0;            ///< the user whose trash is used (getuid())
};

class Trash {
  public:
    explicit Trash(TrashOptions options);

    /// Moves `name` from the open directory `parentFd` (whose standardized path is `parentPath`)
    /// into the trash for its volume. `expectedDevice`/`expectedInode` identify the object that
    /// was validated. `deletionDate` is written into the `.trashinfo`.
    Result<TrashedItem, TrashError> moveToTrash(int parentFd, const std::string& parentPath,
                                                const std::string& name, dev_t expectedDevice,
                                                ino_t expectedInode, Date deletionDate) const;

    /// The `files` folders a restore of an item originally at `originalPath` may take from,
    /// determined without creating anything: the trash of the volume holding the original's
    /// parent folder (when it exists), then the home trash's `files` (when it exists).
    /// Standardized paths, deduplicated.
    std::vector<std::string> restoreRootsFor(const std::string& originalPath) const;

    /// Moves `trashName` from the open `files` folder back to `name` in the open directory
    /// `targetParentFd`, never replacing anything (RENAME_NOREPLACE; EEXIST is reported as
    /// `system` with errno EEXIST), then removes the matching `.trashinfo` (its absence is not
    /// an error). `filesFolder` is the path of `filesFd`, used to find `../info`.
    Result<bool, TrashError> putBack(int filesFd, const std::string& filesFolder,
                                     const std::string& trashName, int targetParentFd,
                                     const std::string& name) const;

    /// The home trash folder (`<xdgDataHome>/Trash`).
    std::string homeTrashPath() const;

  private:
    TrashOptions options_;
};

}  // namespace velmora

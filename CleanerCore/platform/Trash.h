#pragma once
// The freedesktop.org Trash (specification 1.0) on Linux.
//
// Where an item goes:
//   - the home trash `$XDG_DATA_HOME/Trash` when the item is on the same file system as
//     `$XDG_DATA_HOME` (the home trash is created, mode 0700, when missing; `$XDG_DATA_HOME`
//     itself is the user's configuration: it is opened following links and created when
//     missing);
//   - otherwise the trash of the item's volume, below `$topdir`, the top folder of the item's
//     file system (found by walking up from the item's parent while the device stays the same):
//     `$topdir/.Trash/$uid` when `$topdir/.Trash` is a real directory (not a link) with the
//     sticky bit, else `$topdir/.Trash-$uid` (created 0700). An unusable per-volume trash refuses
//     the item (`crossDevice`): nothing is ever copied across file systems.
//
// How an item moves, anchored on descriptors so that no path is re-resolved:
//   1. `info/<trashName>.trashinfo` is created first with O_CREAT|O_EXCL|O_NOFOLLOW. `Path` is
//      the original path percent-encoded from its raw bytes (absolute for the home trash,
//      relative to `$topdir` for a volume trash); `DeletionDate` is local time.
//   2. `renameat2(parentFd, name, filesFd, trashName, RENAME_NOREPLACE)` (plain `renameat` after
//      checking the target is free where the kernel or the file system lacks the flag).
//   3. The moved object is checked against the expected device and inode; if something else was
//      moved (the item was swapped in the meantime), it is moved back and the move is refused.
//   A failure at any step removes the `.trashinfo` it created, with one exception: when an
//   unexpected object was moved and cannot be moved back, it stays in the Trash with its
//   `.trashinfo`, so that the desktop's Trash lists it and can restore it.
//   The `.trashinfo` is not fsync'ed (see docs/trash.md).
//
// Trash names: the item's own name when free, else `<stem>.2<ext>` ... `<stem>.9<ext>`, then
// `<stem>.<random number><ext>` (`<ext>` is the last extension of up to 16 bytes, "" for a name
// without one or beginning with its only dot), so that `report.txt` becomes `report.2.txt`. A
// name is free when neither `info/<trashName>.trashinfo` nor `files/<trashName>` exists. Names
// are shortened to at most 245 bytes, cutting the stem (at a character boundary when the name
// is valid UTF-8), so that `<trashName>.trashinfo` fits in 255 bytes.
//
// Every trash folder (`Trash`, `.Trash-$uid`, `.Trash/$uid`, `files`, `info`) is opened
// component by component with O_NOFOLLOW below `$XDG_DATA_HOME` (or `$topdir`), must be a
// directory belonging to `TrashOptions::uid` and must not be a symbolic link.
//
// Thread-safety: a Trash object is immutable after construction; calls may run concurrently.
// Nothing is cached between calls. Errors are values: every failure is a `TrashError`.
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
        system,       ///< an operating-system call failed, or a trash folder was refused
        crossDevice,  ///< no trash on the item's file system could be used (or EXDEV)
        /// The object moved was not the expected one. It was put back under its name; when even
        /// that failed it stays in the Trash with its `.trashinfo` and `description` says where.
        changedDuringMove,
    };
    Kind kind = Kind::system;
    int errorNumber = 0;
    /// A sentence for the user. For `system` it is strerror's text, except when a trash folder is
    /// refused for safety (a symbolic link: ELOOP; not a directory: ENOTDIR; not the user's:
    /// EPERM), where it is a sentence naming that folder.
    std::string description;
};

/// One item now in a trash.
struct TrashedItem {
    std::string trashedPath;    ///< `<trash>/files/<trashName>`, standardized
    std::string filesFolder;    ///< `<trash>/files`, standardized
    std::string trashInfoPath;  ///< `<trash>/info/<trashName>.trashinfo`, standardized
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
    /// was validated. `deletionDate` is written into the `.trashinfo`. `name` must be one path
    /// component (not empty, ".", ".." or containing "/"), and `xdgDataHome` absolute; otherwise
    /// the result is `system` with EINVAL and nothing is touched.
    Result<TrashedItem, TrashError> moveToTrash(int parentFd, const std::string& parentPath,
                                                const std::string& name, dev_t expectedDevice,
                                                ino_t expectedInode, Date deletionDate) const;

    /// The `files` folders a restore of an item originally at `originalPath` may take from,
    /// determined without creating anything: when the original's parent folder (or, if it is
    /// missing, its nearest existing ancestor) is on another file system than `$XDG_DATA_HOME`,
    /// that volume's `$topdir/.Trash/$uid/files` and `$topdir/.Trash-$uid/files` (each only when
    /// it exists and passes the checks above); then the home trash's `files` (when it exists).
    /// Standardized paths, deduplicated.
    std::vector<std::string> restoreRootsFor(const std::string& originalPath) const;

    /// Moves `trashName` from the open `files` folder back to `name` in the open directory
    /// `targetParentFd`, never replacing anything (RENAME_NOREPLACE; EEXIST is reported as
    /// `system` with errno EEXIST), then removes the matching `.trashinfo` (its absence is not
    /// an error). `filesFolder` is the path of `filesFd`, used to find `../info`: its parent is
    /// opened following links, `info` with O_NOFOLLOW, and only when `<parent>/files` is the
    /// object `filesFd` refers to. EXDEV is reported as `crossDevice`. The value is true when no
    /// `.trashinfo` remains, false when the item is back but its `.trashinfo` could not be removed
    /// (a stale entry in the Trash list).
    Result<bool, TrashError> putBack(int filesFd, const std::string& filesFolder,
                                     const std::string& trashName, int targetParentFd,
                                     const std::string& name) const;

    /// The home trash folder (`<xdgDataHome>/Trash`).
    std::string homeTrashPath() const;

  private:
    TrashOptions options_;
};

}  // namespace velmora

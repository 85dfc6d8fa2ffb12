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
// The home trash's folders stay open between calls (a thousand items would otherwise reopen
// them a thousand times). Before each move they are checked against the path again, relative to
// the kept descriptors and without following links: `$XDG_DATA_HOME` (followed, as when it is
// opened) must still be the kept folder, and `Trash`, `files` and `info` below it must still be
// the kept directories, owned by `uid`. Any difference (a folder swapped, replaced by a link,
// removed) drops the kept descriptors and the folders are opened afresh with every check above,
// so an item never goes into a folder the checks would refuse now. A kept descriptor also keeps
// its inode alive, so an equal device and inode is the same folder, never a reused number.
// Per-volume trashes are opened for every item.
//
// Thread-safety: calls may run concurrently; the kept descriptors are shared by copies of a
// Trash and replaced under a lock. Errors are values: every failure is a `TrashError`.
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/Result.h"
#include "CleanerCore/platform/UniqueFd.h"

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

/// A descriptor with shared ownership, closed when its last holder lets go.
class SharedFd {
  public:
    SharedFd() = default;
    explicit SharedFd(UniqueFd fd) : fd_(std::make_shared<const UniqueFd>(std::move(fd))) {}
    int get() const { return fd_ ? fd_->get() : -1; }
    explicit operator bool() const { return get() >= 0; }

  private:
    std::shared_ptr<const UniqueFd> fd_;
};

/// One item now in a trash.
struct TrashedItem {
    std::string trashedPath;    ///< `<trash>/files/<trashName>`, standardized
    std::string filesFolder;    ///< `<trash>/files`, standardized
    std::string trashInfoPath;  ///< `<trash>/info/<trashName>.trashinfo`, standardized
    std::string trashName;
    SharedFd filesFd;  ///< the `files` folder that received the item, for identity reads
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

    struct OpenTrash;  ///< an opened trash folder (Trash.cpp)

  private:
    struct HomeTrashCache;
    /// The home trash's kept folders when they still pass the checks, else nullptr.
    std::shared_ptr<const OpenTrash> cachedHomeTrash(dev_t expectedDevice) const;
    /// Opens the trash for an item of `expectedDevice` in `parentPath`, with every check (and
    /// keeps it when it is the home trash).
    Result<std::shared_ptr<const OpenTrash>, TrashError> openTrashFor(const std::string& parentPath,
                                                                      dev_t expectedDevice) const;
    Result<TrashedItem, TrashError> moveInto(const OpenTrash& trash, int parentFd,
                                             const std::string& originalPath,
                                             const std::string& name, dev_t expectedDevice,
                                             ino_t expectedInode, Date deletionDate) const;

    TrashOptions options_;
    std::shared_ptr<HomeTrashCache> homeCache_;
};

}  // namespace velmora

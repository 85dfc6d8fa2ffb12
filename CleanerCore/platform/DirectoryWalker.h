#pragma once
// The one depth-first walk of a folder's contents, shared by everything that reads a tree: the
// scan's inventory of a candidate, the insight walk, and the check made right before an item is
// cleaned. The walker owns how a tree is read safely; the visitor owns every decision about
// what an entry means (count it, descend, stop).
//
// What the walker guarantees:
// - Every folder is entered through a descriptor opened relative to its parent folder's
//   descriptor with O_NOFOLLOW | O_DIRECTORY; a symbolic link is described, never followed.
// - A folder opened after it was described must be the object described (same device and inode);
//   otherwise it is not entered and the visitor hears `WalkFailure::changed`.
// - Cancellation is polled before every entry.
// - Entries are visited in listing order; a folder's listing is read whole before any of its
//   entries is visited, so nothing the visitor does can shift the listing being walked.
// - Mount detection: with a `mountPlace`, every described entry tells whether it lies on
//   another mount than that place (another device, or another mount id where both are known).
//
// Paths: the walker keeps the path of the folder being listed; an entry's full path is built
// only when the visitor asks for it (`WalkEntry::path`).
//
// Threading: a walker is used by one thread at a time and may be reused for many walks; it is
// not reentrant (a visitor that walks a subtree by itself uses a second walker). Several walkers
// may run side by side.
#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/platform/MountIdentity.h"
#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

/// The visitor's answer for an entry. Before the entry is described (`listed`): `proceed`
/// describes it, `pass` leaves it alone. After it is described (`visit`): `proceed` enters it when
/// it is a folder, `pass` does not. `stop` ends the whole walk.
enum class WalkAction { pass, proceed, stop };

/// What went wrong while reading the tree. The walk goes on with the next entry unless the
/// visitor answers `stop`.
enum class WalkFailure {
    list,        ///< a folder's listing could not be read (the path is the folder's)
    describe,    ///< an entry could not be described (ENOENT: it is gone since the listing)
    open,        ///< a folder to enter could not be opened
    changed,     ///< the folder opened is not the one that was described
    tooDeep,     ///< entering the folder would go deeper than `maximumDepth`
    otherMount,  ///< a folder's mount id, read once it was opened, is not the place's
};

enum class WalkEnd { finished, stopped, cancelled };

struct WalkOptions {
    /// Folders at this depth (the walked folder's entries are at depth 0) are not entered.
    int maximumDepth = 2048;
    /// Open the entries the listing names as folders first and describe them through the
    /// descriptor: one path lookup instead of two. Off: every entry is described by name first
    /// and a folder is opened only to be entered, then compared with what was described.
    bool opensFoldersFirst = true;
    /// Where the walked folder sits; entries report whether they lie elsewhere. With a mount id
    /// here, entries are described with their mount ids.
    std::optional<MountPlace> mountPlace;
};

class DirectoryWalker;

/// One entry of a listing, as the visitor sees it. Valid only during the callback it is passed to.
class WalkEntry {
  public:
    const char* name() const { return name_; }
    /// The type the listing gave (DT_DIR, DT_REG, ...; DT_UNKNOWN when the file system does not
    /// tell).
    unsigned char listedType() const { return listedType_; }
    /// 0 for the entries of the walked folder, 1 for theirs, and so on.
    int depth() const { return depth_; }
    /// The flags the visitor gave this entry's folder when it entered it (`setChildFlags`), or the
    /// walk's initial flags at depth 0.
    uint32_t inheritedFlags() const { return inherited_; }
    /// The flags the entries of this folder get once it is entered; by default the inherited ones.
    void setChildFlags(uint32_t flags) { childFlags_ = flags; }

    /// What lstat (or statx) found; valid from `visit` on.
    const struct stat& stat() const { return st_; }
    /// The entry's mount id, when the walk reads mount ids and the kernel reported one.
    const std::optional<uint64_t>& mountId() const { return mountId_; }
    /// True when the walk has a mount place and this entry lies on another mount.
    bool isOnOtherMount() const;

    /// The folder being listed.
    std::string_view parentPath() const;
    /// The entry's full path, built on first use.
    const std::string& path();

    /// The descriptor of this folder entry (opened now, and checked against what was described,
    /// if the walk did not open it first), or -1. The walker keeps it; entering reuses it.
    int openFolder();

  private:
    friend class DirectoryWalker;
    DirectoryWalker* walker_ = nullptr;
    int parentFd_ = -1;
    const char* name_ = nullptr;
    unsigned char listedType_ = 0;
    int depth_ = 0;
    uint32_t inherited_ = 0;
    uint32_t childFlags_ = 0;
    struct stat st_ {};
    std::optional<uint64_t> mountId_;
    UniqueFd folder_;
    WalkFailure openFailure_ = WalkFailure::open;
    int openError_ = 0;
    bool pathBuilt_ = false;
};

/// The caller's decisions. Every method is called on the walking thread.
class DirectoryVisitor {
  public:
    /// Polled before every entry; true ends the walk as cancelled.
    virtual bool isCancelled() { return false; }
    /// An entry as listed, before anything is read about it.
    virtual WalkAction listed(WalkEntry&) { return WalkAction::proceed; }
    /// A described entry.
    virtual WalkAction visit(WalkEntry& entry) = 0;
    /// Something could not be read; `path` is the entry's (the folder's for `list`), `error` the
    /// errno value (0 for `changed`, `tooDeep` and `otherMount`).
    virtual WalkAction failed(const std::string& path, WalkFailure failure, int error) = 0;

  protected:
    ~DirectoryVisitor() = default;
};

class DirectoryWalker {
  public:
    /// Walks the contents of the open folder `folderFd`, whose path is `folderPath`. The folder
    /// itself is not visited.
    WalkEnd walk(int folderFd, std::string_view folderPath, DirectoryVisitor& visitor,
                 const WalkOptions& options = {}, uint32_t initialFlags = 0);

  private:
    friend class WalkEntry;
    enum class Step { next, stop, cancel };
    Step walkFolder(int fd, int depth, uint32_t flags);
    Step handle(int fd, const char* name, unsigned char type, int depth, uint32_t flags);
    bool describe(WalkEntry& entry);
    bool enter(WalkEntry& entry);
    Step answer(WalkAction action) const {
        return action == WalkAction::stop ? Step::stop : Step::next;
    }
    const std::string& entryPath(WalkEntry& entry);

    DirectoryVisitor* visitor_ = nullptr;
    const WalkOptions* options_ = nullptr;
    std::string path_;                 ///< the folder being listed, then the current entry
    size_t folderLength_ = 0;          ///< length of the folder's part of `path_`
    std::vector<std::string> levels_;  ///< per depth: packed listings (type byte, name, NUL)
};

/// Opens the folder `name` in `parentFd` without following a link and only if it is the object
/// `described` (same device and inode); an empty descriptor otherwise (errno set by the failing
/// call, or ESTALE for another object).
UniqueFd openDescribedFolder(int parentFd, const char* name, const struct stat& described);

}  // namespace velmora

#include "CleanerCore/platform/AnchoredPath.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/platform/MountIdentity.h"

namespace velmora {

namespace {

constexpr int kDirectoryFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

AnchorFailure failureFor(const std::string& path, int error) {
    using K = AnchorFailure::Kind;
    if (error == ENOENT) return {K::missing, path, error};
    return {K::unreadable, path, error};
}

// Why `name` in `dirFd` could not be opened as a folder: a link is named as such.
AnchorFailure failureAt(int dirFd, const std::string& name, const std::string& path, int error) {
    struct stat st {};
    if ((error == ELOOP || error == ENOTDIR) &&
        ::fstatat(dirFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(st.st_mode)) {
        return {AnchorFailure::Kind::symbolicLink, path, error};
    }
    return failureFor(path, error);
}

}  // namespace

std::optional<AnchorIdentity> AnchorIdentity::of(int fd) {
    // One statx for device, inode and birth time; fstat where statx is missing.
    struct statx sx {};
    if (::statx(fd, "", AT_EMPTY_PATH | AT_STATX_SYNC_AS_STAT, STATX_INO | STATX_BTIME, &sx) != 0) {
        struct stat st {};
        if (errno != ENOSYS || ::fstat(fd, &st) != 0) return std::nullopt;
        return AnchorIdentity{static_cast<uint64_t>(st.st_dev), static_cast<uint64_t>(st.st_ino),
                              std::nullopt};
    }
    AnchorIdentity identity{static_cast<uint64_t>(makedev(sx.stx_dev_major, sx.stx_dev_minor)),
                            sx.stx_ino, std::nullopt};
    if (sx.stx_mask & STATX_BTIME) {
        identity.birthTime = std::pair<int64_t, int64_t>(sx.stx_btime.tv_sec, sx.stx_btime.tv_nsec);
    }
    return identity;
}

std::optional<AnchorIdentity> AnchorIdentity::ofPath(const std::string& path) {
    // O_NOFOLLOW: a root that was swapped for a link after its checks must not be recorded as
    // (or matched by) whatever the link leads to.
    UniqueFd fd(::open(path.c_str(), O_PATH | O_NOFOLLOW | O_DIRECTORY | O_CLOEXEC));
    if (!fd) return std::nullopt;
    return of(fd.get());
}

std::optional<struct stat> statAt(int dirFd, const std::string& name) {
    struct stat st {};
    if (::fstatat(dirFd, name.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
    return st;
}

Result<AnchoredItem, AnchorFailure> openAnchoredItem(const std::string& anchorPath,
                                                     const AnchorIdentity& expected,
                                                     const std::string& itemPath) {
    using K = AnchorFailure::Kind;
    AnchoredItem item;
    item.path = standardizePath(itemPath);
    const std::string anchor = standardizePath(anchorPath);

    if (item.path == anchor) {
        // The item is the anchor: its parent is the user's layout, the item is checked below.
        item.parentPath = deletingLastPathComponent(item.path);
        item.name = lastPathComponent(item.path);
        item.parentFd = UniqueFd(::open(item.parentPath.c_str(), kDirectoryFlags));
        if (!item.parentFd) return Failure{failureFor(item.parentPath, errno)};
        UniqueFd self(
            ::openat(item.parentFd.get(), item.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        auto identity = self ? AnchorIdentity::of(self.get()) : std::nullopt;
        if (!identity || *identity != expected) {
            return Failure{AnchorFailure{K::anchorChanged, anchor, 0}};
        }
        return item;
    }

    const std::string prefix = anchor == "/" ? "/" : anchor + "/";
    if (item.path.compare(0, prefix.size(), prefix) != 0) {
        return Failure{AnchorFailure{K::anchorChanged, anchor, 0}};
    }
    UniqueFd fd(::open(anchor.c_str(), kDirectoryFlags | O_NOFOLLOW));
    auto identity = fd ? AnchorIdentity::of(fd.get()) : std::nullopt;
    if (!identity || *identity != expected) {
        return Failure{AnchorFailure{K::anchorChanged, anchor, 0}};
    }

    // Components between the anchor and the item.
    std::vector<std::string> components;
    const std::string rest = item.path.substr(prefix.size());
    for (size_t i = 0; i < rest.size();) {
        size_t end = rest.find('/', i);
        if (end == std::string::npos) end = rest.size();
        components.push_back(rest.substr(i, end - i));
        i = end + 1;
    }
    std::string path = anchor;
    for (size_t i = 0; i + 1 < components.size(); ++i) {
        path = appendingPathComponent(path, components[i]);
        UniqueFd next(::openat(fd.get(), components[i].c_str(), kDirectoryFlags | O_NOFOLLOW));
        if (!next) return Failure{failureAt(fd.get(), components[i], path, errno)};
        fd = std::move(next);
    }
    item.parentFd = std::move(fd);
    item.parentPath = path;
    item.name = components.back();
    return item;
}

namespace {

// One permanent removal: depth first, through descriptors, stopping at the first failure and
// remembering where that was and whether anything had been removed before it.
class TreeRemoval {
  public:
    RemoveTreeFailure failure;
    bool removedSome = false;

    // Removes everything inside the folder `dirFd`, which lies on `place`. False on failure.
    bool removeContents(int dirFd, const MountPlace& place, int depth) {
        if (depth > 4096) return fail(ELOOP);
        std::vector<std::string> names;
        if (!forEachDirectoryEntry(
                dirFd, [&](const char* name, unsigned char) { names.emplace_back(name); })) {
            return fail(errno ? errno : EIO);
        }
        for (const auto& name : names) {
            const size_t parentLength = relative_.size();
            if (!relative_.empty()) relative_ += '/';
            relative_ += name;
            if (!removeEntry(dirFd, name, place, depth)) return false;
            relative_.resize(parentLength);
        }
        return true;
    }

    bool fail(int error) {
        failure = {error, relative_, removedSome};
        return false;
    }

  private:
    bool removeEntry(int dirFd, const std::string& name, const MountPlace& place, int depth) {
        auto node = statWithMountAt(dirFd, name.c_str());
        if (!node) return errno == ENOENT || fail(errno);
        // A mount point (a file can be bound, too) is neither entered nor removed.
        if (place.isOtherMount(*node)) return fail(EXDEV);
        if (!S_ISDIR(node->st.st_mode)) {
            if (::unlinkat(dirFd, name.c_str(), 0) != 0) return errno == ENOENT || fail(errno);
            removedSome = true;
            return true;
        }
        UniqueFd child(::openat(dirFd, name.c_str(), kDirectoryFlags | O_NOFOLLOW));
        if (!child) return fail(errno);
        // The mount id of the opened folder, not of the name: a bind mount placed on the name
        // after the look above shows the same device and inode.
        NodeStat opened{{}, mountIdOf(child.get())};
        if (::fstat(child.get(), &opened.st) != 0) return fail(errno);
        if (opened.st.st_dev != node->st.st_dev || opened.st.st_ino != node->st.st_ino) {
            return fail(ESTALE);
        }
        if (place.isOtherMount(opened)) return fail(EXDEV);
        if (!removeContents(child.get(), {opened.st.st_dev, opened.mountId}, depth + 1)) {
            return false;
        }
        if (::unlinkat(dirFd, name.c_str(), AT_REMOVEDIR) != 0) {
            return errno == ENOENT || fail(errno);
        }
        removedSome = true;
        return true;
    }

    std::string relative_;
};

}  // namespace

std::optional<RemoveTreeFailure> removeTreeAt(int dirFd, const std::string& name, dev_t device,
                                              ino_t inode) {
    TreeRemoval removal;
    auto parent = MountPlace::of(dirFd);
    if (!parent) return RemoveTreeFailure{errno, {}, false};
    auto node = statWithMountAt(dirFd, name.c_str());
    if (!node) return RemoveTreeFailure{errno, {}, false};
    if (node->st.st_dev != device || node->st.st_ino != inode) {
        return RemoveTreeFailure{ESTALE, {}, false};
    }
    // The item itself may be a mount point: removing it would empty what is mounted there.
    if (parent->isOtherMount(*node)) return RemoveTreeFailure{EXDEV, {}, false};
    if (!S_ISDIR(node->st.st_mode)) {
        if (::unlinkat(dirFd, name.c_str(), 0) != 0) return RemoveTreeFailure{errno, {}, false};
        return std::nullopt;
    }
    UniqueFd fd(::openat(dirFd, name.c_str(), kDirectoryFlags | O_NOFOLLOW));
    if (!fd) return RemoveTreeFailure{errno, {}, false};
    NodeStat opened{{}, mountIdOf(fd.get())};
    if (::fstat(fd.get(), &opened.st) != 0) return RemoveTreeFailure{errno, {}, false};
    if (opened.st.st_dev != device || opened.st.st_ino != inode) {
        return RemoveTreeFailure{ESTALE, {}, false};
    }
    if (parent->isOtherMount(opened)) return RemoveTreeFailure{EXDEV, {}, false};
    if (!removal.removeContents(fd.get(), {opened.st.st_dev, opened.mountId}, 0)) {
        return removal.failure;
    }
    if (::unlinkat(dirFd, name.c_str(), AT_REMOVEDIR) != 0) {
        removal.fail(errno);
        return removal.failure;
    }
    return std::nullopt;
}

}  // namespace velmora

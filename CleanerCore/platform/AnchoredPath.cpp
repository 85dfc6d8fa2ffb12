#include "CleanerCore/platform/AnchoredPath.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/scanning/FileURL.h"

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
    struct stat st {};
    if (::fstat(fd, &st) != 0) return std::nullopt;
    AnchorIdentity identity{static_cast<uint64_t>(st.st_dev), static_cast<uint64_t>(st.st_ino),
                            std::nullopt};
    if (auto birth = birthTimeOf(fd)) {
        identity.birthTime = std::pair<int64_t, int64_t>(birth->tv_sec, birth->tv_nsec);
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

int removeContents(int dirFd, int depth) {
    if (depth > 4096) return ELOOP;
    std::vector<std::string> names;
    if (!forEachDirectoryEntry(
            dirFd, [&](const char* name, unsigned char) { names.emplace_back(name); })) {
        return errno ? errno : EIO;
    }
    struct stat self {};
    if (::fstat(dirFd, &self) != 0) return errno;
    for (const auto& name : names) {
        auto st = statAt(dirFd, name);
        if (!st) {
            if (errno == ENOENT) continue;
            return errno;
        }
        if (!S_ISDIR(st->st_mode)) {
            if (::unlinkat(dirFd, name.c_str(), 0) != 0 && errno != ENOENT) return errno;
            continue;
        }
        if (st->st_dev != self.st_dev) return EXDEV;
        UniqueFd child(::openat(dirFd, name.c_str(), kDirectoryFlags | O_NOFOLLOW));
        struct stat opened {};
        if (!child) return errno;
        if (::fstat(child.get(), &opened) != 0) return errno;
        if (opened.st_dev != st->st_dev || opened.st_ino != st->st_ino) return ESTALE;
        if (int error = removeContents(child.get(), depth + 1)) return error;
        if (::unlinkat(dirFd, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) return errno;
    }
    return 0;
}

}  // namespace

int removeTreeAt(int dirFd, const std::string& name, dev_t device, ino_t inode) {
    auto st = statAt(dirFd, name);
    if (!st) return errno;
    if (st->st_dev != device || st->st_ino != inode) return ESTALE;
    if (!S_ISDIR(st->st_mode)) return ::unlinkat(dirFd, name.c_str(), 0) == 0 ? 0 : errno;
    UniqueFd fd(::openat(dirFd, name.c_str(), kDirectoryFlags | O_NOFOLLOW));
    if (!fd) return errno;
    struct stat opened {};
    if (::fstat(fd.get(), &opened) != 0) return errno;
    if (opened.st_dev != device || opened.st_ino != inode) return ESTALE;
    if (int error = removeContents(fd.get(), 0)) return error;
    return ::unlinkat(dirFd, name.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
}

}  // namespace velmora

#include "CleanerCore/platform/FileSystem.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <vector>

#include "CleanerCore/base/FileURL.h"

namespace velmora {

std::optional<struct stat> lstatPath(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return std::nullopt;
    return st;
}

std::optional<struct stat> statPath(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) return std::nullopt;
    return st;
}

std::optional<timespec> birthTimeOf(int fd) {
    struct statx sx {};
    if (::statx(fd, "", AT_EMPTY_PATH | AT_STATX_SYNC_AS_STAT, STATX_BTIME, &sx) != 0 ||
        !(sx.stx_mask & STATX_BTIME)) {
        return std::nullopt;
    }
    return timespec{static_cast<time_t>(sx.stx_btime.tv_sec),
                    static_cast<long>(sx.stx_btime.tv_nsec)};
}

UniqueFd openDirectoryNoFollow(const std::string& path) {
    return UniqueFd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

UniqueFd openDirectoryFollowingLinks(const std::string& path) {
    return UniqueFd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

UniqueFd openDirectoryAt(int dirFd, const char* name) {
    return UniqueFd(::openat(dirFd, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

namespace {
struct LinuxDirent64 {
    ino64_t d_ino;
    off64_t d_off;
    unsigned short d_reclen;
    unsigned char d_type;
    char d_name[];
};
constexpr size_t kDirentBufferSize = 64 * 1024;
}  // namespace

bool forEachDirectoryEntry(int dirFd,
                           const std::function<void(const char*, unsigned char)>& entry) {
    // One reusable buffer per thread; a nested call (a callback that lists another directory)
    // gets a buffer of its own instead of clobbering the outer one.
    thread_local std::unique_ptr<char[]> shared(new char[kDirentBufferSize]);
    thread_local bool sharedInUse = false;
    std::unique_ptr<char[]> own;
    char* buffer = shared.get();
    if (sharedInUse) {
        own.reset(new char[kDirentBufferSize]);
        buffer = own.get();
    }
    struct Guard {
        bool active;
        ~Guard() {
            if (active) sharedInUse = false;
        }
    } guard{!sharedInUse};
    sharedInUse = true;
    for (;;) {
        long n = ::syscall(SYS_getdents64, dirFd, buffer, kDirentBufferSize);
        if (n < 0) return false;
        if (n == 0) return true;
        for (long off = 0; off < n;) {
            auto* d = reinterpret_cast<LinuxDirent64*>(buffer + off);
            off += d->d_reclen;
            const char* name = d->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
                continue;
            entry(name, d->d_type);
        }
    }
}

std::string resolvingSymlinksInPath(const std::string& path) {
    std::string current = standardizePath(path);
    std::string rest;
    for (;;) {
        char buf[PATH_MAX];
        if (::realpath(current.c_str(), buf) != nullptr) {
            return rest.empty() ? standardizePath(buf) : appendingPathComponent(buf, rest);
        }
        if (current == "/") return standardizePath(path);
        std::string last = lastPathComponent(current);
        rest = rest.empty() ? last : last + "/" + rest;
        current = deletingLastPathComponent(current);
    }
}

std::optional<std::string> currentPathOfFolder(int fd) {
    const std::string link = "/proc/self/fd/" + std::to_string(fd);
    std::string target(PATH_MAX, '\0');
    const ssize_t n = ::readlink(link.c_str(), target.data(), target.size());
    if (n <= 0 || static_cast<size_t>(n) >= target.size()) return std::nullopt;
    target.resize(static_cast<size_t>(n));
    // A removed folder is named "<path> (deleted)"; such a name is not a path to compare.
    if (target[0] != '/' || target.ends_with(" (deleted)")) return std::nullopt;
    return target;
}

bool volumeIsCaseInsensitive(const std::string& path) {
    struct statfs fs {};
    if (::statfs(path.c_str(), &fs) != 0) return false;
    switch (static_cast<unsigned long>(fs.f_type)) {
        case 0x4d44:      // vfat / msdos
        case 0x2011BAB0:  // exfat
        case 0x5346544e:  // ntfs
        case 0x7366746e:  // ntfs3
        case 0x4244:      // hfs
        case 0x482b:      // hfs+
            return true;
        default:
            break;
    }
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd) return false;
    int flags = 0;
    constexpr int kCaseFoldFlag = 0x40000000;  // FS_CASEFOLD_FL
    if (::ioctl(fd.get(), FS_IOC_GETFLAGS, &flags) == 0) return (flags & kCaseFoldFlag) != 0;
    return false;
}

void raiseOpenFileLimit() {
    struct rlimit lim {};
    if (::getrlimit(RLIMIT_NOFILE, &lim) == 0 && lim.rlim_cur < lim.rlim_max) {
        lim.rlim_cur = lim.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &lim);
    }
}

std::string pathKey(const std::string& path) {
    return resolvingSymlinksInPath(path);
}

}  // namespace velmora

#include "CleanerCore/platform/FileIdentity.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>

#include <cctype>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

namespace {

// Finds the entry of /dev/disk/by-<kind> whose block device is `device`.
std::optional<std::string> diskLinkName(const char* folder, dev_t device) {
    UniqueFd dir = openDirectoryNoFollow(folder);
    if (!dir) return std::nullopt;
    std::optional<std::string> found;
    forEachDirectoryEntry(dir.get(), [&](const char* name, unsigned char) {
        if (found) return;
        struct stat st {};
        if (::fstatat(dir.get(), name, &st, 0) == 0 && S_ISBLK(st.st_mode) &&
            st.st_rdev == device) {
            found = name;
        }
    });
    return found;
}

// udev escapes unusual bytes in labels as \xHH.
std::string unescapeUdev(const std::string& s) {
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 3 < s.size() && s[i + 1] == 'x' &&
            isxdigit(static_cast<unsigned char>(s[i + 2])) &&
            isxdigit(static_cast<unsigned char>(s[i + 3]))) {
            out += static_cast<char>(std::stoi(s.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            out += s[i];
        }
    }
    return out;
}

// mountinfo escapes space, tab, newline and backslash as \ooo.
std::string unescapeOctal(const std::string& s) {
    std::string out;
    for (size_t i = 0; i < s.size(); ++i) {
        auto octal = [](char c) { return c >= '0' && c <= '7'; };
        if (s[i] == '\\' && i + 3 < s.size() && octal(s[i + 1]) && octal(s[i + 2]) &&
            octal(s[i + 3])) {
            out += static_cast<char>(std::stoi(s.substr(i + 1, 3), nullptr, 8));
            i += 3;
        } else {
            out += s[i];
        }
    }
    return out;
}

std::optional<std::string> mountPointOf(dev_t device) {
    std::ifstream in("/proc/self/mountinfo");
    std::string line;
    const std::string wanted = std::to_string(major(device)) + ":" + std::to_string(minor(device));
    std::optional<std::string> result;
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string id, parent, majmin, root, mountPoint;
        if (!(fields >> id >> parent >> majmin >> root >> mountPoint)) continue;
        // Prefer the mount of the file system's own root over bind mounts of its subfolders.
        if (majmin != wanted) continue;
        if (root == "/" || !result) result = unescapeOctal(mountPoint);
        if (root == "/") break;
    }
    return result;
}

}  // namespace

namespace {

std::mutex& volumeFactsMutex() {
    static std::mutex mutex;
    return mutex;
}

std::map<dev_t, VolumeFacts>& volumeFactsCache() {
    static std::map<dev_t, VolumeFacts> cache;
    return cache;
}

std::optional<VolumeFacts> knownVolumeFacts(dev_t device) {
    std::lock_guard lock(volumeFactsMutex());
    const auto& cache = volumeFactsCache();
    if (auto it = cache.find(device); it != cache.end()) return it->second;
    return std::nullopt;
}

}  // namespace

VolumeFacts volumeFacts(dev_t device, int fdOnVolume) {
    if (auto known = knownVolumeFacts(device)) return *known;
    VolumeFacts facts;
    if (auto uuid = diskLinkName("/dev/disk/by-uuid", device)) {
        facts.identifier = *uuid;
    } else {
        struct statfs fs {};
        if (::fstatfs(fdOnVolume, &fs) == 0) {
            unsigned a = static_cast<unsigned>(fs.f_fsid.__val[0]);
            unsigned b = static_cast<unsigned>(fs.f_fsid.__val[1]);
            char buf[40];
            snprintf(buf, sizeof buf, "fsid:%08x%08x", a, b);
            facts.identifier = std::string(buf);
        }
    }
    if (auto label = diskLinkName("/dev/disk/by-label", device)) {
        facts.name = unescapeUdev(*label);
    } else {
        facts.name = mountPointOf(device);
    }
    // Two threads may have looked the volume up at once: the first entry is the one every
    // caller shares, so that the volume's values are held once.
    std::lock_guard lock(volumeFactsMutex());
    return volumeFactsCache().emplace(device, std::move(facts)).first->second;
}

namespace {

constexpr unsigned kIdentityMask = STATX_BASIC_STATS | STATX_BTIME;

FileResourceIdentity identityFrom(const struct statx& sx, const VolumeFacts& facts) {
    FileResourceIdentity id;
    const dev_t device = makedev(sx.stx_dev_major, sx.stx_dev_minor);
    id.fileResourceIdentifier = std::to_string(device) + ":" + std::to_string(sx.stx_ino);
    id.volumeIdentifier = facts.identifier;
    id.volumeName = facts.name;
    id.isDirectory = S_ISDIR(sx.stx_mode);
    if (S_ISREG(sx.stx_mode)) {
        id.fileSize = static_cast<int64_t>(sx.stx_size);
        id.totalFileAllocatedSize = static_cast<int64_t>(sx.stx_blocks) * 512;
    }
    id.systemFileNumber = sx.stx_ino;
    id.systemNumber = static_cast<uint64_t>(device);
    if (sx.stx_mask & STATX_BTIME) {
        id.creationDate = dateFromTimespec(
            {static_cast<time_t>(sx.stx_btime.tv_sec), static_cast<long>(sx.stx_btime.tv_nsec)});
    }
    id.modificationDate = dateFromTimespec(
        {static_cast<time_t>(sx.stx_mtime.tv_sec), static_cast<long>(sx.stx_mtime.tv_nsec)});
    return id;
}

// `fd` is an O_PATH or open descriptor of the object itself (for statfs: the object may be a
// mount point, on another volume than its parent).
std::optional<FileResourceIdentity> identityFromStatx(int fd, int flags) {
    struct statx sx {};
    if (::statx(fd, "", flags | AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_STATX_SYNC_AS_STAT,
                kIdentityMask, &sx) != 0) {
        return std::nullopt;
    }
    return identityFrom(sx, volumeFacts(makedev(sx.stx_dev_major, sx.stx_dev_minor), fd));
}

}  // namespace

std::optional<FileResourceIdentity> captureIdentityOf(int fd) {
    return identityFromStatx(fd, 0);
}

std::optional<FileResourceIdentity> captureIdentityAt(int dirFd, const char* name) {
    // Once the volume is known (every item after the first), one statx of the name describes
    // the object: no descriptor is needed for the volume's facts.
    struct statx sx {};
    if (::statx(dirFd, name, AT_SYMLINK_NOFOLLOW | AT_STATX_SYNC_AS_STAT, kIdentityMask, &sx) ==
        0) {
        if (auto facts = knownVolumeFacts(makedev(sx.stx_dev_major, sx.stx_dev_minor))) {
            return identityFrom(sx, *facts);
        }
    }
    // O_PATH without following: a link is described itself, and nothing is opened for reading.
    UniqueFd item(::openat(dirFd, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!item) return std::nullopt;
    return identityFromStatx(item.get(), 0);
}

std::optional<FileResourceIdentity> captureIdentity(const std::string& path) {
    return captureIdentityAt(AT_FDCWD, path.c_str());
}

}  // namespace velmora

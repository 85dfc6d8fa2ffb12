#include "CleanerCore/platform/MountIdentity.h"

#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>

#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

bool isOctal(char c) {
    return c >= '0' && c <= '7';
}

std::optional<uint64_t> parseNumber(std::string_view text) {
    uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

// Reads a small /proc file whole; empty optional when it cannot be opened or read.
std::optional<std::string> readProcFile(const char* path) {
    UniqueFd fd(::open(path, O_RDONLY | O_CLOEXEC));
    if (!fd) return std::nullopt;
    std::string text;
    char buffer[16384];
    for (;;) {
        const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) continue;
            return std::nullopt;
        }
        if (n == 0) break;
        text.append(buffer, static_cast<size_t>(n));
    }
    return text;
}

}  // namespace

std::string unescapeMountInfoField(std::string_view field) {
    std::string out;
    out.reserve(field.size());
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) &&
            isOctal(field[i + 2]) && isOctal(field[i + 3])) {
            const int value =
                (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
            if (value <= 0377) {
                out += static_cast<char>(value);
                i += 3;
                continue;
            }
        }
        out += field[i];
    }
    return out;
}

std::vector<MountInfoEntry> parseMountInfo(std::string_view text) {
    std::vector<MountInfoEntry> entries;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);

        // "36 35 98:0 /mnt1 /mnt/parent rw,noatime master:1 - ext3 /dev/root rw": mount id,
        // parent id, major:minor, root, mount point, ...
        std::string_view fields[5];
        size_t count = 0;
        std::string_view rest = line;
        while (count < 5 && !rest.empty()) {
            const size_t space = rest.find(' ');
            fields[count++] = rest.substr(0, space);
            rest = space == std::string_view::npos ? std::string_view() : rest.substr(space + 1);
        }
        if (count < 5) continue;
        const auto mountId = parseNumber(fields[0]);
        const auto parentId = parseNumber(fields[1]);
        if (!mountId || !parentId || fields[4].empty() || fields[4][0] != '/') continue;
        entries.push_back({*mountId, *parentId, unescapeMountInfoField(fields[4])});
    }
    return entries;
}

std::vector<std::string> readMountPoints() {
    std::vector<std::string> points;
    if (const auto text = readProcFile("/proc/self/mountinfo")) {
        for (auto& entry : parseMountInfo(*text)) points.push_back(std::move(entry.mountPoint));
    }
    return points;
}

std::optional<uint64_t> mountIdFromFdInfo(std::string_view text) {
    constexpr std::string_view key = "mnt_id:";
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('\n', at), text.size());
        std::string_view line = text.substr(at, end - at);
        at = end + 1;
        if (line.substr(0, key.size()) != key) continue;
        line.remove_prefix(key.size());
        while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) {
            line.remove_prefix(1);
        }
        return parseNumber(line);
    }
    return std::nullopt;
}

std::optional<uint64_t> mountIdOf(int fd) {
    struct statx sx {};
    if (::statx(fd, "", AT_EMPTY_PATH | AT_SYMLINK_NOFOLLOW | AT_STATX_SYNC_AS_STAT, STATX_MNT_ID,
                &sx) == 0 &&
        (sx.stx_mask & STATX_MNT_ID)) {
        return sx.stx_mnt_id;
    }
    const std::string path = "/proc/self/fdinfo/" + std::to_string(fd);
    if (const auto text = readProcFile(path.c_str())) return mountIdFromFdInfo(*text);
    return std::nullopt;
}

std::optional<NodeStat> statWithMountAt(int dirFd, const char* name, int flags) {
    struct statx sx {};
    if (::statx(dirFd, name, flags | AT_SYMLINK_NOFOLLOW | AT_STATX_SYNC_AS_STAT,
                STATX_BASIC_STATS | STATX_MNT_ID, &sx) != 0) {
        if (errno != ENOSYS) return std::nullopt;
        NodeStat node;
        if (::fstatat(dirFd, name, &node.st, flags | AT_SYMLINK_NOFOLLOW) != 0) {
            return std::nullopt;
        }
        return node;
    }
    NodeStat node;
    struct stat& st = node.st;
    st.st_dev = makedev(sx.stx_dev_major, sx.stx_dev_minor);
    st.st_ino = sx.stx_ino;
    st.st_mode = sx.stx_mode;
    st.st_nlink = sx.stx_nlink;
    st.st_uid = sx.stx_uid;
    st.st_gid = sx.stx_gid;
    st.st_rdev = makedev(sx.stx_rdev_major, sx.stx_rdev_minor);
    st.st_size = static_cast<off_t>(sx.stx_size);
    st.st_blksize = static_cast<blksize_t>(sx.stx_blksize);
    st.st_blocks = static_cast<blkcnt_t>(sx.stx_blocks);
    st.st_atim = {sx.stx_atime.tv_sec, sx.stx_atime.tv_nsec};
    st.st_mtim = {sx.stx_mtime.tv_sec, sx.stx_mtime.tv_nsec};
    st.st_ctim = {sx.stx_ctime.tv_sec, sx.stx_ctime.tv_nsec};
    if (sx.stx_mask & STATX_MNT_ID) node.mountId = sx.stx_mnt_id;
    return node;
}

std::optional<NodeStat> statWithMountOf(int fd) {
    auto node = statWithMountAt(fd, "", AT_EMPTY_PATH);
    if (node && !node->mountId) node->mountId = mountIdOf(fd);
    return node;
}

std::optional<MountPlace> MountPlace::of(int fd) {
    auto node = statWithMountOf(fd);
    if (!node) return std::nullopt;
    return MountPlace{node->st.st_dev, node->mountId};
}

}  // namespace velmora

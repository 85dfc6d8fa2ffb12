#pragma once
// Telling where one mounted file system ends and another begins.
//
// A device change (st_dev) shows a different file system mounted inside a folder, but a bind
// mount of the same file system keeps the device: only the mount id tells it apart. Anything
// that deletes, moves or offers a folder compares both, so that a mount point is never emptied
// or moved together with the folder that holds it.
//
// Mount ids come from statx (STATX_MNT_ID); where the kernel does not report them there, from
// the "mnt_id" line of /proc/self/fdinfo. When neither is available the id is unknown and only
// the device can be compared.
//
// Thread-safe; errors are values (an empty optional, errno left as the failing call set it).
#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// The fields of one /proc/self/mountinfo line that are needed here.
struct MountInfoEntry {
    uint64_t mountId = 0;
    uint64_t parentId = 0;
    std::string mountPoint;  ///< absolute, escapes decoded, as this process sees it
    friend bool operator==(const MountInfoEntry&, const MountInfoEntry&) = default;
};

/// Decodes the octal escapes the kernel writes for space, tab, newline and backslash ("\040",
/// "\011", "\012", "\134"); any other backslash is kept as it is.
std::string unescapeMountInfoField(std::string_view field);

/// Parses the text of a mountinfo file; lines that do not have the expected form are skipped.
std::vector<MountInfoEntry> parseMountInfo(std::string_view text);

/// The mount points of this process's mount namespace, from /proc/self/mountinfo. Empty when
/// the table cannot be read.
std::vector<std::string> readMountPoints();

/// The "mnt_id" value of the text of a /proc/<pid>/fdinfo/<fd> file.
std::optional<uint64_t> mountIdFromFdInfo(std::string_view text);

/// The mount id of the object `fd` refers to.
std::optional<uint64_t> mountIdOf(int fd);

/// lstat of `name` in `dirFd` together with the mount id of what is there. A folder that is a
/// mount point is described as the root of the file system mounted on it, exactly as the
/// kernel's path lookup reaches it. `mountId` is empty when the kernel does not report it
/// with statx (the caller may ask `mountIdOf` on an opened descriptor instead).
struct NodeStat {
    struct stat st {};
    std::optional<uint64_t> mountId;
};
/// `flags` may add AT_EMPTY_PATH to describe `dirFd` itself (with `name` "").
std::optional<NodeStat> statWithMountAt(int dirFd, const char* name, int flags = 0);
/// The same for the object `fd` refers to, in one statx call where the kernel reports mount ids
/// (otherwise the mount id is read as `mountIdOf` does).
std::optional<NodeStat> statWithMountOf(int fd);

/// Where a folder that is about to be entered or acted on sits: its device and mount id.
struct MountPlace {
    dev_t device = 0;
    std::optional<uint64_t> mountId;

    /// The place of the folder `fd` refers to; empty when it cannot be read.
    static std::optional<MountPlace> of(int fd);

    /// True when `node` (described by statWithMountAt, or with `mountId` filled from its
    /// descriptor) lies on another mount than this place: another device, or another mount id
    /// where both ids are known.
    bool isOtherMount(const NodeStat& node) const {
        if (node.st.st_dev != device) return true;
        return mountId && node.mountId && *node.mountId != *mountId;
    }
};

}  // namespace velmora

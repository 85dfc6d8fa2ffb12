#pragma once
// Narrow file-system interface for the engine. Linux implementation; a port replaces this folder.
// All functions are thread-safe and report failure as an empty optional / false (errno is left
// as the failing call set it). Nothing here follows a symbolic link unless its name says so.
#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

/// lstat(2): never follows a final symbolic link.
std::optional<struct stat> lstatPath(const std::string& path);
/// stat(2): follows links (used only for existence tests such as "is there a folder here").
std::optional<struct stat> statPath(const std::string& path);

/// Opens a directory for reading without following a final symbolic link.
UniqueFd openDirectoryNoFollow(const std::string& path);
/// Opens a directory for reading, following links. Only for folders a person chose to have read
/// (read-only scan roots); nothing that is changed is ever reached this way.
UniqueFd openDirectoryFollowingLinks(const std::string& path);
/// The same relative to `dirFd`; `name` is one path component.
UniqueFd openDirectoryAt(int dirFd, const char* name);

/// Calls `entry(name, dType)` for every entry of the open directory except "." and "..", in the
/// order the kernel returns them, reading with a large getdents64 buffer. `dType` is the d_type
/// value (DT_UNKNOWN when the file system does not tell). Returns false when reading failed.
bool forEachDirectoryEntry(int dirFd,
                           const std::function<void(const char* name, unsigned char dType)>& entry);

/// Resolves symbolic links in every component that exists; the part below the deepest existing
/// ancestor is appended unchanged. The result is standardized.
std::string resolvingSymlinksInPath(const std::string& path);
/// The path key of `path` with its symbolic links resolved: standardized, links resolved, one
/// trailing "/" removed.
std::string pathKey(const std::string& path);

/// Where the folder `fd` refers to is now, as the kernel names it (/proc/self/fd): links
/// resolved, read in one call. Empty when /proc is unavailable or the folder has been removed.
std::optional<std::string> currentPathOfFolder(int fd);

/// True when the volume holding `path` compares names case-insensitively (FAT, exFAT, NTFS,
/// HFS, or a case-folding directory on ext4/f2fs).
bool volumeIsCaseInsensitive(const std::string& path);

/// The birth time of the object `fd` refers to, when the file system records one (statx).
/// Inode numbers are reused as soon as they are freed, so a folder deleted and recreated under
/// the same name can have the same (device, inode); its birth time tells the two apart.
std::optional<timespec> birthTimeOf(int fd);

/// Raises the soft open-file limit to the hard limit (deep trees keep one descriptor per level).
void raiseOpenFileLimit();

}  // namespace velmora

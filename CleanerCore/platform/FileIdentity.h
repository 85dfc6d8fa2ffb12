#pragma once
// Captures a FileResourceIdentity on Linux:
//   fileResourceIdentifier  "<device>:<inode>"
//   volumeIdentifier        the file system's UUID (from /dev/disk/by-uuid), else its statfs id
//                           written as "fsid:<hex>"
//   volumeName              the file system's label (from /dev/disk/by-label), else its mount
//                           point (from /proc/self/mountinfo)
//   isDirectory, fileSize (regular files), totalFileAllocatedSize (regular files, 512-byte
//   blocks), systemFileNumber (inode), systemNumber (device), creationDate (statx birth time,
//   when recorded), modificationDate.
// Never follows a final symbolic link. Volume facts are looked up once per device per process.
// Thread-safe.
#include <sys/types.h>

#include <optional>
#include <string>

#include "CleanerCore/base/FileResourceIdentity.h"

namespace velmora {

/// The identity of `name` inside the open directory `dirFd`; nullopt when it cannot be read.
std::optional<FileResourceIdentity> captureIdentityAt(int dirFd, const char* name);
/// The identity of the object an open descriptor refers to (what was actually walked).
std::optional<FileResourceIdentity> captureIdentityOf(int fd);
/// The identity of the item at `path`; nullopt when it cannot be read.
std::optional<FileResourceIdentity> captureIdentity(const std::string& path);

/// Held once per device: every identity captured on the volume shares these texts.
struct VolumeFacts {
    SharedValue<std::string> identifier;
    SharedValue<std::string> name;
};
/// UUID/label (or fallbacks) of the file system on device `device`; `fdOnVolume` is any open
/// descriptor on it, used for statfs.
VolumeFacts volumeFacts(dev_t device, int fdOnVolume);

}  // namespace velmora

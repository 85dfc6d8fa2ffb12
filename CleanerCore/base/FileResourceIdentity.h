#pragma once
// The identity of a file as captured at one moment: enough to tell later whether the same file
// is still in the same place. A plain value; capturing it is CleanerCore/platform/FileIdentity.h.
#include <cstdint>
#include <optional>
#include <string>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/SharedValue.h"

namespace velmora {

/// Identity of a file captured at scan time; every field may be absent (unreadable).
struct FileResourceIdentity {
    std::optional<std::string> fileResourceIdentifier;  ///< "<device>:<inode>"
    // Alike for every item of a volume, so held once per volume.
    SharedValue<std::string> volumeIdentifier;  ///< file-system UUID, else statfs id
    SharedValue<std::string> volumeName;        ///< file-system label, else mount point
    std::optional<bool> isDirectory;
    std::optional<int64_t> fileSize;
    std::optional<int64_t> totalFileAllocatedSize;
    std::optional<uint64_t> systemFileNumber;  ///< inode
    std::optional<uint64_t> systemNumber;      ///< device
    std::optional<Date> creationDate;          ///< birth time where the file system records it
    std::optional<Date> modificationDate;
    friend bool operator==(const FileResourceIdentity&, const FileResourceIdentity&) = default;
};

}  // namespace velmora

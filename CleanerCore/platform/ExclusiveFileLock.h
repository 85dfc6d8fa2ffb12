#pragma once
// An advisory exclusive lock across processes: flock(2) on a dedicated lock file. The lock lives
// on a file of its own because the data it guards is replaced by rename, which would leave a lock
// on the data file behind on the old inode.
//
// Blocking: `acquire` waits until every other holder has released the lock. Released when the
// object is destroyed (or moved from and destroyed), and by the kernel if the process dies.
// flock locks belong to the open file description, so two threads of one process holding
// separate ExclusiveFileLock objects on one path exclude each other as two processes would.
#include <optional>
#include <string>

#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

class ExclusiveFileLock {
  public:
    /// Opens (creating with mode 0600, never following a link) `lockFilePath` and locks it.
    /// nullopt with errno set when the file cannot be opened or locked.
    static std::optional<ExclusiveFileLock> acquire(const std::string& lockFilePath);

    ExclusiveFileLock(ExclusiveFileLock&&) noexcept = default;
    ExclusiveFileLock& operator=(ExclusiveFileLock&&) noexcept = default;
    ~ExclusiveFileLock();

  private:
    explicit ExclusiveFileLock(UniqueFd fd) : fd_(std::move(fd)) {}
    UniqueFd fd_;
};

}  // namespace velmora

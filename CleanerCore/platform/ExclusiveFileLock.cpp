#include "CleanerCore/platform/ExclusiveFileLock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

namespace velmora {

std::optional<ExclusiveFileLock> ExclusiveFileLock::acquire(const std::string& lockFilePath) {
    UniqueFd fd(::open(lockFilePath.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd) return std::nullopt;
    int rc;
    do {
        rc = ::flock(fd.get(), LOCK_EX);
    } while (rc != 0 && errno == EINTR);
    if (rc != 0) return std::nullopt;
    return ExclusiveFileLock(std::move(fd));
}

ExclusiveFileLock::~ExclusiveFileLock() {
    if (fd_) ::flock(fd_.get(), LOCK_UN);  // closing would release it too; say so explicitly
}

}  // namespace velmora

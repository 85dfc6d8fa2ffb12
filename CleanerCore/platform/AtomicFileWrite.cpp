#include "CleanerCore/platform/AtomicFileWrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/SystemCalls.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

bool writeAll(int fd, std::string_view data) {
    while (!data.empty()) {
        const ssize_t n = systemCalls().write(fd, data.data(), data.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

int retryingFsync(int fd) {
    int rc;
    do {
        rc = systemCalls().fsync(fd);
    } while (rc != 0 && errno == EINTR);
    return rc;
}

}  // namespace

std::optional<AtomicWriteFailure> writeFileAtomically(const std::string& path,
                                                      std::string_view data, AtomicWriteSync sync) {
    const std::string standardized = standardizePath(path);
    const std::string folder = deletingLastPathComponent(standardized);
    const std::string name = lastPathComponent(standardized);
    const SystemCallTable& sys = systemCalls();
    auto failure = [](AtomicWriteStep step) { return AtomicWriteFailure{step, errno}; };

    UniqueFd dir(sys.openFolder(folder.c_str()));
    if (!dir) return failure(AtomicWriteStep::openFolder);

    const std::string tempName = "." + name + ".tmp-" + makeUUIDString();
    UniqueFd file(sys.createFile(dir.get(), tempName.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) return failure(AtomicWriteStep::createTemporary);
    // From here on every failure removes the temporary file and keeps the error number.
    auto abandon = [&](AtomicWriteStep step) {
        const AtomicWriteFailure f{step, errno};
        file.reset();
        ::unlinkat(dir.get(), tempName.c_str(), 0);
        return f;
    };

    if (!writeAll(file.get(), data)) return abandon(AtomicWriteStep::write);
    if (sync != AtomicWriteSync::folderOnly && retryingFsync(file.get()) != 0) {
        return abandon(AtomicWriteStep::syncFile);
    }
    // close can report a deferred write error (network file systems); it is checked.
    if (sys.close(file.release()) != 0) {
        return abandon(AtomicWriteStep::closeFile);
    }
    if (sys.renameat(dir.get(), tempName.c_str(), dir.get(), name.c_str()) != 0) {
        return abandon(AtomicWriteStep::rename);
    }
    if (sync != AtomicWriteSync::contentOnly && retryingFsync(dir.get()) != 0) {
        return failure(AtomicWriteStep::syncFolder);
    }
    return std::nullopt;
}

bool createFolders(const std::string& folder, mode_t mode) {
    const std::string path = standardizePath(folder);
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
    if (path != "/" && !createFolders(deletingLastPathComponent(path), mode)) return false;
    if (::mkdir(path.c_str(), mode) == 0) return true;
    // Another process may have created it in the meantime.
    return errno == EEXIST && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace velmora

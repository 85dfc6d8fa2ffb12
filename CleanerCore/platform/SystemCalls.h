#pragma once
// The system calls through which every persisted write goes (CleanerCore/platform/
// AtomicFileWrite.h). Production code reaches them through `systemCalls()`, which holds the
// real calls. A test installs a table whose entries fail as a full or broken disk would — the
// way a system-call mock works — to prove what such a failure leaves behind; the product code
// carries no test switches of its own.
//
// Each entry behaves like the system call it names: it returns -1 and sets errno on failure.
// `replaceSystemCalls` is not synchronized with calls in flight: install a table before the
// work starts and restore the previous one after it ends.
#include <sys/types.h>

namespace velmora {

struct SystemCallTable {
    /// open(2) of a folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC.
    int (*openFolder)(const char* path);
    /// openat(2) creating a new file with the given flags (always O_CREAT | O_EXCL) and mode.
    int (*createFile)(int dirFd, const char* name, int flags, mode_t mode);
    ssize_t (*write)(int fd, const void* data, size_t size);
    int (*fsync)(int fd);
    int (*close)(int fd);
    int (*renameat)(int fromDirFd, const char* from, int toDirFd, const char* to);
};

/// The table in use; the real system calls unless a test replaced them.
const SystemCallTable& systemCalls();
/// The real system calls.
const SystemCallTable& realSystemCalls();
/// Installs `table` for the whole process and returns the one it replaces.
SystemCallTable replaceSystemCalls(const SystemCallTable& table);

}  // namespace velmora

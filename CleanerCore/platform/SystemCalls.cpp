#include "CleanerCore/platform/SystemCalls.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace velmora {

namespace {

int openFolder(const char* path) {
    return ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}
int createFile(int dirFd, const char* name, int flags, mode_t mode) {
    return ::openat(dirFd, name, flags, mode);
}

const SystemCallTable kReal{openFolder, createFile, ::write, ::fsync, ::close, ::renameat};
SystemCallTable current = kReal;

}  // namespace

const SystemCallTable& systemCalls() {
    return current;
}

const SystemCallTable& realSystemCalls() {
    return kReal;
}

SystemCallTable replaceSystemCalls(const SystemCallTable& table) {
    const SystemCallTable previous = current;
    current = table;
    return previous;
}

}  // namespace velmora

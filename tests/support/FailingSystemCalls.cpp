#include "support/FailingSystemCalls.h"

#include <unistd.h>

namespace velmora::test {

namespace {

int gError = EIO;
bool gHalfWritten = false;

template <typename... A>
int fail(A...) {
    errno = gError;
    return -1;
}

ssize_t failHalfway(int fd, const void* data, size_t size) {
    if (!gHalfWritten && size > 1) {
        gHalfWritten = true;
        return realSystemCalls().write(fd, data, size / 2);
    }
    errno = gError;
    return -1;
}

// Like a deferred write error reported by close(2): the descriptor is closed all the same.
int failClose(int fd) {
    realSystemCalls().close(fd);
    errno = gError;
    return -1;
}

}  // namespace

FailingSystemCalls::FailingSystemCalls(FailingCall call, int error) : previous_(systemCalls()) {
    gError = error;
    gHalfWritten = false;
    SystemCallTable table = realSystemCalls();
    switch (call) {
        case FailingCall::openFolder:
            table.openFolder = fail<const char*>;
            break;
        case FailingCall::createFile:
            table.createFile = fail<int, const char*, int, mode_t>;
            break;
        case FailingCall::write:
            table.write = failHalfway;
            break;
        case FailingCall::fsync:
            table.fsync = fail<int>;
            break;
        case FailingCall::close:
            table.close = failClose;
            break;
        case FailingCall::renameat:
            table.renameat = fail<int, const char*, int, const char*>;
            break;
    }
    replaceSystemCalls(table);
}

FailingSystemCalls::~FailingSystemCalls() {
    replaceSystemCalls(previous_);
}

}  // namespace velmora::test

#pragma once
// Makes one of the persisted-write system calls fail for the lifetime of the guard, as a full
// or broken disk would, through the seam in CleanerCore/platform/SystemCalls.h.
#include <cerrno>

#include "CleanerCore/platform/SystemCalls.h"

namespace velmora::test {

enum class FailingCall { openFolder, createFile, write, fsync, close, renameat };

class FailingSystemCalls {
  public:
    /// Every call of `call` fails with `error`. A failing `write` first writes half of what it
    /// is given, as a disk that fills up part-way does.
    explicit FailingSystemCalls(FailingCall call, int error = EIO);
    ~FailingSystemCalls();
    FailingSystemCalls(const FailingSystemCalls&) = delete;
    FailingSystemCalls& operator=(const FailingSystemCalls&) = delete;

  private:
    SystemCallTable previous_;
};

}  // namespace velmora::test

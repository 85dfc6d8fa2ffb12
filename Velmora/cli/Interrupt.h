#pragma once
// Ctrl-C (SIGINT), SIGTERM and SIGHUP as cooperative cancellation: while an InterruptScope
// lives, each of them requests cancellation of its token, so the work finishes the item in hand,
// stops at its next poll and still reports and records what it did; the command then exits with
// 128 + the signal's number (130, 143, 129). A second signal of the same kind ends the process
// the usual way. One scope at a time, on the main thread.
//
// A signal the program was started with ignored (SIGINT in a background job, SIGHUP under
// nohup) stays ignored. One it was started with blocked is unblocked for the scope's life, so it
// still cancels (also when it was already pending at start); the mask is restored when the scope
// ends.
#include <signal.h>

#include "CleanerCore/base/Cancellation.h"

namespace velmora::cli {

class InterruptScope {
  public:
    explicit InterruptScope(CancellationToken& token);
    ~InterruptScope();
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

    /// 128 + the number of the first signal that requested cancellation; 130 (as for Ctrl-C)
    /// when none did.
    int exitStatus() const;

  private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
    static constexpr size_t kSignalCount = sizeof kSignals / sizeof kSignals[0];
    bool installed_[kSignalCount] = {};
    struct sigaction previous_[kSignalCount] {};
    sigset_t blockedBefore_{};
};

}  // namespace velmora::cli

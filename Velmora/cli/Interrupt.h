#pragma once
// Ctrl-C as cooperative cancellation: while an InterruptScope lives, SIGINT requests
// cancellation of its token (the work stops at its next poll and still reports what it did); a
// second Ctrl-C ends the process the usual way. One scope at a time, on the main thread.
//
// A program started with SIGINT ignored (a background job, nohup) keeps ignoring it. A program
// started with SIGINT blocked has it unblocked for the scope's life, so a Ctrl-C (or one already
// pending at start) still cancels; the mask is restored when the scope ends.
#include <signal.h>

#include "CleanerCore/scanning/Cancellation.h"

namespace velmora::cli {

class InterruptScope {
  public:
    explicit InterruptScope(CancellationToken& token);
    ~InterruptScope();
    InterruptScope(const InterruptScope&) = delete;
    InterruptScope& operator=(const InterruptScope&) = delete;

  private:
    bool installed_ = false;
    bool wasBlocked_ = false;
    struct sigaction previous_ {};
};

}  // namespace velmora::cli

#pragma once
// Ctrl-C as cooperative cancellation: while an InterruptScope lives, SIGINT requests
// cancellation of its token (the work stops at its next poll and still reports what it did); a
// second Ctrl-C ends the process the usual way. One scope at a time, on the main thread.
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
    struct sigaction previous_ {};
};

}  // namespace velmora::cli

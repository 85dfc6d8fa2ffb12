#pragma once
// A one-line progress display on standard error, redrawn in place. Fed through the progress
// coalescer, so it redraws at most every 80 ms. Thread-safe: `show` may be called from the
// coalescer's threads, `clear` from the main thread after the scan.
#include <mutex>
#include <string>

#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora::cli {

class ProgressBar {
  public:
    explicit ProgressBar(std::string home) : home_(std::move(home)) {}
    void show(const StorageScanProgress& sample);
    /// Erases the line so that the report starts on a clean line.
    void clear();

  private:
    std::mutex mutex_;
    std::string home_;
    bool drawn_ = false;
};

/// True when standard error is a terminal (the only place a redrawn line makes sense).
bool standardErrorIsTerminal();

}  // namespace velmora::cli

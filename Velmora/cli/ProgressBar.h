#pragma once
// A one-line progress display on standard error, redrawn in place. Fed through the progress
// coalescer, so it redraws at most every 80 ms. Thread-safe: `show` may be called from the
// coalescer's threads, `clear` from the main thread after the scan.
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "CleanerCore/scanning/CleanupModel.h"
#include "VelmoraUI/dashboard/ScanProgressCoalescer.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

class ProgressBar {
  public:
    ProgressBar(std::string home, AppLanguage language)
        : home_(std::move(home)), language_(language) {}
    void show(const StorageScanProgress& sample);
    /// Erases the line so that the report starts on a clean line.
    void clear();

  private:
    std::mutex mutex_;
    std::string home_;
    AppLanguage language_;
    bool drawn_ = false;
};

/// True when standard error is a terminal (the only place a redrawn line makes sense).
bool standardErrorIsTerminal();

/// The progress line of one long piece of work: a ProgressBar fed through the 80 ms coalescer,
/// shown only when standard error is a terminal and not `quiet` (`callback()` is empty then).
/// `finish()` (also run by the destructor) shows the last sample and erases the line.
///
/// The timer thread is owned here and joined before the coalescer is released, so the
/// coalescer's last reference is never dropped on the timer thread itself (which would make
/// that thread join itself). Main thread only; not copyable or movable (the sink points here).
class TerminalProgress {
  public:
    TerminalProgress(std::string home, bool quiet, AppLanguage language = AppLanguage::english);
    ~TerminalProgress();
    TerminalProgress(const TerminalProgress&) = delete;
    TerminalProgress& operator=(const TerminalProgress&) = delete;

    std::function<void(const StorageScanProgress&)> callback() const;
    void finish();

  private:
    ProgressBar bar_;
    std::shared_ptr<ScanProgressCoalescer> coalescer_;  // released after scheduler_ is joined
    std::unique_ptr<ThreadScheduler> scheduler_;
};

}  // namespace velmora::cli

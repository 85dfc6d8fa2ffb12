#pragma once
// Thins out scan progress for a display: at most one sample per 80 ms reaches the sink, the
// newest sample is never lost, and a finished sample (fraction 1.0) is never delayed.
//
// Threading: `offer` is called from the scan thread, `flushDelayed` from the scheduler's thread;
// one mutex guards the state and the sink is always called after it is released. The scheduled
// flush holds the coalescer weakly, so a coalescer released with its scan does not outlive it.
// Samples reach the sink in the order they are published; the sink must not call back in.
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "CleanerCore/base/Scheduling.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

class ScanProgressCoalescer : public std::enable_shared_from_this<ScanProgressCoalescer> {
  public:
    using Sink = std::function<void(const StorageScanProgress&)>;
    static constexpr uint64_t kMinimumIntervalNanoseconds = 80'000'000;

    static std::shared_ptr<ScanProgressCoalescer> make(Sink sink,
                                                       std::shared_ptr<MonotonicClock> clock,
                                                       std::shared_ptr<Scheduler> scheduler);

    void offer(const StorageScanProgress& sample);
    void flushDelayed();
    /// Ends the stream: a sample still held back is published first, then every later call is
    /// ignored (so the display shows the newest state, also after a cancelled scan).
    void finish();

  private:
    ScanProgressCoalescer(Sink sink, std::shared_ptr<MonotonicClock> clock,
                          std::shared_ptr<Scheduler> scheduler);

    void flushScheduled(uint64_t generation);

    Sink sink_;
    std::shared_ptr<MonotonicClock> clock_;
    std::shared_ptr<Scheduler> scheduler_;
    std::mutex mutex_;
    std::mutex sinkMutex_;  // keeps publications in order when two threads publish at once
    std::optional<StorageScanProgress> latestDelayedProgress_;
    std::optional<uint64_t> lastPublishedAt_;
    bool flushScheduled_ = false;
    uint64_t flushGeneration_ = 0;
    bool isFinished_ = false;
};

}  // namespace velmora

#include "VelmoraUI/dashboard/ScanProgressCoalescer.h"

namespace velmora {

std::shared_ptr<ScanProgressCoalescer> ScanProgressCoalescer::make(
    Sink sink, std::shared_ptr<MonotonicClock> clock, std::shared_ptr<Scheduler> scheduler) {
    return std::shared_ptr<ScanProgressCoalescer>(
        new ScanProgressCoalescer(std::move(sink), std::move(clock), std::move(scheduler)));
}

ScanProgressCoalescer::ScanProgressCoalescer(Sink sink, std::shared_ptr<MonotonicClock> clock,
                                             std::shared_ptr<Scheduler> scheduler)
    : sink_(std::move(sink)), clock_(std::move(clock)), scheduler_(std::move(scheduler)) {}

void ScanProgressCoalescer::offer(const StorageScanProgress& sample) {
    std::unique_lock lock(mutex_);
    if (isFinished_) return;
    const uint64_t now = clock_->nowNanoseconds();
    const bool holdBack = sample.fractionCompleted < 1.0 && lastPublishedAt_ &&
                          now > *lastPublishedAt_ &&
                          now - *lastPublishedAt_ < kMinimumIntervalNanoseconds;
    if (holdBack) {
        latestDelayedProgress_ = sample;
        if (!flushScheduled_) {
            flushScheduled_ = true;
            const uint64_t wait = kMinimumIntervalNanoseconds - (now - *lastPublishedAt_);
            const uint64_t generation = ++flushGeneration_;
            std::weak_ptr<ScanProgressCoalescer> weak = weak_from_this();
            scheduler_->schedule(wait, [weak, generation] {
                if (auto self = weak.lock()) self->flushScheduled(generation);
            });
        }
        return;
    }
    latestDelayedProgress_.reset();
    flushScheduled_ = false;
    lastPublishedAt_ = now;
    std::lock_guard order(sinkMutex_);
    lock.unlock();
    sink_(sample);
}

void ScanProgressCoalescer::flushDelayed() {
    std::unique_lock lock(mutex_);
    if (isFinished_) return;
    std::optional<StorageScanProgress> taken = std::move(latestDelayedProgress_);
    latestDelayedProgress_.reset();
    flushScheduled_ = false;
    if (!taken) return;
    lastPublishedAt_ = clock_->nowNanoseconds();
    std::lock_guard order(sinkMutex_);
    lock.unlock();
    sink_(*taken);
}

void ScanProgressCoalescer::flushScheduled(uint64_t generation) {
    {
        std::lock_guard lock(mutex_);
        // A flush overtaken by an immediate publication has nothing left to do; letting it run
        // could publish a later hold-back sooner than the minimum interval.
        if (generation != flushGeneration_ || !flushScheduled_) return;
    }
    flushDelayed();
}

void ScanProgressCoalescer::finish() {
    std::unique_lock lock(mutex_);
    if (isFinished_) return;
    isFinished_ = true;
    std::optional<StorageScanProgress> taken = std::move(latestDelayedProgress_);
    latestDelayedProgress_.reset();
    flushScheduled_ = false;
    if (!taken) return;
    std::lock_guard order(sinkMutex_);
    lock.unlock();
    sink_(*taken);
}

}  // namespace velmora

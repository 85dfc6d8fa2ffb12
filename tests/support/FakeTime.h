#pragma once
// A hand-driven monotonic clock and scheduler: tests decide when time passes, so nothing sleeps
// and no timer thread runs. Header-only, because only the programs that link VelmoraUI use it.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "CleanerCore/base/Scheduling.h"

namespace velmora::test {

class FakeClock final : public MonotonicClock {
  public:
    uint64_t now = 0;
    uint64_t nowNanoseconds() override { return now; }
};

// Records each task with its due time.
class FakeScheduler final : public Scheduler {
  public:
    explicit FakeScheduler(std::shared_ptr<FakeClock> clock) : clock_(std::move(clock)) {}

    void schedule(uint64_t delayNanoseconds, std::function<void()> task) override {
        delays.push_back(delayNanoseconds);
        tasks_.emplace(clock_->now + delayNanoseconds, std::move(task));
    }

    /// Runs every task due at or before `time` in due order, with the clock at its due time,
    /// then leaves the clock at `time`.
    void advanceTo(uint64_t time) {
        while (!tasks_.empty() && tasks_.begin()->first <= time) {
            auto task = tasks_.extract(tasks_.begin());
            clock_->now = std::max(clock_->now, task.key());
            task.mapped()();
        }
        clock_->now = std::max(clock_->now, time);
    }

    size_t pending() const { return tasks_.size(); }
    std::vector<uint64_t> delays;

  private:
    std::shared_ptr<FakeClock> clock_;
    std::multimap<uint64_t, std::function<void()>> tasks_;  // by due time, then by scheduling
};

}  // namespace velmora::test

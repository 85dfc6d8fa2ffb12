#pragma once
// Time and deferred work, injectable so that tests never sleep.
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

namespace velmora {

/// A monotonic clock in nanoseconds (uptime, never the wall clock).
class MonotonicClock {
  public:
    virtual ~MonotonicClock() = default;
    virtual uint64_t nowNanoseconds() = 0;
};

/// Runs a task once after a delay, on a thread of its own choosing. Thread-safe.
class Scheduler {
  public:
    virtual ~Scheduler() = default;
    virtual void schedule(uint64_t delayNanoseconds, std::function<void()> task) = 0;
};

class SteadyClock final : public MonotonicClock {
  public:
    uint64_t nowNanoseconds() override;
};

/// One timer thread; tasks run in due order. Destruction drops pending tasks and joins.
class ThreadScheduler final : public Scheduler {
  public:
    ThreadScheduler();
    ~ThreadScheduler() override;
    void schedule(uint64_t delayNanoseconds, std::function<void()> task) override;

  private:
    void loop();
    std::mutex mutex_;
    std::condition_variable wake_;
    std::multimap<std::chrono::steady_clock::time_point, std::function<void()>> tasks_;
    bool stopping_ = false;
    std::thread thread_;
};

}  // namespace velmora

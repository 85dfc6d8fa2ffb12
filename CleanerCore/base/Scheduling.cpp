#include "CleanerCore/base/Scheduling.h"

namespace velmora {

uint64_t SteadyClock::nowNanoseconds() {
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                     std::chrono::steady_clock::now().time_since_epoch())
                                     .count());
}

ThreadScheduler::ThreadScheduler() : thread_([this] { loop(); }) {}

ThreadScheduler::~ThreadScheduler() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
        tasks_.clear();
    }
    wake_.notify_all();
    thread_.join();
}

void ThreadScheduler::schedule(uint64_t delayNanoseconds, std::function<void()> task) {
    auto due = std::chrono::steady_clock::now() + std::chrono::nanoseconds(delayNanoseconds);
    {
        std::lock_guard lock(mutex_);
        if (stopping_) return;
        tasks_.emplace(due, std::move(task));
    }
    wake_.notify_all();
}

void ThreadScheduler::loop() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        if (tasks_.empty()) {
            wake_.wait(lock);
            continue;
        }
        auto due = tasks_.begin()->first;
        if (std::chrono::steady_clock::now() < due) {
            wake_.wait_until(lock, due);
            continue;
        }
        auto task = std::move(tasks_.begin()->second);
        tasks_.erase(tasks_.begin());
        lock.unlock();
        task();
        lock.lock();
    }
}

}  // namespace velmora

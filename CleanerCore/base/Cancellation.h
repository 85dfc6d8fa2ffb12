#pragma once
// Cooperative cancellation: the owner requests, the worker polls. Thread-safe, lock-free, safe
// to request from a signal handler.
#include <atomic>

namespace velmora {

class CancellationToken {
  public:
    void requestCancellation() { cancelled_.store(true, std::memory_order_relaxed); }
    bool isCancellationRequested() const { return cancelled_.load(std::memory_order_relaxed); }

  private:
    std::atomic<bool> cancelled_{false};
};

}  // namespace velmora

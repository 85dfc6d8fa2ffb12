#pragma once
// Runs `task(index, worker)` for every index in [0, count) on `workers` threads (the calling
// thread is one of them). Indices are handed out in ascending order from one atomic counter, so
// independent tasks keep all workers busy whatever their lengths; `worker` (0 ... workers-1)
// lets a task use per-worker scratch memory. Returns when every task has run. Tasks must not
// throw and must write only their own results: merging in index order is the caller's, which
// makes the outcome independent of the number of workers.
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace velmora {

/// Threads for a walk of the file system. On a cold cache nearly every `fstatat` and
/// `getdents64` waits for the disk, and the disk answers several requests at once faster than one
/// after another, so such walks use more threads than there are cores: four per core, at least
/// four and at most sixteen. On a warm cache the extra threads cost nothing measurable.
inline size_t fileSystemWorkerCount() {
    return std::clamp<size_t>(4 * std::thread::hardware_concurrency(), 4, 16);
}

template <typename Task>
void runOnWorkers(size_t count, size_t workers, const Task& task) {
    workers = std::clamp<size_t>(workers, 1, std::max<size_t>(count, 1));
    std::atomic<size_t> next{0};
    auto loop = [&](size_t worker) {
        for (size_t i = next.fetch_add(1); i < count; i = next.fetch_add(1)) task(i, worker);
    };
    std::vector<std::jthread> threads;
    threads.reserve(workers - 1);
    for (size_t w = 1; w < workers; ++w) threads.emplace_back(loop, w);
    loop(0);
}

}  // namespace velmora

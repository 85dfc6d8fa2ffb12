#include "VelmoraUI/state/MainThreadScheduler.h"

#include <QThread>
#include <QTimer>
#include <chrono>
#include <limits>

namespace velmora {

void MainThreadScheduler::schedule(uint64_t delayNanoseconds, std::function<void()> task) {
    // Rounded up, so a task never runs before its delay has passed.
    constexpr uint64_t kNanosecondsPerMillisecond = 1'000'000;
    const uint64_t ms = delayNanoseconds / kNanosecondsPerMillisecond +
                        (delayNanoseconds % kNanosecondsPerMillisecond != 0 ? 1 : 0);
    const auto delay = std::chrono::milliseconds(
        std::min<uint64_t>(ms, static_cast<uint64_t>(std::numeric_limits<int>::max())));
    // A timer belongs to the thread that starts it, so start it on ours.
    auto start = [this, delay, task = std::move(task)]() mutable {
        QTimer::singleShot(delay, this, std::move(task));
    };
    if (QThread::currentThread() == thread()) {
        start();
    } else {
        QMetaObject::invokeMethod(this, std::move(start), Qt::QueuedConnection);
    }
}

}  // namespace velmora

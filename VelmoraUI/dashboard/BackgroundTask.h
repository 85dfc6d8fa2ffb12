#pragma once
// One cancellable piece of work off the UI thread, as each view model runs its scans, cleanups
// and restores. At most one runs at a time per task object.
//
// Threading: `start`, `cancel` and the destructor are called on the owner's (UI) thread. The
// work runs on a thread of its own and reports back by posting to the owner's thread (see
// `postTo`). The destructor asks the work to stop and waits for it, so a view model that owns a
// task must destroy it (or call `cancelAndWait`) before anything the work touches goes away.
#include <QObject>
#include <QPointer>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "CleanerCore/base/Cancellation.h"

namespace velmora {

class BackgroundTask {
  public:
    using Work = std::function<void(const CancellationToken&)>;

    BackgroundTask() = default;
    BackgroundTask(const BackgroundTask&) = delete;
    BackgroundTask& operator=(const BackgroundTask&) = delete;
    ~BackgroundTask() { cancelAndWait(); }

    /// Starts `work`. Earlier work must have ended its reporting (its last post made): its
    /// thread is joined first, which then only waits for the thread to exit. The owner keeps
    /// its own busy state and never starts work while a run is under way.
    void start(Work work);
    bool isRunning() const { return running_->load(); }
    /// Asks the running work to stop at its next check; returns at once.
    void cancel();
    /// Asks the running work to stop and waits until it has.
    void cancelAndWait();

  private:
    std::thread thread_;
    std::shared_ptr<CancellationToken> token_;
    std::shared_ptr<std::atomic<bool>> running_ = std::make_shared<std::atomic<bool>>(false);
};

/// Runs `function` on the thread `receiver` lives in, from its event loop; dropped when the
/// receiver is gone by then. Callable from any thread.
template <typename Function>
void postTo(QObject* receiver, Function function) {
    QMetaObject::invokeMethod(receiver, std::move(function), Qt::QueuedConnection);
}

}  // namespace velmora

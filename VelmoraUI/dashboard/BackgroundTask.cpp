#include "VelmoraUI/dashboard/BackgroundTask.h"

namespace velmora {

void BackgroundTask::start(Work work) {
    if (thread_.joinable()) thread_.join();
    token_ = std::make_shared<CancellationToken>();
    running_->store(true);
    thread_ = std::thread([work = std::move(work), token = token_, running = running_] {
        work(*token);
        running->store(false);
    });
}

void BackgroundTask::cancel() {
    if (token_) token_->requestCancellation();
}

void BackgroundTask::cancelAndWait() {
    cancel();
    if (thread_.joinable()) thread_.join();
}

}  // namespace velmora

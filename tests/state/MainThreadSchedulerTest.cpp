// Tasks scheduled from a worker thread run on the thread that owns the scheduler, where the
// preference stores live.
#include "VelmoraUI/state/MainThreadScheduler.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <thread>

namespace velmora {
namespace {

TEST(MainThreadSchedulerTest, TaskFromAWorkerRunsOnTheOwningThread) {
    int argc = 1;
    char name[] = "tests_state";
    char* argv[] = {name, nullptr};
    QCoreApplication app(argc, argv);
    MainThreadScheduler scheduler;
    std::thread::id ranOn;
    std::thread worker([&] {
        scheduler.schedule(1, [&] {
            ranOn = std::this_thread::get_id();
            QCoreApplication::quit();
        });
    });
    worker.join();
    QCoreApplication::exec();
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

}  // namespace
}  // namespace velmora

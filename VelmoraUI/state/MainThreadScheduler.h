#pragma once
// The program's Scheduler for work that must run on the main thread (the preference stores):
// each task runs from the Qt event loop of the thread this object lives in, through a
// single-shot QTimer. `schedule` may be called from any thread. Tasks still waiting when the
// object is destroyed never run.
#include <QObject>

#include "CleanerCore/base/Scheduling.h"

namespace velmora {

class MainThreadScheduler final : public QObject, public Scheduler {
    Q_OBJECT
  public:
    explicit MainThreadScheduler(QObject* parent = nullptr) : QObject(parent) {}
    void schedule(uint64_t delayNanoseconds, std::function<void()> task) override;
};

}  // namespace velmora

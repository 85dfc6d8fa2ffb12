#include "Velmora/cli/Interrupt.h"

#include <pthread.h>

#include <atomic>

namespace velmora::cli {

namespace {

std::atomic<CancellationToken*> gInterruptTarget{nullptr};
std::atomic<int> gFirstSignal{0};

extern "C" void onInterrupt(int signal) {
    int none = 0;
    gFirstSignal.compare_exchange_strong(none, signal);
    if (CancellationToken* token = gInterruptTarget.load()) token->requestCancellation();
}

}  // namespace

InterruptScope::InterruptScope(CancellationToken& token) {
    gFirstSignal.store(0);
    gInterruptTarget.store(&token);
    sigset_t handled;
    sigemptyset(&handled);
    for (size_t i = 0; i < kSignalCount; ++i) {
        struct sigaction current {};
        if (::sigaction(kSignals[i], nullptr, &current) == 0 && current.sa_handler == SIG_IGN)
            continue;
        struct sigaction sa {};
        sa.sa_handler = onInterrupt;
        sa.sa_flags = SA_RESETHAND;
        sigemptyset(&sa.sa_mask);
        if (::sigaction(kSignals[i], &sa, &previous_[i]) != 0) continue;
        installed_[i] = true;
        sigaddset(&handled, kSignals[i]);
    }
    sigemptyset(&blockedBefore_);
    (void)::pthread_sigmask(SIG_UNBLOCK, &handled, &blockedBefore_);
}

InterruptScope::~InterruptScope() {
    sigset_t reblock;
    sigemptyset(&reblock);
    for (size_t i = 0; i < kSignalCount; ++i) {
        if (installed_[i] && sigismember(&blockedBefore_, kSignals[i]) == 1)
            sigaddset(&reblock, kSignals[i]);
    }
    (void)::pthread_sigmask(SIG_BLOCK, &reblock, nullptr);
    for (size_t i = 0; i < kSignalCount; ++i) {
        if (installed_[i]) ::sigaction(kSignals[i], &previous_[i], nullptr);
    }
    gInterruptTarget.store(nullptr);
}

int InterruptScope::exitStatus() const {
    const int signal = gFirstSignal.load();
    return 128 + (signal != 0 ? signal : SIGINT);
}

}  // namespace velmora::cli

#include "Velmora/cli/Interrupt.h"

#include <pthread.h>

#include <atomic>

namespace velmora::cli {

namespace {

std::atomic<CancellationToken*> gInterruptTarget{nullptr};

extern "C" void onInterrupt(int) {
    if (CancellationToken* token = gInterruptTarget.load()) token->requestCancellation();
}

sigset_t interruptOnly() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    return set;
}

}  // namespace

InterruptScope::InterruptScope(CancellationToken& token) {
    struct sigaction current {};
    if (::sigaction(SIGINT, nullptr, &current) == 0 && current.sa_handler == SIG_IGN) return;
    gInterruptTarget.store(&token);
    struct sigaction sa {};
    sa.sa_handler = onInterrupt;
    sa.sa_flags = SA_RESETHAND;
    sigemptyset(&sa.sa_mask);
    ::sigaction(SIGINT, &sa, &previous_);
    installed_ = true;
    sigset_t before;
    const sigset_t set = interruptOnly();
    if (::pthread_sigmask(SIG_UNBLOCK, &set, &before) == 0)
        wasBlocked_ = sigismember(&before, SIGINT) == 1;
}

InterruptScope::~InterruptScope() {
    if (!installed_) return;
    if (wasBlocked_) {
        const sigset_t set = interruptOnly();
        ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
    }
    ::sigaction(SIGINT, &previous_, nullptr);
    gInterruptTarget.store(nullptr);
}

}  // namespace velmora::cli

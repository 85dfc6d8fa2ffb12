#include "Velmora/cli/Interrupt.h"

#include <atomic>

namespace velmora::cli {

namespace {

std::atomic<CancellationToken*> gInterruptTarget{nullptr};

extern "C" void onInterrupt(int) {
    if (CancellationToken* token = gInterruptTarget.load()) token->requestCancellation();
}

}  // namespace

InterruptScope::InterruptScope(CancellationToken& token) {
    gInterruptTarget.store(&token);
    struct sigaction sa {};
    sa.sa_handler = onInterrupt;
    sa.sa_flags = SA_RESETHAND;
    sigemptyset(&sa.sa_mask);
    ::sigaction(SIGINT, &sa, &previous_);
}

InterruptScope::~InterruptScope() {
    ::sigaction(SIGINT, &previous_, nullptr);
    gInterruptTarget.store(nullptr);
}

}  // namespace velmora::cli

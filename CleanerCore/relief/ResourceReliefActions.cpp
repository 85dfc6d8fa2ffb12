#include "CleanerCore/relief/ResourceReliefActions.h"

#include "CleanerCore/platform/UUID.h"

namespace velmora {

ResourceReliefActionStatus requestQuitStatus(const ResourceReliefCandidate& candidate,
                                             const ResourceReliefPolicy& policy,
                                             const ResourceReliefRequestProviders& providers) {
    using S = ResourceReliefActionStatus;
    const auto fresh = providers.revalidate ? providers.revalidate(candidate) : std::nullopt;
    if (!fresh) return S::alreadyExited;
    if (!ResourceReliefPolicy::isSameProcess(*fresh, candidate)) return S::staleCandidate;
    const ResourceReliefEligibility eligibility = policy.eligibility(*fresh);
    if (!eligibility.isActionable) {
        switch (*eligibility.reason) {
            case ResourceReliefProtectionReason::sandboxUnavailable:
                return S::unavailableInSandbox;
            case ResourceReliefProtectionReason::alreadyTerminated:
                return S::alreadyExited;
            default:
                return S::protected_;
        }
    }
    const bool sent = providers.requestQuit && providers.requestQuit(*fresh);
    return sent ? S::requestSent : S::failedToSend;
}

std::vector<ResourceReliefActionResult> requestQuit(
    const std::vector<ResourceReliefCandidate>& selected, const ResourceReliefPolicy& policy,
    const ResourceReliefRequestProviders& providers) {
    std::vector<ResourceReliefActionResult> results;
    results.reserve(selected.size());
    for (const auto& candidate : selected) {
        ResourceReliefActionResult r;
        r.status = requestQuitStatus(candidate, policy, providers);
        r.id = providers.makeID ? providers.makeID() : makeUUIDString();
        r.occurredAt = providers.now ? providers.now() : currentDate();
        r.candidateID = candidate.id;
        r.displayName = candidate.displayName;
        results.push_back(std::move(r));
    }
    return results;
}

}  // namespace velmora

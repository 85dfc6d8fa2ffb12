#pragma once
// The request pass: for each selected candidate, re-read its process, check that it is still
// the same one and still eligible, and only then send the ordinary quit request. Never throws:
// every problem becomes a result status. The command line and the panel share it; the platform
// operations are injected, so it runs without the platform in tests.
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/relief/ResourceReliefModel.h"
#include "CleanerCore/relief/ResourceReliefPolicy.h"

namespace velmora {

struct ResourceReliefRequestProviders {
    /// A fresh single-sample snapshot of the candidate's process id; nothing when no running
    /// application has that process id.
    std::function<std::optional<ResourceReliefProcessSnapshot>(const ResourceReliefCandidate&)>
        revalidate;
    /// Sends the ordinary quit request (never a forced end); true when the system accepted it.
    std::function<bool(const ResourceReliefProcessSnapshot&)> requestQuit;
    /// The time of each attempt; the wall clock when empty.
    std::function<Date()> now;
    /// A fresh id per result; a random UUID when empty.
    std::function<std::string()> makeID;
};

/// The outcome of one candidate, without sending anything unless every check passed: no fresh
/// snapshot: alreadyExited; not the same process: staleCandidate; protected: by the reason
/// (sandboxUnavailable: unavailableInSandbox, alreadyTerminated: alreadyExited, any other:
/// protected); otherwise the request's answer: requestSent or failedToSend.
ResourceReliefActionStatus requestQuitStatus(const ResourceReliefCandidate& candidate,
                                             const ResourceReliefPolicy& policy,
                                             const ResourceReliefRequestProviders& providers);

/// One result per candidate, in the given order; each revalidation and request completes
/// before the next begins.
std::vector<ResourceReliefActionResult> requestQuit(
    const std::vector<ResourceReliefCandidate>& selected, const ResourceReliefPolicy& policy,
    const ResourceReliefRequestProviders& providers);

}  // namespace velmora

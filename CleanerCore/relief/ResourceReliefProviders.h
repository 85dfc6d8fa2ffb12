#pragma once
// The platform operations the relief panel and the command line drive, as injectable
// functions, and their real Linux implementation over the survey of this machine.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/relief/ResourceReliefActions.h"
#include "CleanerCore/relief/ResourceReliefModel.h"

namespace velmora {

struct ResourceReliefProviders {
    /// The two-sample survey of the running applications (waits for the sampling interval).
    std::function<std::vector<ResourceReliefProcessSnapshot>()> candidateProvider;
    /// Whether quit requests can be sent at all.
    std::function<ResourceReliefCapability()> capabilityProvider;
    /// A fresh single-sample snapshot of the candidate's process, nothing when it is gone.
    std::function<std::optional<ResourceReliefProcessSnapshot>(const ResourceReliefCandidate&)>
        revalidationProvider;
    /// The ordinary quit request; true when the system accepted it.
    std::function<bool(const ResourceReliefProcessSnapshot&)> quitRequester;

    /// The request pass's view of these providers.
    ResourceReliefRequestProviders requestProviders() const;
};

/// This program's side of the policy: its process and its own application's identifier.
struct ResourceReliefIdentity {
    int32_t currentProcessIdentifier = 0;
    std::optional<std::string> currentBundleIdentifier;
};

struct SystemResourceRelief {
    ResourceReliefProviders providers;
    ResourceReliefIdentity identity;
};

/// The real providers: the survey of /proc for this user (desktop entries below `dataHome` and
/// $XDG_DATA_DIRS, names in `locales`), a sleeping wait on the steady clock, SIGTERM as the
/// quit request, and no capability inside a sandbox. Thread-safe.
SystemResourceRelief systemResourceRelief(const std::string& dataHome,
                                          std::vector<std::string> locales, bool isSandboxed);

/// A default policy for `identity` and `capability`.
ResourceReliefPolicy reliefPolicy(const ResourceReliefIdentity& identity,
                                  const ResourceReliefCapability& capability);

}  // namespace velmora

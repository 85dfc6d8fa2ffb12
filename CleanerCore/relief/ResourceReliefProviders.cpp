#include "CleanerCore/relief/ResourceReliefProviders.h"

#include <chrono>
#include <memory>
#include <thread>

#include <unistd.h>

#include "CleanerCore/relief/ResourceReliefSurvey.h"

namespace velmora {

ResourceReliefRequestProviders ResourceReliefProviders::requestProviders() const {
    ResourceReliefRequestProviders out;
    out.revalidate = revalidationProvider;
    out.requestQuit = quitRequester;
    return out;
}

SystemResourceRelief systemResourceRelief(const std::string& dataHome,
                                          std::vector<std::string> locales, bool isSandboxed) {
    // The clock outlives every copy of the providers: they share it with the survey.
    struct Shared {
        SteadyClock clock;
        std::unique_ptr<ResourceReliefSurvey> survey;
    };
    auto shared = std::make_shared<Shared>();
    auto settings = ResourceReliefSurveySettings::forCurrentProcess(dataHome);
    settings.locales.insert(settings.locales.begin(), locales.begin(), locales.end());
    shared->survey = std::make_unique<ResourceReliefSurvey>(
        std::move(settings), shared->clock,
        [](uint64_t ns) { std::this_thread::sleep_for(std::chrono::nanoseconds(ns)); });

    SystemResourceRelief relief;
    relief.identity.currentProcessIdentifier = static_cast<int32_t>(::getpid());
    relief.identity.currentBundleIdentifier = shared->survey->ownApplicationID();
    relief.providers.candidateProvider = [shared] { return shared->survey->survey(); };
    relief.providers.capabilityProvider = [isSandboxed] { return reliefCapability(isSandboxed); };
    relief.providers.revalidationProvider = [shared](const ResourceReliefCandidate& c) {
        return shared->survey->revalidate(c.processIdentifier);
    };
    relief.providers.quitRequester = [shared](const ResourceReliefProcessSnapshot& s) {
        return shared->survey->requestQuit(s);
    };
    return relief;
}

ResourceReliefPolicy reliefPolicy(const ResourceReliefIdentity& identity,
                                  const ResourceReliefCapability& capability) {
    ResourceReliefPolicy policy;
    policy.currentProcessIdentifier = identity.currentProcessIdentifier;
    policy.currentBundleIdentifier = identity.currentBundleIdentifier;
    policy.capability = capability;
    return policy;
}

}  // namespace velmora

#include <gtest/gtest.h>

#include <map>

#include "CleanerCore/relief/ResourceReliefActions.h"

namespace velmora {
namespace {

using S = ResourceReliefActionStatus;

ResourceReliefProcessSnapshot snapshot(int32_t pid, std::string id, std::string name) {
    ResourceReliefProcessSnapshot s;
    s.processIdentifier = pid;
    s.bundleIdentifier = std::move(id);
    s.displayName = std::move(name);
    s.isUserVisible = true;
    s.launchDate = 500.25;
    return s;
}

TEST(ResourceReliefActionsTest, RevalidatesEachCandidateBeforeSending) {
    ResourceReliefPolicy policy;
    policy.currentProcessIdentifier = 1;
    policy.capability = ResourceReliefCapability::supported();
    // What each process looks like when the candidates were listed, and what it looks like now.
    const auto listed = std::vector{
        snapshot(10, "org.a.Sent", "Sent"),         snapshot(11, "org.a.Refused", "Refused"),
        snapshot(12, "org.a.Gone", "Gone"),         snapshot(13, "org.a.Relaunched", "Relaunched"),
        snapshot(14, "org.a.Hidden", "Hidden"),     snapshot(15, "org.a.Ended", "Ended"),
        snapshot(16, "org.gnome.Nautilus", "Files")};
    std::map<int32_t, ResourceReliefProcessSnapshot> now;
    for (const auto& s : listed) now[s.processIdentifier] = s;
    now.erase(12);
    now[13].launchDate = 900;
    now[14].isUserVisible = false;
    now[15].isTerminated = true;
    std::vector<int32_t> asked;
    ResourceReliefRequestProviders providers;
    providers.revalidate = [&](const ResourceReliefCandidate& c) {
        auto it = now.find(c.processIdentifier);
        return it == now.end() ? std::nullopt : std::optional(it->second);
    };
    providers.requestQuit = [&](const ResourceReliefProcessSnapshot& s) {
        asked.push_back(s.processIdentifier);
        return s.processIdentifier != 11;
    };
    int ids = 0;
    providers.makeID = [&] { return "id-" + std::to_string(++ids); };
    providers.now = [] { return 42.0; };

    // The protected one was listed as actionable under a policy that did not know it yet.
    ResourceReliefPolicy lenient = policy;
    lenient.protectedBundleIdentifiers.clear();
    const auto results = requestQuit(lenient.candidates(listed), policy, providers);
    const std::vector<S> expected = {S::requestSent,    S::failedToSend, S::alreadyExited,
                                     S::staleCandidate, S::protected_,   S::alreadyExited,
                                     S::protected_};
    ASSERT_EQ(results.size(), expected.size());
    for (size_t i = 0; i < results.size(); ++i) {
        EXPECT_EQ(results[i].status, expected[i]) << listed[i].displayName.value();
        EXPECT_EQ(results[i].displayName, listed[i].displayName);
        EXPECT_EQ(
            results[i].candidateID.rawValue,
            ResourceReliefCandidateID::make(listed[i].bundleIdentifier, listed[i].processIdentifier)
                .rawValue);
        EXPECT_EQ(results[i].id, "id-" + std::to_string(i + 1));
        EXPECT_EQ(results[i].occurredAt, 42.0);
    }
    EXPECT_EQ(asked, (std::vector<int32_t>{10, 11}));  // nothing else was sent a request

    // In the sandbox nothing is sent at all.
    asked.clear();
    policy.capability = ResourceReliefCapability::appSandbox();
    EXPECT_EQ(requestQuit(lenient.candidates({listed[0]}), policy, providers)[0].status,
              S::unavailableInSandbox);
    EXPECT_TRUE(asked.empty());
}

TEST(ResourceReliefActionsTest, ResultsAndCandidatesRoundTripThroughJSON) {
    ResourceReliefPolicy policy;
    auto s = snapshot(10, "org.a.App", "App \xff");
    s.usage = ResourceReliefUsageMetrics(0.5, 1024, std::nullopt);
    const ResourceReliefCandidate candidate = *policy.candidate(s);
    const nlohmann::json j = candidate;
    EXPECT_EQ(j.at("id").at("rawValue"), "org.a.app:10");
    EXPECT_EQ(j.at("eligibility").at("reason"), "sandboxUnavailable");
    EXPECT_FALSE(j.at("usage").contains("memoryFractionOfPhysicalMemory"));
    EXPECT_EQ(j.at("displayName"), "App \xef\xbf\xbd");
    auto back = j.get<ResourceReliefCandidate>();
    back.displayName = candidate.displayName;
    EXPECT_EQ(back, candidate);

    ResourceReliefActionResult r{"8E1F", candidate.id, "App", S::protected_, 123.456};
    const nlohmann::json rj = r;
    EXPECT_EQ(rj.at("status"), "protected");
    EXPECT_EQ(rj.get<ResourceReliefActionResult>(), r);
    for (S status : {S::requestSent, S::failedToSend, S::unavailableInSandbox, S::alreadyExited,
                     S::protected_, S::staleCandidate}) {
        EXPECT_EQ(actionStatusFromRaw(rawValue(status)), status);
    }
    EXPECT_THROW((nlohmann::json{{"isActionable", true}, {"reason", "notUserVisible"}}
                      .get<ResourceReliefEligibility>()),
                 nlohmann::json::exception);
    EXPECT_THROW((nlohmann::json{{"canRequestQuitOtherApplications", true}, {"reason", "x"}}
                      .get<ResourceReliefCapability>()),
                 nlohmann::json::exception);
}

}  // namespace
}  // namespace velmora

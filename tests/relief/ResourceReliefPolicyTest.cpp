#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "CleanerCore/relief/ResourceReliefPolicy.h"

namespace velmora {
namespace {

using R = ResourceReliefProtectionReason;

ResourceReliefProcessSnapshot app(std::optional<std::string> name, std::optional<std::string> id,
                                  int32_t pid) {
    ResourceReliefProcessSnapshot s;
    s.displayName = std::move(name);
    s.bundleIdentifier = std::move(id);
    s.processIdentifier = pid;
    s.isUserVisible = true;
    return s;
}

ResourceReliefPolicy policy(
    ResourceReliefCapability capability = ResourceReliefCapability::supported()) {
    ResourceReliefPolicy p;
    p.currentProcessIdentifier = 100;
    p.currentBundleIdentifier = "org.velmora.Velmora";
    p.capability = capability;
    return p;
}

TEST(ResourceReliefUsageMetricsTest, NormalizesFractionsAndKeepsBytes) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    struct Case {
        std::optional<double> given, expected;
    } cases[] = {
        {1.7, 1.0},           {-0.2, 0.0},  {nan, std::nullopt},         {inf, std::nullopt},
        {-inf, std::nullopt}, {0.25, 0.25}, {std::nullopt, std::nullopt}};
    for (const auto& c : cases) {
        const ResourceReliefUsageMetrics m(c.given, 7, c.given);
        EXPECT_EQ(m.cpuFractionOfTotalCapacity(), c.expected);
        EXPECT_EQ(m.memoryFractionOfPhysicalMemory(), c.expected);
        EXPECT_EQ(m.residentMemoryBytes(), 7u);
    }
}

TEST(ResourceReliefCandidateIDTest, CleansTheIdentifier) {
    struct Case {
        std::optional<std::string> identifier;
        int32_t pid;
        std::string expected;
    } cases[] = {
        {"  Org.Mozilla.Firefox \n", 812, "org.mozilla.firefox:812"},
        {std::nullopt, 77, "pid:77"},
        {" \t", 3, "pid:3"},
        {"a b/c:d_e-f", 5, "abcd_e-f:5"},
        {"\u00a0caf\u00e9.app\u3000", 9, "caf.app:9"},  // Unicode blanks trimmed, é dropped
        {"!!!", -1, "pid:-1"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(ResourceReliefCandidateID::make(c.identifier, c.pid).rawValue, c.expected);
}

TEST(ResourceReliefPolicyTest, EligibilityFollowsTheRulesInOrder) {
    auto with = [](ResourceReliefProcessSnapshot s, auto change) {
        change(s);
        return s;
    };
    struct Case {
        const char* what;
        ResourceReliefProcessSnapshot snapshot;
        ResourceReliefCapability capability;
        std::optional<R> expected;
    } cases[] = {
        {"regular app", app("Editor", "org.example.Editor", 5),
         ResourceReliefCapability::supported(), std::nullopt},
        {"this process", app("Editor", "org.example.Editor", 100),
         ResourceReliefCapability::supported(), R::currentApplication},
        {"this app by identifier, other process", app("V", " ORG.velmora.velmora ", 6),
         ResourceReliefCapability::supported(), R::currentApplication},
        {"Finder", app("Finder", "com.apple.finder", 7), ResourceReliefCapability::supported(),
         R::protectedSystemApplication},
        {"Dock in capitals", app("Dock", "COM.APPLE.DOCK", 8),
         ResourceReliefCapability::supported(), R::protectedSystemApplication},
        {"GNOME Shell", app("Shell", "org.gnome.Shell", 8), ResourceReliefCapability::supported(),
         R::protectedSystemApplication},
        {"a portal by prefix", app("Portal", "xdg-desktop-portal-gtk", 8),
         ResourceReliefCapability::supported(), R::protectedSystemApplication},
        {"terminated and protected",
         with(app("Finder", "com.apple.finder", 9), [](auto& s) { s.isTerminated = true; }),
         ResourceReliefCapability::supported(), R::alreadyTerminated},
        {"hidden and protected",
         with(app("Finder", "com.apple.finder", 9), [](auto& s) { s.isUserVisible = false; }),
         ResourceReliefCapability::supported(), R::notUserVisible},
        {"no identity", app(" ", std::nullopt, 10), ResourceReliefCapability::supported(),
         R::missingUserFacingIdentity},
        {"name only", app("Tool", std::nullopt, 11), ResourceReliefCapability::supported(),
         std::nullopt},
        {"sandboxed", app("Editor", "org.example.Editor", 12),
         ResourceReliefCapability::appSandbox(), R::sandboxUnavailable},
        {"undetermined capability", app("Editor", "org.example.Editor", 12),
         ResourceReliefCapability::unknown(), R::sandboxUnavailable},
        {"protected beats sandbox", app("Finder", "com.apple.finder", 13),
         ResourceReliefCapability::appSandbox(), R::protectedSystemApplication},
    };
    for (const auto& c : cases) {
        const auto e = policy(c.capability).eligibility(c.snapshot);
        EXPECT_EQ(e.reason, c.expected) << c.what;
        EXPECT_EQ(e.isActionable, !c.expected.has_value()) << c.what;
    }
}

TEST(ResourceReliefPolicyTest, CandidatesKeepOrderAndDropNamelessSnapshots) {
    const auto list = policy().candidates({app("  B ", "b.app", 2), app(std::nullopt, " ", 3),
                                           app(std::nullopt, " id.only ", 4), app("A", "a", 1)});
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].displayName, "B");
    EXPECT_EQ(list[0].id.rawValue, "b.app:2");
    EXPECT_EQ(list[1].displayName, "id.only");
    EXPECT_EQ(list[2].displayName, "A");
}

TEST(ResourceReliefPolicyTest, SameProcessNeedsIdentifierNameAndLaunchDate) {
    auto base = app("Editor", "org.example.Editor", 42);
    base.launchDate = 1000.5;
    const auto candidate = *policy().candidate(base);
    auto changed = [&](auto change) {
        auto s = base;
        change(s);
        return ResourceReliefPolicy::isSameProcess(s, candidate);
    };
    EXPECT_TRUE(changed([](auto&) {}));
    EXPECT_TRUE(changed([](auto& s) { s.bundleIdentifier = " ORG.EXAMPLE.EDITOR"; }));
    EXPECT_TRUE(changed([](auto& s) { s.usage = ResourceReliefUsageMetrics(0.9, 1, 0.1); }));
    EXPECT_FALSE(changed([](auto& s) { s.processIdentifier = 43; }));
    EXPECT_FALSE(changed([](auto& s) { s.launchDate = 1000.6; }));
    EXPECT_FALSE(changed([](auto& s) { s.launchDate.reset(); }));
    EXPECT_FALSE(changed([](auto& s) { s.bundleIdentifier.reset(); }));
    EXPECT_FALSE(changed([](auto& s) { s.displayName = "Other"; }));
    // The identifier stands in for a missing name only when it is the same text.
    EXPECT_FALSE(changed([](auto& s) { s.displayName.reset(); }));
    auto nameless = app(std::nullopt, std::nullopt, 42);
    EXPECT_FALSE(ResourceReliefPolicy::isSameProcess(nameless, candidate));
}

TEST(ResourceReliefRankingTest, AppliesTheFiveTieBreaks) {
    auto c = [](std::string name, std::optional<std::string> id, int32_t pid,
                std::optional<double> cpu, bool frontmost = false) {
        ResourceReliefCandidate x;
        x.displayName = std::move(name);
        x.bundleIdentifier = std::move(id);
        x.processIdentifier = pid;
        x.isFrontmost = frontmost;
        x.usage = ResourceReliefUsageMetrics(cpu, std::nullopt, cpu);
        return x;
    };
    const std::vector<ResourceReliefCandidate> list = {
        c("absent", "z", 1, std::nullopt), c("zeta", "a", 2, 0.5),        c("Alpha", "b", 3, 0.5),
        c("beta", "c", 4, 0.5, true),      c("alpha", "a", 5, 0.5),       c("alpha", "a", 4, 0.5),
        c("\u00c9clair", "e", 6, 0.5),     c("\u00e9clair", "d", 7, 0.5), c("high", "h", 8, 0.9)};
    // 0.9 first; frontmost among the equals; names without case ("alpha" = "Alpha", "éclair" =
    // "Éclair"), then identifier, then pid; the absent value last.
    const std::vector<int32_t> expected = {8, 4, 4, 5, 3, 7, 6, 2, 1};
    for (const auto& sorted : {rankedByCPU(list), rankedByMemory(list)}) {
        std::vector<int32_t> pids;
        for (const auto& x : sorted) pids.push_back(x.processIdentifier);
        EXPECT_EQ(pids, expected);
        EXPECT_EQ(sorted[1].displayName, "beta");
        EXPECT_EQ(sorted[4].displayName, "Alpha");
    }
}

TEST(ResourceReliefRankingTest, UsesTheGivenNameComparator) {
    ResourceReliefCandidate a, b;
    a.displayName = "a";
    a.processIdentifier = 1;
    b.displayName = "b";
    b.processIdentifier = 2;
    const auto reversed = [](std::string_view x, std::string_view y) { return y.compare(x); };
    EXPECT_EQ(rankedByCPU({a, b}, reversed).front().displayName, "b");
}

}  // namespace
}  // namespace velmora

// The one test on real processes: a child started as if from a desktop entry is surveyed,
// offered, and asked to quit; it must end by SIGTERM.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "CleanerCore/relief/ResourceReliefActions.h"
#include "CleanerCore/relief/ResourceReliefSurvey.h"
#include "support/Files.h"
#include "support/LaunchedChild.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

TEST(ResourceReliefLiveTest, SurveysOffersAndEndsALaunchedChildWithSIGTERM) {
    test::TestTree tree;
    test::ScopedHome scopedHome(tree.root());
    const std::string entry =
        test::writeFile(tree, ".local/share/applications/org.velmora.ReliefProbe.desktop",
                        "[Desktop Entry]\nType=Application\nName=Relief Probe\nExec=sleep 30\n");
    const pid_t child = test::startLaunchedChild(entry, tree.root());
    ASSERT_GT(child, 0);
    // A failed check must not leave the child behind.
    test::ChildReaper reaper{child};

    SteadyClock clock;
    ResourceReliefSurvey survey(
        ResourceReliefSurveySettings::forCurrentProcess(tree.path(".local/share")), clock, nullptr);
    std::optional<ResourceReliefProcessSnapshot> found;
    for (const auto& s : survey.survey()) {
        if (s.bundleIdentifier == "org.velmora.ReliefProbe") found = s;
    }
    ASSERT_TRUE(found) << "the launched child was not surveyed";
    EXPECT_EQ(found->processIdentifier, child);
    EXPECT_EQ(found->displayName, "Relief Probe");
    EXPECT_TRUE(found->launchDate.has_value());

    ResourceReliefPolicy policy;
    policy.currentProcessIdentifier = ::getpid();
    policy.currentBundleIdentifier = survey.ownApplicationID();
    policy.capability = reliefCapability(false);
    const auto candidate = policy.candidate(*found);
    ASSERT_TRUE(candidate);
    ASSERT_TRUE(candidate->eligibility.isActionable);

    ResourceReliefRequestProviders providers;
    providers.revalidate = [&](const ResourceReliefCandidate& c) {
        return survey.revalidate(c.processIdentifier);
    };
    providers.requestQuit = [&](const ResourceReliefProcessSnapshot& s) {
        return survey.requestQuit(s);
    };
    const auto results = requestQuit({*candidate}, policy, providers);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].status, ResourceReliefActionStatus::requestSent);

    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    reaper.pid = 0;
    EXPECT_TRUE(WIFSIGNALED(status));
    if (WIFSIGNALED(status)) {
        EXPECT_EQ(WTERMSIG(status), SIGTERM);
    }
}

}  // namespace
}  // namespace velmora

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
#include "support/TestTree.h"

namespace velmora {
namespace {

// Starts `sleep 30` with the launch variables naming `desktopFile` and the child's own pid;
// returns once the child has replaced its image (the pipe closes on exec).
pid_t startLaunchedChild(const std::string& desktopFile, const std::string& home) {
    std::string fileVariable = "GIO_LAUNCHED_DESKTOP_FILE=" + desktopFile;
    std::string homeVariable = "HOME=" + home;
    std::string dataVariable = "XDG_DATA_HOME=" + home + "/.local/share";
    char pidVariable[64] = "GIO_LAUNCHED_DESKTOP_FILE_PID=";
    int ready[2];
    if (::pipe2(ready, O_CLOEXEC) != 0) return -1;
    const pid_t child = ::fork();
    if (child == 0) {
        // Only async-signal-safe work here: the pid's digits written by hand.
        char digits[16];
        int n = 0;
        for (pid_t p = ::getpid(); p > 0; p /= 10) digits[n++] = static_cast<char>('0' + p % 10);
        size_t at = sizeof "GIO_LAUNCHED_DESKTOP_FILE_PID=" - 1;
        while (n > 0) pidVariable[at++] = digits[--n];
        pidVariable[at] = '\0';
        char* const argv[] = {const_cast<char*>("sleep"), const_cast<char*>("30"), nullptr};
        char* const envp[] = {fileVariable.data(),
                              pidVariable,
                              homeVariable.data(),
                              dataVariable.data(),
                              const_cast<char*>("PATH=/usr/bin:/bin"),
                              nullptr};
        ::execve("/bin/sleep", argv, envp);
        ::execve("/usr/bin/sleep", argv, envp);
        ::_exit(127);
    }
    ::close(ready[1]);
    char byte;
    while (::read(ready[0], &byte, 1) > 0) {
    }
    ::close(ready[0]);
    return child;
}

TEST(ResourceReliefLiveTest, SurveysOffersAndEndsALaunchedChildWithSIGTERM) {
    test::TestTree tree;
    test::ScopedHome scopedHome(tree.root());
    const std::string entry =
        test::writeFile(tree, ".local/share/applications/org.velmora.ReliefProbe.desktop",
                        "[Desktop Entry]\nType=Application\nName=Relief Probe\nExec=sleep 30\n");
    const pid_t child = startLaunchedChild(entry, tree.root());
    ASSERT_GT(child, 0);
    // A failed check must not leave the child behind.
    struct Reaper {
        pid_t pid;
        ~Reaper() {
            if (pid <= 0) return;
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    } reaper{child};

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

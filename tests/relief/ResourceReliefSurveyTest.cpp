#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <map>

#include "CleanerCore/relief/ResourceReliefSurvey.h"
#include "relief/FakeProc.h"
#include "support/FakeTime.h"

namespace velmora {
namespace {

using test::FakeProc;
using test::FakeProcess;

constexpr uint64_t kPage = 4096;
constexpr uint64_t kPhysical = 4096 * 1000;

class SurveyTest : public ::testing::Test {
  protected:
    SurveyTest() : proc(tree) {
        test::writeFile(tree, "share/applications/org.example.Editor.desktop",
                        "[Desktop Entry]\nType=Application\nName=Editor\nName[fr]=\u00c9diteur\n");
        test::writeFile(tree, "share/applications/org.example.Menu.desktop",
                        "[Desktop Entry]\nName=Menu helper\nNoDisplay=true\n");
        test::writeFile(tree, "share/applications/org.example.Gone.desktop",
                        "[Desktop Entry]\nName=Gone\nHidden=true\n");
    }

    ResourceReliefSurvey survey(std::vector<std::string> locales = {}) {
        ResourceReliefSurveySettings s;
        s.root = tree.root();
        s.userID = 1000;
        s.selfProcessIdentifier = 999;
        s.entryFolders = {tree.path("share/applications")};
        s.locales = std::move(locales);
        ProcessHostFacts facts;
        facts.bootTimeUnixSeconds = 1'700'000'000;
        facts.clockTicksPerSecond = 100;
        facts.pageSize = kPage;
        facts.physicalMemoryBytes = kPhysical;
        facts.processorCount = 2;
        s.hostFacts = facts;
        return ResourceReliefSurvey(s, clock, [this](uint64_t ns) {
            clock.now += ns;
            if (between) between();
        });
    }

    static std::map<std::string, ResourceReliefProcessSnapshot> byID(
        const std::vector<ResourceReliefProcessSnapshot>& list) {
        std::map<std::string, ResourceReliefProcessSnapshot> out;
        for (const auto& s : list) out[s.bundleIdentifier.value_or("?")] = s;
        return out;
    }

    test::TestTree tree;
    FakeProc proc;
    test::FakeClock clock;
    std::function<void()> between;  ///< what happens during the wait
};

FakeProcess scoped(int pid, uint64_t start, std::string unit, uint64_t pages = 10) {
    FakeProcess p;
    p.pid = pid;
    p.startTicks = start;
    p.residentPages = pages;
    p.cgroup = std::move(unit);
    return p;
}

TEST_F(SurveyTest, SumsTheProcessesOfOneApplicationOverTheInterval) {
    const std::string unit = "app-gnome-org.example.Editor-4242.scope";
    FakeProcess main = scoped(300, 5000, unit, 100), helper = scoped(200, 7000, unit, 50);
    proc.write(main);
    proc.write(helper);
    between = [&] {
        main.utime += 20;  // 35 ticks = 0.35 s busy over 0.35 s on 2 processors: one half
        helper.stime += 15;
        proc.write(main);
        proc.write(helper);
    };
    const auto list = survey({"fr_FR.UTF-8"}).survey();
    ASSERT_EQ(list.size(), 1u);
    const auto& s = list[0];
    EXPECT_EQ(s.processIdentifier, 300);  // the oldest, not the lowest pid
    EXPECT_EQ(s.bundleIdentifier, "org.example.Editor");
    EXPECT_EQ(s.displayName, "\u00c9diteur");
    EXPECT_TRUE(s.isUserVisible);
    EXPECT_FALSE(s.isTerminated);
    EXPECT_DOUBLE_EQ(*s.usage.cpuFractionOfTotalCapacity(), 0.5);
    EXPECT_EQ(s.usage.residentMemoryBytes(), 150 * kPage);
    EXPECT_DOUBLE_EQ(*s.usage.memoryFractionOfPhysicalMemory(), 0.15);
    EXPECT_EQ(s.launchDate, dateFromUnixSeconds(1'700'000'050.0));
}

TEST_F(SurveyTest, KeepsOnlyThisUsersApplicationsWithDesktopEntries) {
    FakeProcess other = scoped(10, 1, "app-org.example.Editor-1.scope");
    other.uid = 1001;
    proc.write(other);
    proc.write(scoped(11, 1, "app-org.example.Menu@3.service"));
    proc.write(scoped(12, 1, "app-flatpak-org.example.Gone-9.scope"));
    proc.write(scoped(13, 1, "app-org.example.NoEntry-1.scope"));
    proc.write(scoped(14, 1, ""));  // a login session, no application
    const auto apps = byID(survey().survey());
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_FALSE(apps.at("org.example.Menu").isUserVisible);
    EXPECT_FALSE(apps.at("org.example.Gone").isUserVisible);
}

TEST_F(SurveyTest, TwoInstancesOfOneApplicationAreTwoCandidates) {
    proc.write(scoped(20, 1, "app-org.example.Editor-1.scope"));
    proc.write(scoped(21, 2, "app-org.example.Editor-2.scope"));
    EXPECT_EQ(survey().survey().size(), 2u);
}

TEST_F(SurveyTest, ProcessesThatEndOrChangeBetweenSamples) {
    struct Case {
        const char* what;
        std::function<void(FakeProc&)> change;
        bool terminated;
        std::optional<uint64_t> residentPages;
        bool hasCPU;
    } cases[] = {
        {"helper exits", [](FakeProc& p) { p.remove(41); }, false, 10, true},
        {"main exits", [](FakeProc& p) { p.remove(40); }, true, 10, true},
        {"main's pid is reused",
         [](FakeProc& p) { p.write(scoped(40, 9999, "app-org.example.Editor-1.scope", 77)); }, true,
         10, true},
        {"everything exits",
         [](FakeProc& p) {
             p.remove(40);
             p.remove(41);
         },
         true, std::nullopt, false},
        {"tick counter goes back",
         [](FakeProc& p) {
             auto main = scoped(40, 100, "app-org.example.Editor-1.scope");
             main.utime = 0;
             p.write(main);
         },
         false, 20, false},
        {"stat turns unreadable",
         [](FakeProc& p) { test::writeFile(p.root() + "/proc/41/stat", "garbage"); }, false, 10,
         true},
    };
    for (const auto& c : cases) {
        auto main = scoped(40, 100, "app-org.example.Editor-1.scope");
        main.utime = 50;
        proc.write(main);
        proc.write(scoped(41, 200, "app-org.example.Editor-1.scope"));
        between = [&] { c.change(proc); };
        const auto list = survey().survey();
        ASSERT_EQ(list.size(), 1u) << c.what;
        EXPECT_EQ(list[0].processIdentifier, 40) << c.what;
        EXPECT_EQ(list[0].isTerminated, c.terminated) << c.what;
        EXPECT_EQ(list[0].usage.residentMemoryBytes(),
                  c.residentPages ? std::optional(*c.residentPages * kPage) : std::nullopt)
            << c.what;
        EXPECT_EQ(list[0].usage.cpuFractionOfTotalCapacity().has_value(), c.hasCPU) << c.what;
        proc.remove(40);
        proc.remove(41);
    }
}

TEST_F(SurveyTest, DamagedAndHostileEntriesAreLeftOut) {
    // A process whose files cannot be read is no application; one that names a FIFO, a huge
    // file or a name with control characters in its launch variables does not hang the survey.
    auto damaged = scoped(50, 1, "app-org.example.Editor-1.scope");
    proc.write(damaged);
    test::writeFile(proc.root() + "/proc/50/status", "Name: x\n");  // no Uid line
    auto noStat = scoped(51, 1, "app-org.example.Editor-2.scope");
    proc.write(noStat);
    std::filesystem::remove(tree.path("proc/51/stat"));
    ASSERT_EQ(::mkfifo(tree.path("fifo.desktop").c_str(), 0600), 0);
    test::writeFile(tree, "huge.desktop",
                    "[Desktop Entry]\nName=Huge\n" + std::string(300 * 1024, '#'));
    test::writeFile(tree, "control.desktop", "[Desktop Entry]\nName=Bad\x1b[31m\n");
    test::writeFile(tree, "escaped.desktop", "[Desktop Entry]\nName=Two\\nLines\n");
    int pid = 60;
    for (const char* file :
         {"fifo.desktop", "huge.desktop", "control.desktop", "escaped.desktop"}) {
        FakeProcess p = scoped(pid, 1, "");
        p.environ = test::gioEnvironment(tree.path(file), pid);
        proc.write(p);
        ++pid;
    }
    const auto apps = byID(survey().survey());
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_EQ(apps.at("control").displayName, std::nullopt);  // the policy shows the id
    EXPECT_EQ(apps.at("escaped").displayName, "Two Lines");
}

TEST_F(SurveyTest, LaunchVariablesNameOnlyTheLaunchedProcess) {
    test::writeFile(tree, "entries/org.example.Viewer.desktop", "[Desktop Entry]\nName=Viewer\n");
    const std::string file = tree.path("entries/org.example.Viewer.desktop");
    // The viewer runs inside the editor's scope (started from it); its child inherits the
    // variables but was not itself launched from the entry.
    auto editor = scoped(70, 1, "app-org.example.Editor-1.scope");
    auto viewer = scoped(71, 2, "app-org.example.Editor-1.scope");
    viewer.environ = test::gioEnvironment(file, 71);
    auto child = scoped(72, 3, "app-org.example.Editor-1.scope");
    child.environ = test::gioEnvironment(file, 71);
    for (const auto& p : {editor, viewer, child}) proc.write(p);
    const auto apps = byID(survey().survey());
    ASSERT_EQ(apps.size(), 2u);
    EXPECT_EQ(apps.at("org.example.Viewer").processIdentifier, 71);
    EXPECT_EQ(apps.at("org.example.Editor").processIdentifier, 70);
    EXPECT_EQ(apps.at("org.example.Editor").usage.residentMemoryBytes(), 20 * kPage);
}

TEST_F(SurveyTest, KnowsItsOwnApplication) {
    proc.write(scoped(999, 1, "app-kde-org.example.Editor-5.scope"));
    EXPECT_EQ(survey().ownApplicationID(), "org.example.Editor");
    proc.remove(999);
    EXPECT_EQ(survey().ownApplicationID(), std::nullopt);
}

TEST_F(SurveyTest, RevalidationReadsOneProcess) {
    proc.write(scoped(80, 1234, "app-org.example.Editor-1.scope", 25));
    auto stranger = scoped(81, 1, "app-org.example.Editor-1.scope");
    stranger.uid = 0;
    proc.write(stranger);
    proc.write(scoped(82, 1, ""));
    const auto s = survey().revalidate(80);
    ASSERT_TRUE(s);
    EXPECT_EQ(s->displayName, "Editor");
    EXPECT_EQ(s->usage.residentMemoryBytes(), 25 * kPage);
    EXPECT_FALSE(s->usage.cpuFractionOfTotalCapacity());

    EXPECT_FALSE(survey().revalidate(81));  // another user's
    EXPECT_FALSE(survey().revalidate(83));  // none
    const auto plain = survey().revalidate(82);
    ASSERT_TRUE(plain);
    EXPECT_FALSE(plain->bundleIdentifier);
    EXPECT_FALSE(plain->isUserVisible);
}

}  // namespace
}  // namespace velmora

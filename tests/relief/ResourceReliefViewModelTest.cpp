#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QLocale>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "VelmoraUI/relief/ResourceReliefTexts.h"
#include "VelmoraUI/relief/ResourceReliefViewModel.h"
#include "dashboard/ViewModelHarness.h"
#include "support/FakeTime.h"

namespace velmora {
namespace {

using S = ResourceReliefActionStatus;

ResourceReliefProcessSnapshot app(int32_t pid, std::string id, std::string name, double cpu,
                                  double memory) {
    ResourceReliefProcessSnapshot s;
    s.processIdentifier = pid;
    s.bundleIdentifier = std::move(id);
    s.displayName = std::move(name);
    s.isUserVisible = true;
    s.launchDate = 100.0 + pid;
    s.usage = ResourceReliefUsageMetrics(cpu, 1, memory);
    return s;
}

// The platform as the test sets it: what the survey sees, what revalidation sees, and who was
// asked to quit. Providers run on the view model's background threads.
struct FakePlatform {
    std::mutex mutex;
    std::vector<ResourceReliefProcessSnapshot> running;
    std::map<int32_t, ResourceReliefProcessSnapshot> now;
    std::vector<int32_t> asked;
    ResourceReliefCapability capability = ResourceReliefCapability::supported();
    std::atomic<int> surveys = 0;

    ResourceReliefProviders providers() {
        ResourceReliefProviders p;
        p.candidateProvider = [this] {
            ++surveys;
            std::lock_guard lock(mutex);
            return running;
        };
        p.capabilityProvider = [this] {
            std::lock_guard lock(mutex);
            return capability;
        };
        p.revalidationProvider = [this](const ResourceReliefCandidate& c) {
            std::lock_guard lock(mutex);
            auto it = now.find(c.processIdentifier);
            return it == now.end() ? std::nullopt : std::optional(it->second);
        };
        p.quitRequester = [this](const ResourceReliefProcessSnapshot& s) {
            std::lock_guard lock(mutex);
            asked.push_back(s.processIdentifier);
            return true;
        };
        return p;
    }
    void set(std::vector<ResourceReliefProcessSnapshot> list) {
        std::lock_guard lock(mutex);
        running = list;
        now.clear();
        for (const auto& s : list) now[s.processIdentifier] = s;
    }
};

class ReliefViewModelTest : public ::testing::Test {
  protected:
    static std::unique_ptr<QCoreApplication> makeApplication() {
        static int argc = 1;
        static char name[] = "tests_relief";
        static char* argv[] = {name, nullptr};
        if (QCoreApplication::instance()) return nullptr;
        return std::make_unique<QCoreApplication>(argc, argv);
    }
    std::unique_ptr<QCoreApplication> application = makeApplication();
    std::shared_ptr<test::FakeClock> clock = std::make_shared<test::FakeClock>();
    test::FakeScheduler scheduler{clock};
    FakePlatform platform;
    static constexpr uint64_t kDelay = 1'500'000'000;
    ResourceReliefViewModel model{
        platform.providers(), ResourceReliefIdentity{1, "org.velmora.Velmora"}, scheduler, kDelay};

    void refreshAndWait() {
        ASSERT_TRUE(model.refresh());
        ASSERT_TRUE(test::waitFor(&model, &ResourceReliefViewModel::candidatesChanged));
    }
};

TEST_F(ReliefViewModelTest, RefreshRanksAndOffersOnlyActionableApps) {
    platform.set({app(10, "org.a.Editor", "editor", 0.2, 0.5),
                  app(11, "org.a.Browser", "Browser", 0.7, 0.1),
                  app(12, "org.gnome.Shell", "Shell", 0.9, 0.9),
                  app(1, "org.velmora.Velmora", "Velmora", 0, 0)});
    refreshAndWait();
    EXPECT_FALSE(model.isRefreshing());
    ASSERT_EQ(model.candidates().size(), 4u);
    EXPECT_EQ(model.cpuSortedCandidates().front().displayName, "Shell");
    EXPECT_EQ(model.memorySortedCandidates()[1].displayName, "editor");
    EXPECT_EQ(model.cpuSortedCandidates().back().displayName, "Velmora");
    EXPECT_EQ(model.panelNote(AppLanguage::english), std::nullopt);

    model.toggleSelection(ResourceReliefCandidateID{"org.gnome.shell:12"});  // protected
    model.toggleSelection(ResourceReliefCandidateID{"org.velmora.velmora:1"});
    model.toggleSelection(ResourceReliefCandidateID{"nope:5"});
    EXPECT_TRUE(model.selectedIDs().empty());
    EXPECT_FALSE(model.requestQuitForSelected());
    model.toggleSelection(ResourceReliefCandidateID{"org.a.editor:10"});
    model.toggleSelection(ResourceReliefCandidateID{"org.a.browser:11"});
    model.toggleSelection(ResourceReliefCandidateID{"org.a.browser:11"});
    EXPECT_EQ(model.selectedIDs().size(), 1u);
    EXPECT_EQ(model.quitDialogTitle(AppLanguage::english), "Request Quit for Selected Apps?");
    EXPECT_EQ(model.quitDialogText(AppLanguage::english),
              "Velmora does not force quit. It sends normal quit requests to 1 selected app(s), "
              "so apps may ask to save work.");

    // The browser is gone by the next survey; the editor stays selected.
    platform.set({app(10, "org.a.Editor", "editor", 0.2, 0.5)});
    model.toggleSelection(ResourceReliefCandidateID{"org.a.browser:11"});
    refreshAndWait();
    EXPECT_EQ(model.selectedIDs(), (std::set{ResourceReliefCandidateID{"org.a.editor:10"}}));
}

TEST_F(ReliefViewModelTest, RequestPassRevalidatesClearsSelectionAndRefreshesLater) {
    platform.set({app(10, "org.a.Sent", "Sent", 0.1, 0.1), app(11, "org.a.Gone", "Gone", 0.1, 0.1),
                  app(12, "org.a.New", "New", 0.1, 0.1),
                  app(13, "org.a.Hidden", "Hidden", 0.1, 0.1)});
    refreshAndWait();
    for (const char* id : {"org.a.sent:10", "org.a.gone:11", "org.a.new:12", "org.a.hidden:13"})
        model.toggleSelection(ResourceReliefCandidateID{id});
    {
        std::lock_guard lock(platform.mutex);
        platform.now.erase(11);             // quit on its own
        platform.now[12].launchDate = 999;  // relaunched under the same pid
        platform.now[13].isUserVisible = false;
    }
    ASSERT_TRUE(model.requestQuitForSelected());
    EXPECT_TRUE(model.isRequestingQuit());
    EXPECT_FALSE(model.requestQuitForSelected());  // one pass at a time
    ASSERT_TRUE(test::waitFor(&model, &ResourceReliefViewModel::requestingQuitChanged));
    std::vector<S> statuses;
    for (const auto& r : model.lastResults()) statuses.push_back(r.status);
    EXPECT_EQ(statuses,
              (std::vector{S::requestSent, S::alreadyExited, S::staleCandidate, S::protected_}));
    EXPECT_EQ(platform.asked, std::vector<int32_t>{10});
    EXPECT_TRUE(model.selectedIDs().empty());
    EXPECT_EQ(reliefActionSentence(model.lastResults()[0], AppLanguage::english),
              "Sent a normal quit request to Sent.");

    // The list refreshes by itself after the delay, once.
    ASSERT_EQ(scheduler.delays, std::vector<uint64_t>{kDelay});
    const int surveysBefore = platform.surveys;
    scheduler.advanceTo(kDelay);
    ASSERT_TRUE(test::waitFor(&model, &ResourceReliefViewModel::candidatesChanged));
    EXPECT_EQ(platform.surveys, surveysBefore + 1);
}

TEST_F(ReliefViewModelTest, ANewerPendingRefreshReplacesTheOlder) {
    platform.set({app(10, "org.a.One", "One", 0.1, 0.1), app(11, "org.a.Two", "Two", 0.1, 0.1)});
    refreshAndWait();
    for (const char* id : {"org.a.one:10", "org.a.two:11"}) {
        model.toggleSelection(ResourceReliefCandidateID{id});
        ASSERT_TRUE(model.requestQuitForSelected());
        ASSERT_TRUE(test::waitFor(&model, &ResourceReliefViewModel::requestingQuitChanged));
        clock->now += kDelay / 2;
    }
    ASSERT_EQ(scheduler.pending(), 2u);
    const int surveysBefore = platform.surveys;
    scheduler.advanceTo(clock->now + kDelay);  // both tasks fire; only the newer refreshes
    ASSERT_TRUE(test::waitFor(&model, &ResourceReliefViewModel::candidatesChanged));
    QCoreApplication::processEvents();
    EXPECT_EQ(platform.surveys, surveysBefore + 1);
}

TEST_F(ReliefViewModelTest, SandboxExplainsAndRefusesThePass) {
    platform.capability = ResourceReliefCapability::appSandbox();
    platform.set({app(10, "org.a.Editor", "Editor", 0.1, 0.1)});
    refreshAndWait();
    EXPECT_EQ(model.candidates()[0].eligibility.reason,
              ResourceReliefProtectionReason::sandboxUnavailable);
    EXPECT_EQ(model.panelNote(AppLanguage::english),
              "In the App Store sandbox, Velmora cannot request other apps to quit directly. Use "
              "Activity Monitor or refresh metrics instead.");
    platform.capability = ResourceReliefCapability::supported();
    platform.set({});
    refreshAndWait();
    EXPECT_EQ(model.panelNote(AppLanguage::english),
              "No regular app candidates are available for quit requests.");
}

TEST(ReliefTextsTest, TranslatesBuiltSentencesAndCollatesWithoutCase) {
    EXPECT_EQ(reliefActionSentence(S::unavailableInSandbox, "Notes", AppLanguage::french),
              "Les limites du bac à sable empêchent de quitter directement Notes.");
    EXPECT_EQ(reliefActionSentence(S::alreadyExited, "Notes", AppLanguage::korean),
              "Notes은(는) 이미 종료되었습니다.");
    for (auto language :
         {AppLanguage::japanese, AppLanguage::german, AppLanguage::traditionalChinese}) {
        EXPECT_NE(reliefActionSentence(S::staleCandidate, "Notes", language),
                  englishSentence(S::staleCandidate, "Notes"));
        EXPECT_NE(
            reliefProtectionSentence(ResourceReliefProtectionReason::notUserVisible, language),
            reliefProtectionSentence(ResourceReliefProtectionReason::notUserVisible,
                                     AppLanguage::english));
    }
    const auto compare = ResourceReliefViewModel::collatorComparator(QLocale(QLocale::German));
    EXPECT_LT(compare("\u00e4pfel", "Birne"), 0);
    EXPECT_EQ(compare("Notes", "notes"), 0);
    EXPECT_EQ(reliefLocales(AppLanguage::traditionalChinese).front(), "zh_TW");
}

}  // namespace
}  // namespace velmora

// One reminder run against a notification service the test plays: the delivery is recorded
// only when the reminder was shown, a failed run is tried again, and choosing "Open review"
// leaves the launch request before the application starts.
#include <gtest/gtest.h>

#include "VelmoraUI/reminders/ReminderWorkflow.h"
#include "VelmoraUI/state/DashboardLaunchRequest.h"
#include "VelmoraUI/state/PreferenceFile.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using namespace std::chrono_literals;
using test::TestTree;
using Verdict = ReviewReminderVerdict;

constexpr double kDay = 86400;

class FakeSender : public NotificationSender {
  public:
    std::optional<NotificationFailure> failure;
    std::optional<std::string> choice;
    std::vector<DesktopNotification> sent;
    int waits = 0;

    Result<uint32_t, NotificationFailure> send(const DesktopNotification& n) override {
        if (failure) return Failure{*failure};
        sent.push_back(n);
        return static_cast<uint32_t>(sent.size());
    }
    std::optional<std::string> waitForAction(uint32_t, std::chrono::milliseconds) override {
        ++waits;
        return choice;
    }
};

struct ReminderFixture : ::testing::Test {
    TestTree tree;
    PreferenceFile file = openPreferenceFileAt(tree.path("Velmora.conf"));
    QSettings& settings = *file.settings;
    FakeSender sender;
    int launches = 0;
    ApplicationLauncher launch = [this] {
        ++launches;
        // The request is in the file before the application starts and reads it.
        return pendingDashboardLaunch(settings).has_value();
    };
    const Date reviewed = 800'000'000;
    const Date due = reviewed + 7 * kDay;

    void SetUp() override {
        CleanupReviewPreferencesStore review(settings);
        ASSERT_TRUE(review.markReviewed(reviewed));
    }
    ReviewReminderRun run(Date now, std::chrono::milliseconds wait = 0ms) {
        return runReviewReminder(settings, sender, now, AppLanguage::english, wait, launch);
    }
};

TEST_F(ReminderFixture, ADueReminderIsShownOnceAndRecorded) {
    EXPECT_EQ(run(due - 1).verdict, Verdict::notDueYet);
    EXPECT_TRUE(sender.sent.empty());

    const ReviewReminderRun first = run(due + 10);
    EXPECT_EQ(first.verdict, Verdict::remind);
    EXPECT_TRUE(first.delivered && first.recorded);
    ASSERT_EQ(sender.sent.size(), 1u);
    const DesktopNotification& n = sender.sent[0];
    EXPECT_EQ(n.title, "Time for a safety review");
    bool hasOpenReview = false;
    for (const auto& a : n.actions)
        hasOpenReview |= a.key == "open-review" && a.label == "Open review";
    EXPECT_TRUE(hasOpenReview);
    EXPECT_EQ(readReviewReminderSettings(settings).lastDeliveredAt, due + 10);

    EXPECT_EQ(run(due + 2 * kDay).verdict, Verdict::alreadyDelivered);
    EXPECT_EQ(sender.sent.size(), 1u);
    EXPECT_EQ(sender.waits, 0);  // no wait asked for
    EXPECT_EQ(launches, 0);
}

TEST_F(ReminderFixture, AFailedDeliveryIsNotRecordedAndTheNextRunTriesAgain) {
    sender.failure = NotificationFailure{NotificationFailure::Kind::serviceUnavailable, "x"};
    const ReviewReminderRun failed = run(due);
    EXPECT_EQ(failed.verdict, Verdict::remind);
    EXPECT_FALSE(failed.delivered);
    ASSERT_TRUE(failed.failure);
    EXPECT_FALSE(readReviewReminderSettings(settings).lastDeliveredAt);

    sender.failure.reset();
    EXPECT_TRUE(run(due + 3600).delivered);
    EXPECT_EQ(sender.sent.size(), 1u);
}

TEST_F(ReminderFixture, ChoosingToOpenTheReviewRequestsItAndStartsTheApplication) {
    const struct {
        std::optional<std::string> choice;
        bool opens;
    } cases[] = {{"open-review", true}, {"default", true}, {std::nullopt, false}, {"other", false}};
    for (const auto& c : cases) {
        consumeDashboardLaunch(settings);
        removePreference(settings, kReminderLastDeliveredAtKey);
        launches = 0;
        sender.choice = c.choice;
        const ReviewReminderRun r = run(due, 1s);
        EXPECT_EQ(r.openedReview, c.opens) << c.choice.value_or("(closed)");
        EXPECT_EQ(launches, c.opens ? 1 : 0);
        const auto request = pendingDashboardLaunch(settings);
        EXPECT_EQ(request.has_value(), c.opens);
        if (request) {
            EXPECT_EQ(request->destination, "review");
        }
    }
}

}  // namespace
}  // namespace velmora

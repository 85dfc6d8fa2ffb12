// Reminders while the application runs: shown once per due period through the notification
// service, and "Open review" on them asks the window to open the review.
#include "Velmora/desktop/ReminderService.h"

#include <gtest/gtest.h>

#include <QApplication>

#include "Velmora/desktop/DesktopSession.h"
#include "VelmoraUI/reminders/DesktopNotifier.h"
#include "dashboard/ViewModelHarness.h"

namespace velmora::desktop {
namespace {

struct FakeSender final : NotificationSender {
    int sent = 0;
    bool available = true;
    std::optional<std::string> answer;
    Result<uint32_t, NotificationFailure> send(const DesktopNotification&) override {
        if (!available)
            return Failure{NotificationFailure{NotificationFailure::Kind::noSessionBus, "none"}};
        return uint32_t(++sent);
    }
    std::optional<std::string> waitForAction(uint32_t, std::chrono::milliseconds) override {
        return std::exchange(answer, std::nullopt);
    }
};

TEST(ReminderServiceTest, ADueReviewIsRemindedOnceAndItsAnswerOpensTheReview) {
    test::ViewModelHome h;  // the application object and a throw-away home
    DesktopSession session(SessionOptions{h.home, Catalogue::linux});
    auto owned = std::make_unique<FakeSender>();
    FakeSender& sender = *owned;
    ReminderService service(session, std::move(owned));

    service.check();  // never reviewed: nothing to remind of yet
    EXPECT_EQ(sender.sent, 0);

    ASSERT_TRUE(session.settingsModel().setCadence(CleanupReviewCadence::weekly));
    CleanupReviewPreferencesStore review(session.settings());
    ASSERT_TRUE(review.markReviewed(currentDate() - 8 * 86400));
    sender.available = false;
    service.check();  // no notification service: said, nothing recorded
    EXPECT_TRUE(service.lastFailure().has_value());
    sender.available = true;
    service.check();
    EXPECT_EQ(sender.sent, 1);
    service.check();  // the same due period: not again
    EXPECT_EQ(sender.sent, 1);

    sender.answer = "open-review";
    EXPECT_TRUE(test::waitFor(&service, &ReminderService::openReviewRequested));
}

}  // namespace
}  // namespace velmora::desktop

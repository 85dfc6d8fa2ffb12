// The reminder decision: one reminder per due period, from the review loop's status and the
// two reminder keys as the preference file holds them.
#include <gtest/gtest.h>

#include "VelmoraUI/reminders/ReviewReminder.h"
#include "VelmoraUI/state/PreferenceFile.h"
#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;
using Verdict = ReviewReminderVerdict;

constexpr double kDay = 86400;

TEST(ReviewReminderTest, AtMostOneReminderPerDuePeriod) {
    // The last review was at `reviewed`; the weekly review falls due at `due`.
    const Date reviewed = 800'000'000;
    const Date due = reviewed + 7 * kDay;
    const struct {
        const char* name;
        CleanupReviewCadence cadence;
        std::optional<Date> lastReviewedAt;
        bool enabled;
        std::optional<Date> lastDeliveredAt;
        Date now;
        Verdict verdict;
    } cases[] = {
        {"due at exactly its instant", CleanupReviewCadence::weekly, reviewed, true, std::nullopt,
         due, Verdict::remind},
        {"a second before it is due", CleanupReviewCadence::weekly, reviewed, true, std::nullopt,
         due - 1, Verdict::notDueYet},
        {"delivered for the previous period", CleanupReviewCadence::weekly, reviewed, true, due - 1,
         due + kDay, Verdict::remind},
        {"delivered at the due instant", CleanupReviewCadence::weekly, reviewed, true, due,
         due + kDay, Verdict::alreadyDelivered},
        {"delivered during the period", CleanupReviewCadence::weekly, reviewed, true, due + 3600,
         due + 20 * kDay, Verdict::alreadyDelivered},
        {"monthly is not due at the weekly instant", CleanupReviewCadence::monthly, reviewed, true,
         std::nullopt, due, Verdict::notDueYet},
        {"monthly period after a weekly delivery", CleanupReviewCadence::monthly, reviewed, true,
         due, reviewed + 30 * kDay, Verdict::remind},
        {"reminders turned off", CleanupReviewCadence::weekly, reviewed, false, std::nullopt, due,
         Verdict::remindersOff},
        {"cadence off", CleanupReviewCadence::off, reviewed, true, std::nullopt, due,
         Verdict::cadenceOff},
        {"never reviewed", CleanupReviewCadence::weekly, std::nullopt, true, std::nullopt, due,
         Verdict::notStarted},
    };
    for (const auto& c : cases) {
        const auto status = cleanupReviewStatus(c.lastReviewedAt, c.now, c.cadence);
        EXPECT_EQ(decideReviewReminder(status, {c.enabled, c.lastDeliveredAt}), c.verdict)
            << c.name;
    }
}

TEST(ReviewReminderTest, KeysAreReadInTheirStoredForms) {
    const struct {
        const char* lines;
        bool enabled;
        std::optional<Date> lastDeliveredAt;
    } cases[] = {
        {"", true, std::nullopt},
        {"velmora.menuBarRemindersEnabled=false\n", false, std::nullopt},
        {"velmora.menuBarRemindersEnabled=true\n", true, std::nullopt},
        {"velmora.menuBarRemindersEnabled=maybe\n", true, std::nullopt},
        {"velmora.menuBarReminderLastDeliveredAt=1700000000.5\n", true,
         dateFromUnixSeconds(1700000000.5)},
        {"velmora.menuBarReminderLastDeliveredAt=0\n", true, std::nullopt},
        {"velmora.menuBarReminderLastDeliveredAt=-5\n", true, std::nullopt},
        {"velmora.menuBarReminderLastDeliveredAt=soon\n", true, std::nullopt},
    };
    for (const auto& c : cases) {
        TestTree tree;
        const std::string conf =
            test::writeFile(tree, "Velmora.conf", std::string("[General]\n") + c.lines);
        const PreferenceFile file = openPreferenceFileAt(conf);
        const ReviewReminderSettings read = readReviewReminderSettings(*file.settings);
        EXPECT_EQ(read.enabled, c.enabled) << c.lines;
        EXPECT_EQ(read.lastDeliveredAt, c.lastDeliveredAt) << c.lines;
    }
}

TEST(ReviewReminderTest, TheDeliveryIsWrittenAsSecondsSince1970AndReadBack) {
    TestTree tree;
    const std::string conf = tree.path("Velmora.conf");
    const Date at = dateFromUnixSeconds(1700000000.25);
    {
        PreferenceFile file = openPreferenceFileAt(conf);
        ASSERT_TRUE(recordReviewReminderDelivered(*file.settings, at));
    }
    EXPECT_NE(test::readFile(conf).find("velmora.menuBarReminderLastDeliveredAt=1700000000.25"),
              std::string::npos)
        << test::readFile(conf);
    const PreferenceFile file = openPreferenceFileAt(conf);
    EXPECT_EQ(readReviewReminderSettings(*file.settings).lastDeliveredAt, at);
}

}  // namespace
}  // namespace velmora

// `velmora remind` on the paths that never reach the desktop: nothing due, and reminders
// turned off while a review is due. Neither shows anything or records a delivery.
#include <gtest/gtest.h>

#include "cli/CommandRunner.h"
#include "support/Files.h"

namespace velmora {
namespace {

using test::CommandHome;

TEST(RemindCommandTest, NothingDueOrRemindersOffExitsCleanlyAndRecordsNothing) {
    const struct {
        const char* conf;  ///< the preference file before the run, empty: none
        const char* verdict;
        const char* korean;
    } cases[] = {
        {"", "notStarted", "아직 완료한 검토가 없어"},
        {"[General]\nvelmora.cleanupReviewLoop.lastReviewedAt=1000000000\n"
         "velmora.menuBarRemindersEnabled=false\n",
         "remindersOff", "알림이 꺼져 있어"},
        {"[General]\nvelmora.cleanupReviewLoop.lastReviewedAt=1000000000\n"
         "velmora.cleanupReviewLoop.cadence=off\n",
         "cadenceOff", "검토 주기가 꺼져 있어"},
    };
    for (const auto& c : cases) {
        CommandHome h;
        const std::string conf = h.homePath(".config/Velmora/Velmora.conf");
        if (*c.conf) test::writeFile(conf, c.conf);
        const auto json = h.velmoraJSON({"remind"});
        EXPECT_EQ(json["verdict"], c.verdict);
        EXPECT_EQ(json["delivered"], false);
        const test::Outcome korean = h.velmora({"--language", "ko", "remind"});
        EXPECT_EQ(korean.status, 0) << korean.err;
        EXPECT_NE(korean.out.find(c.korean), std::string::npos) << korean.out;
        EXPECT_EQ(test::readFile(conf).find("menuBarReminderLastDeliveredAt"), std::string::npos);
    }
}

}  // namespace
}  // namespace velmora

// `velmora review`: each action reaches the preference file in the form the settings screen
// binds, the status follows, and a wrong action or value changes nothing.
#include <gtest/gtest.h>

#include "cli/CommandRunner.h"
#include "support/Files.h"

namespace velmora {
namespace {

using test::CommandHome;

TEST(ReviewCommandTest, ActionsAreKeptInTheSharedValueForms) {
    CommandHome h;
    const std::string conf = h.homePath(".config/Velmora/Velmora.conf");
    auto state = h.velmoraJSON({"review"});
    EXPECT_EQ(state["cadence"], "weekly");
    EXPECT_EQ(state["profile"], "balanced");
    EXPECT_EQ(state["status"]["kind"], "notStarted");

    EXPECT_EQ(h.velmoraJSON({"review", "cadence", "monthly"})["cadence"], "monthly");
    EXPECT_EQ(h.velmoraJSON({"review", "profile", "developerCaches"})["profile"],
              "developerCaches");
    state = h.velmoraJSON({"review", "done"});
    EXPECT_EQ(state["status"]["kind"], "upcoming");
    EXPECT_EQ(state["status"]["daysUntilNextReview"], 30);
    const std::string text = test::readFile(conf);
    for (const char* line : {"velmora.cleanupReviewLoop.cadence=monthly",
                             "velmora.cleanupReviewLoop.selectedProfileID=developerCaches",
                             "velmora.cleanupReviewLoop.lastReviewedAt=1"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << " in\n" << text;
    }
    EXPECT_EQ(h.velmoraJSON({"review", "cadence", "off"})["status"]["kind"], "disabled");

    const test::Outcome korean = h.velmora({"--language", "ko", "review"});
    EXPECT_NE(korean.out.find("주기: 끔"), std::string::npos) << korean.out;
}

TEST(ReviewCommandTest, AWrongActionOrValueIsRefusedAndNothingIsWritten) {
    CommandHome h;
    for (const auto& args :
         std::vector<std::vector<std::string>>{{"review", "cadence", "hourly"},
                                               {"review", "profile", "everything"},
                                               {"review", "snooze"},
                                               {"review", "done", "now"}}) {
        const test::Outcome o = h.velmora(args);
        EXPECT_EQ(o.status, 2) << args[1];
        EXPECT_NE(o.err.find("review takes no action or one of"), std::string::npos) << o.err;
    }
    // The refusal speaks the run's language, and reading the language writes nothing either.
    const test::Outcome o = h.velmora({"--language", "de", "review", "snooze"});
    EXPECT_NE(o.err.find("review nimmt keine Aktion"), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("„snooze“"), std::string::npos) << o.err;
    EXPECT_FALSE(test::exists(h.homePath(".config/Velmora/Velmora.conf")));
}

}  // namespace
}  // namespace velmora

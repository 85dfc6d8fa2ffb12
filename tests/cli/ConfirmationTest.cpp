// The confirmation question accepts the person's own "yes" and nothing else: an answer that is
// not a clear yes in English or in the language of the question leaves everything as it is.
#include "Velmora/cli/Confirmation.h"

#include <gtest/gtest.h>

#include <sstream>

namespace velmora {
namespace {

TEST(ConfirmationTest, AnswersInTheLanguageOfTheQuestion) {
    using L = AppLanguage;
    struct Case {
        AppLanguage language;
        std::string answer;
        bool confirmed;
        std::string hint;
    };
    const Case cases[] = {
        {L::english, "y\n", true, "[y/N]"},
        {L::english, " YES \n", true, "[y/N]"},
        {L::english, "oui\n", false, "[y/N]"},
        {L::english, "", false, "[y/N]"},
        {L::korean, "예\n", true, "[y/N]"},
        {L::korean, "y\n", true, "[y/N]"},
        {L::japanese, "はい\n", true, "[y/N]"},
        {L::japanese, "いいえ\n", false, "[y/N]"},
        {L::simplifiedChinese, "是\n", true, "[y/N]"},
        {L::spanish, "sí\n", true, "[s/N]"},
        {L::spanish, "no\n", false, "[s/N]"},
        {L::french, "Oui\n", true, "[o/N]"},
        {L::german, "j\n", true, "[j/N]"},
        {L::german, "nein\n", false, "[j/N]"},
        // Only the language's own words count: "ja" is not a yes to a French question.
        {L::french, "ja\n", false, "[o/N]"},
    };
    for (const auto& c : cases) {
        std::istringstream in(c.answer);
        std::ostringstream out;
        EXPECT_EQ(cli::askToConfirm("Go?", in, out, c.language), c.confirmed)
            << languageCode(c.language) << " " << c.answer;
        EXPECT_TRUE(out.str().starts_with("Go? " + c.hint + " ")) << out.str();
    }
}

}  // namespace
}  // namespace velmora

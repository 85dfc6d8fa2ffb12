// `velmora language` and the global `--language`: which rule chooses the language, that a kept
// choice reaches the preference file under its key, and that a damaged file is set aside.
#include <gtest/gtest.h>

#include "cli/CommandRunner.h"
#include "support/Files.h"

namespace velmora {
namespace {

using test::CommandHome;

TEST(LanguageCommandTest, TheRulesApplyInOrder) {
    CommandHome h;
    h.environment = {"LC_ALL=de_DE.UTF-8"};
    auto shown = h.velmoraJSON({"language"});
    EXPECT_EQ(shown["language"], "de");
    EXPECT_EQ(shown["source"], "system");
    EXPECT_EQ(shown["languages"].size(), 8u);

    const test::Outcome kept = h.velmora({"language", "zh_TW"});
    ASSERT_EQ(kept.status, 0) << kept.err;
    EXPECT_EQ(kept.out, "Velmora 現在使用 繁體中文 (zh-Hant)。\n");
    EXPECT_NE(
        test::readFile(h.homePath(".config/Velmora/Velmora.conf")).find("velmora.language=zh-Hant"),
        std::string::npos);
    shown = h.velmoraJSON({"language"});
    EXPECT_EQ(shown["language"], "zh-Hant");
    EXPECT_EQ(shown["source"], "preferences");

    shown = h.velmoraJSON({"--language", "ja", "language"});
    EXPECT_EQ(shown["language"], "ja");
    EXPECT_EQ(shown["source"], "option");
    const test::Outcome human = h.velmora({"language", "--language", "fr"});
    EXPECT_NE(human.out.find("Langue pour cette exécution : Français (fr), choisie avec "
                             "--language."),
              std::string::npos)
        << human.out;

    h.environment = {"LC_ALL=pt_BR.UTF-8", "LANGUAGE="};
    std::remove(h.homePath(".config/Velmora/Velmora.conf").c_str());
    shown = h.velmoraJSON({"language"});
    EXPECT_EQ(shown["language"], "en");
}

TEST(LanguageCommandTest, ADamagedPreferenceFileIsSetAsideWithASentence) {
    CommandHome h;
    const std::string conf = h.homePath(".config/Velmora/Velmora.conf");
    test::writeFile(conf, std::string("\xff\xfe\0[[[\n", 7));
    const test::Outcome o = h.velmora({"language", "es"});
    EXPECT_EQ(o.status, 0) << o.err;
    EXPECT_NE(o.err.find("Velmora.conf.damaged-"), std::string::npos) << o.err;
    EXPECT_EQ(h.velmoraJSON({"language"})["language"], "es");
}

}  // namespace
}  // namespace velmora

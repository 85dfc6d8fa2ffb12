// Language identifiers, the system's languages and the stored choice.
#include <gtest/gtest.h>

#include <QSettings>
#include <cstdlib>
#include <map>

#include "VelmoraUI/localization/AppLanguage.h"
#include "VelmoraUI/localization/LanguagePreference.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using L = AppLanguage;

TEST(NormalizedLanguage, MapsIdentifiersOntoTheEightLanguages) {
    const std::vector<std::pair<std::string, std::optional<L>>> cases = {
        {"ko", L::korean},
        {"EN", L::english},
        {"en-GB", L::english},
        {"ja_JP", L::japanese},
        {"zh-Hans", L::simplifiedChinese},
        {"ZH-HANT", L::traditionalChinese},
        {"zh_TW", L::traditionalChinese},
        {"zh-hk", L::traditionalChinese},
        {"zh-MO", L::traditionalChinese},
        {"zh-Hans-CN", L::simplifiedChinese},
        {"zh-Hans-TW", L::simplifiedChinese},  // the script outranks the region
        {"zh-Hant-CN", L::traditionalChinese},
        {"zh-CN", L::simplifiedChinese},
        {"zh-SG", L::simplifiedChinese},
        {"zh", L::simplifiedChinese},
        {"es-419", L::spanish},
        {"fr_CA", L::french},
        {"De-AT", L::german},
        {"pt-BR", std::nullopt},
        {"english", std::nullopt},
        {"tw", std::nullopt},
        {"", std::nullopt},
        {"-en", std::nullopt},
    };
    for (const auto& [identifier, expected] : cases) {
        EXPECT_EQ(normalizedLanguage(identifier), expected) << identifier;
    }
}

TEST(ResolvedLanguage, StoredValueThenPreferredLanguagesThenEnglish) {
    using Strings = std::vector<std::string>;
    struct Case {
        std::optional<std::string> stored;
        Strings preferred;
        L expected;
    };
    const std::vector<Case> cases = {
        {"zh_TW", {"de"}, L::traditionalChinese},       {"zh-Hans-CN", {}, L::simplifiedChinese},
        {"pt-BR", {"pt-PT", "fr-FR", "de"}, L::french}, {"", {"ja-JP"}, L::japanese},
        {std::nullopt, {"it", "ko-KR"}, L::korean},     {std::nullopt, {}, L::english},
        {std::nullopt, {"pt", "it"}, L::english},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(resolvedLanguage(c.stored, c.preferred), c.expected) << c.stored.value_or("-");
    }
}

/// Sets environment variables for one test and restores them afterwards.
class ScopedEnvironment {
  public:
    explicit ScopedEnvironment(const std::map<std::string, std::optional<std::string>>& values) {
        for (const auto& [name, value] : values) {
            const char* old = std::getenv(name.c_str());
            saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
            set(name, value);
        }
    }
    ~ScopedEnvironment() {
        for (const auto& [name, value] : saved_) set(name, value);
    }

  private:
    static void set(const std::string& name, const std::optional<std::string>& value) {
        if (value) {
            ::setenv(name.c_str(), value->c_str(), 1);
        } else {
            ::unsetenv(name.c_str());
        }
    }
    std::map<std::string, std::optional<std::string>> saved_;
};

TEST(SystemPreferredLanguages, ReadsTheEnvironmentInOrderAndCutsEncodings) {
    using Strings = std::vector<std::string>;
    using Env = std::map<std::string, std::optional<std::string>>;
    struct Case {
        Env env;
        Strings leading;  // the system locale's own languages may follow
    };
    const std::vector<Case> cases = {
        {{{"LANGUAGE", "fr_CA:de::es"}, {"LC_ALL", std::nullopt}, {"LC_MESSAGES", "ja_JP.UTF-8"}},
         {"fr_CA", "de", "es", "ja_JP"}},
        {{{"LANGUAGE", std::nullopt}, {"LC_ALL", "de_DE@euro"}, {"LC_MESSAGES", "ja_JP"}},
         {"de_DE"}},
        {{{"LANGUAGE", ""}, {"LC_ALL", ""}, {"LC_MESSAGES", std::nullopt}, {"LANG", "zh_TW.Big5"}},
         {"zh_TW"}},
        {{{"LANGUAGE", "sr_RS.UTF-8@latin"},
          {"LC_ALL", std::nullopt},
          {"LC_MESSAGES", std::nullopt},
          {"LANG", std::nullopt}},
         {"sr_RS"}},
    };
    for (const auto& c : cases) {
        ScopedEnvironment scoped(c.env);
        const Strings got = systemPreferredLanguages();
        ASSERT_GE(got.size(), c.leading.size()) << c.leading.front();
        EXPECT_EQ(Strings(got.begin(), got.begin() + c.leading.size()), c.leading);
    }
}

TEST(SystemPreferredLanguages, CAndPosixSayNothingAndStopTheSearch) {
    for (const char* silent : {"C", "POSIX", "C.UTF-8"}) {
        ScopedEnvironment scoped({{"LANGUAGE", std::nullopt},
                                  {"LC_ALL", silent},
                                  {"LC_MESSAGES", "fr_FR"},
                                  {"LANG", "de_DE"}});
        for (const std::string& got : systemPreferredLanguages()) {
            EXPECT_NE(got, "C") << silent;
            EXPECT_NE(got, "POSIX") << silent;
            EXPECT_NE(got, "fr_FR") << silent;  // LC_ALL, being set, decides alone
            EXPECT_NE(got, "de_DE") << silent;
        }
    }
}

class LanguagePreferenceTest : public ::testing::Test {
  protected:
    test::TestTree tree;
    QSettings settings{QString::fromStdString(tree.path("Velmora.conf")), QSettings::IniFormat};

    std::optional<std::string> stored() const { return storedLanguage(settings); }
};

TEST_F(LanguagePreferenceTest, SeedsFromTheLaunchURLThenTheBuildDefault) {
    using O = std::optional<std::string>;
    struct Case {
        O before;
        O buildDefault;
        O url;
        std::optional<L> seeded;
        O after;
    };
    const std::vector<Case> cases = {
        {std::nullopt, "de", "velmora://open?LANG=ja_JP", L::japanese, "ja"},
        {std::nullopt, std::nullopt, "velmora://open?x=1&lang=pt&VelmoraLanguage=zh-TW",
         L::traditionalChinese, "zh-Hant"},
        {std::nullopt, std::nullopt, "velmora://open?language=zh%2DHans%2DCN", L::simplifiedChinese,
         "zh-Hans"},
        {std::nullopt, "fr_FR", "velmora://open?lang=pt-BR&locale=ja", L::french, "fr"},
        {std::nullopt, "fr_FR", std::nullopt, L::french, "fr"},
        {"pt-BR", "DE", "velmora://open", L::german, "de"},
        {"es", "de", "velmora://open?lang=ja", std::nullopt, "es"},  // a choice stays
        {"es-MX", "de", "velmora://open?lang=ja", std::nullopt, "es-MX"},
        {std::nullopt, "pt", "velmora://open?lang=it", std::nullopt, std::nullopt},
        {std::nullopt, std::nullopt, "not a url ?lang=::", std::nullopt, std::nullopt},
    };
    for (const auto& c : cases) {
        settings.clear();
        if (c.before) settings.setValue("velmora.language", QString::fromStdString(*c.before));
        const auto seeded = seedLaunchLanguage(settings, c.buildDefault, c.url);
        EXPECT_EQ(seeded, c.seeded) << c.url.value_or("-");
        EXPECT_EQ(stored(), c.after) << c.url.value_or("-");
    }
}

TEST_F(LanguagePreferenceTest, SeededLanguageIsWrittenToTheFile) {
    seedLaunchLanguage(settings, std::nullopt, "velmora://open?lang=ko");
    const QSettings reread(QString::fromStdString(tree.path("Velmora.conf")), QSettings::IniFormat);
    EXPECT_EQ(storedLanguage(reread), "ko");
}

}  // namespace
}  // namespace velmora

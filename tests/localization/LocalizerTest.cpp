// Looking texts up: the compiled-in tables and a table's lookup rules.
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/localization/TranslationTable.h"

namespace velmora {
namespace {

using L = AppLanguage;

TEST(Catalogue, EveryDataFileIsCompiledInAndLoadsWhole) {
    EXPECT_EQ(catalogueProblems(), std::vector<std::string>{});
}

TEST(Catalogue, KoreanAndEnglishAndUntranslatedTextsPassThrough) {
    const std::string english = "Sandbox limits prevent directly quitting Mail.";
    EXPECT_EQ(localized(english, L::english), english);
    EXPECT_EQ(localized(english, L::korean), english);
    EXPECT_EQ(localized("A sentence no table knows.", L::german), "A sentence no table knows.");
    EXPECT_EQ(localized("", L::japanese), "");
    EXPECT_EQ((VelmoraCopy{L::korean}.text("Mail", "메일")), "메일");
    EXPECT_EQ((VelmoraCopy{L::spanish}.text("Unknown", "알 수 없음")), "Unknown");
}

TEST(Catalogue, EveryKeyedTextExistsInEveryLanguage) {
    for (L language : kAppLanguages) {
        std::set<std::string> distinct;
        for (const auto& [key, name] : kI18nKeys) {
            const std::string got = text(key, language);
            EXPECT_FALSE(got.empty()) << languageCode(language) << " " << name;
            EXPECT_NE(got, name) << languageCode(language);
            if (language != L::english) {
                EXPECT_NE(got, text(key, L::english)) << languageCode(language) << " " << name;
            }
            distinct.insert(got);
        }
        EXPECT_EQ(distinct.size(), kI18nKeys.size()) << languageCode(language);
    }
    EXPECT_EQ(VelmoraLocalizer{L::french}.text(VelmoraI18nKey::languageTitle), "Langue");
}

TEST(Catalogue, LooksUpFromManyThreadsAtOnce) {
    // The first lookup may happen on any thread; every thread must see the whole tables.
    std::vector<std::string> results(8);
    std::vector<std::thread> threads;
    for (size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([&results, i] {
            for (int n = 0; n < 200; ++n) {
                results[i] = localized("Sandbox limits prevent directly quitting Mail.", L::german);
            }
        });
    }
    for (auto& t : threads) t.join();
    for (const auto& r : results)
        EXPECT_EQ(r, localized("Sandbox limits prevent directly quitting Mail.", L::german));
    EXPECT_NE(results[0], "Sandbox limits prevent directly quitting Mail.");
}

TranslationTable tableFrom(const char* json, std::vector<std::string>& problems) {
    return TranslationTable::fromJson(QByteArray(json), "test.json", problems);
}

TEST(TranslationTable, FixedTextsComeFirstThenTemplatesInOrderThenNothing) {
    std::vector<std::string> problems;
    const TranslationTable table = tableFrom(R"({
      "fixed": {"Scan finished.": "Analyse terminée.",
                "Moved 1 item to the Trash.": "1 élément déplacé dans la Corbeille."},
      "templates": [
        {"pattern": "^Mo(v|w)ed all to the Trash\\.$", "text": "Tout a été déplacé ({0})."},
        {"pattern": "^Moved (\\d+) items? to the Trash\\.$", "text": "{0} éléments déplacés."},
        {"pattern": "^Moved (.+) to the Trash\\.$", "text": "« {0} » déplacé."},
        {"pattern": "^Folders? removed from (.+)\\.$", "text": "Retiré de {0}."},
        {"pattern": "(.+) of (.+) items", "text": "{1} éléments, dont {0}"},
        {"pattern": "^Sent\\ a\\ normal\\ quit\\ request\\ to\\ (.+?)\\.$",
         "text": "Demande envoyée à {0}."},
        {"pattern": "^(?i)free (\\d+) MB$", "text": "{0} Mo libres"},
        {"pattern": "^(?:Skipped|Kept) (\\w+)\\.$", "text": "{0} ignoré."}
      ]})",
                                             problems);
    EXPECT_EQ(problems, std::vector<std::string>{});
    EXPECT_EQ(table.templateProblems(), std::vector<std::string>{});
    const std::vector<std::pair<std::string, std::optional<std::string>>> cases = {
        {"Scan finished.", "Analyse terminée."},
        {"Moved 1 item to the Trash.", "1 élément déplacé dans la Corbeille."},
        {"Moved all to the Trash.", "Tout a été déplacé (v)."},  // the earlier template wins
        {"Moved 12 items to the Trash.", "12 éléments déplacés."},
        {"Moved 2 item to the Trash.", "2 éléments déplacés."},  // "s?" is not required
        {"Moved cache.db to the Trash.", "« cache.db » déplacé."},
        {"Folder removed from Mail.", "Retiré de Mail."},  // "s?" is not required
        {"3 of 7 items", "7 éléments, dont 3"},
        {"Sent a normal quit request to Mail.", "Demande envoyée à Mail."},
        {"FREE 12 MB", "12 Mo libres"},
        {"Kept logs.", "logs ignoré."},
        {"Sent a normal quit request to Mail", std::nullopt},  // the whole sentence must match
        {"Moved 12 items to the Trash. Done.", std::nullopt},
        {"Moved", std::nullopt},
        {"Scan finished", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [english, expected] : cases) {
        EXPECT_EQ(table.translated(english), expected) << english;
    }
}

TEST(TranslationTable, ReportsAndLeavesOutFaultyEntries) {
    struct Case {
        const char* json;
        const char* problem;  // a part of the one sentence expected
    };
    const std::vector<Case> cases = {
        {R"({"templates": [{"pattern": "^Quit (.+)$", "text": "Beenden"}]})",
         "does not have one placeholder for each capture"},
        {R"({"templates": [{"pattern": "^Quit (.+) (.+)$", "text": "{0} {2}"}]})",
         "does not have one placeholder for each capture"},
        {R"({"templates": [{"pattern": "^Quit (.+$", "text": "{0}"}]})",
         "is not a valid regular expression"},
        {R"({"templates": [{"text": "{0}"}]})", "lacks its pattern or its text"},
        {R"({"fixed": {"Quit": 3}})", "the fixed entry \"Quit\" is not a text"},
        {R"({"fixed": {"Quit": "Beenden",}})", "is not a JSON object"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> problems;
        const TranslationTable table = tableFrom(c.json, problems);
        // A faulty pattern is found out when a sentence first reaches it, and never matches.
        EXPECT_EQ(table.translated("Quit Mail"), std::nullopt) << c.json;
        for (std::string& p : table.templateProblems()) problems.push_back(std::move(p));
        ASSERT_EQ(problems.size(), 1u) << c.json;
        EXPECT_NE(problems[0].find("test.json: "), std::string::npos) << problems[0];
        EXPECT_NE(problems[0].find(c.problem), std::string::npos) << problems[0];
    }
}

}  // namespace
}  // namespace velmora

// The command line itself speaks the language of the run: the help of every command, the
// refusals of what the parser cannot read, an unknown --language and a file that is not a scan
// report. Option names and the text a person typed stay as they were.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "cli/CommandRunner.h"

namespace velmora {
namespace {

using test::CommandHome;
using test::Outcome;

const std::vector<std::string> kCommands = {"",         "scan",     "clean",   "restore",
                                            "ignore",   "unignore", "history", "insights",
                                            "language", "folders",  "review"};

std::string helpOf(CommandHome& h, const std::string& language, const std::string& command) {
    std::vector<std::string> args = {"--language", language};
    if (!command.empty()) args.push_back(command);
    args.push_back("--help");
    const Outcome o = h.velmora(args);
    EXPECT_EQ(o.status, 0) << o.err;
    return o.out;
}

// The descriptions in a help text: its first line, and the right-hand column, which starts
// at the 31st character (on a line of its own when the option's name is longer).
std::vector<std::string> descriptions(const std::string& help) {
    std::vector<std::string> out;
    std::istringstream lines(help);
    std::string line;
    std::getline(lines, line);
    out.push_back(line);
    while (std::getline(lines, line)) {
        if (line.size() > 30 && line.substr(28, 2) == "  " && line[30] != ' ') {
            out.push_back(line.substr(30));
        }
    }
    return out;
}

// The option names a text mentions ("--mode", "-h"), which no language may change.
std::multiset<std::string> optionNames(const std::string& text) {
    std::multiset<std::string> out;
    for (size_t at = text.find('-'); at != std::string::npos; at = text.find('-', at + 1)) {
        // An option starts a word: "re-checks" and "zh-Hans" name none.
        if (at > 0 &&
            (std::isalnum(static_cast<unsigned char>(text[at - 1])) || text[at - 1] == '-'))
            continue;
        size_t end = at;
        while (end < text.size() &&
               (std::isalnum(static_cast<unsigned char>(text[end])) || text[end] == '-'))
            ++end;
        if (end > at + 1) out.insert(text.substr(at, end - at));
        at = end;
    }
    return out;
}

TEST(CommandLineLanguageTest, EveryHelpIsTranslatedAndKeepsItsOptionNames) {
    CommandHome h;
    for (const std::string& command : kCommands) {
        const std::string english = helpOf(h, "en", command);
        const auto englishDescriptions = descriptions(english);
        ASSERT_GE(englishDescriptions.size(), 3u) << english;
        for (const std::string language : {"ja", "de", "ko"}) {
            const std::string help = helpOf(h, language, command);
            SCOPED_TRACE(language + " " + command + "\n" + help);
            for (const auto& d : englishDescriptions)
                EXPECT_EQ(help.find(d), std::string::npos) << d;
            for (const char* label : {"Usage:", "Options:", "Commands:", "Arguments:"}) {
                EXPECT_EQ(help.find(label), std::string::npos) << label;
            }
            EXPECT_EQ(optionNames(help), optionNames(english));
        }
    }
    // A few translations, so that a text shown in some other language would not pass.
    const std::tuple<std::string, std::string, std::string> samples[] = {
        {"ja", "", "使い方: velmora [オプション] コマンド"},
        {"de", "clean", "Nicht nach Bestätigung fragen"},
        {"ko", "restore", "가장 최근 정리를 복원"},
    };
    for (const auto& [language, command, text] : samples) {
        EXPECT_NE(helpOf(h, language, command).find(text), std::string::npos)
            << language << " " << command << ": " << text;
    }
}

TEST(CommandLineLanguageTest, ParseProblemsAreSentencesOfTheRunsLanguage) {
    CommandHome h;
    struct Case {
        std::vector<std::string> args;
        std::string sentence;
    };
    const Case cases[] = {
        {{"--language", "ja", "scan", "--bogus"}, "ここでは使えない引数です: --bogus。"},
        {{"--language", "de", "scan", "--bogus"},
         "dieses Argument wird hier nicht erwartet: --bogus."},
        {{"--language", "ja", "clean", "--report"},
         "オプション --report には値（FILE）が必要です。"},
        {{"--language", "de", "--home"}, "die Option --home braucht einen Wert (DIR)."},
        {{"--language", "ja", "scan", "--mode", "fast"},
         "--mode には standard, aggressive, direct のいずれかを指定してください。'fast' "
         "は使えません。"},
        {{"--language", "de", "ignore", "--for", "year"},
         "--for nimmt einen dieser Werte: day, week, ever; „year“ gehört nicht dazu."},
        {{"--language", "ja", "insights", "--large-file-size", "12xx"}, "単位 'xx' は使えません。"},
        {{"--language", "de", "insights", "--visit-limit", "-3"},
         "--visit-limit braucht eine ganze Zahl größer als null; „-3“ ist keine."},
        {{"--language", "de", "scan", "--profile", "balanced", "--mode", "direct"},
         "--mode und --profile können nicht zusammen verwendet werden."},
        {{"--language", "ja", "folders", "add", "a", "b"},
         "action に指定できる値は 2 個までですが、3 個指定されました。"},
        {{"--language", "de", "scan", "--json=maybe"},
         "--json kann den Wert „maybe“ nicht annehmen."},
        {{"--language", "ja"}, "コマンドを指定してください: scan, clean, restore,"},
    };
    for (const auto& c : cases) {
        const Outcome o = h.velmora(c.args);
        SCOPED_TRACE(c.args.back() + "\n" + o.err);
        EXPECT_EQ(o.status, 2);
        EXPECT_EQ(o.out, "");
        EXPECT_NE(o.err.find(c.sentence), std::string::npos);
        // CLI11's own English, and the hint that follows in English.
        for (const char* english : {"expected", "required", "not in", "excludes", "convert",
                                    "Value", "recognized", "unknown", "for usage"}) {
            EXPECT_EQ(o.err.find(english), std::string::npos) << english;
        }
    }
}

TEST(CommandLineLanguageTest, AnUnknownLanguageIsRefusedInTheOneChosenWithoutIt) {
    CommandHome h;
    const std::string codes = "ko, en, ja, zh-Hans, zh-Hant, es, fr, de";
    struct Case {
        std::string system;
        std::vector<std::string> args;
        std::string sentence;
    };
    const Case cases[] = {
        {"fr_FR.UTF-8",
         {"--language", "xx", "scan"},
         "langue inconnue « xx ». Les langues sont : " + codes + "."},
        {"ja_JP.UTF-8",
         {"--language=pt-BR", "history"},
         "不明な言語 'pt-BR' です。使用できる言語は " + codes + " です。"},
        {"C.UTF-8",
         {"--language", "de", "language", "xx"},
         "unbekannte Sprache „xx“. Die Sprachen sind: " + codes + "."},
        {"C.UTF-8",
         {"--language", "xx", "scan"},
         "unknown language 'xx'. The languages are: " + codes + "."},
    };
    for (const auto& c : cases) {
        h.environment = {"LC_ALL=" + c.system};
        const auto before = h.snapshot();
        const Outcome o = h.velmora(c.args);
        EXPECT_EQ(o.status, 2) << o.err;
        EXPECT_EQ(o.err, "velmora: " + c.sentence + "\n");
        EXPECT_EQ(h.snapshot(), before);
    }
}

TEST(CommandLineLanguageTest, AFileThatIsNotAReportIsRefusedInTheRunsLanguage) {
    CommandHome h;
    const std::string file = h.tree.path("io/notes.json");
    std::ofstream(file) << "shopping list";
    const std::pair<std::string, std::string> cases[] = {
        {"ja",
         "レポート " + file + " はスキャンレポートではありません: [json.exception.parse_error"},
        {"en", "the report " + file + " is not a scan report: [json.exception.parse_error"},
    };
    for (const auto& [language, sentence] : cases) {
        const Outcome o =
            h.velmora({"--language", language, "clean", "--report", file, "--defaults", "--yes"});
        EXPECT_EQ(o.status, 2);
        EXPECT_NE(o.err.find("velmora: " + sentence), std::string::npos) << o.err;
        EXPECT_EQ(o.err.find("could not be read"), std::string::npos) << o.err;
    }
}

}  // namespace
}  // namespace velmora

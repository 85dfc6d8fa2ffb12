// `scan`, `clean` and `restore` speak the language of the run: every sentence they print for a
// person, on standard output and standard error, is in that language; only paths, sizes' units,
// command syntax and the program's name stay as they are. JSON output never changes.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <set>
#include <sstream>

#include "cli/CommandRunner.h"

namespace velmora {
namespace {

using test::CommandHome;
using test::Outcome;

// The ASCII words of three or more letters in `text` that are neither part of a path nor
// command syntax: in a run that is not in English, each one is an untranslated sentence.
std::set<std::string> englishWords(const std::string& text) {
    static const std::set<std::string> kSyntax = {
        "velmora", "scan",   "clean",  "restore", "history",  "last",     "json",     "yes",
        "help",    "entry",  "allow",  "direct",  "defaults", "standard", "insights", "language",
        "folders", "review", "remind", "ignore",  "unignore", "list",     "all",      "sacn",
        "relief",  "quit",   "export", "growth",  "snapshots"};
    std::set<std::string> found;
    std::istringstream tokens(text);
    std::string token;
    while (tokens >> token) {
        if (token.find('/') != std::string::npos || token.starts_with("~")) continue;
        std::string word;
        for (size_t i = 0; i <= token.size(); ++i) {
            const unsigned char c = i < token.size() ? static_cast<unsigned char>(token[i]) : ' ';
            if (c < 0x80 && std::isalpha(c)) {
                word += static_cast<char>(std::tolower(c));
                continue;
            }
            if (word.size() >= 3 && !kSyntax.contains(word)) found.insert(word);
            word.clear();
        }
    }
    return found;
}

std::string joined(const std::set<std::string>& words) {
    std::string out;
    for (const auto& w : words) out += w + " ";
    return out;
}

// A home with two old cache folders and one just written (which the scan skips).
struct LocalizedHome : CommandHome {
    LocalizedHome() {
        oldCacheFile("first/data", std::string(3000, 'a'));
        oldCacheFile("second/data", std::string(5000, 'b'));
        std::filesystem::create_directories(cache("fresh"));
        std::ofstream(cache("fresh/new")) << "new";
    }
};

TEST(LocalizedOutputTest, ScanCleanAndRestoreSpeakJapaneseAndKorean) {
    LocalizedHome h;
    struct Step {
        std::vector<std::string> args;
        int status;
        std::vector<std::string> sentences;  // each printed somewhere in the output
    };
    const std::vector<Step> steps = {
        {{"--language", "ja", "scan"},
         0,
         {"候補 2 件", "スキャンしました。", "最近変更されました"}},
        {{"--language", "ko", "scan"}, 0, {"후보 2개", "~/.cache/fresh — 최근에 수정됨"}},
        // Without a terminal the question cannot be asked: the selection and the refusal.
        {{"--language", "ja", "clean", h.cache("first")},
         2,
         {"1 項目、", "を選択しました。", "何も移動していません。"}},
        {{"--language", "ja", "clean", "--delete-permanently", "--yes", h.cache("second")},
         0,
         {"削除: ~/.cache/second", "を削除しました。"}},
        {{"--language", "ko", "clean", "--yes", h.cache("first")},
         0,
         {"휴지통으로 옮김: ~/.cache/first", "를 휴지통으로 옮겼습니다.",
          "되돌리려면: velmora restore --last"}},
        {{"--language", "ko", "restore", "--last"}, 2, {"아무것도 복원하지 않았습니다."}},
        {{"--language", "ja", "restore", "--last", "--yes"},
         0,
         {"元に戻しました: ~/.cache/first", "1 項目を元に戻しました。"}},
        // Refusals of the command line itself.
        {{"--language", "ja", "clean"}, 2, {"クリーンアップするものを指定してください"}},
        {{"--language", "ko", "sacn"}, 2, {"알 수 없는 명령 'sacn'입니다.", "velmora --help"}},
    };
    for (const auto& step : steps) {
        const Outcome o = h.velmora(step.args);
        const std::string all = o.out + o.err;
        EXPECT_EQ(o.status, step.status) << all;
        for (const auto& sentence : step.sentences) {
            EXPECT_NE(all.find(sentence), std::string::npos) << sentence << " in\n" << all;
        }
        EXPECT_EQ(englishWords(all), std::set<std::string>{}) << joined(englishWords(all)) << "\n"
                                                              << all;
    }
}

TEST(LocalizedOutputTest, TheHelperFindsEnglishButNotPathsOrSyntax) {
    EXPECT_EQ(englishWords("~/.cache/first 3.0 kB `velmora scan --json` 候補 /tmp/Nothing"),
              std::set<std::string>{});
    EXPECT_EQ(englishWords("1 item restored."), (std::set<std::string>{"item", "restored"}));
}

TEST(LocalizedOutputTest, JsonIsTheSameInEveryLanguage) {
    LocalizedHome h;
    // The scan's start time (also the reappearance's observation time) is the one thing two
    // runs may differ in.
    auto withoutTime = [](std::string text) {
        for (const char* key : {"\"scannedAt\"", "\"observedAt\""}) {
            const size_t at = text.find(key);
            if (at != std::string::npos) text.erase(at, text.find('\n', at) - at);
        }
        return text;
    };
    const Outcome english = h.velmora({"--language", "en", "scan", "--json"});
    ASSERT_EQ(english.status, 0) << english.err;
    for (const char* code : {"ja", "ko", "de"}) {
        const Outcome o = h.velmora({"--language", code, "scan", "--json"});
        EXPECT_EQ(withoutTime(o.out), withoutTime(english.out)) << code;
    }
    const Outcome cleaned =
        h.velmora({"--language", "ja", "clean", "--yes", "--json", h.cache("first")});
    ASSERT_EQ(cleaned.status, 0) << cleaned.err;
    EXPECT_EQ(nlohmann::json::parse(cleaned.out)["cleanedItems"].size(), 1u);
    EXPECT_EQ(cleaned.out.find("ゴミ箱"), std::string::npos);
}

}  // namespace
}  // namespace velmora

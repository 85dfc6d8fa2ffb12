// Every command speaks the language of the run: every sentence it prints for a person, on
// standard output and standard error, is in that language; only paths, ids, sizes' units,
// command syntax and the program's name stay as they are. JSON output never changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "cli/CommandRunner.h"

namespace velmora {
namespace {

using test::CommandHome;
using test::Outcome;

// Whether `chunk` is an id: an upper-case UUID, also in parentheses.
bool isID(std::string chunk) {
    if (chunk.starts_with("(") && chunk.ends_with(")")) chunk = chunk.substr(1, chunk.size() - 2);
    return chunk.size() == 36 && std::all_of(chunk.begin(), chunk.end(), [](char c) {
               return c == '-' || std::isdigit(test::uc(c)) || (c >= 'A' && c <= 'F');
           });
}

// The ASCII words of three or more letters in `text` that are neither part of a path, an option,
// an id nor command, format or product names: in a run that is not in English, each one is an
// untranslated sentence.
std::set<std::string> englishWords(const std::string& text) {
    static const std::set<std::string> kSyntax = {
        "velmora", "scan",   "clean",  "restore", "history",  "last",     "json",     "yes",
        "help",    "entry",  "allow",  "direct",  "defaults", "standard", "insights", "language",
        "folders", "review", "remind", "ignore",  "unignore", "list",     "all",      "sacn",
        "relief",  "quit",   "export", "csv",     "mib",      "debian",   "growth",   "snapshots"};
    std::set<std::string> found;
    std::istringstream tokens(text);
    std::string token;
    while (tokens >> token) {
        if (token.find('/') != std::string::npos || token.find('~') != std::string::npos ||
            token.starts_with("--") || isID(token))
            continue;
        std::string word;
        for (size_t i = 0; i <= token.size(); ++i) {
            const unsigned char c = i < token.size() ? test::uc(token[i]) : ' ';
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

// The JSON is for programs: the language of the run never changes it, keys and their order
// included, apart from the scan's start time (also the reappearance's observation time).
TEST(LocalizedOutputTest, JsonIsTheSameInEveryLanguage) {
    LocalizedHome h;
    ASSERT_EQ(h.velmora({"clean", "--yes", "--quiet", h.cache("second")}).status, 0);
    const auto jsonOf = [&h](std::vector<std::string> args) {
        args.push_back("--json");
        const Outcome o = h.velmora(args);
        EXPECT_EQ(o.status, 0) << o.err;
        auto j = nlohmann::ordered_json::parse(o.out, nullptr, false);
        if (j.is_object()) j.erase("scannedAt");
        if (j.is_object() && j.contains("reappearance")) j["reappearance"].erase("observedAt");
        return j.dump();
    };
    for (const std::vector<std::string>& args :
         std::vector<std::vector<std::string>>{{"scan"},
                                               {"folders"},
                                               {"history"},
                                               {"history", "--verify"},
                                               {"insights", "--keepers"}}) {
        const std::string english = jsonOf(args);
        for (const std::string language : {"ja", "ko", "de"}) {
            std::vector<std::string> localized = {"--language", language};
            localized.insert(localized.end(), args.begin(), args.end());
            EXPECT_EQ(jsonOf(localized), english) << language << " " << args[0];
        }
    }
    const Outcome cleaned =
        h.velmora({"--language", "ja", "clean", "--yes", "--json", h.cache("first")});
    ASSERT_EQ(cleaned.status, 0) << cleaned.err;
    EXPECT_EQ(nlohmann::json::parse(cleaned.out)["cleanedItems"].size(), 1u);
    EXPECT_EQ(cleaned.out.find("ゴミ箱"), std::string::npos);
}

class LocalizedHistoryInsightsTest : public ::testing::Test {
  protected:
    CommandHome h;

    void SetUp() override {
        // A recorded cleanup, so the history has an entry to show.
        h.oldCacheFile("app/data.bin", "0123456789");
        const Outcome clean = h.velmora({"clean", "--yes", "--quiet", "--defaults"});
        ASSERT_EQ(clean.status, 0) << clean.err;
    }

    Outcome run(const std::string& language, std::vector<std::string> args) {
        args.insert(args.begin(), {"--language", language});
        return h.velmora(args);
    }
};

TEST_F(LocalizedHistoryInsightsTest, HistoryIsWhollyInTheLanguageOfTheRun) {
    const struct {
        const char* language;
        std::vector<const char*> sentences;
    } cases[] = {
        {"ja",
         {"クリーンアップ (ゴミ箱に移動)", "1 件中 1 件を移動、",
          "記録の整合性: 確認した 1 件の記録で、変更や削除されたエントリはありません。"}},
        {"ko",
         {"정리 (휴지통으로 이동)", "1개 중 1개 이동, ",
          "기록 무결성: 확인한 기록 1개 중 바뀌거나 지워진 항목이 없습니다."}},
    };
    for (const auto& c : cases) {
        const Outcome list = run(c.language, {"history"});
        ASSERT_EQ(list.status, 0) << list.err;
        const Outcome verify = run(c.language, {"history", "--verify"});
        ASSERT_EQ(verify.status, 0) << verify.err;
        const std::string out = list.out + verify.out;
        for (const char* sentence : c.sentences)
            EXPECT_NE(out.find(sentence), std::string::npos) << sentence << "\n" << out;
        EXPECT_EQ(englishWords(out + list.err + verify.err), std::set<std::string>{})
            << c.language << ": " << joined(englishWords(out)) << "\n"
            << out;
    }
}

// A history whose newest entries were cut off, or that is too large to read, is reported in the
// language of the run too.
TEST_F(LocalizedHistoryInsightsTest, DamagedHistorySentencesAreLocalized) {
    const std::string file = h.dataHome + "/Velmora/cleanup-audit-log.json";
    ASSERT_TRUE(std::filesystem::exists(file));
    std::ofstream(file, std::ios::trunc) << "[]";
    const Outcome o = run("ja", {"history", "--verify"});
    EXPECT_EQ(o.status, 1);
    EXPECT_NE(o.out.find("記録の整合性: 最後に記録されたエントリ ("), std::string::npos) << o.out;
    EXPECT_EQ(englishWords(o.out), std::set<std::string>{}) << o.out;

    std::ofstream(file, std::ios::trunc) << "[]" << std::string(2 << 20, ' ');
    const Outcome ko = run("ko", {"history", "--verify"});
    EXPECT_EQ(ko.status, 1);
    EXPECT_NE(ko.out.find("기록 파일이 1 MiB보다 커서"), std::string::npos) << ko.out;
    EXPECT_NE(ko.out.find("(으)로 옮겨 두었습니다"), std::string::npos) << ko.out;
    EXPECT_EQ(englishWords(ko.out), std::set<std::string>{}) << ko.out;
}

TEST_F(LocalizedHistoryInsightsTest, InsightsAreWhollyInTheLanguageOfTheRun) {
    const double old = test::unixNow() - 3 * 86400;
    auto oldFile = [&](const std::string& relative, size_t size) {
        h.tree.file("home/" + relative, 0);
        std::filesystem::resize_file(h.homePath(relative), size);
        h.tree.setMtime("home/" + relative, old);
    };
    oldFile("Downloads/setup.deb", 5000);
    for (const char* name : {"Documents/d.iso", "Downloads/d.iso"}) oldFile(name, 21u << 20);
    h.tree.file("home/Documents/fresh.txt", 10);  // recently modified: listed as skipped
    const struct {
        const char* language;
        std::vector<const char*> sentences;
    } cases[] = {
        {"ja",
         {"ストレージマップ", "3 日前", "このコピーを残す理由:", "Debian ソフトウェアパッケージ",
          "温度: "}},
        {"ko",
         {"저장 공간 지도", "3일 전", "이 사본을 남기는 이유:", "Debian 소프트웨어 패키지",
          "온도 "}},
    };
    for (const auto& c : cases) {
        const Outcome o = run(c.language, {"insights"});
        ASSERT_EQ(o.status, 0) << o.err;
        for (const char* sentence : c.sentences)
            EXPECT_NE(o.out.find(sentence), std::string::npos) << sentence << "\n" << o.out;
        EXPECT_EQ(englishWords(o.out + o.err), std::set<std::string>{})
            << c.language << ": " << joined(englishWords(o.out)) << "\n"
            << o.out;
        const Outcome keepers = run(c.language, {"insights", "--keepers"});
        ASSERT_EQ(keepers.status, 0) << keepers.err;
        EXPECT_EQ(englishWords(keepers.out), std::set<std::string>{}) << keepers.out;
    }
}

}  // namespace
}  // namespace velmora

// `velmora history` and `velmora insights` in the language of the run: every sentence a person
// reads is in that language, while the JSON stays the same document whatever the language.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "cli/CommandRunner.h"

namespace velmora::test {
namespace {

// Whether `chunk` is an id: an upper-case UUID ("1B1432FA-EA7E-40D5-B876-B3D43C9DC40D"), also in
// parentheses.
bool isID(std::string chunk) {
    if (chunk.starts_with("(") && chunk.ends_with(")")) chunk = chunk.substr(1, chunk.size() - 2);
    return chunk.size() == 36 && std::all_of(chunk.begin(), chunk.end(), [](char c) {
               return c == '-' || std::isdigit(uc(c)) || (c >= 'A' && c <= 'F');
           });
}

// The English words left in `text`: runs of three or more ASCII letters, except in paths,
// option names, ids, size units, format and product names and the program's name.
std::vector<std::string> englishWordsIn(const std::string& text) {
    static const std::set<std::string> allowed = {"velmora", "Velmora", "JSON",
                                                  "CSV",     "MiB",     "Debian"};
    std::vector<std::string> found;
    std::istringstream chunks(text);
    std::string chunk;
    while (chunks >> chunk) {
        if (chunk.find('/') != std::string::npos || chunk.find('~') != std::string::npos ||
            chunk.starts_with("--") || isID(chunk)) {
            continue;
        }
        for (size_t i = 0; i < chunk.size();) {
            size_t end = i;
            while (end < chunk.size() && std::isalpha(uc(chunk[end]))) ++end;
            if (end - i >= 3 && !allowed.contains(chunk.substr(i, end - i)))
                found.push_back(chunk.substr(i, end - i));
            i = end == i ? i + 1 : end;
        }
    }
    return found;
}

std::string joined(const std::vector<std::string>& words) {
    std::string s;
    for (const auto& w : words) s += w + " ";
    return s;
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
        EXPECT_EQ(englishWordsIn(out + list.err + verify.err), std::vector<std::string>{})
            << c.language << ": " << joined(englishWordsIn(out)) << "\n"
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
    EXPECT_EQ(englishWordsIn(o.out), std::vector<std::string>{}) << o.out;

    std::ofstream(file, std::ios::trunc) << "[]" << std::string(2 << 20, ' ');
    const Outcome ko = run("ko", {"history", "--verify"});
    EXPECT_EQ(ko.status, 1);
    EXPECT_NE(ko.out.find("기록 파일이 1 MiB보다 커서"), std::string::npos) << ko.out;
    EXPECT_NE(ko.out.find("(으)로 옮겨 두었습니다"), std::string::npos) << ko.out;
    EXPECT_EQ(englishWordsIn(ko.out), std::vector<std::string>{}) << ko.out;
}

TEST_F(LocalizedHistoryInsightsTest, InsightsAreWhollyInTheLanguageOfTheRun) {
    const double old = unixNow() - 3 * 86400;
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
        EXPECT_EQ(englishWordsIn(o.out + o.err), std::vector<std::string>{})
            << c.language << ": " << joined(englishWordsIn(o.out)) << "\n"
            << o.out;
        const Outcome keepers = run(c.language, {"insights", "--keepers"});
        ASSERT_EQ(keepers.status, 0) << keepers.err;
        EXPECT_EQ(englishWordsIn(keepers.out), std::vector<std::string>{}) << keepers.out;
    }
}

// The JSON is for programs: the language of the run never changes a byte of it.
TEST_F(LocalizedHistoryInsightsTest, JsonIsTheSameInEveryLanguage) {
    for (const std::vector<std::string>& args :
         {std::vector<std::string>{"history", "--json"},
          std::vector<std::string>{"history", "--verify", "--json"},
          std::vector<std::string>{"insights", "--keepers", "--json"}}) {
        const Outcome english = run("en", args);
        ASSERT_EQ(english.status, 0) << english.err;
        for (const char* language : {"ja", "ko", "de"}) {
            const Outcome other = run(language, args);
            EXPECT_EQ(other.out, english.out) << language << " " << args[0];
        }
    }
}

}  // namespace
}  // namespace velmora::test

// The history's sentences for people: the same report gives the core's English sentence in
// English and a sentence built from its counts in the other languages.
#include <gtest/gtest.h>

#include "VelmoraUI/dashboard/HistoryTexts.h"

namespace velmora {
namespace {

TEST(HistoryTextsTest, IntegritySentenceForEveryChainStatus) {
    const CleanupAuditChainReport intact{CleanupAuditChainStatus::intact, 7, 0, {}};
    const CleanupAuditChainReport unverifiable{CleanupAuditChainStatus::unverifiable, 2, 3, {}};
    const CleanupAuditChainReport broken{CleanupAuditChainStatus::broken, 1, 0, "ABC"};
    const struct {
        CleanupAuditChainReport report;
        AppLanguage language;
        std::string expected;
    } cases[] = {
        {intact, AppLanguage::japanese,
         "記録の整合性: 確認した 7 件の記録で、変更や削除されたエントリはありません。これは署名"
         "ではなくリンクの確認なので、ログ全体が書き換えられた場合は検出できません。"},
        {intact, AppLanguage::korean,
         "기록 무결성: 확인한 기록 7개 중 바뀌거나 지워진 항목이 없습니다. 서명이 아니라 연결 "
         "확인이므로, 로그 전체를 새로 쓴 경우는 알아낼 수 없습니다."},
        {unverifiable, AppLanguage::japanese,
         "記録の整合性: 3 件の記録にはリンク情報がないため、確認できません。"},
        {unverifiable, AppLanguage::korean,
         "기록 무결성: 기록 3개에 연결 정보가 없어 확인할 수 없습니다."},
        {broken, AppLanguage::japanese,
         "記録の整合性: エントリが変更または削除されています。このログは書き込まれた内容と一致し"
         "なくなっています。"},
        {broken, AppLanguage::korean,
         "기록 무결성: 항목이 바뀌었거나 지워졌습니다. 이 로그는 더 이상 기록된 내용과 일치하지 "
         "않습니다."},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(presentedIntegritySentence(c.report, c.language), c.expected);
        // English is the core's own sentence, which the JSON carries.
        EXPECT_EQ(presentedIntegritySentence(c.report, AppLanguage::english),
                  integritySentence(c.report));
    }
}

// The summary counts one item in the singular and a size below 1 kB in the language's words.
TEST(HistoryTextsTest, EntrySummaryInEnglishAndGerman) {
    CleanupAuditEntry e;
    e.mode = CleaningMode::moveToTrash;
    e.requestedItemCount = 1;
    e.succeededItemCount = 1;
    e.requestedBytes = e.affectedBytes = 10;
    EXPECT_EQ(historyEntrySummary(e, AppLanguage::english),
              "1 of 1 item moved, 10 bytes of 10 bytes (100% of the selected bytes)");
    EXPECT_EQ(historyEntrySummary(e, AppLanguage::german),
              "1 von 1 Objekt verschoben, 10 Bytes von 10 Bytes (100 % der ausgewählten Bytes)");
    e.operation = CleanupAuditOperation::restore;
    e.mode.reset();
    e.requestedItemCount = 3;
    e.failedItemCount = 2;
    e.wasCancelled = true;
    EXPECT_EQ(
        historyEntrySummary(e, AppLanguage::german),
        "1 von 3 Objekten wiederhergestellt, 10 Bytes von 10 Bytes; 2 fehlgeschlagen; abgebrochen");
}

}  // namespace
}  // namespace velmora

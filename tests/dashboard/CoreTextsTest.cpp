// The core's reasons, safety levels and summary sentences as a person reads them in their own
// language: a path or a name inside a reason comes through untouched, every reason the core can
// make has a Korean form, and a text nobody translated is shown as it is.
#include "VelmoraUI/dashboard/CoreTexts.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CleanerCore/cleaning/CleaningService.h"
#include "CleanerCore/safety/CleaningError.h"
#include "CleanerCore/scanning/StorageProfiles.h"
#include "CleanerCore/scanning/StorageScanner.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"

namespace velmora {
namespace {

using L = AppLanguage;
using namespace SkipReason;

TEST(CoreTextsTest, PresentedReasons) {
    struct Case {
        std::string english;
        AppLanguage language;
        std::string expected;
    };
    const std::string odd = "/home/ana/.cache/a: b";  // a path that holds ": "
    const std::vector<Case> cases = {
        // A known prefix is translated; the path after it is kept byte for byte.
        {"Refusing to clean symbolic link: " + odd, L::korean,
         "심볼릭 링크라 정리하지 않음: " + odd},
        {"Refusing to clean symbolic link: " + odd, L::japanese,
         "シンボリックリンクのためクリーンアップしません: " + odd},
        {"Refusing to clean a mount point: /mnt/x", L::german,
         "Einhängepunkt wird nicht bereinigt: /mnt/x"},
        // A whole reason.
        {kRecentlyModified, L::korean, "최근에 수정됨"},
        {kRecentlyModified, L::german, "Kürzlich geändert"},
        {kMountPoint, L::simplifiedChinese, "为安全起见，跳过挂载点"},
        // A path in the middle of the sentence.
        {"Could not move to the Trash: " + odd + " is not a folder.", L::korean,
         "휴지통으로 옮길 수 없습니다. " + odd + "은(는) 폴더가 아닙니다."},
        {"Could not move to the Trash: " + odd + " is not a folder.", L::japanese,
         "ゴミ箱に移動できませんでした。" + odd + " はフォルダではありません。"},
        // A stopped deletion: the place it stopped is kept, and the system's cause translated.
        {"Part of the item was deleted before the deletion stopped at " + odd +
             ": Permission denied",
         L::french,
         "Une partie de l’élément a été supprimée avant que la suppression ne s’arrête à " + odd +
             " : Permission refusée"},
        {"Part of the item was deleted before the deletion stopped at " + odd +
             ": Permission denied",
         L::korean, odd + "에서 삭제가 멈추기 전에 항목의 일부가 삭제됨: 권한이 없음"},
        {"could not read the report " + odd + ": No such file or directory.", L::japanese,
         "レポート " + odd + " を読み込めませんでした: ファイルまたはフォルダがありません。"},
        {"could not read the report " + odd + ": No such file or directory.", L::korean,
         "보고서 " + odd + "을(를) 읽을 수 없습니다: 파일이나 폴더가 없음."},
        // English stays as it is; a text no table knows falls back to it.
        {kRecentlyModified, L::english, kRecentlyModified},
        {"The disk caught fire", L::japanese, "The disk caught fire"},
        {"The disk caught fire", L::korean, "The disk caught fire"},
        // A known prefix with nothing after it is still the prefix, not a whole reason.
        {"Refusing to clean critical path: ", L::korean, "중요한 경로라 정리하지 않음: "},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(presentedReason(c.english, c.language), c.expected)
            << c.english << " in " << languageCode(c.language);
    }
}

// Every reason the core can put into a report or a result is known to the table: in Korean
// (which no data file covers) it never comes out in English, and its path survives.
TEST(CoreTextsTest, EveryCoreReasonHasAKoreanForm) {
    const std::string path = "/home/ana/.cache/x";
    std::vector<std::string> reasons = {
        kFolderDoesNotExist, kCouldNotEnumerate,  kScanRootItself,
        kSymbolicLink,       kProtectedPath,      kContainsProtected,
        kInventoryLimit,     kRecentlyModified,   kEmptyItem,
        kMountPoint,         kContainsMountPoint, partlyDeletedReason(path, "Permission denied")};
    for (int k = 0; k <= static_cast<int>(CleaningError::Kind::moveToTrashUnavailable); ++k) {
        reasons.push_back(CleaningError{static_cast<CleaningError::Kind>(k), path}.description());
    }
    for (auto refusal :
         {ScanRootRefusal::tooBroad, ScanRootRefusal::userFolder, ScanRootRefusal::systemFolder,
          ScanRootRefusal::otherUser, ScanRootRefusal::protectedData, ScanRootRefusal::notOwned}) {
        reasons.push_back(description(refusal));
    }
    for (auto kind :
         {CustomScanFolderError::Kind::notDirectory, CustomScanFolderError::Kind::unsafeRoot}) {
        reasons.push_back(CustomScanFolderError{kind, path}.description());
    }
    for (const auto& english : reasons) {
        const std::string korean = presentedReason(english, L::korean);
        EXPECT_NE(korean, english);
        if (english.find(path) != std::string::npos) {
            EXPECT_NE(korean.find(path), std::string::npos) << korean;
        }
    }
}

// A path inside a translated sentence is the item's name byte for byte, even when it is not
// valid UTF-8: the terminal-safe escaping that follows must see the real bytes, or two different
// names could be shown alike.
TEST(CoreTextsTest, PathsInsideSentencesKeepTheirBytes) {
    const std::string raw = "/home/ana/.cache/bad\xff\xfename";
    const std::string cases[] = {
        "Could not move to the Trash: " + raw + " is not a folder.",
        "Could not restore because the Trash folder " + raw +
            " is a symbolic link, and Velmora never follows links in the Trash.",
        "Part of the item was deleted before the deletion stopped at " + raw +
            ": Permission denied",
        "could not read the report " + raw + ": No such file or directory.",
        "Refusing to clean symbolic link: " + raw,
    };
    for (const auto& english : cases) {
        for (AppLanguage language : {L::japanese, L::german, L::korean}) {
            const std::string shown = presentedReason(english, language);
            EXPECT_NE(shown.find(raw), std::string::npos) << english;
            EXPECT_NE(shown, english) << english;
        }
    }
}

TEST(CoreTextsTest, SizesKeepTheirUnitsAndTranslateBytes) {
    EXPECT_EQ(bytesText(0, L::japanese), "0 バイト");
    EXPECT_EQ(bytesText(1, L::german), "1 Byte");
    EXPECT_EQ(bytesText(999, L::korean), "999바이트");
    EXPECT_EQ(bytesText(1500, L::french), "1.5 kB");
    EXPECT_EQ(bytesText(2'500'000, L::korean), "2.5 MB");
}

TEST(CoreTextsTest, SummariesAreWholeSentences) {
    const CleanupTally deletion{CleaningMode::deletePermanently, 1, 12'000, 2, 1, false};
    EXPECT_EQ(cleanupSummaryText(deletion, L::english),
              "1 item (12.0 kB) deleted. 2 items were left in place. 1 item was partly deleted.");
    EXPECT_EQ(cleanupSummaryText(deletion, L::spanish),
              "1 elemento (12.0 kB) eliminado. 2 elementos se dejaron donde estaban. 1 elemento "
              "se eliminó en parte.");
    EXPECT_EQ(restoreSummaryText(0, 1, true, L::japanese),
              "0 項目を元に戻しました。1 項目はゴミ箱に残っています。"
              "キャンセルしました。残りの項目はゴミ箱に残っています。");
    EXPECT_EQ(labelledText("Caches", "2 éléments", L::french), "Caches : 2 éléments");
    EXPECT_EQ(labelledText("キャッシュ", "2 項目", L::japanese), "キャッシュ: 2 項目");
}

}  // namespace
}  // namespace velmora

#include "VelmoraUI/dashboard/CleanupTexts.h"

#include <fmt/format.h>
#include <cmath>
#include <ctime>

#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

namespace {

// Between two sentences: Chinese and Japanese end a sentence with a full-width stop and start
// the next without a space.
std::string sentenceGap(AppLanguage language) {
    switch (language) {
        case AppLanguage::japanese:
        case AppLanguage::simplifiedChinese:
        case AppLanguage::traditionalChinese:
            return "";
        default:
            return " ";
    }
}

// English needs the singular for a count of one; the sentence is chosen whole.
const char* pick(int64_t count, const char* one, const char* many) {
    return count == 1 ? one : many;
}

}  // namespace

std::string bytesText(int64_t bytes, AppLanguage language) {
    const VelmoraCopy copy{language};
    if (bytes == 1) return copy.text("1 byte", "1바이트");
    if (bytes < 0 || bytes >= 1000) return formatBytes(bytes);
    // i18n-example: "0 bytes"
    // i18n-example: "999 bytes"
    return copy.text(fmt::format("{} bytes", bytes), fmt::format("{}바이트", bytes));
}

std::string scanTotalsText(int64_t candidates, int64_t bytes, int64_t selected,
                           int64_t selectedBytes, AppLanguage language) {
    const std::string total = bytesText(bytes, language),
                      chosen = bytesText(selectedBytes, language);
    // i18n-example: "1 candidate, 12.0 kB in total; 1 selected by default (*), 12.0 kB."
    // i18n-example: "7 candidates, 1.21 GB in total; 0 selected by default (*), 0 bytes."
    return VelmoraCopy{language}.text(
        fmt::format("{} {}, {} in total; {} selected by default (*), {}.", candidates,
                    pick(candidates, "candidate", "candidates"), total, selected, chosen),
        fmt::format("후보 {}개, 모두 {}; 기본 선택(*) {}개, {}.", candidates, total, selected,
                    chosen));
}

std::string skippedHeadingText(int64_t count, AppLanguage language) {
    // i18n-example: "1 item skipped:"
    // i18n-example: "12 items skipped:"
    return VelmoraCopy{language}.text(
        fmt::format("{} {} skipped:", count, pick(count, "item", "items")),
        fmt::format("건너뛴 항목 {}개:", count));
}

std::string scanFinishedText(int64_t folders, AppLanguage language) {
    // clang-format off
    // i18n-example: "1 folder scanned. Nothing was changed; use `velmora clean` to move items to the Trash."
    // i18n-example: "5 folders scanned. Nothing was changed; use `velmora clean` to move items to the Trash."
    // clang-format on
    return VelmoraCopy{language}.text(
        fmt::format("{} {} scanned. Nothing was changed; use `velmora clean` to move items to "
                    "the Trash.",
                    folders, pick(folders, "folder", "folders")),
        fmt::format("폴더 {}개를 검사했습니다. 아무것도 바꾸지 않았습니다. 항목을 휴지통으로 "
                    "옮기려면 `velmora clean`을 사용하세요.",
                    folders));
}

std::string lastScanSummaryText(int64_t candidates, int64_t bytes, AppLanguage language) {
    const std::string size = bytesText(bytes, language);
    // i18n-example: "Last scan: 1 item, 12.0 kB can be reclaimed."
    // i18n-example: "Last scan: 12 items, 1.4 GB can be reclaimed."
    return VelmoraCopy{language}.text(
        fmt::format("Last scan: {} {}, {} can be reclaimed.", candidates,
                    pick(candidates, "item", "items"), size),
        fmt::format("마지막 검사: 항목 {}개, {}를 확보할 수 있습니다.", candidates, size));
}

std::string scanProgressCountsText(int64_t lookedAt, int64_t found, AppLanguage language) {
    // i18n-example: "1 item looked at, 0 found"
    // i18n-example: "1234 items looked at, 5 found"
    return VelmoraCopy{language}.text(
        fmt::format("{} {} looked at, {} found", lookedAt, pick(lookedAt, "item", "items"), found),
        fmt::format("항목 {}개 확인, {}개 찾음", lookedAt, found));
}

std::string selectionSummaryText(int64_t count, int64_t bytes, AppLanguage language) {
    const std::string size = bytesText(bytes, language);
    // i18n-example: "1 item, 12.0 kB selected."
    // i18n-example: "3 items, 1.2 MB selected."
    return VelmoraCopy{language}.text(
        fmt::format("{} {}, {} selected.", count, pick(count, "item", "items"), size),
        fmt::format("항목 {}개, {} 선택됨.", count, size));
}

std::string safetyBreakdownText(int64_t safe, int64_t caution, int64_t manualReview,
                                AppLanguage language) {
    // i18n-example: "By safety: 1 Safe, 2 Caution, 0 Manual Review"
    return VelmoraCopy{language}.text(
        fmt::format("By safety: {} Safe, {} Caution, {} Manual Review", safe, caution,
                    manualReview),
        fmt::format("안전 수준별: 안전 {}개, 주의 {}개, 직접 검토 {}개", safe, caution,
                    manualReview));
}

std::string itemsAndBytesText(int64_t count, int64_t bytes, AppLanguage language) {
    const std::string size = bytesText(bytes, language);
    // i18n-example: "1 item, 0 bytes"
    // i18n-example: "2 items, 1.2 MB"
    return VelmoraCopy{language}.text(
        fmt::format("{} {}, {}", count, pick(count, "item", "items"), size),
        fmt::format("항목 {}개, {}", count, size));
}

std::string cleanupSummaryText(const CleanupTally& t, AppLanguage language) {
    const VelmoraCopy copy{language};
    const std::string size = bytesText(t.cleanedBytes, language);
    const char* noun = pick(t.cleaned, "item", "items");
    std::string out;
    if (t.mode == CleaningMode::moveToTrash) {
        // i18n-example: "1 item (12.0 kB) moved to the Trash."
        // i18n-example: "0 items (0 bytes) moved to the Trash."
        out = copy.text(fmt::format("{} {} ({}) moved to the Trash.", t.cleaned, noun, size),
                        fmt::format("항목 {}개({})를 휴지통으로 옮겼습니다.", t.cleaned, size));
    } else {
        // i18n-example: "1 item (12.0 kB) deleted."
        // i18n-example: "0 items (0 bytes) deleted."
        out = copy.text(fmt::format("{} {} ({}) deleted.", t.cleaned, noun, size),
                        fmt::format("항목 {}개({})를 삭제했습니다.", t.cleaned, size));
    }
    if (t.leftInPlace > 0) {
        // i18n-example: "1 item was left in place."
        // i18n-example: "2 items were left in place."
        out += sentenceGap(language) +
               copy.text(fmt::format("{} {} left in place.", t.leftInPlace,
                                     pick(t.leftInPlace, "item was", "items were")),
                         fmt::format("항목 {}개는 그대로 두었습니다.", t.leftInPlace));
    }
    if (t.partlyDeleted > 0) {
        // i18n-example: "1 item was partly deleted."
        // i18n-example: "2 items were partly deleted."
        out += sentenceGap(language) +
               copy.text(fmt::format("{} {} partly deleted.", t.partlyDeleted,
                                     pick(t.partlyDeleted, "item was", "items were")),
                         fmt::format("항목 {}개는 일부만 삭제되었습니다.", t.partlyDeleted));
    }
    if (t.cancelled) {
        out += sentenceGap(language) + copy.text("Cancelled: the remaining items were not touched.",
                                                 "취소됨: 나머지 항목은 건드리지 않았습니다.");
    }
    return out;
}

std::string restoreSummaryText(int64_t restored, int64_t leftInTrash, bool cancelled,
                               AppLanguage language) {
    const VelmoraCopy copy{language};
    // i18n-example: "1 item restored."
    // i18n-example: "0 items restored."
    std::string out =
        copy.text(fmt::format("{} {} restored.", restored, pick(restored, "item", "items")),
                  fmt::format("항목 {}개를 복원했습니다.", restored));
    if (leftInTrash > 0) {
        // i18n-example: "1 item was left in the Trash."
        // i18n-example: "3 items were left in the Trash."
        out += sentenceGap(language) +
               copy.text(fmt::format("{} {} left in the Trash.", leftInTrash,
                                     pick(leftInTrash, "item was", "items were")),
                         fmt::format("항목 {}개는 휴지통에 남아 있습니다.", leftInTrash));
    }
    if (cancelled) {
        out +=
            sentenceGap(language) + copy.text("Cancelled: the remaining items stay in the Trash.",
                                              "취소됨: 나머지 항목은 휴지통에 남아 있습니다.");
    }
    return out;
}

namespace {

// The calendar day of `date` on this machine's clock, as digits every language reads.
std::string localDayText(Date date) {
    const auto unix = static_cast<time_t>(std::floor(date + kReferenceDateUnixOffset));
    std::tm local{};
    ::localtime_r(&unix, &local);
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", &local);
    return text;
}

}  // namespace

std::optional<std::string> reappearanceSentence(const CleanupReappearanceObservation& observation,
                                                AppLanguage language) {
    using Assessment = CleanupReappearanceObservation::Assessment;
    const auto& o = observation;
    if (o.assessment == Assessment::noRecentCleanup || !o.cleanedAt) return std::nullopt;
    const VelmoraCopy copy{language};
    const std::string day = localDayText(*o.cleanedAt);
    const std::string cleaned = bytesText(o.recordedCleanedBytes, language);
    const std::string back = bytesText(o.samePathReappearedBytes, language);
    switch (o.assessment) {
        case Assessment::noRecentCleanup:
            return std::nullopt;
        case Assessment::noRecordedCleanedItems:
            // clang-format off
            // i18n-example: "The cleanup on 2026-11-20 kept no list of its items, so this scan cannot tell whether its 1.2 MB came back."
            // clang-format on
            return copy.text(
                fmt::format("The cleanup on {} kept no list of its items, so this scan cannot "
                            "tell whether its {} came back.",
                            day, cleaned),
                fmt::format("{} 정리는 항목 목록을 남기지 않아, 이번 검사로는 그 {}가 다시 "
                            "생겼는지 알 수 없습니다.",
                            day, cleaned));
        case Assessment::awaitingFollowupScan:
            // clang-format off
            // i18n-example: "This scan started before the cleanup on 2026-11-20 was recorded; scan again to see whether what it cleaned (1.2 MB) comes back."
            // clang-format on
            return copy.text(
                fmt::format("This scan started before the cleanup on {} was recorded; scan again "
                            "to see whether what it cleaned ({}) comes back.",
                            day, cleaned),
                fmt::format("이번 검사는 {} 정리가 기록되기 전에 시작되었습니다. 정리한 것({})이 "
                            "다시 생기는지 보려면 다시 검사하세요.",
                            day, cleaned));
        case Assessment::ambiguousAfterRestore:
            // clang-format off
            // i18n-example: "Items cleaned on 2026-11-20 (1.2 MB) were restored since, so this scan cannot tell how much came back on its own."
            // clang-format on
            return copy.text(
                fmt::format("Items cleaned on {} ({}) were restored since, so this scan cannot "
                            "tell how much came back on its own.",
                            day, cleaned),
                fmt::format("{}에 정리한 항목({}) 중 일부가 그 뒤 복원되어, 이번 검사로는 저절로 "
                            "다시 생긴 양을 알 수 없습니다.",
                            day, cleaned));
        case Assessment::noSamePathReappearance:
            // clang-format off
            // i18n-example: "Nothing of the 1.2 MB cleaned on 2026-11-20 is back at the same paths, so that cleanup kept its space free."
            // clang-format on
            return copy.text(
                fmt::format("Nothing of the {} cleaned on {} is back at the same paths, so that "
                            "cleanup kept its space free.",
                            cleaned, day),
                fmt::format("{}에 정리한 {} 중 같은 경로에 다시 생긴 것은 없습니다. 그 정리로 "
                            "확보한 공간이 그대로 남아 있습니다.",
                            day, cleaned));
        case Assessment::partialReappearance:
            // clang-format off
            // i18n-example: "300 kB of the 1.2 MB cleaned on 2026-11-20 is back at the same paths: part of it regenerates, so cleaning it again frees some space for a while."
            // clang-format on
            return copy.text(
                fmt::format("{} of the {} cleaned on {} is back at the same paths: part of it "
                            "regenerates, so cleaning it again frees some space for a while.",
                            back, cleaned, day),
                fmt::format("{}에 정리한 {} 중 {}가 같은 경로에 다시 생겼습니다. 일부는 다시 "
                            "만들어지므로, 다시 정리해도 공간은 한동안만 확보됩니다.",
                            day, cleaned, back));
        case Assessment::substantialReappearance:
            // clang-format off
            // i18n-example: "1.1 MB of the 1.2 MB cleaned on 2026-11-20 is back at the same paths: it regenerates with use, so cleaning it again frees space only for a short while."
            // clang-format on
            return copy.text(
                fmt::format("{} of the {} cleaned on {} is back at the same paths: it regenerates "
                            "with use, so cleaning it again frees space only for a short while.",
                            back, cleaned, day),
                fmt::format("{}에 정리한 {} 중 {}가 같은 경로에 다시 생겼습니다. 사용하면서 다시 "
                            "만들어지므로, 다시 정리해도 공간은 잠깐만 확보됩니다.",
                            day, cleaned, back));
    }
    return std::nullopt;
}

std::string labelledText(std::string_view label, std::string_view value, AppLanguage language) {
    std::string out(label);
    out += language == AppLanguage::french ? " : " : ": ";
    out += value;
    return out;
}

}  // namespace velmora

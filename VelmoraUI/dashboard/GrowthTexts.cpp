#include "VelmoraUI/dashboard/GrowthTexts.h"

#include <fmt/format.h>

#include "CleanerCore/scanning/CleanupModel.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

std::string signedBytes(int64_t change) {
    if (change == 0) return formatBytes(0);
    // U+2212 MINUS SIGN: the same width as "+", unlike a hyphen.
    return (change > 0 ? "+" : "\u2212") + formatBytes(change > 0 ? change : -change);
}

std::string growthHeadline(const DeltaBlameComparison& c, const std::string& earlierDate,
                           AppLanguage language) {
    const VelmoraCopy copy{language};
    const std::string amount = formatBytes(c.change() >= 0 ? c.change() : -c.change());
    const std::string from = formatBytes(c.earlierBytes), to = formatBytes(c.laterBytes);
    if (c.change() > 0) {
        // clang-format off
        // i18n-example: "Since the scan of 18 Nov 2026 14:02, cleanup candidates grew by 1.2 GB, from 3.4 GB to 4.6 GB."
        // clang-format on
        return copy.text(
            fmt::format("Since the scan of {}, cleanup candidates grew by {}, from {} to {}.",
                        earlierDate, amount, from, to),
            fmt::format("{} 검사 이후 정리 후보가 {}에서 {}로 {} 늘었습니다.", earlierDate, from,
                        to, amount));
    }
    if (c.change() < 0) {
        // clang-format off
        // i18n-example: "Since the scan of 18 Nov 2026 14:02, cleanup candidates shrank by 300 MB, from 4.6 GB to 4.3 GB."
        // clang-format on
        return copy.text(
            fmt::format("Since the scan of {}, cleanup candidates shrank by {}, from {} to {}.",
                        earlierDate, amount, from, to),
            fmt::format("{} 검사 이후 정리 후보가 {}에서 {}로 {} 줄었습니다.", earlierDate, from,
                        to, amount));
    }
    // i18n-example: "Since the scan of 18 Nov 2026 14:02, cleanup candidates stayed at 4.6 GB."
    return copy.text(
        fmt::format("Since the scan of {}, cleanup candidates stayed at {}.", earlierDate, to),
        fmt::format("{} 검사 이후 정리 후보는 {} 그대로입니다.", earlierDate, to));
}

std::optional<std::string> growthUnavailableSentence(
    const std::optional<DeltaBlameComparison>& comparison, size_t comparableSnapshots,
    AppLanguage language) {
    const VelmoraCopy copy{language};
    if (!comparison) {
        if (comparableSnapshots == 0) {
            return copy.text(
                "There is nothing to compare yet: growth needs two completed scans, and none "
                "is kept. Scan now, and again later, to see what grew.",
                "아직 비교할 것이 없습니다. 증가량을 보려면 완료된 검사가 두 번 필요한데, 보관된 "
                "검사가 없습니다. 지금 검사하고 나중에 다시 검사하면 무엇이 늘었는지 볼 수 "
                "있습니다.");
        }
        return copy.text(
            "There is nothing to compare yet: growth needs two completed scans, and one is kept "
            "so far. Scan again later to see what grew.",
            "아직 비교할 것이 없습니다. 증가량을 보려면 완료된 검사가 두 번 필요한데, 지금까지 "
            "하나만 보관되어 있습니다. 나중에 다시 검사하면 무엇이 늘었는지 볼 수 있습니다.");
    }
    using K = DeltaBlameComparability::Kind;
    switch (comparison->comparability.kind) {
        case K::comparable:
        case K::scopedComparable:
            return std::nullopt;
        case K::incomplete: {
            const bool earlier =
                !comparison->sides.empty() &&
                comparison->sides.front().side == DeltaBlameComparisonSide::earlier;
            const bool both = comparison->sides.size() > 1;
            if (both) {
                return copy.text("These scans cannot be compared: neither of them completed.",
                                 "이 검사들은 비교할 수 없습니다. 둘 다 완료되지 않았습니다.");
            }
            return earlier ? copy.text(
                                 "These scans cannot be compared: the earlier scan did not "
                                 "complete.",
                                 "이 검사들은 비교할 수 없습니다. 이전 검사가 완료되지 "
                                 "않았습니다.")
                           : copy.text(
                                 "These scans cannot be compared: the later scan did not "
                                 "complete.",
                                 "이 검사들은 비교할 수 없습니다. 나중 검사가 완료되지 "
                                 "않았습니다.");
        }
        case K::unavailable:
            return copy.text(
                "These scans cannot be compared: a snapshot was made under rules this version of "
                "Velmora does not know.",
                "이 검사들은 비교할 수 없습니다. 이 버전의 Velmora가 알지 못하는 규칙으로 만든 "
                "스냅샷이 있습니다.");
        case K::policyMismatch:
            return copy.text(
                "These scans cannot be compared: they were made in different scan modes or under "
                "other cleanup rules, so their totals say nothing about growth.",
                "이 검사들은 비교할 수 없습니다. 서로 다른 검사 모드나 다른 정리 규칙으로 "
                "만들어져서 합계가 증가량을 말해 주지 않습니다.");
        case K::rootMismatch:
            return copy.text("These scans cannot be compared: they looked at different folders.",
                             "이 검사들은 비교할 수 없습니다. 서로 다른 폴더를 검사했습니다.");
    }
    return std::nullopt;
}

std::string sinceNotReachedSentence(const std::string& oldestDate, AppLanguage language) {
    // clang-format off
    // i18n-example: "No kept scan is that old; the oldest, from 18 Nov 2026 14:02, is used."
    // clang-format on
    return VelmoraCopy{language}.text(
        fmt::format("No kept scan is that old; the oldest, from {}, is used.", oldestDate),
        fmt::format("그만큼 오래된 검사는 보관되어 있지 않아 가장 오래된 {} 검사와 비교합니다.",
                    oldestDate));
}

std::string evidenceBoundSentence(AppLanguage language) {
    return VelmoraCopy{language}.text(
        "Some smaller items were kept only as totals: their bytes are counted above, but they "
        "are not listed one by one.",
        "일부 작은 항목은 합계로만 보관되었습니다. 크기는 위에 포함되었지만 하나씩 나열되지는 "
        "않습니다.");
}

std::string changeKindLabel(DeltaBlameChangeKind kind, AppLanguage language) {
    static constexpr CopyPair labels[] = {
        CopyPair{"unchanged", "변화 없음"},
        CopyPair{"grew", "늘어남"},
        CopyPair{"shrank", "줄어듦"},
        CopyPair{"appeared", "새로 생김"},
        CopyPair{"no longer found", "더 이상 없음"},
        CopyPair{"probably moved", "옮겨진 듯함"},
        CopyPair{"unclear", "불분명"},
        CopyPair{"not comparable", "비교할 수 없음"},
    };
    return labels[static_cast<size_t>(kind)].in(language);
}

std::string categoryTallyText(const DeltaBlameCategoryChange& category, AppLanguage language) {
    std::string out;
    for (size_t k = 0; k < kDeltaBlameChangeKindCount; ++k) {
        const auto& tally = category.tallies[k];
        const auto kind = static_cast<DeltaBlameChangeKind>(k);
        if (tally.count == 0 || kind == DeltaBlameChangeKind::unchanged) continue;
        if (!out.empty()) out += ", ";
        out += fmt::format("{}: {} ({})", changeKindLabel(kind, language), tally.count,
                           signedBytes(tally.change));
    }
    return out;
}

std::string categoryKeyTitle(const DeltaBlameCategoryKey& key, AppLanguage language) {
    if (auto category = categoryFromRaw(key.rawValue)) return categoryTitle(*category, language);
    return key.rawValue;
}

std::string rootNotComparedText(const DeltaBlameRootChange& root, AppLanguage language) {
    const VelmoraCopy copy{language};
    const bool earlier = root.side == DeltaBlameComparisonSide::earlier;
    if (root.reason == DeltaBlameNotComparableReason::rootSet) {
        return earlier ? copy.text("scanned only the earlier time", "이전 검사에서만 검사함")
                       : copy.text("scanned only the later time", "나중 검사에서만 검사함");
    }
    if (root.outcome == DeltaBlameRootOutcomeKind::policyExcludedButComplete) {
        return earlier ? copy.text("left out by the safety rules the earlier time",
                                   "이전 검사에서 안전 규칙으로 제외됨")
                       : copy.text("left out by the safety rules the later time",
                                   "나중 검사에서 안전 규칙으로 제외됨");
    }
    return earlier ? copy.text("could not be read completely the earlier time",
                               "이전 검사에서 끝까지 읽지 못함")
                   : copy.text("could not be read completely the later time",
                               "나중 검사에서 끝까지 읽지 못함");
}

std::string unnamedRootText(AppLanguage language) {
    return VelmoraCopy{language}.text("a folder that is not scanned now",
                                      "지금은 검사하지 않는 폴더");
}

std::string growthHeading(AppLanguage language) {
    return VelmoraCopy{language}.text("What grew", "무엇이 늘었나");
}
std::string byCategoryHeading(AppLanguage language) {
    return VelmoraCopy{language}.text("By category", "범주별");
}
std::string byFolderHeading(AppLanguage language) {
    return VelmoraCopy{language}.text("By folder", "폴더별");
}
std::string notComparedHeading(AppLanguage language) {
    return VelmoraCopy{language}.text("Not compared", "비교하지 않음");
}
std::string largestChangesHeading(AppLanguage language) {
    return VelmoraCopy{language}.text("Largest changes", "가장 큰 변화");
}

std::string omittedChangesSentence(const DeltaBlameTally& omitted, AppLanguage language) {
    const std::string change = signedBytes(omitted.change);
    // i18n-example: "And 12 smaller changes (+3.4 MB)."
    return VelmoraCopy{language}.text(
        fmt::format("And {} smaller changes ({}).", omitted.count, change),
        fmt::format("그 밖의 작은 변화 {}개({}).", omitted.count, change));
}

std::string snapshotTrustLabel(DeltaBlameSnapshotTrust trust, AppLanguage language) {
    static constexpr CopyPair labels[] = {
        CopyPair{"complete", "완료"},
        CopyPair{"cancelled", "취소됨"},
        CopyPair{"replaced by a newer scan", "새 검사로 대체됨"},
        CopyPair{"incomplete", "불완전"},
        CopyPair{"rules unknown", "규칙을 알 수 없음"},
        CopyPair{"from another version", "다른 버전에서 만듦"},
    };
    return labels[static_cast<size_t>(trust)].in(language);
}

std::string keptSnapshotsSentence(size_t kept, int64_t maximum, AppLanguage language) {
    const VelmoraCopy copy{language};
    if (kept == 0) {
        return copy.text(
            "No scan snapshot is kept yet. Every completed scan keeps one: totals per category "
            "and folder, with items known only by keyed tokens, never by name.",
            "보관된 검사 스냅샷이 아직 없습니다. 완료된 검사마다 하나씩 보관됩니다. 범주와 "
            "폴더별 합계만 담고, 항목은 이름이 아니라 키로 만든 토큰으로만 알아봅니다.");
    }
    // i18n-example: "Kept scan snapshots: 3 (at most 20)."
    return copy.text(fmt::format("Kept scan snapshots: {} (at most {}).", kept, maximum),
                     fmt::format("보관된 검사 스냅샷: {}개(최대 {}개).", kept, maximum));
}

std::string scanModeLabel(std::string_view scanMode, AppLanguage language) {
    const auto mode = scanModeFromRaw(scanMode);
    if (!mode) return std::string(scanMode);
    static constexpr CopyPair labels[] = {
        CopyPair{"standard scan", "표준 검사"},
        CopyPair{"aggressive scan", "적극적 검사"},
        CopyPair{"direct scan", "직접 검사"},
    };
    return labels[static_cast<size_t>(*mode)].in(language);
}

std::string snapshotItemsText(int64_t items, AppLanguage language) {
    const VelmoraCopy copy{language};
    if (items == 1) return copy.text("1 item", "항목 1개");
    // i18n-example: "1234 items"
    return copy.text(fmt::format("{} items", items), fmt::format("항목 {}개", items));
}

std::string sincePreviousScanLabel(AppLanguage language) {
    return VelmoraCopy{language}.text("Since the previous scan", "이전 검사 이후");
}

std::string sinceDaysAgoLabel(int days, AppLanguage language) {
    const VelmoraCopy copy{language};
    if (days == 30) return copy.text("Since 30 days ago", "30일 전 이후");
    return copy.text("Since 7 days ago", "7일 전 이후");
}

std::string trendTimelineHeading(AppLanguage language) {
    return VelmoraCopy{language}.text("Cleanup candidates over time", "시간에 따른 정리 후보");
}

std::string itemModifiedText(const std::string& date, AppLanguage language) {
    // i18n-example: "modified 18 Nov 2026 14:02"
    return VelmoraCopy{language}.text(fmt::format("modified {}", date),
                                      fmt::format("{} 수정", date));
}

}  // namespace velmora

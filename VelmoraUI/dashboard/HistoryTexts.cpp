#include "VelmoraUI/dashboard/HistoryTexts.h"

#include <fmt/format.h>

#include "CleanerCore/review/CleanupStorageImpactReport.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

std::string presentedIntegritySentence(const CleanupAuditChainReport& report,
                                       AppLanguage language) {
    if (language == AppLanguage::english) return integritySentence(report);
    const VelmoraCopy copy{language};
    switch (report.status) {
        case CleanupAuditChainStatus::intact:
            // clang-format off
            // i18n-example: "Record integrity: no entry was changed or removed across the 7 checked records. This is a link check, not a signature, so a log rewritten in full would not be caught."
            // clang-format on
            return copy.text(
                integritySentence(report),
                fmt::format("기록 무결성: 확인한 기록 {}개 중 바뀌거나 지워진 항목이 없습니다. "
                            "서명이 아니라 연결 확인이므로, 로그 전체를 새로 쓴 경우는 알아낼 수 "
                            "없습니다.",
                            report.verifiedEntryCount));
        case CleanupAuditChainStatus::unverifiable:
            // clang-format off
            // i18n-example: "Record integrity: 3 records carry no link information, so they cannot be checked."
            // clang-format on
            return copy.text(integritySentence(report),
                             fmt::format("기록 무결성: 기록 {}개에 연결 정보가 없어 확인할 수 "
                                         "없습니다.",
                                         report.unverifiableEntryCount));
        case CleanupAuditChainStatus::broken:
            break;
    }
    return copy.text(
        "Record integrity: an entry was changed or removed. This log no longer matches what "
        "was written.",
        "기록 무결성: 항목이 바뀌었거나 지워졌습니다. 이 로그는 더 이상 기록된 내용과 일치하지 "
        "않습니다.");
}

std::string chainBreakSentence(std::string_view entryID, AppLanguage language) {
    const std::string id(entryID);
    // i18n-example: "The chain breaks at entry 0C7D3E5A-1B2C-4D3E-8F90-A1B2C3D4E5F6."
    return VelmoraCopy{language}.text("The chain breaks at entry " + id + ".",
                                      "연결은 항목 " + id + "에서 끊어집니다.");
}

std::string missingNewestEntrySentence(std::string_view entryID, AppLanguage language) {
    const std::string id(entryID);
    // clang-format off
    // i18n-example: "Record integrity: the newest entry that was recorded (0C7D3E5A-1B2C-4D3E-8F90-A1B2C3D4E5F6) is missing or changed, so entries were removed from the newest end of this log or the file was replaced. This log no longer matches what was written."
    // clang-format on
    return VelmoraCopy{language}.text(
        "Record integrity: the newest entry that was recorded (" + id +
            ") is missing or changed, so entries were removed from the newest end of this log "
            "or the file was replaced. This log no longer matches what was written.",
        "기록 무결성: 마지막으로 기록된 항목(" + id +
            ")이 없거나 바뀌었습니다. 로그의 최신 쪽 항목이 지워졌거나 파일이 바뀌었습니다. 이 "
            "로그는 더 이상 기록된 내용과 일치하지 않습니다.");
}

std::string unreadableHistorySentence(std::string_view damage,
                                      const std::optional<std::string>& backupPath,
                                      size_t keptEntries, AppLanguage language) {
    const VelmoraCopy copy{language};
    std::string s;
    if (damage == "oversized") {
        s = copy.text(
            "Record integrity: the history file could not be read (it is larger than 1 MiB), so "
            "nothing was checked.",
            "기록 무결성: 기록 파일이 1 MiB보다 커서 읽을 수 없었으므로 아무것도 확인하지 "
            "않았습니다.");
    } else if (damage == "unreadable") {
        s = copy.text(
            "Record integrity: the history file could not be read (it is not a regular file that "
            "can be read), so nothing was checked.",
            "기록 무결성: 기록 파일이 읽을 수 있는 일반 파일이 아니어서 아무것도 확인하지 "
            "않았습니다.");
    } else if (damage == "undecodable") {
        s = copy.text(
            "Record integrity: the history file could not be read (it is damaged and does not "
            "hold a valid history), so nothing was checked.",
            "기록 무결성: 기록 파일이 손상되어 올바른 기록이 없으므로 아무것도 확인하지 "
            "않았습니다.");
    } else {
        s = copy.text(
            "Record integrity: the history file could not be read (the system could not open it "
            "just now), so nothing was checked.",
            "기록 무결성: 지금은 시스템이 기록 파일을 열 수 없어 아무것도 확인하지 않았습니다.");
    }
    s += " ";
    if (backupPath && keptEntries > 0) {
        const std::string count = std::to_string(keptEntries);
        // clang-format off
        // i18n-example: "It was moved aside to ~/.local/share/Velmora/cleanup-audit-log.json.undecodable-1764000000-0C7D3E5A, and the 3 entries that could still be read were kept; the history starts again from there."
        // clang-format on
        s += copy.text("It was moved aside to " + *backupPath + ", and the " + count +
                           " entries that could still be read were kept; the history starts "
                           "again from there.",
                       "파일은 " + *backupPath + "(으)로 옮겨 두었고, 아직 읽을 수 있던 항목 " +
                           count + "개는 남겼습니다. 기록은 거기서부터 다시 시작합니다.");
    } else if (backupPath) {
        // clang-format off
        // i18n-example: "It was moved aside to ~/.local/share/Velmora/cleanup-audit-log.json.oversized-1764000000-0C7D3E5A; the history starts again from there."
        // clang-format on
        s += copy.text(
            "It was moved aside to " + *backupPath + "; the history starts again from there.",
            "파일은 " + *backupPath +
                "(으)로 옮겨 두었습니다. 기록은 거기서부터 다시 "
                "시작합니다.");
    } else if (damage != "unavailable") {
        s += copy.text("It could not be moved aside either, so it was left as it is.",
                       "파일을 옮겨 둘 수도 없어 그대로 두었습니다.");
    } else {
        s += copy.text("Try again.", "다시 시도하세요.");
    }
    return s;
}

std::string historyExplanation(AppLanguage language) {
    return VelmoraCopy{language}.text(
        "Cleanup History records cleanup operations and restore attempts, with results, item "
        "counts, bytes, and retained path details when available. Full JSON/CSV includes the "
        "retained history details. For support sharing, choose a redacted export that replaces "
        "paths and file names with tokens, then review before sharing.",
        "정리 기록에는 정리 작업과 복원 시도가 결과, 항목 수, 바이트 수, 그리고 가능한 경우 "
        "보존된 경로 정보와 함께 남습니다. 전체 JSON/CSV에는 보존된 기록 정보가 모두 들어 "
        "있습니다. 지원 요청에 공유할 때는 경로와 파일 이름을 토큰으로 바꾸는 가림 처리 "
        "내보내기를 선택하고, 공유하기 전에 검토하세요.");
}

std::string emptyHistorySentence(AppLanguage language) {
    return VelmoraCopy{language}.text("No cleanups or restores have been recorded yet.",
                                      "아직 기록된 정리나 복원이 없습니다.");
}

std::string historyOperationTitle(const CleanupAuditEntry& entry, AppLanguage language) {
    const VelmoraCopy copy{language};
    if (entry.operation == CleanupAuditOperation::restore) return copy.text("Restore", "복원");
    if (entry.mode == CleaningMode::deletePermanently)
        return copy.text("Permanent deletion", "영구 삭제");
    return copy.text("Cleanup (moved to Trash)", "정리 (휴지통으로 이동)");
}

std::optional<std::string> historySourceSentence(CleanupAuditSource source, AppLanguage language) {
    const VelmoraCopy copy{language};
    switch (source) {
        case CleanupAuditSource::cleanupDashboard:
            return std::nullopt;
        case CleanupAuditSource::macInsights:
            return copy.text("Started from Storage Insights.", "저장 공간 인사이트에서 시작함.");
        case CleanupAuditSource::iOSSandbox:
            return copy.text("Started from the sandboxed app.", "샌드박스 앱에서 시작함.");
    }
    return std::nullopt;
}

std::string historyEntrySummary(const CleanupAuditEntry& e, AppLanguage language) {
    const VelmoraCopy copy{language};
    const bool restore = e.operation == CleanupAuditOperation::restore;
    const bool deleted = !restore && e.mode == CleaningMode::deletePermanently;
    const std::string done = std::to_string(e.succeededItemCount);
    const std::string asked = std::to_string(e.requestedItemCount);
    const std::string affected = bytesText(e.affectedBytes, language);
    const std::string requested = bytesText(e.requestedBytes, language);
    std::optional<std::string> percent;
    if (auto impact = CleanupStorageImpactReport::make(e)) {
        if (auto fraction = impact->affectedByteFraction())
            percent = fmt::format("{:.0f}", *fraction * 100);
    }
    std::string english = done + " of " + asked + " " +
                          (e.requestedItemCount == 1 ? "item" : "items") + " " +
                          (restore   ? "restored"
                           : deleted ? "deleted"
                                     : "moved") +
                          ", " + affected + " of " + requested;
    if (percent) english += " (" + *percent + "% of the selected bytes)";
    std::string korean = asked + "개 중 " + done + "개 " +
                         (restore   ? "복원"
                          : deleted ? "삭제"
                                    : "이동") +
                         ", " + requested + " 중 " + affected;
    if (percent) korean += " (선택한 용량의 " + *percent + "%)";
    // clang-format off
    // i18n-example: "3 of 4 items moved, 1.2 MB of 1.5 MB (80% of the selected bytes)"
    // i18n-example: "1 of 1 item moved, 36 bytes of 36 bytes"
    // i18n-example: "2 of 2 items deleted, 2.0 kB of 2.0 kB (100% of the selected bytes)"
    // i18n-example: "0 of 1 item deleted, 0 bytes of 1.0 MB"
    // i18n-example: "1 of 2 items restored, 1.0 MB of 2.0 MB (50% of the selected bytes)"
    // i18n-example: "2 of 2 items restored, 2 bytes of 2 bytes"
    // clang-format on
    std::string s = copy.text(english, korean);
    if (e.failedItemCount > 0) {
        const std::string failed = std::to_string(e.failedItemCount);
        // i18n-example: "3 failed"
        s += "; " + copy.text(failed + " failed", failed + "개 실패");
    }
    if (e.wasCancelled) s += "; " + copy.text("cancelled", "취소됨");
    return s;
}

}  // namespace velmora

#include "VelmoraUI/dashboard/SnapshotTexts.h"

#include <QString>

#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

std::optional<std::string> snapshotStoreSentence(DeltaBlameStoreIssue issue, AppLanguage language) {
    const VelmoraCopy copy{language};
    switch (issue) {
        case DeltaBlameStoreIssue::oversized:
        case DeltaBlameStoreIssue::unreadable:
        case DeltaBlameStoreIssue::undecodable:
            return copy.text(
                "the saved scan snapshots could not be read; they were set aside and new "
                "snapshots start now.",
                "저장된 검사 스냅샷을 읽을 수 없어 따로 보관했습니다. 이제 새 스냅샷부터 "
                "시작합니다.");
        case DeltaBlameStoreIssue::otherKey:
            return copy.text(
                "the saved scan snapshots were made with another installation key and can "
                "no longer be compared; they were set aside and new snapshots start now.",
                "저장된 검사 스냅샷은 다른 설치 키로 만들어져 더 이상 비교할 수 없습니다. "
                "따로 보관했으며 이제 새 스냅샷부터 시작합니다.");
        case DeltaBlameStoreIssue::invalidSnapshots:
            return copy.text(
                "some saved scan snapshots were damaged and were left out; the file as it "
                "was has been set aside.",
                "저장된 검사 스냅샷 일부가 손상되어 제외했습니다. 원래 파일은 따로 "
                "보관했습니다.");
        case DeltaBlameStoreIssue::unavailable:
            break;  // nothing was set aside
    }
    return std::nullopt;
}

std::vector<std::string> snapshotCaptureSentences(const SnapshotCaptureOutcome& outcome,
                                                  AppLanguage language) {
    std::vector<std::string> out;
    if (outcome.storeIssue) {
        if (auto sentence = snapshotStoreSentence(*outcome.storeIssue, language))
            out.push_back(std::move(*sentence));
    }
    if (outcome.failure && *outcome.failure != SnapshotCaptureFailure::notCompleted) {
        out.push_back(VelmoraCopy{language}.text("the snapshot of this scan could not be saved.",
                                                 "이번 검사의 스냅샷을 저장할 수 없습니다."));
    }
    return out;
}

namespace {

// Sentences as one notice for a window, each starting with a capital letter.
std::optional<std::string> noticeOf(const std::vector<std::string>& sentences) {
    if (sentences.empty()) return std::nullopt;
    std::string notice;
    for (const std::string& sentence : sentences) {
        // The first letter, whatever its script; scripts without case are left as they are.
        QString s = QString::fromStdString(sentence);
        if (!s.isEmpty()) s[0] = s[0].toUpper();
        // Sentences that end with an ideographic full stop follow each other without a space.
        if (!notice.empty() && !notice.ends_with("\u3002")) notice += ' ';
        notice += s.toStdString();
    }
    return notice;
}

}  // namespace

std::optional<std::string> snapshotCaptureNotice(const SnapshotCaptureOutcome& outcome,
                                                 AppLanguage language) {
    return noticeOf(snapshotCaptureSentences(outcome, language));
}

std::optional<std::string> snapshotStoreNotice(DeltaBlameStoreIssue issue, AppLanguage language) {
    const auto sentence = snapshotStoreSentence(issue, language);
    if (!sentence) return std::nullopt;
    return noticeOf({*sentence});
}

}  // namespace velmora

#include "VelmoraUI/dashboard/HistoryExportViewModel.h"

#include <cstring>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/Environment.h"
#include "VelmoraUI/localization/Localizer.h"

namespace velmora {

std::string historyExportSentence(const HistoryExportOutcome& outcome, AppLanguage language) {
    const VelmoraCopy copy{language};
    if (!outcome.failure) {
        const std::string path = printable(outcome.path);
        if (outcome.redacted) {
            // clang-format off
            // i18n-example: "The redacted history was exported to /home/ana/history.csv; review it before sharing."
            // clang-format on
            return copy.text(
                "The redacted history was exported to " + path + "; review it before sharing.",
                "가림 처리한 기록을 " + path + "(으)로 내보냈습니다. 공유하기 전에 검토하세요.");
        }
        // i18n-example: "The history was exported to /home/ana/history.json."
        return copy.text("The history was exported to " + path + ".",
                         "기록을 " + path + "(으)로 내보냈습니다.");
    }
    const ExportFailure& failure = *outcome.failure;
    const std::string path = printable(failure.path);
    switch (failure.problem) {
        case ExportProblem::keyUnavailable:
            // clang-format off
            // i18n-example: "A redacted export needs this installation's key, and /home/ana/.local/share/Velmora/delta-blame.key could not be read or created; nothing was exported."
            // clang-format on
            return copy.text("A redacted export needs this installation's key, and " + path +
                                 " could not be read or created; nothing was exported.",
                             "가림 처리 내보내기에는 이 설치의 키가 필요한데 " + path +
                                 "을(를) 읽거나 만들 수 없어 아무것도 내보내지 않았습니다.");
        case ExportProblem::destinationIsLink:
            // clang-format off
            // i18n-example: "/home/ana/history.json is a symbolic link, which is never followed; nothing was exported."
            // clang-format on
            return copy.text(
                path + " is a symbolic link, which is never followed; nothing was exported.",
                path +
                    "은(는) 심볼릭 링크이며 링크는 따라가지 않으므로 아무것도 내보내지 "
                    "않았습니다.");
        case ExportProblem::destinationNotRegularFile:
            // clang-format off
            // i18n-example: "/home/ana/exports is not a regular file (a folder, a FIFO or a device); nothing was exported."
            // clang-format on
            return copy.text(path +
                                 " is not a regular file (a folder, a FIFO or a device); nothing "
                                 "was exported.",
                             path +
                                 "은(는) 일반 파일이 아니므로(폴더, FIFO 또는 장치) 아무것도 "
                                 "내보내지 않았습니다.");
        case ExportProblem::writeFailed:
            break;
    }
    const std::string reason = std::strerror(failure.errorNumber);
    // clang-format off
    // i18n-example: "The export could not be written to /home/ana/history.json (Permission denied); nothing was replaced."
    // clang-format on
    return copy.text(
        "The export could not be written to " + path + " (" + reason + "); nothing was replaced.",
        "내보내기를 " + path + "에 쓸 수 없었습니다(" + reason + "). 아무것도 바뀌지 않았습니다.");
}

std::string redactedExportExplanation(AppLanguage language) {
    return VelmoraCopy{language}.text(
        "A redacted export replaces paths, file names and other free text with tokens such as "
        "<path:…>, so it can be shared with support; the counts, sizes and results stay as they "
        "are. Review it before sharing.",
        "가림 처리 내보내기는 경로, 파일 이름과 그 밖의 자유 텍스트를 <path:…> 같은 토큰으로 "
        "바꾸므로 지원 요청에 공유할 수 있습니다. 개수, 크기와 결과는 그대로 남습니다. "
        "공유하기 전에 검토하세요.");
}

HistoryExportViewModel::HistoryExportViewModel(CleanerEnvironment environment, QObject* parent)
    : QObject(parent), environment_(std::move(environment)) {}

HistoryExportViewModel::~HistoryExportViewModel() {
    task_.cancelAndWait();
}

bool HistoryExportViewModel::startExport(ExportFormat format, bool redacted, std::string path) {
    if (busy_) return false;
    busy_ = true;
    emit busyChanged();
    task_.start([this, homeOverride = environment_.homeOverride, format, redacted,
                 path = std::move(path)](const CancellationToken&) {
        HistoryExportOutcome outcome{path, redacted, std::nullopt};
        const UserEnvironment user = currentUserEnvironment(homeOverride);
        // The destination is checked first, so that a refusal reads no history and makes no key.
        outcome.failure = exportDestinationProblem(path);
        if (!outcome.failure) {
            auto settings = makeExportSettings(user, format, redacted);
            if (!settings) {
                outcome.failure = settings.error();
            } else {
                outcome.failure =
                    writeExportFile(path, exportStoredCleanupHistory(user, *settings));
            }
        }
        postTo(this, [this, outcome = std::move(outcome)]() mutable {
            outcome_ = std::move(outcome);
            busy_ = false;
            emit busyChanged();
            emit exportFinished();
        });
    });
    return true;
}

std::optional<std::string> HistoryExportViewModel::message(AppLanguage language) const {
    if (!outcome_) return std::nullopt;
    return historyExportSentence(*outcome_, language);
}

}  // namespace velmora

#include "Velmora/cli/ExportCommand.h"

#include <cstring>
#include <iostream>

#include "CleanerCore/base/PrintableText.h"
#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/workflows/ExportRun.h"
#include "Velmora/cli/CleanCommand.h"
#include "Velmora/cli/CommandPreferences.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/IgnoreCommand.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/ProgressBar.h"
#include "Velmora/cli/ScanCommand.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/IgnoredCandidates.h"

namespace velmora::cli {

namespace {

// Says why the export was not made, and returns the exit status that goes with it.
int explain(const ExportFailure& failure, AppLanguage language) {
    const VelmoraCopy copy{language};
    const std::string path = printable(failure.path);
    std::cerr << "velmora: ";
    switch (failure.problem) {
        case ExportProblem::keyUnavailable:
            std::cerr << copy.text(
                             "a redacted export needs this installation's key, and it could not "
                             "be read or created: ",
                             "가린 내보내기에는 이 설치의 키가 필요한데, 키를 읽거나 만들 수 "
                             "없습니다: ")
                      << path << "\n";
            return kExitFailures;
        case ExportProblem::destinationIsLink:
            std::cerr << copy.text("the export file is a symbolic link, which is never followed: ",
                                   "내보낼 파일이 심볼릭 링크이며, 링크는 따라가지 않습니다: ")
                      << path << "\n";
            return kExitRefused;
        case ExportProblem::destinationNotRegularFile:
            std::cerr << copy.text(
                             "the export file exists and is not a regular file (a folder, a FIFO "
                             "or a device): ",
                             "내보낼 파일이 이미 있으며 일반 파일이 아닙니다(폴더, FIFO 또는 "
                             "장치): ")
                      << path << "\n";
            return kExitRefused;
        case ExportProblem::writeFailed:
            break;
    }
    std::cerr << copy.text("the export could not be written, and nothing was replaced: ",
                           "내보내기를 쓸 수 없었으며, 아무것도 바뀌지 않았습니다: ")
              << path << " (" << std::strerror(failure.errorNumber) << ")\n";
    return kExitFailures;
}

int deliver(const std::string& text, const std::optional<std::string>& output,
            AppLanguage language) {
    if (!output) {
        std::cout << text;
        std::cout.flush();
        return kExitDone;
    }
    if (auto failure = writeExportFile(*output, text)) return explain(*failure, language);
    return kExitDone;
}

}  // namespace

int runExportCommand(const ExportCommandOptions& options) {
    const std::optional<std::string> output =
        options.output ? std::optional(absolutePathFromArgument(*options.output)) : std::nullopt;
    const ExportFormat format = exportFormatFromRaw(options.format).value_or(ExportFormat::json);
    const AppLanguage language =
        options.language
            ? *options.language
            : openCommandPreferences(options.homeOverride, options.runLanguage).language;
    if (output) {
        // The destination is checked before any scan runs, so that a refusal comes at once.
        if (auto problem = exportDestinationProblem(*output)) return explain(*problem, language);
    }

    if (options.subject == ExportSubject::history) {
        const UserEnvironment environment = currentUserEnvironment(options.homeOverride);
        auto settings = makeExportSettings(environment, format, options.redacted);
        if (!settings) return explain(settings.error(), language);
        return deliver(exportStoredCleanupHistory(environment, *settings), output, language);
    }

    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    if (options.subject == ExportSubject::insights) {
        const UserEnvironment environment = insightEnvironment(options.insightRequest);
        auto settings = makeExportSettings(environment, format, options.redacted);
        if (!settings) return explain(settings.error(), language);
        TerminalProgress progress(environment.home, options.quiet, language);
        // The export carries no storage tree, so the walk builds none.
        InsightRunRequest request = options.insightRequest;
        request.storageTree.reset();
        const InsightRun run = runInsightScan(request, environment, progress.callback(), cancel);
        progress.finish();
        if (run.wasCancelled) {
            std::cerr << "velmora: "
                      << VelmoraCopy{language}.text(
                             "the insight scan was cancelled; nothing was exported.",
                             "인사이트 검사가 취소되어 아무것도 내보내지 않았습니다.")
                      << "\n";
            return interrupts.exitStatus();
        }
        return deliver(exportInsightRun(run, *settings), output, language);
    }

    raiseOpenFileLimit();
    auto setup = prepareOrExplain(options.scanRequest, cancel, language);
    if (!setup) return kExitRefused;
    if (setup->fellBackToStandard) warnScanningInStandardMode(language);
    auto settings = makeExportSettings(setup->environment, format, options.redacted);
    if (!settings) return explain(settings.error(), language);
    ScanReport report = scanWithProgress(*setup, options.quiet, cancel, language);
    if (!report.hasCompletedScan) {
        std::cerr << "velmora: "
                  << VelmoraCopy{language}.text("the scan was cancelled; nothing was exported.",
                                                "검사가 취소되어 아무것도 내보내지 않았습니다.")
                  << "\n";
        return interrupts.exitStatus();
    }
    if (options.hidesIgnored) {
        (void)hideIgnoredCandidates(
            report, loadActiveIgnoreList(options.scanRequest.homeOverride, language).ids);
    }
    return deliver(exportScanReport(report, options.scanRequest.catalogue, *settings), output,
                   language);
}

}  // namespace velmora::cli

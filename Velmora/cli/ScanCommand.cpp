#include "Velmora/cli/ScanCommand.h"

#include <future>
#include <iostream>

#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/workflows/ScanReappearance.h"
#include "CleanerCore/workflows/ScanSession.h"
#include "CleanerCore/workflows/SnapshotCapture.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/IgnoreCommand.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/Output.h"
#include "Velmora/cli/ProgressBar.h"
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/SnapshotTexts.h"
#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/IgnoredCandidates.h"

namespace velmora::cli {

ScanReport scanWithProgress(const ScanSetup& setup, bool quiet, const CancellationToken& cancel,
                            AppLanguage language) {
    const std::string& home = setup.environment.home;
    TerminalProgress progress(home, quiet, language);
    ScanReport report = runScanSession(setup, progress.callback(), cancel);
    progress.finish();
    return report;
}

std::optional<ScanSetup> prepareOrExplain(const ScanRequest& request,
                                          const CancellationToken& cancel, AppLanguage language) {
    auto setup = prepareScan(request, cancel);
    if (!setup) {
        std::cerr << "velmora: " << presentedReason(setup.error(), language) << "\n";
        return std::nullopt;
    }
    return std::move(*setup);
}

void warnScanningInStandardMode(AppLanguage language) {
    std::cerr << "velmora: "
              << VelmoraCopy{language}.text(
                     "direct mode scans developer and package caches and needs "
                     "--allow-direct; scanning in standard mode.",
                     "direct 모드는 개발 도구와 패키지 캐시를 검사하므로 "
                     "--allow-direct가 필요합니다. standard 모드로 검사합니다.")
              << "\n";
}

void explainSnapshotCapture(const SnapshotCaptureOutcome& outcome, AppLanguage language) {
    for (const std::string& sentence : snapshotCaptureSentences(outcome, language))
        std::cerr << "velmora: " << sentence << "\n";
}

int runScanCommand(const ScanCommandOptions& options) {
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    raiseOpenFileLimit();

    auto setup = prepareOrExplain(options.request, cancel, options.language);
    if (!setup) return kExitRefused;
    if (setup->fellBackToStandard) warnScanningInStandardMode(options.language);

    ScanReport report = scanWithProgress(*setup, options.quiet, cancel, options.language);
    // Before the ignored candidates are hidden: what came back is back, shown or not.
    const auto reappearance = observeReappearance(*setup, report);
    // The snapshot holds the whole scan: the ignore list only hides candidates from view. It is
    // kept on a thread of its own while the report is written (both only read the scan, and
    // saving costs about as much as writing), unless hiding must change the report first.
    std::future<SnapshotCaptureOutcome> snapshot;
    if (report.hasCompletedScan) {
        const auto mode =
            setup->fellBackToStandard ? CleanupScanMode::standard : options.request.mode;
        snapshot = std::async(std::launch::async, [&report, mode, &setup] {
            return captureScanSnapshot(report, mode, setup->environment);
        });
    }
    const auto finishSnapshot = [&] {
        if (snapshot.valid()) explainSnapshotCapture(snapshot.get(), options.language);
    };
    size_t hidden = 0;
    if (options.hidesIgnored) {
        const auto ignored = loadActiveIgnoreList(options.request.homeOverride, options.language);
        if (!ignored.ids.empty()) finishSnapshot();
        hidden = hideIgnoredCandidates(report, ignored.ids);
    }

    if (options.json) {
        printScanReportJSON(std::cout, report, hidden, reappearance);
    } else {
        printScanReport(std::cout, report, setup->environment.home, options.language);
        if (auto sentence = ignoredHiddenSentence(hidden, options.language)) {
            std::cout << *sentence << "\n";
        }
        if (reappearance) {
            if (auto sentence = reappearanceSentence(*reappearance, options.language)) {
                std::cout << *sentence << "\n";
            }
        }
    }
    std::cout.flush();
    finishSnapshot();
    if (!report.hasCompletedScan) {
        std::cerr << "velmora: "
                  << VelmoraCopy{options.language}.text(
                         "the scan was cancelled; the report shows what was found before "
                         "it stopped.",
                         "검사가 취소되었습니다. 보고서에는 멈추기 전까지 찾은 것이 "
                         "나옵니다.")
                  << "\n";
        return interrupts.exitStatus();
    }
    return kExitDone;
}

}  // namespace velmora::cli

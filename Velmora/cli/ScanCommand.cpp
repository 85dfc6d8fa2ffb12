#include "Velmora/cli/ScanCommand.h"

#include <iostream>

#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/workflows/ScanSession.h"
#include "Velmora/cli/ExitStatus.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/Output.h"
#include "Velmora/cli/ProgressBar.h"

namespace velmora::cli {

ScanReport scanWithProgress(const ScanSetup& setup, bool quiet, const CancellationToken& cancel) {
    const std::string& home = setup.environment.home;
    TerminalProgress progress(home, quiet);
    ScanReport report = runScanSession(setup, progress.callback(), cancel);
    progress.finish();
    return report;
}

int runScanCommand(const ScanCommandOptions& options) {
    CancellationToken cancel;
    InterruptScope interrupts(cancel);
    raiseOpenFileLimit();

    auto setup = prepareScan(options.request, cancel);
    if (!setup) {
        std::cerr << "velmora: " << setup.error() << "\n";
        return kExitRefused;
    }
    if (setup->fellBackToStandard) {
        std::cerr << "velmora: " << kDirectModeNeedsPermission << "; scanning in standard mode.\n";
    }

    ScanReport report = scanWithProgress(*setup, options.quiet, cancel);

    if (options.json) {
        printScanReportJSON(std::cout, report);
    } else {
        printScanReport(std::cout, report, setup->environment.home);
    }
    std::cout.flush();
    if (!report.hasCompletedScan) {
        std::cerr << "velmora: the scan was cancelled; the report shows what was found before it "
                     "stopped.\n";
        return interrupts.exitStatus();
    }
    return kExitDone;
}

}  // namespace velmora::cli

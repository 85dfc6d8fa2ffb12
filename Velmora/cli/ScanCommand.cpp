#include "Velmora/cli/ScanCommand.h"

#include <iostream>

#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/scanning/StorageScanner.h"
#include "Velmora/cli/Interrupt.h"
#include "Velmora/cli/Output.h"
#include "Velmora/cli/ProgressBar.h"

namespace velmora::cli {

ScanReport scanWithProgress(const ScanSetup& setup, Catalogue catalogue, bool quiet,
                            const CancellationToken& cancel) {
    const std::string& home = setup.environment.home;
    TerminalProgress progress(home, quiet);
    StorageScanner scanner({}, home, catalogue, setup.protectedPlaces);
    ScanReport report = scanner.scan(setup.locations, currentDate(), progress.callback(), cancel,
                                     setup.skippedRoots);
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
        return 2;
    }
    if (setup->fellBackToStandard) {
        std::cerr << "velmora: " << kDirectModeNeedsPermission << "; scanning in standard mode.\n";
    }

    ScanReport report = scanWithProgress(*setup, options.request.catalogue, options.quiet, cancel);

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
    return 0;
}

}  // namespace velmora::cli

#include "Velmora/cli/ScanCommand.h"

#include <signal.h>

#include <atomic>
#include <iostream>

#include "CleanerCore/platform/FileSystem.h"
#include "CleanerCore/scanning/StorageScanner.h"
#include "Velmora/cli/Output.h"
#include "Velmora/cli/ProgressBar.h"
#include "VelmoraUI/dashboard/ScanProgressCoalescer.h"

namespace velmora::cli {

namespace {

std::atomic<CancellationToken*> gInterruptTarget{nullptr};

extern "C" void onInterrupt(int) {
    if (CancellationToken* token = gInterruptTarget.load()) token->requestCancellation();
}

// Ctrl-C asks the scan to stop and still print what it found; a second Ctrl-C ends the
// process the usual way (the handler resets itself).
class InterruptScope {
  public:
    explicit InterruptScope(CancellationToken& token) {
        gInterruptTarget.store(&token);
        struct sigaction sa {};
        sa.sa_handler = onInterrupt;
        sa.sa_flags = SA_RESETHAND;
        sigemptyset(&sa.sa_mask);
        ::sigaction(SIGINT, &sa, &previous_);
    }
    ~InterruptScope() {
        ::sigaction(SIGINT, &previous_, nullptr);
        gInterruptTarget.store(nullptr);
    }

  private:
    struct sigaction previous_ {};
};

}  // namespace

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
        std::cerr << "velmora: direct mode scans developer and package caches and needs "
                     "--allow-direct; scanning in standard mode.\n";
    }

    const std::string& home = setup->environment.home;
    ProgressBar bar(home);
    std::shared_ptr<ScanProgressCoalescer> coalescer;
    std::shared_ptr<ThreadScheduler> scheduler;
    StorageScanner::ProgressCallback progress;
    if (!options.quiet && standardErrorIsTerminal()) {
        scheduler = std::make_shared<ThreadScheduler>();
        coalescer =
            ScanProgressCoalescer::make([&bar](const StorageScanProgress& p) { bar.show(p); },
                                        std::make_shared<SteadyClock>(), scheduler);
        progress = [coalescer](const StorageScanProgress& p) { coalescer->offer(p); };
    }

    StorageScanner scanner({}, home, options.request.catalogue);
    ScanReport report = scanner.scan(setup->locations, currentDate(), progress, cancel);
    if (coalescer) {
        coalescer->finish();
        bar.clear();
    }

    if (options.json) {
        printScanReportJSON(std::cout, report);
    } else {
        printScanReport(std::cout, report, home);
    }
    std::cout.flush();
    if (!report.hasCompletedScan) {
        std::cerr << "velmora: the scan was cancelled; the report shows what was found before it "
                     "stopped.\n";
        return 130;
    }
    return 0;
}

}  // namespace velmora::cli

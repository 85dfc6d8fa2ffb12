#include "CleanerCore/workflows/ScanSession.h"

namespace velmora {

ScanReport runScanSession(const ScanSetup& setup, const StorageScanner::ProgressCallback& progress,
                          const CancellationToken& cancel) {
    StorageScanner scanner({}, setup.environment.home, setup.folders.catalogue,
                           setup.protectedPlaces);
    return scanner.scan(setup.locations, currentDate(), progress, cancel, setup.skippedRoots);
}

}  // namespace velmora

#pragma once
// A cleanup scan of a prepared setup: its locations, with the roots the setup refused reported
// first among the skipped items. Runs on the caller's thread (the scanner uses its own workers);
// `progress` is called on that thread; cancellation ends the scan early with
// `hasCompletedScan` false and what was found so far.
#include "CleanerCore/base/Cancellation.h"
#include "CleanerCore/scanning/StorageScanner.h"
#include "CleanerCore/workflows/ScanSetup.h"

namespace velmora {

ScanReport runScanSession(const ScanSetup& setup, const StorageScanner::ProgressCallback& progress,
                          const CancellationToken& cancel);

}  // namespace velmora

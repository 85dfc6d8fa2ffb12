#pragma once
// `velmora scan`: a read-only cleanup scan printed as a table or as JSON.
#include <string>
#include <vector>

#include "CleanerCore/workflows/ScanSetup.h"

namespace velmora::cli {

struct ScanCommandOptions {
    ScanRequest request;
    bool json = false;
    bool quiet = false;
};

/// Why a request for direct mode without `--allow-direct` is not served as asked.
inline constexpr const char* kDirectModeNeedsPermission =
    "direct mode scans developer and package caches and needs --allow-direct";

/// Scans the prepared locations, with a progress bar on a terminal unless `quiet`.
ScanReport scanWithProgress(const ScanSetup& setup, bool quiet, const CancellationToken& cancel);

/// Runs the scan and prints it. Exit status: 0 done, 2 refused input (nothing scanned),
/// 130 cancelled (the partial report is still printed).
int runScanCommand(const ScanCommandOptions& options);

}  // namespace velmora::cli

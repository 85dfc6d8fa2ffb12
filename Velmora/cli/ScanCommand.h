#pragma once
// `velmora scan`: a read-only cleanup scan printed as a table or as JSON.
#include <string>
#include <vector>

#include "CleanerCore/workflows/ScanSetup.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

struct ScanCommandOptions {
    ScanRequest request;
    /// The candidates on the person's ignore list are hidden, and their number said. A review
    /// profile that does not keep the ignore rules turns this off.
    bool hidesIgnored = true;
    bool json = false;
    bool quiet = false;
    /// The language of the human output and of the messages on standard error.
    AppLanguage language = AppLanguage::english;
};

/// Scans the prepared locations, with a progress bar on a terminal unless `quiet`.
ScanReport scanWithProgress(const ScanSetup& setup, bool quiet, const CancellationToken& cancel,
                            AppLanguage language);

/// Runs the scan and prints it. Exit status: 0 done, 2 refused input (nothing scanned),
/// 130 cancelled (the partial report is still printed).
int runScanCommand(const ScanCommandOptions& options);

}  // namespace velmora::cli

#pragma once
// `velmora scan`: a read-only cleanup scan printed as a table or as JSON.
#include <optional>
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

/// The scan locations of `request`; a refused request is explained on standard error.
std::optional<ScanSetup> prepareOrExplain(const ScanRequest& request,
                                          const CancellationToken& cancel, AppLanguage language);

/// Says on standard error that a direct-mode scan without permission runs in standard mode.
void warnScanningInStandardMode(AppLanguage language);

/// Scans the prepared locations, with a progress bar on a terminal unless `quiet`.
ScanReport scanWithProgress(const ScanSetup& setup, bool quiet, const CancellationToken& cancel,
                            AppLanguage language);

/// Runs the scan and prints it. Exit status: 0 done, 2 refused input (nothing scanned),
/// 130 cancelled (the partial report is still printed).
int runScanCommand(const ScanCommandOptions& options);

}  // namespace velmora::cli

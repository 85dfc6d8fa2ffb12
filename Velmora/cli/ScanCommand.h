#pragma once
// `velmora scan`: a cleanup scan printed as a table or as JSON. It changes none of the scanned
// items; a completed scan is kept as a privacy-preserving snapshot in Velmora's data folder.
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/workflows/ScanSetup.h"
#include "CleanerCore/workflows/SnapshotCapture.h"
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

/// Says on standard error what went wrong when a finished scan's snapshot was kept: a snapshot
/// store that had to be set aside, or a snapshot that could not be saved. Silent otherwise.
void explainSnapshotCapture(const SnapshotCaptureOutcome& outcome, AppLanguage language);

/// Runs the scan and prints it; a completed scan is also kept as a snapshot. Exit status: 0 done, 2
/// refused input (nothing scanned), 130 cancelled (the partial report is still printed).
int runScanCommand(const ScanCommandOptions& options);

}  // namespace velmora::cli

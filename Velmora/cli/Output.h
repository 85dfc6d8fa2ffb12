#pragma once
// Rendering of command results for people (tables, sentences) and for scripts (JSON).
#include <iosfwd>
#include <string>

#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora::cli {

/// The report as a table sorted as the report is, then totals and the skipped items.
void printScanReport(std::ostream& out, const ScanReport& report, const std::string& home);

/// The report as JSON (the ScanReport record), one document followed by a newline.
void printScanReportJSON(std::ostream& out, const ScanReport& report);

}  // namespace velmora::cli

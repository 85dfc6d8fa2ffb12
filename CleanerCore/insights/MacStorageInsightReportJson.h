#pragma once
// JSON coding of MacStorageInsightReport in the conventions of InsightJson.h: keys are the field
// names ("scannedAt", "heatmapItems", "largeFiles", "downloadFiles", "duplicateGroups",
// "securityFindings", "skippedItems", "isTruncated", "systemSnapshot", "hasCompletedScan"),
// dates as seconds since 2001-01-01, absent optionals omitted.
//
// Older reports: a document that carries the key "scannedRoots" (an array of file URLs, the
// roots that older scans listed instead of a storage map) is accepted. Its "scannedRoots" must
// be an array of file-URL texts and is otherwise not kept; in such a document the keys that
// older scans did not write ("heatmapItems", "duplicateGroups", "securityFindings",
// "systemSnapshot", "hasCompletedScan") may be absent and then read as empty lists, the default
// snapshot and true. A document without "scannedRoots" must carry every key.
//
// `from_json` throws nlohmann::json::exception on a wrong shape; `decodeMacStorageInsightReport`
// returns the message as an error value instead. Thread-safe.
#include <nlohmann/json.hpp>
#include <string_view>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/insights/MacStorageInsightReport.h"

namespace velmora {

void to_json(nlohmann::json&, const MacStorageInsightReport&);
/// The same with the keys in the order listed above (what `velmora insights --json` prints).
void to_json(nlohmann::ordered_json&, const MacStorageInsightReport&);
void from_json(const nlohmann::json&, MacStorageInsightReport&);

/// Parses report JSON text; the error names what is missing or wrong.
Result<MacStorageInsightReport> decodeMacStorageInsightReport(std::string_view text);

}  // namespace velmora

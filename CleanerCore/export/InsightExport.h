#pragma once
// The export of a storage insight scan.
//
// JSON: one object {"kind": "insights", "formatVersion", "exportedAt", "isRedacted", "report",
// "keepers"}: the MacStorageInsightReport's own JSON coding and the keeper recommendation of
// every duplicate group. Redacted, it is tokenized as RedactedJson.h describes.
//
// CSV: one row per storage-map root and per finding, with the columns of
// kInsightExportColumns. "section" says which list a row comes from: "storageMap", "largeFile",
// "download", "duplicate" (one row per copy, "groupID" naming its group and "isKeeper" marking
// the recommended copy) or "securitySignal". Columns that do not apply to a section are empty.
//
// Pure, thread-safe.
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/export/ExportSettings.h"
#include "CleanerCore/insights/MacStorageInsightReport.h"

namespace velmora {

inline constexpr std::array<std::string_view, 13> kInsightExportColumns = {
    "section",   "id",        "path",         "name",      "groupID",  "kind",   "safety",
    "sizeBytes", "itemCount", "lastModified", "linkCount", "isKeeper", "detail",
};

std::string exportInsightReport(const MacStorageInsightReport& report,
                                const std::vector<DuplicateKeeperRecommendation>& keepers,
                                const ExportSettings& settings);

}  // namespace velmora

#pragma once
// The export of a cleanup scan.
//
// JSON: one object {"kind": "scan", "formatVersion", "exportedAt" (seconds since 2001-01-01),
// "isRedacted", "report"}, where "report" is the ScanReport's own JSON coding with one more key
// in each candidate, "proofCard" (the CleanupProofCard: "policyVersion", "recommendationState",
// "checks" [{"kind", "state"}], "requiresCleanupTimeRevalidation"). Redacted, it is tokenized as
// RedactedJson.h describes.
//
// CSV: one row per candidate, in the report's order, with the columns of kScanExportColumns.
// Redacted, "id" keeps its category and tokenizes the path, "path" and "name" are the path token
// of the candidate.
//
// Pure, thread-safe.
#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/export/ExportSettings.h"
#include "CleanerCore/review/CleanupProofCard.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

inline constexpr std::array<std::string_view, 13> kScanExportColumns = {
    "id",
    "path",
    "name",
    "category",
    "safety",
    "sizeBytes",
    "lastModified",
    "isSelectedByDefault",
    "requiresManualReviewBySource",
    "recommendationState",
    "directNoTouchPath",
    "manualReviewPolicy",
    "cleanupTimeRevalidation",
};

/// The export text of `report`; the proof cards are judged against `catalogue`'s protected data.
std::string exportScanReport(const ScanReport& report, Catalogue catalogue,
                             const ExportSettings& settings);

void to_json(nlohmann::json&, const CleanupProofCard&);
void from_json(const nlohmann::json&, CleanupProofCard&);

/// A full JSON scan export read back.
struct ScanExportDocument {
    Date exportedAt = 0;
    bool isRedacted = false;
    ScanReport report;
    std::vector<CleanupProofCard> proofCards;  ///< one per candidate, in the same order
};

/// Reads a JSON scan export; the error says what is wrong. A redacted export reads too, but its
/// tokens are not paths: its URLs do not decode, so only a full export gives the report back.
Result<ScanExportDocument> decodeScanExport(std::string_view text);

}  // namespace velmora

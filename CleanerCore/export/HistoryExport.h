#pragma once
// The export of the cleanup history: the entries newest first, each with the items it cleaned,
// and a summary of the whole history with the result of its digest-chain check.
//
// JSON: the CleanupAuditExportPayload below, keys equal to the field names, enumerations as
// their raw texts, dates as seconds since 2001-01-01, absent optionals omitted.
//
// CSV: one row per entry with the columns of kHistoryExportColumns; a list (sample paths,
// failure reasons) is one field with its items on separate lines.
//
// Redacted: every path (sample paths, cleaned items' paths and Trash locations) becomes a path
// token and every failure reason a text token; a candidate id keeps its category; the digests,
// which are computed over paths, become text tokens. Entry ids (UUIDs), counts, bytes, dates and
// enumerations stay. Pure, thread-safe.
#include <array>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/export/ExportSettings.h"

namespace velmora {

/// One item a cleanup moved.
struct CleanupAuditCleanedItemExportRow {
    std::string candidateID;
    std::string path;
    CleanupCategory category = CleanupCategory::userCaches;
    CleanupSafety safety = CleanupSafety::safe;
    int64_t sizeBytes = 0;
    std::optional<std::string> trashPath;  ///< where it lies in the Trash; absent after deletion
    friend bool operator==(const CleanupAuditCleanedItemExportRow&,
                           const CleanupAuditCleanedItemExportRow&) = default;
};

/// One history entry.
struct CleanupAuditExportRow {
    std::string id;
    Date occurredAt = 0;
    CleanupAuditOperation operation = CleanupAuditOperation::clean;
    CleanupAuditSource source = CleanupAuditSource::cleanupDashboard;
    std::optional<CleaningMode> mode;
    int64_t requestedItemCount = 0;
    int64_t requestedBytes = 0;
    int64_t succeededItemCount = 0;
    int64_t failedItemCount = 0;
    int64_t affectedBytes = 0;
    bool wasCancelled = false;
    std::vector<std::string> samplePaths;
    std::vector<std::string> failureReasons;
    std::vector<CleanupAuditCleanedItemExportRow> cleanedItems;
    std::optional<std::string> entryDigest;
    std::optional<std::string> previousEntryDigest;
    friend bool operator==(const CleanupAuditExportRow&, const CleanupAuditExportRow&) = default;
};

/// The history as a whole.
struct CleanupAuditExportSummary {
    int64_t entryCount = 0;
    int64_t cleanEntryCount = 0;
    int64_t restoreEntryCount = 0;
    int64_t succeededItemCount = 0;  ///< over every entry
    int64_t failedItemCount = 0;
    int64_t affectedBytes = 0;  ///< cleaned and restored bytes together; saturates
    std::optional<Date> oldestOccurredAt;
    std::optional<Date> newestOccurredAt;
    CleanupAuditChainStatus chainStatus = CleanupAuditChainStatus::intact;
    int64_t verifiedEntryCount = 0;
    int64_t unverifiableEntryCount = 0;
    std::optional<std::string> firstBrokenEntryID;
    friend bool operator==(const CleanupAuditExportSummary&,
                           const CleanupAuditExportSummary&) = default;
};

struct CleanupAuditExportPayload {
    std::string kind = "history";
    int formatVersion = kExportFormatVersion;
    Date exportedAt = 0;
    bool isRedacted = false;
    CleanupAuditExportSummary summary;
    std::vector<CleanupAuditExportRow> entries;  ///< newest first, as stored
    friend bool operator==(const CleanupAuditExportPayload&,
                           const CleanupAuditExportPayload&) = default;
};

inline constexpr std::array<std::string_view, 16> kHistoryExportColumns = {
    "id",
    "occurredAt",
    "operation",
    "source",
    "mode",
    "requestedItemCount",
    "requestedBytes",
    "succeededItemCount",
    "failedItemCount",
    "affectedBytes",
    "wasCancelled",
    "cleanedItemCount",
    "samplePaths",
    "failureReasons",
    "entryDigest",
    "previousEntryDigest",
};

/// The payload of `newestFirst` (the stored entries), tokenized when `settings` redact.
CleanupAuditExportPayload makeCleanupAuditExport(const std::vector<CleanupAuditEntry>& newestFirst,
                                                 const ExportSettings& settings);

/// The export text of `newestFirst` in `settings.format`.
std::string exportCleanupHistory(const std::vector<CleanupAuditEntry>& newestFirst,
                                 const ExportSettings& settings);

void to_json(nlohmann::json&, const CleanupAuditCleanedItemExportRow&);
void from_json(const nlohmann::json&, CleanupAuditCleanedItemExportRow&);
void to_json(nlohmann::json&, const CleanupAuditExportRow&);
void from_json(const nlohmann::json&, CleanupAuditExportRow&);
void to_json(nlohmann::json&, const CleanupAuditExportSummary&);
void from_json(const nlohmann::json&, CleanupAuditExportSummary&);
void to_json(nlohmann::json&, const CleanupAuditExportPayload&);
void from_json(const nlohmann::json&, CleanupAuditExportPayload&);

}  // namespace velmora

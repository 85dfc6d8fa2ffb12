#include "CleanerCore/export/HistoryExport.h"

#include <limits>

#include "CleanerCore/audit/CleanupAuditChain.h"
#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/export/ExportCsv.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

namespace {

std::optional<CleanupAuditChainStatus> chainStatusFromRaw(std::string_view text) {
    for (auto s : {CleanupAuditChainStatus::intact, CleanupAuditChainStatus::unverifiable,
                   CleanupAuditChainStatus::broken}) {
        if (rawValue(s) == text) return s;
    }
    return std::nullopt;
}

int64_t saturatingAdd(int64_t a, int64_t b) {
    int64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
    return sum;
}

// Maps what the full export writes to what the redacted one writes.
struct Tokens {
    const std::optional<ExportRedactor>& redactor;
    std::string path(const std::string& p) const { return redactor ? redactor->path(p) : p; }
    std::string text(const std::string& t) const { return redactor ? redactor->text(t) : t; }
    std::string identifier(const std::string& id) const {
        return redactor ? redactor->identifier(id) : id;
    }
};

CleanupAuditExportRow rowOf(const CleanupAuditEntry& e, const Tokens& tokens) {
    CleanupAuditExportRow row;
    row.id = tokens.identifier(e.id);
    row.occurredAt = e.occurredAt;
    row.operation = e.operation;
    row.source = e.source;
    row.mode = e.mode;
    row.requestedItemCount = e.requestedItemCount;
    row.requestedBytes = e.requestedBytes;
    row.succeededItemCount = e.succeededItemCount;
    row.failedItemCount = e.failedItemCount;
    row.affectedBytes = e.affectedBytes;
    row.wasCancelled = e.wasCancelled;
    for (const auto& p : e.samplePaths) row.samplePaths.push_back(tokens.path(p));
    for (const auto& r : e.failureReasons) row.failureReasons.push_back(tokens.text(r));
    for (const auto& item : e.cleanedItems) {
        CleanupAuditCleanedItemExportRow cleaned;
        cleaned.candidateID = tokens.identifier(item.candidate.id());
        cleaned.path = tokens.path(item.candidate.url.path);
        cleaned.category = item.candidate.category;
        cleaned.safety = item.candidate.safety;
        cleaned.sizeBytes = item.candidate.sizeBytes;
        if (item.destinationURL) cleaned.trashPath = tokens.path(item.destinationURL->path);
        row.cleanedItems.push_back(std::move(cleaned));
    }
    if (e.chainLink) {
        row.entryDigest = tokens.text(e.chainLink->entryDigest);
        if (e.chainLink->previousEntryDigest)
            row.previousEntryDigest = tokens.text(*e.chainLink->previousEntryDigest);
    }
    return row;
}

std::string lines(const std::vector<std::string>& items) {
    std::string joined;
    for (const auto& item : items) {
        if (!joined.empty()) joined += '\n';
        joined += item;
    }
    return joined;
}

std::string csvOf(const CleanupAuditExportPayload& payload) {
    CsvTable rows({kHistoryExportColumns.begin(), kHistoryExportColumns.end()});
    for (const auto& row : payload.entries) {
        rows.text(row.id)
            .date(row.occurredAt)
            .text(rawValue(row.operation))
            .text(rawValue(row.source))
            .text(row.mode ? rawValue(*row.mode) : "")
            .number(row.requestedItemCount)
            .number(row.requestedBytes)
            .number(row.succeededItemCount)
            .number(row.failedItemCount)
            .number(row.affectedBytes)
            .boolean(row.wasCancelled)
            .number(static_cast<int64_t>(row.cleanedItems.size()))
            .text(lines(row.samplePaths))
            .text(lines(row.failureReasons))
            .text(row.entryDigest.value_or(""))
            .text(row.previousEntryDigest.value_or(""));
        rows.endRow();
    }
    return rows.str();
}

template <typename T>
void putOptional(nlohmann::json& j, const char* key, const std::optional<T>& value) {
    if (value) j[key] = *value;
}

}  // namespace

CleanupAuditExportPayload makeCleanupAuditExport(const std::vector<CleanupAuditEntry>& newestFirst,
                                                 const ExportSettings& settings) {
    const Tokens tokens{settings.redactor};
    CleanupAuditExportPayload payload;
    payload.exportedAt = settings.exportedAt;
    payload.isRedacted = settings.redactor.has_value();
    auto& summary = payload.summary;
    for (const auto& e : newestFirst) {
        payload.entries.push_back(rowOf(e, tokens));
        ++summary.entryCount;
        ++(e.operation == CleanupAuditOperation::clean ? summary.cleanEntryCount
                                                       : summary.restoreEntryCount);
        summary.succeededItemCount =
            saturatingAdd(summary.succeededItemCount, e.succeededItemCount);
        summary.failedItemCount = saturatingAdd(summary.failedItemCount, e.failedItemCount);
        summary.affectedBytes = saturatingAdd(summary.affectedBytes, e.affectedBytes);
        if (!summary.oldestOccurredAt || e.occurredAt < *summary.oldestOccurredAt)
            summary.oldestOccurredAt = e.occurredAt;
        if (!summary.newestOccurredAt || e.occurredAt > *summary.newestOccurredAt)
            summary.newestOccurredAt = e.occurredAt;
    }
    const CleanupAuditChainReport chain = verifyChain(newestFirst);
    summary.chainStatus = chain.status;
    summary.verifiedEntryCount = chain.verifiedEntryCount;
    summary.unverifiableEntryCount = chain.unverifiableEntryCount;
    summary.firstBrokenEntryID = chain.firstBrokenEntryID;
    return payload;
}

std::string exportCleanupHistory(const std::vector<CleanupAuditEntry>& newestFirst,
                                 const ExportSettings& settings) {
    const CleanupAuditExportPayload payload = makeCleanupAuditExport(newestFirst, settings);
    if (settings.format == ExportFormat::csv) return csvOf(payload);
    return dumpJSON(nlohmann::json(payload), true) + "\n";
}

void to_json(nlohmann::json& j, const CleanupAuditCleanedItemExportRow& row) {
    j = {{"candidateID", row.candidateID},
         {"path", row.path},
         {"category", rawValue(row.category)},
         {"safety", rawValue(row.safety)},
         {"sizeBytes", row.sizeBytes}};
    putOptional(j, "trashPath", row.trashPath);
}

void from_json(const nlohmann::json& j, CleanupAuditCleanedItemExportRow& row) {
    row.candidateID = j.at("candidateID").get<std::string>();
    row.path = j.at("path").get<std::string>();
    row.category = decodeEnum<CleanupCategory>(j.at("category"), categoryFromRaw, "category");
    row.safety = decodeEnum<CleanupSafety>(j.at("safety"), safetyFromRaw, "safety");
    row.sizeBytes = j.at("sizeBytes").get<int64_t>();
    row.trashPath = j.contains("trashPath") ? std::optional(j.at("trashPath").get<std::string>())
                                            : std::nullopt;
}

void to_json(nlohmann::json& j, const CleanupAuditExportRow& row) {
    j = {{"id", row.id},
         {"occurredAt", row.occurredAt},
         {"operation", row.operation},
         {"source", row.source},
         {"requestedItemCount", row.requestedItemCount},
         {"requestedBytes", row.requestedBytes},
         {"succeededItemCount", row.succeededItemCount},
         {"failedItemCount", row.failedItemCount},
         {"affectedBytes", row.affectedBytes},
         {"wasCancelled", row.wasCancelled},
         {"samplePaths", row.samplePaths},
         {"failureReasons", row.failureReasons},
         {"cleanedItems", row.cleanedItems}};
    putOptional(j, "mode", row.mode);
    putOptional(j, "entryDigest", row.entryDigest);
    putOptional(j, "previousEntryDigest", row.previousEntryDigest);
}

void from_json(const nlohmann::json& j, CleanupAuditExportRow& row) {
    row.id = j.at("id").get<std::string>();
    row.occurredAt = decodeDate(j.at("occurredAt"));
    row.operation = j.at("operation").get<CleanupAuditOperation>();
    row.source = j.at("source").get<CleanupAuditSource>();
    row.mode = j.contains("mode") ? std::optional(j.at("mode").get<CleaningMode>()) : std::nullopt;
    row.requestedItemCount = j.at("requestedItemCount").get<int64_t>();
    row.requestedBytes = j.at("requestedBytes").get<int64_t>();
    row.succeededItemCount = j.at("succeededItemCount").get<int64_t>();
    row.failedItemCount = j.at("failedItemCount").get<int64_t>();
    row.affectedBytes = j.at("affectedBytes").get<int64_t>();
    row.wasCancelled = j.at("wasCancelled").get<bool>();
    row.samplePaths = j.at("samplePaths").get<std::vector<std::string>>();
    row.failureReasons = j.at("failureReasons").get<std::vector<std::string>>();
    row.cleanedItems = j.at("cleanedItems").get<std::vector<CleanupAuditCleanedItemExportRow>>();
    row.entryDigest = j.contains("entryDigest")
                          ? std::optional(j.at("entryDigest").get<std::string>())
                          : std::nullopt;
    row.previousEntryDigest = j.contains("previousEntryDigest")
                                  ? std::optional(j.at("previousEntryDigest").get<std::string>())
                                  : std::nullopt;
}

void to_json(nlohmann::json& j, const CleanupAuditExportSummary& s) {
    j = {{"entryCount", s.entryCount},
         {"cleanEntryCount", s.cleanEntryCount},
         {"restoreEntryCount", s.restoreEntryCount},
         {"succeededItemCount", s.succeededItemCount},
         {"failedItemCount", s.failedItemCount},
         {"affectedBytes", s.affectedBytes},
         {"chainStatus", rawValue(s.chainStatus)},
         {"verifiedEntryCount", s.verifiedEntryCount},
         {"unverifiableEntryCount", s.unverifiableEntryCount}};
    putOptional(j, "oldestOccurredAt", s.oldestOccurredAt);
    putOptional(j, "newestOccurredAt", s.newestOccurredAt);
    putOptional(j, "firstBrokenEntryID", s.firstBrokenEntryID);
}

void from_json(const nlohmann::json& j, CleanupAuditExportSummary& s) {
    s.entryCount = j.at("entryCount").get<int64_t>();
    s.cleanEntryCount = j.at("cleanEntryCount").get<int64_t>();
    s.restoreEntryCount = j.at("restoreEntryCount").get<int64_t>();
    s.succeededItemCount = j.at("succeededItemCount").get<int64_t>();
    s.failedItemCount = j.at("failedItemCount").get<int64_t>();
    s.affectedBytes = j.at("affectedBytes").get<int64_t>();
    s.chainStatus =
        decodeEnum<CleanupAuditChainStatus>(j.at("chainStatus"), chainStatusFromRaw, "chainStatus");
    s.verifiedEntryCount = j.at("verifiedEntryCount").get<int64_t>();
    s.unverifiableEntryCount = j.at("unverifiableEntryCount").get<int64_t>();
    s.oldestOccurredAt = j.contains("oldestOccurredAt")
                             ? std::optional(decodeDate(j.at("oldestOccurredAt")))
                             : std::nullopt;
    s.newestOccurredAt = j.contains("newestOccurredAt")
                             ? std::optional(decodeDate(j.at("newestOccurredAt")))
                             : std::nullopt;
    s.firstBrokenEntryID = j.contains("firstBrokenEntryID")
                               ? std::optional(j.at("firstBrokenEntryID").get<std::string>())
                               : std::nullopt;
}

void to_json(nlohmann::json& j, const CleanupAuditExportPayload& p) {
    j = {{"kind", p.kind},
         {"formatVersion", p.formatVersion},
         {"exportedAt", p.exportedAt},
         {"isRedacted", p.isRedacted},
         {"summary", p.summary},
         {"entries", p.entries}};
}

void from_json(const nlohmann::json& j, CleanupAuditExportPayload& p) {
    p.kind = j.at("kind").get<std::string>();
    p.formatVersion = j.at("formatVersion").get<int>();
    p.exportedAt = decodeDate(j.at("exportedAt"));
    p.isRedacted = j.at("isRedacted").get<bool>();
    p.summary = j.at("summary").get<CleanupAuditExportSummary>();
    p.entries = j.at("entries").get<std::vector<CleanupAuditExportRow>>();
}

}  // namespace velmora

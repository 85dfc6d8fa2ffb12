#include "CleanerCore/export/InsightExport.h"

#include <set>

#include "CleanerCore/export/ExportCsv.h"
#include "CleanerCore/export/RedactedJson.h"
#include "CleanerCore/insights/InsightJson.h"
#include "CleanerCore/insights/MacStorageInsightReportJson.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

namespace {

class InsightTable {
  public:
    explicit InsightTable(const ExportSettings& settings)
        : table_({kInsightExportColumns.begin(), kInsightExportColumns.end()}),
          redactor_(settings.redactor) {}

    void root(const StorageMapItem& item) {
        table_.text("storageMap")
            .text(identifier(item.id))
            .text(path(item.url.path))
            .text(redactor_ ? redactor_->path(item.url.path) : item.displayName)
            .text("")
            .text("")
            .text("")
            .number(item.sizeBytes)
            .number(item.itemCount)
            .text("")
            .text("")
            .text("")
            .text(item.isTruncated ? "truncated" : "");
        table_.endRow();
    }

    void finding(const FileInsight& f, std::string_view groupID = {}, bool isKeeper = false) {
        table_.text(rawValue(f.kind))
            .text(identifier(f.id))
            .text(path(f.url.path))
            .text(redactor_ ? redactor_->path(f.url.path) : f.displayName)
            .text(groupID.empty() ? std::string() : identifier(groupID))
            .text(rawValue(f.kind))
            .text(rawValue(f.safety))
            .number(f.sizeBytes)
            .text("")
            .date(f.lastModified)
            .optionalNumber(f.linkCount)
            .text(groupID.empty() ? "" : (isKeeper ? "true" : "false"))
            .text(redactor_ ? redactor_->text(f.detail) : f.detail);
        table_.endRow();
    }

    const std::string& str() const { return table_.str(); }

  private:
    std::string path(std::string_view p) const {
        return redactor_ ? redactor_->path(p) : std::string(p);
    }
    std::string identifier(std::string_view id) const {
        return redactor_ ? redactor_->identifier(id) : std::string(id);
    }

    CsvTable table_;
    const std::optional<ExportRedactor>& redactor_;
};

std::string csvOf(const MacStorageInsightReport& report,
                  const std::vector<DuplicateKeeperRecommendation>& keepers,
                  const ExportSettings& settings) {
    InsightTable table(settings);
    std::set<std::pair<std::string, std::string>> keeperOf;  // (group id, finding id)
    for (const auto& k : keepers) keeperOf.emplace(k.groupID, k.keeperID);
    for (const auto& item : report.heatmapItems) table.root(item);
    for (const auto& f : report.largeFiles) table.finding(f);
    for (const auto& f : report.downloadFiles) table.finding(f);
    for (const auto& group : report.duplicateGroups) {
        for (const auto& f : group.files)
            table.finding(f, group.id, keeperOf.contains({group.id, f.id}));
    }
    for (const auto& f : report.securityFindings) table.finding(f);
    return table.str();
}

}  // namespace

std::string exportInsightReport(const MacStorageInsightReport& report,
                                const std::vector<DuplicateKeeperRecommendation>& keepers,
                                const ExportSettings& settings) {
    if (settings.format == ExportFormat::csv) return csvOf(report, keepers, settings);
    nlohmann::json document{{"kind", "insights"},
                            {"formatVersion", kExportFormatVersion},
                            {"exportedAt", settings.exportedAt},
                            {"isRedacted", settings.redactor.has_value()},
                            {"report", report},
                            {"keepers", keepers}};
    if (settings.redactor) {
        redactJSON(document, *settings.redactor);
        // A recommendation carries its keeper's path as text, which JSON holds only as valid
        // UTF-8; tokenized from the record's bytes, it matches the token of the keeper's URL.
        auto& redactedKeepers = document.at("keepers");
        for (size_t i = 0; i < keepers.size(); ++i) {
            redactedKeepers[i]["keeperPath"] = settings.redactor->path(keepers[i].keeperPath);
            redactedKeepers[i]["keeperID"] = settings.redactor->identifier(keepers[i].keeperID);
        }
    }
    return dumpJSON(document, true) + "\n";
}

}  // namespace velmora

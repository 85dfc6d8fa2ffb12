#include "CleanerCore/insights/MacStorageInsightReportJson.h"

#include "CleanerCore/insights/InsightJson.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

using nlohmann::json;

namespace {

template <typename J>
void encode(J& j, const MacStorageInsightReport& r) {
    j = J::object();
    j["scannedAt"] = r.scannedAt;
    j["heatmapItems"] = r.heatmapItems;
    j["largeFiles"] = r.largeFiles;
    j["downloadFiles"] = r.downloadFiles;
    j["duplicateGroups"] = r.duplicateGroups;
    j["securityFindings"] = r.securityFindings;
    j["skippedItems"] = J(json(r.skippedItems));  // scan-model records, sorted keys
    j["isTruncated"] = r.isTruncated;
    j["systemSnapshot"] = r.systemSnapshot;
    j["hasCompletedScan"] = r.hasCompletedScan;
}

}  // namespace

void to_json(json& j, const MacStorageInsightReport& r) {
    encode(j, r);
}
void to_json(nlohmann::ordered_json& j, const MacStorageInsightReport& r) {
    encode(j, r);
}

void from_json(const json& j, MacStorageInsightReport& r) {
    // The second set of keys: only "scannedRoots", whose presence marks the older shape.
    const bool older = j.contains("scannedRoots");
    if (older) (void)j.at("scannedRoots").get<std::vector<FileURL>>();
    // In the older shape a key that older scans did not write may be missing.
    auto optionalIfOlder = [&](const char* key, auto& field) {
        if (older && !j.contains(key)) return;
        j.at(key).get_to(field);
    };
    MacStorageInsightReport out;
    out.hasCompletedScan = true;
    out.scannedAt = decodeDate(j.at("scannedAt"));
    optionalIfOlder("heatmapItems", out.heatmapItems);
    j.at("largeFiles").get_to(out.largeFiles);
    j.at("downloadFiles").get_to(out.downloadFiles);
    optionalIfOlder("duplicateGroups", out.duplicateGroups);
    optionalIfOlder("securityFindings", out.securityFindings);
    j.at("skippedItems").get_to(out.skippedItems);
    out.isTruncated = j.at("isTruncated").get<bool>();
    optionalIfOlder("systemSnapshot", out.systemSnapshot);
    optionalIfOlder("hasCompletedScan", out.hasCompletedScan);
    r = std::move(out);
}

Result<MacStorageInsightReport> decodeMacStorageInsightReport(std::string_view text) {
    try {
        return json::parse(text).get<MacStorageInsightReport>();
    } catch (const json::exception& e) {
        return fail(std::string("not an insight report: ") + e.what());
    }
}

}  // namespace velmora

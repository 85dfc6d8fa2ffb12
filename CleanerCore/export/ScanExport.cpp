#include "CleanerCore/export/ScanExport.h"

#include "CleanerCore/export/ExportCsv.h"
#include "CleanerCore/export/RedactedJson.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

namespace {

std::optional<CleanupProofCheckKind> checkKindFromRaw(std::string_view text) {
    for (auto kind :
         {CleanupProofCheckKind::directNoTouchPath, CleanupProofCheckKind::manualReviewPolicy,
          CleanupProofCheckKind::cleanupTimeRevalidation}) {
        if (rawValue(kind) == text) return kind;
    }
    return std::nullopt;
}

std::optional<CleanupProofCheckState> checkStateFromRaw(std::string_view text) {
    for (auto state : {CleanupProofCheckState::passed, CleanupProofCheckState::needsReview,
                       CleanupProofCheckState::blocked, CleanupProofCheckState::required}) {
        if (rawValue(state) == text) return state;
    }
    return std::nullopt;
}

std::optional<CleanupProofRecommendationState> recommendationFromRaw(std::string_view text) {
    for (auto state : {CleanupProofRecommendationState::reviewReady,
                       CleanupProofRecommendationState::manualReviewRequired,
                       CleanupProofRecommendationState::blockedByPolicy}) {
        if (rawValue(state) == text) return state;
    }
    return std::nullopt;
}

std::string csvOf(const ScanReport& report, Catalogue catalogue, const ExportSettings& settings) {
    CsvTable table({kScanExportColumns.begin(), kScanExportColumns.end()});
    const auto& redactor = settings.redactor;
    for (const auto& c : report.candidates) {
        const CleanupProofCard card = cleanupProofCard(c, catalogue);
        const std::string id = c.id();
        table.text(redactor ? redactor->identifier(id) : id)
            .text(redactor ? redactor->path(c.url.path) : c.url.path)
            .text(redactor ? redactor->path(c.url.path) : c.displayName)
            .text(rawValue(c.category))
            .text(rawValue(c.safety))
            .number(c.sizeBytes)
            .date(c.lastModified)
            .boolean(c.isSelectedByDefault)
            .boolean(c.requiresManualReviewBySource)
            .text(rawValue(card.recommendationState));
        for (const auto& check : card.checks) table.text(rawValue(check.state));
        table.endRow();
    }
    return table.str();
}

}  // namespace

void to_json(nlohmann::json& j, const CleanupProofCard& card) {
    nlohmann::json checks = nlohmann::json::array();
    for (const auto& c : card.checks)
        checks.push_back({{"kind", rawValue(c.kind)}, {"state", rawValue(c.state)}});
    j = {{"policyVersion", CleanupProofCard::policyVersion},
         {"recommendationState", rawValue(card.recommendationState)},
         {"checks", std::move(checks)},
         {"requiresCleanupTimeRevalidation", CleanupProofCard::requiresCleanupTimeRevalidation}};
}

void from_json(const nlohmann::json& j, CleanupProofCard& card) {
    if (j.at("policyVersion").get<std::string>() != CleanupProofCard::policyVersion) {
        throw nlohmann::json::other_error::create(501, "unknown proof card policy version", &j);
    }
    card.recommendationState = decodeEnum<CleanupProofRecommendationState>(
        j.at("recommendationState"), recommendationFromRaw, "recommendationState");
    const auto& checks = j.at("checks");
    if (!checks.is_array() || checks.size() != card.checks.size()) {
        throw nlohmann::json::other_error::create(501, "a proof card holds three checks", &j);
    }
    for (size_t i = 0; i < card.checks.size(); ++i) {
        card.checks[i].kind =
            decodeEnum<CleanupProofCheckKind>(checks[i].at("kind"), checkKindFromRaw, "kind");
        card.checks[i].state =
            decodeEnum<CleanupProofCheckState>(checks[i].at("state"), checkStateFromRaw, "state");
    }
}

std::string exportScanReport(const ScanReport& report, Catalogue catalogue,
                             const ExportSettings& settings) {
    if (settings.format == ExportFormat::csv) return csvOf(report, catalogue, settings);
    nlohmann::json reportJSON = report;
    auto& candidates = reportJSON.at("candidates");
    for (size_t i = 0; i < report.candidates.size(); ++i)
        candidates[i]["proofCard"] = cleanupProofCard(report.candidates[i], catalogue);
    nlohmann::json document{{"kind", "scan"},
                            {"formatVersion", kExportFormatVersion},
                            {"exportedAt", settings.exportedAt},
                            {"isRedacted", settings.redactor.has_value()},
                            {"report", std::move(reportJSON)}};
    if (settings.redactor) redactJSON(document, *settings.redactor);
    return dumpJSON(document, true) + "\n";
}

Result<ScanExportDocument> decodeScanExport(std::string_view text) {
    try {
        const auto j = nlohmann::json::parse(text);
        if (j.at("kind").get<std::string>() != "scan") return fail("not a scan export");
        if (j.at("formatVersion").get<int>() > kExportFormatVersion)
            return fail("the export was written by a newer version");
        ScanExportDocument document;
        document.exportedAt = decodeDate(j.at("exportedAt"));
        document.isRedacted = j.at("isRedacted").get<bool>();
        document.report = j.at("report").get<ScanReport>();
        for (const auto& c : j.at("report").at("candidates"))
            document.proofCards.push_back(c.at("proofCard").get<CleanupProofCard>());
        return document;
    } catch (const nlohmann::json::exception& e) {
        return fail(std::string("the scan export cannot be read: ") + e.what());
    }
}

}  // namespace velmora

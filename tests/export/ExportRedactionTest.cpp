// Redaction: the token forms, which identifiers keep what, and that one path gets one token
// wherever it appears in an export (a candidate's id, URL and name; a finding's folder and the
// storage-map root that is that folder; a history sample and the cleaned item it samples), and
// that two exports share no token.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "CleanerCore/export/HistoryExport.h"
#include "CleanerCore/export/InsightExport.h"
#include "CleanerCore/export/ScanExport.h"
#include "audit/AuditTestSupport.h"
#include "support/Candidates.h"

namespace velmora {
namespace {

InstallationKey keyOf(uint8_t fill) {
    InstallationKey key;
    key.bytes.fill(fill);
    return key;
}

// A redactor with a fixed salt, so that the expectations below can name its tokens.
ExportRedactor redactorOf(uint8_t keyFill, uint8_t saltFill = 0) {
    ExportSalt salt;
    salt.fill(saltFill);
    return ExportRedactor(keyOf(keyFill), salt);
}

// "<" + kind + ":" + 16 lower-case hex digits + ">".
bool isToken(const std::string& text, const std::string& kind) {
    const std::string head = "<" + kind + ":";
    if (text.size() != head.size() + 17 || !text.starts_with(head) || text.back() != '>')
        return false;
    return std::all_of(text.begin() + static_cast<long>(head.size()), text.end() - 1, [](char c) {
        return std::isdigit(static_cast<unsigned char>(c)) || (c >= 'a' && c <= 'f');
    });
}

ExportSettings redacted(ExportFormat format = ExportFormat::json) {
    ExportSettings settings;
    settings.format = format;
    settings.redactor = redactorOf(7);
    settings.exportedAt = 800000000;
    return settings;
}

TEST(ExportRedactionTest, TokensAreKeyedSaltedAndSeparatedByKind) {
    const ExportRedactor r = redactorOf(7);
    EXPECT_TRUE(isToken(r.path("/h/a"), "path")) << r.path("/h/a");
    EXPECT_TRUE(isToken(r.text("/h/a"), "text")) << r.text("/h/a");
    EXPECT_EQ(r.path("/h/a"), r.path("/h/a"));
    EXPECT_NE(r.path("/h/a"), r.path("/h/b"));
    // Same bytes, different kinds: the digits differ too, not only the prefix.
    EXPECT_NE(r.path("/h/a").substr(6), r.text("/h/a").substr(6));
    EXPECT_NE(r.path("/h/a"), redactorOf(8).path("/h/a"));
    EXPECT_NE(r.path("/h/a"), redactorOf(7, 1).path("/h/a"));
    EXPECT_EQ(r.text(""), "");

    // Each new export draws its own salt: stable within it, unlinkable between two.
    const ExportRedactor first = ExportRedactor::forNewExport(keyOf(7));
    const ExportRedactor second = ExportRedactor::forNewExport(keyOf(7));
    EXPECT_EQ(first.path("/h/a"), first.path("/h/a"));
    EXPECT_NE(first.path("/h/a"), second.path("/h/a"));
    EXPECT_NE(first.text("/h/a"), second.text("/h/a"));
}

TEST(ExportRedactionTest, IdentifiersKeepOnlyWhatIsNotAPath) {
    const ExportRedactor r = redactorOf(7);
    struct Case {
        std::string id, expected;
    };
    const std::vector<Case> cases = {
        {"0A1B2C3D-0000-4000-8000-00000000ABCD", "0A1B2C3D-0000-4000-8000-00000000ABCD"},
        {"userCaches:/h/.cache/x", "userCaches:" + r.path("/h/.cache/x")},
        {"largeFile:/h/big.iso", "largeFile:" + r.path("/h/big.iso")},
        {"/h/Documents", r.path("/h/Documents")},
        {"sha256:abcdef:42", r.text("sha256:abcdef:42")},
        {"weird id:/x", r.text("weird id:/x")},
        {"0A1B2C3D-0000-4000-8000-00000000ABC", r.text("0A1B2C3D-0000-4000-8000-00000000ABC")},
    };
    for (const auto& c : cases) EXPECT_EQ(r.identifier(c.id), c.expected) << c.id;
}

TEST(ExportRedactionTest, ScanExportUsesOneTokenPerPath) {
    ScanReport report;
    report.scannedAt = 790000000;
    report.hasCompletedScan = true;
    report.scannedRoots = {FileURL::directory("/h/.cache")};
    report.candidates = {
        test::candidateAt("/h/.cache/Secret", CleanupCategory::customFolder, 4096)};
    report.candidates[0].safety = CleanupSafety::caution;
    report.skippedItems = {{FileURL("/h/.cache/locked"), "Permission denied: /h/.cache/locked"}};

    const auto settings = redacted();
    const auto j = nlohmann::json::parse(exportScanReport(report, Catalogue::linux, settings));
    const ExportRedactor& r = *settings.redactor;
    EXPECT_EQ(j.at("isRedacted"), true);
    const auto& out = j.at("report").at("candidates").at(0);
    EXPECT_EQ(out.at("url"), r.path("/h/.cache/Secret"));
    EXPECT_EQ(out.at("displayName"), r.path("/h/.cache/Secret"));
    EXPECT_EQ(out.at("id"), "customFolder:" + r.path("/h/.cache/Secret"));
    EXPECT_EQ(j.at("report").at("scannedRoots").at(0), r.path("/h/.cache"));
    // What stays: numbers, categories, safety levels and the proof card.
    EXPECT_EQ(out.at("sizeBytes"), 4096);
    EXPECT_EQ(out.at("category"), "customFolder");
    EXPECT_EQ(out.at("safety"), "caution");
    EXPECT_EQ(out.at("proofCard").at("recommendationState"), "manualReviewRequired");
    EXPECT_EQ(out.at("proofCard").at("checks").at(1).at("state"), "needsReview");
    const auto& skipped = j.at("report").at("skippedItems").at(0);
    EXPECT_EQ(skipped.at("url"), r.path("/h/.cache/locked"));
    EXPECT_EQ(skipped.at("reason"), r.text("Permission denied: /h/.cache/locked"));
    EXPECT_EQ(j.dump().find("/h/"), std::string::npos) << j.dump(2);
}

TEST(ExportRedactionTest, InsightExportLinksFindingsToTheirFolders) {
    MacStorageInsightReport report = MacStorageInsightReport::placeholder();
    report.hasCompletedScan = true;
    report.heatmapItems = {
        {"/h/Downloads", FileURL::directory("/h/Downloads"), "~/Downloads", 9, 1, false}};
    FileInsight f;
    f.url = FileURL("/h/Downloads/Taxes 2026.pdf");
    f.id = fileInsightID(FileInsightKind::duplicate, f.url.path);
    f.displayName = "Taxes 2026.pdf";
    f.parentPath = "~/Downloads";
    f.kind = FileInsightKind::duplicate;
    f.detail = duplicateSetDetail(2);
    f.sizeBytes = 9;
    FileInsight copy = f;
    // Not UTF-8: its texts in JSON hold U+FFFD, its URL the bytes; the tokens must agree.
    copy.url = FileURL("/h/Documents/Taxes\xff 2026.pdf");
    copy.id = fileInsightID(FileInsightKind::duplicate, copy.url.path);
    copy.parentPath = "~/Documents";
    report.duplicateGroups = {{"sha256:00ff:9", 9, {f, copy}}};
    const DuplicateKeeperRecommendation keeper{
        "sha256:00ff:9",
        copy.id,
        copy.url.path,
        1,
        {DuplicateKeeperRecommendationReason::olderModificationDate}};

    const auto settings = redacted();
    const auto j = nlohmann::json::parse(exportInsightReport(report, {keeper}, settings));
    const ExportRedactor& r = *settings.redactor;
    const auto& group = j.at("report").at("duplicateGroups").at(0);
    const auto& file = group.at("files").at(0);
    EXPECT_EQ(file.at("parentPath"), j.at("report").at("heatmapItems").at(0).at("url"));
    EXPECT_EQ(file.at("parentPath"), r.path("/h/Downloads"));
    EXPECT_EQ(file.at("id"), "duplicate:" + r.path("/h/Downloads/Taxes 2026.pdf"));
    EXPECT_EQ(file.at("kind"), "duplicate");
    EXPECT_EQ(group.at("id"), r.text("sha256:00ff:9"));
    const auto& k = j.at("keepers").at(0);
    EXPECT_EQ(k.at("groupID"), group.at("id"));
    EXPECT_EQ(k.at("keeperID"), group.at("files").at(1).at("id"));
    EXPECT_EQ(k.at("keeperPath"), group.at("files").at(1).at("url"));
    EXPECT_EQ(k.at("reasons").at(0), "olderModificationDate");
    const std::string text = j.dump();
    for (const char* hidden : {"Taxes", "/h/", "~/", "Duplicate set", "00ff"})
        EXPECT_EQ(text.find(hidden), std::string::npos) << hidden;

    // The CSV marks the keeper and carries the same tokens.
    const std::string csv = exportInsightReport(report, {keeper}, redacted(ExportFormat::csv));
    EXPECT_NE(csv.find(r.path(copy.url.path) + "," + r.path(copy.url.path) + "," +
                       r.text("sha256:00ff:9")),
              std::string::npos)
        << csv;
    EXPECT_EQ(csv.find("Taxes"), std::string::npos) << csv;
}

TEST(ExportRedactionTest, HistoryKeepsIdsAndCountsAndHidesPathsReasonsAndDigests) {
    CleanupAuditEntry e = test::entryAt(790000000, 2);
    e.failureReasons = {"Could not move /h/.cache/private-notes"};
    e.chainLink = CleanupAuditChainLink{std::string(64, 'a'), std::string(64, 'b')};
    const auto settings = redacted();
    const ExportRedactor& r = *settings.redactor;
    const CleanupAuditExportPayload payload = makeCleanupAuditExport({e}, settings);
    ASSERT_EQ(payload.entries.size(), 1u);
    const auto& row = payload.entries[0];
    EXPECT_EQ(row.id, e.id);
    EXPECT_EQ(row.affectedBytes, e.affectedBytes);
    ASSERT_EQ(row.cleanedItems.size(), 2u);
    EXPECT_EQ(row.samplePaths[0], row.cleanedItems[0].path);
    EXPECT_EQ(row.cleanedItems[0].path, r.path("/h/.cache/item-0"));
    EXPECT_EQ(row.cleanedItems[0].candidateID, "userCaches:" + r.path("/h/.cache/item-0"));
    EXPECT_EQ(row.cleanedItems[0].trashPath, r.path("/h/.local/share/Trash/files/item-0"));
    EXPECT_EQ(row.failureReasons[0], r.text(e.failureReasons[0]));
    EXPECT_EQ(row.entryDigest, r.text(std::string(64, 'a')));
    EXPECT_TRUE(payload.isRedacted);

    for (auto format : {ExportFormat::json, ExportFormat::csv}) {
        const std::string text = exportCleanupHistory({e}, redacted(format));
        for (const std::string& hidden : {std::string("/h/"), std::string("private-notes"),
                                          std::string(64, 'a'), std::string(64, 'b')})
            EXPECT_EQ(text.find(hidden), std::string::npos) << hidden << "\n" << text;
        EXPECT_NE(text.find(e.id), std::string::npos);
    }
}

}  // namespace
}  // namespace velmora

// Full JSON exports read back: a scan export gives the report and its proof cards back field for
// field (names with invalid UTF-8 included), and the history export's payload reads back equal,
// with a summary that reports a changed entry.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/export/HistoryExport.h"
#include "CleanerCore/export/ScanExport.h"
#include "audit/AuditTestSupport.h"
#include "support/Candidates.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

TEST(ExportJsonTest, ScanExportReadsBackWithItsProofCards) {
    ScanReport report;
    report.scannedAt = 790000000.5;
    report.hasCompletedScan = true;
    report.scannedRoots = {FileURL::directory("/h/.cache"), FileURL::directory("/h/work")};
    report.candidates = {
        test::candidateAt("/h/.cache/app", CleanupCategory::userCaches, 123456789),
        test::candidateAt("/h/.cache/na\xffme,\"q\"\n", CleanupCategory::userCaches, 123456789),
        test::candidateAt("/h/work/build", CleanupCategory::customFolder, 123456789),
    };
    FileResourceIdentity identity;
    identity.fileResourceIdentifier = "2049:77";
    identity.systemFileNumber = 77;
    report.candidates[0].resourceIdentity = identity;
    report.skippedItems = {{FileURL("/h/.cache/locked"), "Permission denied"}};

    ExportSettings settings;
    settings.exportedAt = 800000000.25;
    const auto decoded = decodeScanExport(exportScanReport(report, Catalogue::linux, settings));
    ASSERT_TRUE(decoded) << decoded.error();
    EXPECT_EQ(decoded->report, report);
    EXPECT_EQ(decoded->exportedAt, settings.exportedAt);
    EXPECT_FALSE(decoded->isRedacted);
    ASSERT_EQ(decoded->proofCards.size(), report.candidates.size());
    for (size_t i = 0; i < report.candidates.size(); ++i)
        EXPECT_EQ(decoded->proofCards[i], cleanupProofCard(report.candidates[i], Catalogue::linux));
    EXPECT_EQ(decoded->proofCards[2].recommendationState,
              CleanupProofRecommendationState::manualReviewRequired);

    EXPECT_FALSE(decodeScanExport("{\"kind\":\"history\"}"));
    EXPECT_FALSE(decodeScanExport("[1"));
}

TEST(ExportJsonTest, HistoryPayloadReadsBackAndSummarisesTheChain) {
    test::TestTree tree;
    const CleanupAuditStore store(tree.path("cleanup-audit-log.json"));
    CleanupAuditEntry clean = test::entryAt(790000000, 2);
    clean.failedItemCount = 1;
    clean.failureReasons = {"Could not move /h/.cache/x"};
    store.append(clean);
    CleanupAuditEntry restore = test::entryAt(790000100, 0);
    restore.operation = CleanupAuditOperation::restore;
    restore.mode.reset();
    restore.samplePaths = {"/h/.cache/item-0"};
    restore.succeededItemCount = 1;
    restore.affectedBytes = 4096;
    const auto entries = store.append(restore);
    ASSERT_EQ(entries.size(), 2u);

    ExportSettings settings;
    settings.exportedAt = 800000000;
    const auto payload = makeCleanupAuditExport(entries, settings);
    const auto read = nlohmann::json::parse(exportCleanupHistory(entries, settings))
                          .get<CleanupAuditExportPayload>();
    EXPECT_EQ(read, payload);
    EXPECT_EQ(read.kind, "history");
    EXPECT_EQ(read.entries[0].id, entries[0].id);
    EXPECT_FALSE(read.entries[0].mode);
    EXPECT_EQ(read.entries[1].cleanedItems[1].path, "/h/.cache/item-1");
    EXPECT_EQ(read.entries[1].entryDigest, entries[1].chainLink->entryDigest);

    const auto& s = payload.summary;
    EXPECT_EQ(s.entryCount, 2);
    EXPECT_EQ(s.cleanEntryCount, 1);
    EXPECT_EQ(s.restoreEntryCount, 1);
    EXPECT_EQ(s.succeededItemCount, 3);
    EXPECT_EQ(s.failedItemCount, 1);
    EXPECT_EQ(s.affectedBytes, 3 * 4096);
    EXPECT_EQ(s.oldestOccurredAt, 790000000);
    EXPECT_EQ(s.newestOccurredAt, 790000100);
    EXPECT_EQ(s.chainStatus, CleanupAuditChainStatus::intact);
    EXPECT_EQ(s.verifiedEntryCount, 2);

    // A changed byte count breaks the chain at that entry, and the export says so.
    auto changed = entries;
    changed[1].affectedBytes += 1;
    const auto broken = makeCleanupAuditExport(changed, settings).summary;
    EXPECT_EQ(broken.chainStatus, CleanupAuditChainStatus::broken);
    EXPECT_EQ(broken.firstBrokenEntryID, entries[1].id);
    EXPECT_EQ(makeCleanupAuditExport({}, settings).summary, CleanupAuditExportSummary{});
}

}  // namespace
}  // namespace velmora

// The selection preview before a cleanup and the storage-impact report after it.
#include <gtest/gtest.h>

#include <limits>

#include "CleanerCore/review/CleanupSelectionPreview.h"
#include "CleanerCore/review/CleanupStorageImpactReport.h"

namespace velmora {
namespace {

CleanupCandidate candidate(CleanupCategory category, CleanupSafety safety, int64_t size) {
    CleanupCandidate c;
    c.category = category;
    c.safety = safety;
    c.sizeBytes = size;
    return c;
}

TEST(CleanupSelectionPreviewTest, SummarisesBySafetyAndCategory) {
    using C = CleanupCategory;
    using S = CleanupSafety;
    const std::vector<CleanupCandidate> selection = {
        candidate(C::userLogs, S::safe, 300),
        candidate(C::temporaryFiles, S::caution, 50),
        candidate(C::userCaches, S::safe, 100),
        candidate(C::customFolder, S::manualReview, 900),
        candidate(C::userCaches, S::caution, 200),
        candidate(C::temporaryFiles, S::safe, 250),
        candidate(C::buildArchives, S::manualReview, 0),
    };
    const auto p = CleanupSelectionPreview::make(selection);
    EXPECT_EQ(p.count, 7);
    EXPECT_EQ(p.bytes, 1800);
    EXPECT_EQ(p.safetyBreakdown, (CleanupSafetyBreakdown{3, 2, 2}));
    // More bytes first; equal bytes by raw text ("temporaryFiles" < "userCaches" < "userLogs").
    EXPECT_EQ(p.categorySummaries, (std::vector<CleanupPreviewCategorySummary>{
                                       {C::customFolder, 1, 900},
                                       {C::temporaryFiles, 2, 300},
                                       {C::userCaches, 2, 300},
                                       {C::userLogs, 1, 300},
                                       {C::buildArchives, 1, 0},
                                   }));
    // Order of the selection does not matter.
    auto reversed = selection;
    std::reverse(reversed.begin(), reversed.end());
    EXPECT_EQ(CleanupSelectionPreview::make(reversed), p);

    EXPECT_EQ(CleanupSelectionPreview::make({}), CleanupSelectionPreview{});
}

TEST(CleanupSelectionPreviewDeathTest, ByteOverflowIsFatal) {
    const auto big = candidate(CleanupCategory::userCaches, CleanupSafety::safe,
                               std::numeric_limits<int64_t>::max());
    EXPECT_DEATH(CleanupSelectionPreview::make({big, big}), "overflows");
}

CleanupAuditEntry cleanEntry(int64_t requestedBytes, int64_t affectedBytes) {
    CleanupAuditEntry e;
    e.id = "0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9";
    e.occurredAt = 800000000.5;
    e.source = CleanupAuditSource::macInsights;
    e.mode = CleaningMode::moveToTrash;
    e.requestedItemCount = 4;
    e.succeededItemCount = 3;
    e.failedItemCount = 1;
    e.requestedBytes = requestedBytes;
    e.affectedBytes = affectedBytes;
    e.wasCancelled = true;
    return e;
}

TEST(CleanupStorageImpactReportTest, ReportsCleansWithTheMovedFraction) {
    const auto r = CleanupStorageImpactReport::make(cleanEntry(4000, 1000));
    ASSERT_TRUE(r);
    EXPECT_EQ(
        *r, (CleanupStorageImpactReport{CleanupAuditSource::macInsights, CleaningMode::moveToTrash,
                                        800000000.5, 4, 3, 1, 4000, 1000, true}));

    const struct {
        int64_t requested, affected;
        std::optional<double> fraction;
    } cases[] = {
        {4000, 1000, 0.25},
        {0, 0, std::nullopt},  // nothing expected: no percentage
        {0, 500, std::nullopt},
        {1000, 1500, 1.0},       // items grew between scan and cleanup
        {-5, 10, std::nullopt},  // negative stored values read as 0
        {1000, -7, 0.0},
        {std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::max(), 1.0},
    };
    for (const auto& c : cases) {
        const auto report = CleanupStorageImpactReport::make(cleanEntry(c.requested, c.affected));
        ASSERT_TRUE(report);
        EXPECT_GE(report->expectedBytes, 0);
        EXPECT_GE(report->affectedBytes, 0);
        EXPECT_EQ(report->affectedByteFraction(), c.fraction) << c.requested << " " << c.affected;
    }

    auto negative = cleanEntry(1, 1);
    negative.requestedItemCount = negative.succeededItemCount = negative.failedItemCount = -3;
    const auto clamped = CleanupStorageImpactReport::make(negative);
    EXPECT_EQ(clamped->requestedItemCount + clamped->succeededItemCount + clamped->failedItemCount,
              0);

    auto restore = cleanEntry(100, 100);
    restore.operation = CleanupAuditOperation::restore;
    EXPECT_FALSE(CleanupStorageImpactReport::make(restore));
}

}  // namespace
}  // namespace velmora

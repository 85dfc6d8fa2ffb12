// Entries built from clean and restore results: counts, bytes, and which samples are kept.
#include <gtest/gtest.h>

#include <limits>

#include "CleanerCore/audit/CleanupAuditEntryBuilder.h"
#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/audit/CleanupAuditStore.h"
#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "audit/AuditTestSupport.h"

namespace velmora {
namespace {

using test::cleanedItemAt;

TEST(CleanupAuditEntryBuilderTest, CleanEntryKeepsTheFirstTwentySamplesAndDistinctReasons) {
    std::vector<CleanupCandidate> requested;
    CleanResult result;
    for (int i = 0; i < 30; ++i) {
        CleanedItem item = cleanedItemAt("/h/.cache/c" + std::to_string(i), 100 + i);
        requested.push_back(item.candidate);
        // Every third item failed; the reasons repeat.
        if (i % 3 == 0) {
            result.failedItems.push_back({item.candidate, "reason " + std::to_string(i % 2)});
        } else {
            result.cleanedItems.push_back(item);
        }
    }
    for (int i = 0; i < 25; ++i) {
        result.failedItems.push_back({requested[0], "distinct " + std::to_string(i)});
    }
    result.wasCancelled = true;

    const auto e = makeCleanAuditEntry(requested, result, CleaningMode::deletePermanently,
                                       CleanupAuditSource::macInsights, 1234.5);
    EXPECT_TRUE(canonicalUUIDText(e.id) == e.id);
    EXPECT_EQ(e.operation, CleanupAuditOperation::clean);
    EXPECT_EQ(e.source, CleanupAuditSource::macInsights);
    EXPECT_EQ(e.mode, CleaningMode::deletePermanently);
    EXPECT_EQ(e.occurredAt, 1234.5);
    EXPECT_EQ(e.requestedItemCount, 30);
    EXPECT_EQ(e.requestedBytes, 30 * 100 + 29 * 30 / 2);
    EXPECT_EQ(e.succeededItemCount, 20);
    EXPECT_EQ(e.failedItemCount, 10 + 25);
    int64_t affected = 0;
    std::vector<std::string> paths;
    for (const auto& item : result.cleanedItems) {
        affected += item.candidate.sizeBytes;
        paths.push_back(item.candidate.url.path);
    }
    EXPECT_EQ(e.affectedBytes, affected);
    EXPECT_EQ(e.samplePaths, paths);  // exactly 20 succeeded, all kept, in input order
    std::vector<std::string> reasons = {"reason 0", "reason 1"};
    for (int i = 0; i < 18; ++i) reasons.push_back("distinct " + std::to_string(i));
    EXPECT_EQ(e.failureReasons, reasons);
    EXPECT_EQ(e.cleanedItems, result.cleanedItems);
    EXPECT_TRUE(e.wasCancelled);
    EXPECT_FALSE(e.chainLink);

    // More than twenty successes: the first twenty in input order.
    result.cleanedItems.insert(result.cleanedItems.begin(), cleanedItemAt("/h/first", 1));
    EXPECT_EQ(makeCleanAuditEntry(requested, result, CleaningMode::moveToTrash,
                                  CleanupAuditSource::cleanupDashboard, 0)
                  .samplePaths.front(),
              "/h/first");
    EXPECT_NE(makeCleanAuditEntry({}, {}, CleaningMode::moveToTrash,
                                  CleanupAuditSource::cleanupDashboard, 0)
                  .id,
              e.id);
}

// A run delivered in parts, failures interleaved, gives the entry of its whole result; an item
// cleaned in an early part that lies inside one cleaned later adds no bytes of its own.
TEST(CleanupAuditEntryBuilderTest, CleanEntryBuiltFromPartsEqualsTheOneFromTheWholeResult) {
    CleanResult whole;
    whole.cleanedItems = {cleanedItemAt("/h/.cache/pip/http", 40), cleanedItemAt("/h/.cache/a", 3),
                          cleanedItemAt("/h/.cache/pip", 100)};
    whole.failedItems = {{cleanedItemAt("/h/.cache/b", 5).candidate, "r1"},
                         {cleanedItemAt("/h/.cache/c", 6).candidate, "r2"}};
    CleanAuditEntryBuilder parts(6, 154, CleaningMode::moveToTrash,
                                 CleanupAuditSource::cleanupDashboard);
    parts.add(whole.cleanedItems[0]);
    parts.add(whole.failedItems[0]);
    parts.add(whole.cleanedItems[1]);
    parts.add(whole.cleanedItems[2]);
    parts.add(whole.failedItems[1]);
    CleanupAuditEntry streamed = parts.finish(false, 7.0);
    const CleanupAuditEntry expected = makeCleanAuditEntry(
        6, 154, whole, CleaningMode::moveToTrash, CleanupAuditSource::cleanupDashboard, 7.0);
    EXPECT_EQ(streamed.affectedBytes, 103);
    streamed.id = expected.id;
    EXPECT_EQ(streamed, expected);
}

TEST(CleanupAuditEntryBuilderTest, RestoreEntryRecordsRestoredPathsAndNoItems) {
    const CleanedItem a = cleanedItemAt("/h/.cache/a", 10);
    const CleanedItem b = cleanedItemAt("/h/.cache/b", 20);
    const CleanedItem c = cleanedItemAt("/h/.cache/c", std::numeric_limits<int64_t>::max());
    RestoreResult result;
    result.restoredItems = {{b, b.candidate.url}, {c, c.candidate.url}};
    result.failedItems = {{a, "The original location is taken: /h/.cache/a"}};

    const auto e = makeRestoreAuditEntry({a, b, c}, result, CleanupAuditSource::iOSSandbox, 9);
    EXPECT_EQ(e.operation, CleanupAuditOperation::restore);
    EXPECT_FALSE(e.mode);
    EXPECT_EQ(e.requestedItemCount, 3);
    // Sums saturate instead of wrapping.
    EXPECT_EQ(e.requestedBytes, std::numeric_limits<int64_t>::max());
    EXPECT_EQ(e.affectedBytes, std::numeric_limits<int64_t>::max());
    EXPECT_EQ(e.succeededItemCount, 2);
    EXPECT_EQ(e.failedItemCount, 1);
    EXPECT_EQ(e.samplePaths, (std::vector<std::string>{"/h/.cache/b", "/h/.cache/c"}));
    EXPECT_EQ(e.failureReasons, std::vector<std::string>{result.failedItems[0].reason});
    EXPECT_TRUE(e.cleanedItems.empty());
}

std::string itemPath(int i) {
    return "/h/.cache/c" + std::to_string(i);
}

// The most items whose compact JSON text fits in the history file; printed as the history
// prints them, they do not.
int mostItemsFittingCompactly() {
    auto total = static_cast<size_t>(2);
    for (int n = 0;; ++n) {
        total += dumpJSON(nlohmann::json(cleanedItemAt(itemPath(n), 10)), false).size() + 1;
        if (total > static_cast<size_t>(CleanupAuditStore::kMaximumFileBytes)) return n;
    }
}

// The item list is kept while its text fits in the history file and left out, without being
// copied, once it cannot (judged on the text as the file holds it, so that a list that cannot
// fit is never encoded whole); the counts, bytes and samples stay either way.
TEST(CleanupAuditEntryBuilderTest, ItemListIsLeftOutOnceItCannotFitInTheHistoryFile) {
    for (const int items : {100, mostItemsFittingCompactly(), 4000}) {
        SCOPED_TRACE(items);
        CleanResult result;
        for (int i = 0; i < items; ++i)
            result.cleanedItems.push_back(cleanedItemAt(itemPath(i), 10));
        const bool fits = !cleanedItemsExceed(
            result.cleanedItems, static_cast<size_t>(CleanupAuditStore::kMaximumFileBytes));
        EXPECT_EQ(fits, items == 100);

        const auto e =
            makeCleanAuditEntry(items + 1, 10 * items + 7, result, CleaningMode::moveToTrash,
                                CleanupAuditSource::cleanupDashboard, 1.0);
        EXPECT_EQ(e.cleanedItems.size(), fits ? result.cleanedItems.size() : 0u);
        EXPECT_EQ(e.requestedItemCount, items + 1);
        EXPECT_EQ(e.requestedBytes, 10 * items + 7);
        EXPECT_EQ(e.succeededItemCount, items);
        EXPECT_EQ(e.affectedBytes, 10 * items);
        EXPECT_EQ(e.samplePaths.size(), kCleanupAuditSampleLimit);
    }
}

}  // namespace
}  // namespace velmora

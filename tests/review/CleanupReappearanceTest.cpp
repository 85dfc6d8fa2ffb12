// What a scan after a cleanup says about the cleaned material: the cleanup it compares, the
// assessment, and the figures behind it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "CleanerCore/review/CleanupReappearance.h"
#include "support/Candidates.h"

namespace velmora {
namespace {

using A = CleanupReappearanceObservation::Assessment;
using C = CleanupCategory;

CleanupCandidate candidate(const std::string& path, int64_t bytes, C category = C::userCaches) {
    return test::candidateAt(path, category, bytes);
}

CleanupAuditEntry cleanup(std::string id, Date at, std::vector<CleanupCandidate> items,
                          bool cancelled = false) {
    CleanupAuditEntry e;
    e.id = std::move(id);
    e.occurredAt = at;
    e.operation = CleanupAuditOperation::clean;
    e.source = CleanupAuditSource::cleanupDashboard;
    e.mode = CleaningMode::moveToTrash;
    e.wasCancelled = cancelled;
    for (auto& c : items) {
        e.affectedBytes += c.sizeBytes;
        e.samplePaths.push_back(c.url.path);
        e.cleanedItems.push_back({std::move(c), {}, {}, {}});
    }
    e.succeededItemCount = static_cast<int64_t>(e.cleanedItems.size());
    e.requestedItemCount = e.succeededItemCount;
    return e;
}

CleanupAuditEntry restore(std::string id, Date at, std::vector<std::string> restoredPaths,
                          int64_t succeeded = -1) {
    CleanupAuditEntry e;
    e.id = std::move(id);
    e.occurredAt = at;
    e.operation = CleanupAuditOperation::restore;
    e.succeededItemCount = succeeded < 0 ? static_cast<int64_t>(restoredPaths.size()) : succeeded;
    e.failedItemCount = static_cast<int64_t>(restoredPaths.size()) - e.succeededItemCount;
    e.samplePaths = std::move(restoredPaths);
    return e;
}

const std::string kA = "/home/p/.cache/a", kB = "/home/p/.cache/b", kLog = "/home/p/.local/log";

// One cleanup at time 100 of two caches (600 and 400 bytes) and a log (0 bytes).
CleanupAuditEntry standardCleanup() {
    return cleanup("B0000000-0000-4000-8000-000000000001", 100,
                   {candidate(kA, 600), candidate(kB, 400), candidate(kLog, 0, C::userLogs)});
}

TEST(CleanupReappearanceTest, Assessments) {
    struct Case {
        const char* name;
        std::vector<CleanupAuditEntry> history;
        std::vector<CleanupCandidate> found;
        A expected;
        int64_t samePathBytes, samePathCount;
        Date observedAt = 500;
    };
    const std::string other = "/home/p/.cache/other";
    const auto S = standardCleanup();
    auto cancelled = S;
    cancelled.wasCancelled = true;
    cancelled.occurredAt = 200;
    auto nothingCleaned = cleanup("C0000000-0000-4000-8000-000000000001", 200, {});
    nothingCleaned.failedItemCount = 3;
    auto noDetail = S;
    noDetail.cleanedItems.clear();
    // As a hand-edited record could carry it.
    auto spelledDifferently = candidate(kA, 600, C::appContainerCaches);
    spelledDifferently.url.path = " /home/p/.cache//a/\t";
    const auto a600 = candidate(kA, 600);
    const auto a100 = candidate(kA, 100), a900 = candidate(kA, 900), b900 = candidate(kB, 900);
    const auto restoredA = restore("R1", 150, {" " + kA + "/"});
    const auto restoredB = restore("R1", 150, {kB}), restoredOther = restore("R1", 150, {other});
    const auto restoredBefore = restore("R1", 50, {kA}),
               restoreFailed = restore("R1", 150, {kA}, 0);
    using enum CleanupReappearanceObservation::Assessment;
    const Case cases[] = {
        {"empty history", {}, {a600}, noRecentCleanup, 0, 0},
        {"only a restore", {restore("R1", 90, {kA})}, {}, noRecentCleanup, 0, 0},
        // A cancelled run is never the one compared, even when it is the newest.
        {"only cancelled", {cancelled}, {a600}, noRecentCleanup, 0, 0},
        {"cancelled newer is skipped", {cancelled, S}, {a600}, substantialReappearance, 600, 1},
        // A run whose every item failed cleaned nothing: the one before it is compared.
        {"failed run is skipped", {nothingCleaned, S}, {}, noSamePathReappearance, 0, 0},
        {"no item detail", {noDetail}, {a600}, noRecordedCleanedItems, 0, 0},
        // The scan started before the cleanup was recorded (or at the same instant).
        {"scan before cleanup", {S}, {a600}, awaitingFollowupScan, 0, 0, 99},
        {"scan at cleanup time", {S}, {a600}, awaitingFollowupScan, 0, 0, 100},
        {"nothing back", {S}, {candidate(other, 5000)}, noSamePathReappearance, 0, 0},
        // 499 of 1000 bytes is partial; exactly half is substantial.
        {"just under half", {S}, {candidate(kA, 499)}, partialReappearance, 499, 1},
        {"exactly half", {S}, {candidate(kA, 500)}, substantialReappearance, 500, 1},
        {"more back than cleaned", {S}, {a900, b900}, substantialReappearance, 1800, 2},
        // An empty log back at its path is reappearance, however small.
        {"zero-byte item back", {S}, {candidate(kLog, 0, C::userLogs)}, partialReappearance, 0, 1},
        // Paths compare standardized and trimmed; a different category at the path still counts.
        {"path spelled differently", {S}, {spelledDifferently}, substantialReappearance, 600, 1},
        // A restore of the cleanup's items after it makes the figures ambiguous.
        {"restored afterwards", {restoredB, S}, {a600}, ambiguousAfterRestore, 600, 1},
        {"restored afterwards, nothing back", {restoredA, S}, {}, ambiguousAfterRestore, 0, 0},
        // Restores that do not cover the compared cleanup's items do not count: one before
        // it, one of other items, one that put nothing back.
        {"earlier restore", {S, restoredBefore}, {a600}, substantialReappearance, 600, 1},
        {"other items restored", {restoredOther, S}, {a100}, partialReappearance, 100, 1},
        {"failed restore", {restoreFailed, S}, {a100}, partialReappearance, 100, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto o = CleanupReappearanceObservation::observe(c.history, c.found, c.observedAt);
        EXPECT_EQ(o.assessment, c.expected) << rawValue(o.assessment);
        EXPECT_EQ(o.observedAt, c.observedAt);
        EXPECT_EQ(o.samePathReappearedBytes, c.samePathBytes);
        EXPECT_EQ(o.samePathReappearedItemCount, c.samePathCount);
        EXPECT_EQ(o.cleanedAt.has_value(), c.expected != noRecentCleanup);
        EXPECT_EQ(o.cleanupSource.has_value(), c.expected != noRecentCleanup);
    }
}

TEST(CleanupReappearanceTest, FiguresOfTheComparedCleanup) {
    auto older = cleanup("A0000000-0000-4000-8000-000000000001", 50, {candidate(kB, 7)});
    older.source = CleanupAuditSource::macInsights;
    auto newest = standardCleanup();
    newest.source = CleanupAuditSource::macInsights;
    // Stored oldest first here: the newest is found by date, not by position.
    const std::vector<CleanupAuditEntry> history = {older, newest};
    const std::vector<CleanupCandidate> found = {
        candidate(kA, 300), candidate("/home/p/.cache/new", 50),  // same category, new path
        candidate("/home/p/.local/other.log", 20, C::userLogs),
        candidate("/home/p/build", 1000, C::buildArchives),  // category never cleaned
    };
    const auto o = CleanupReappearanceObservation::observe(history, found, 500);
    EXPECT_EQ(o.assessment, A::partialReappearance);
    EXPECT_EQ(o.cleanupSource, CleanupAuditSource::macInsights);
    EXPECT_EQ(o.cleanedAt, 100);
    EXPECT_EQ(o.recordedCleanedBytes, 1000);
    EXPECT_EQ(o.recordedCleanedItemCount, 3);
    EXPECT_EQ(o.samePathReappearedBytes, 300);
    EXPECT_EQ(o.categoryReappearedBytes, 370);
    EXPECT_EQ(o.categoryReappearedItemCount, 3);
    EXPECT_EQ(o.reappearedFraction(), 0.3);

    const nlohmann::json j = o;
    EXPECT_EQ(j.at("assessment"), "partialReappearance");
    EXPECT_EQ(j.at("cleanupSource"), "macInsights");
    EXPECT_EQ(j.at("reappearedFraction"), 0.3);

    // More back than was cleaned is still the whole of it.
    auto more = o;
    more.samePathReappearedBytes = 2500;
    EXPECT_EQ(more.reappearedFraction(), 1.0);
}

TEST(CleanupReappearanceTest, NothingToCompareCarriesNoFigures) {
    auto noDetail = standardCleanup();
    noDetail.cleanedItems.clear();
    noDetail.affectedBytes = -5;  // a damaged record never yields negative bytes
    const auto o = CleanupReappearanceObservation::observe({noDetail}, {candidate(kA, 600)}, 500);
    EXPECT_EQ(o.recordedCleanedBytes, 0);
    EXPECT_EQ(o.categoryReappearedItemCount, 0);
    EXPECT_EQ(o.reappearedFraction(), std::nullopt);

    const auto none = CleanupReappearanceObservation::observe({}, {candidate(kA, 600)}, 500);
    CleanupReappearanceObservation expected;
    expected.observedAt = 500;
    EXPECT_EQ(none, expected);
    const nlohmann::json j = none;
    for (const char* absent : {"cleanedAt", "cleanupSource", "reappearedFraction"})
        EXPECT_FALSE(j.contains(absent)) << absent;
}

}  // namespace
}  // namespace velmora

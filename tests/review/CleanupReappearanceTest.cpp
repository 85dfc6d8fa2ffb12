// What a scan after a cleanup says about the cleaned material: the cleanup it compares, the
// assessment, and the figures behind it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "CleanerCore/review/CleanupReappearance.h"

namespace velmora {
namespace {

using A = CleanupReappearanceObservation::Assessment;
using C = CleanupCategory;

CleanupCandidate candidate(const std::string& path, int64_t bytes, C category = C::userCaches) {
    CleanupCandidate c;
    c.url = FileURL::directory(path);
    c.sizeBytes = bytes;
    c.category = category;
    return c;
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
        Date observedAt;
        A expected;
        int64_t samePathBytes, samePathCount;
    };
    const std::string other = "/home/p/.cache/other";
    auto cancelled = standardCleanup();
    cancelled.wasCancelled = true;
    cancelled.occurredAt = 200;
    auto nothingCleaned = cleanup("C0000000-0000-4000-8000-000000000001", 200, {});
    nothingCleaned.failedItemCount = 3;
    auto noDetail = standardCleanup();
    noDetail.cleanedItems.clear();
    // As a hand-edited record could carry it.
    auto spelledDifferently = candidate(kA, 600, C::appContainerCaches);
    spelledDifferently.url.path = " /home/p/.cache//a/\t";
    const Case cases[] = {
        {"empty history", {}, {candidate(kA, 600)}, 500, A::noRecentCleanup, 0, 0},
        {"only a restore", {restore("R1", 90, {kA})}, {}, 500, A::noRecentCleanup, 0, 0},
        // A cancelled run is never the one compared, even when it is the newest.
        {"only cancelled", {cancelled}, {candidate(kA, 600)}, 500, A::noRecentCleanup, 0, 0},
        {"cancelled newer is skipped",
         {cancelled, standardCleanup()},
         {candidate(kA, 600)},
         500,
         A::substantialReappearance,
         600,
         1},
        // A run whose every item failed cleaned nothing: the one before it is compared.
        {"failed run is skipped",
         {nothingCleaned, standardCleanup()},
         {},
         500,
         A::noSamePathReappearance,
         0,
         0},
        {"no item detail", {noDetail}, {candidate(kA, 600)}, 500, A::noRecordedCleanedItems, 0, 0},
        // The scan started before the cleanup was recorded (or at the same instant).
        {"scan before cleanup",
         {standardCleanup()},
         {candidate(kA, 600)},
         99,
         A::awaitingFollowupScan,
         0,
         0},
        {"scan at cleanup time",
         {standardCleanup()},
         {candidate(kA, 600)},
         100,
         A::awaitingFollowupScan,
         0,
         0},
        {"nothing back",
         {standardCleanup()},
         {candidate(other, 5000)},
         500,
         A::noSamePathReappearance,
         0,
         0},
        // 499 of 1000 bytes is partial; exactly half is substantial.
        {"just under half",
         {standardCleanup()},
         {candidate(kA, 499)},
         500,
         A::partialReappearance,
         499,
         1},
        {"exactly half",
         {standardCleanup()},
         {candidate(kA, 500)},
         500,
         A::substantialReappearance,
         500,
         1},
        {"all back and more",
         {standardCleanup()},
         {candidate(kA, 900), candidate(kB, 900)},
         500,
         A::substantialReappearance,
         1800,
         2},
        // An empty log back at its path is reappearance, however small.
        {"zero-byte item back",
         {standardCleanup()},
         {candidate(kLog, 0, C::userLogs)},
         500,
         A::partialReappearance,
         0,
         1},
        // Paths compare standardized and trimmed; a different category at the path still counts.
        {"path spelled differently",
         {standardCleanup()},
         {spelledDifferently},
         500,
         A::substantialReappearance,
         600,
         1},
        // A restore of the cleanup's items after it makes the figures ambiguous.
        {"restored afterwards",
         {restore("R1", 150, {kB}), standardCleanup()},
         {candidate(kA, 600)},
         500,
         A::ambiguousAfterRestore,
         600,
         1},
        {"restored afterwards, nothing back",
         {restore("R1", 150, {" " + kA + "/"}), standardCleanup()},
         {},
         500,
         A::ambiguousAfterRestore,
         0,
         0},
        // Restores that do not cover the compared cleanup's items do not count: one before
        // it, one of other items, one that put nothing back.
        {"restore before the cleanup",
         {standardCleanup(), restore("R1", 50, {kA})},
         {candidate(kA, 600)},
         500,
         A::substantialReappearance,
         600,
         1},
        {"restore of other items",
         {restore("R1", 150, {other}), standardCleanup()},
         {candidate(kA, 100)},
         500,
         A::partialReappearance,
         100,
         1},
        {"restore that failed",
         {restore("R1", 150, {kA}, 0), standardCleanup()},
         {candidate(kA, 100)},
         500,
         A::partialReappearance,
         100,
         1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto o = CleanupReappearanceObservation::observe(c.history, c.found, c.observedAt);
        EXPECT_EQ(o.assessment, c.expected) << rawValue(o.assessment);
        EXPECT_EQ(o.observedAt, c.observedAt);
        EXPECT_EQ(o.samePathReappearedBytes, c.samePathBytes);
        EXPECT_EQ(o.samePathReappearedItemCount, c.samePathCount);
        EXPECT_EQ(o.cleanedAt.has_value(), c.expected != A::noRecentCleanup);
        EXPECT_EQ(o.cleanupSource.has_value(), c.expected != A::noRecentCleanup);
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
    EXPECT_EQ(j.at("cleanedAt"), 100.0);
    EXPECT_EQ(j.at("reappearedFraction"), 0.3);
    EXPECT_EQ(j.at("categoryReappearedItemCount"), 3);
}

TEST(CleanupReappearanceTest, NothingToCompareCarriesNoFigures) {
    auto noDetail = standardCleanup();
    noDetail.cleanedItems.clear();
    noDetail.affectedBytes = -5;  // a damaged record never yields negative bytes
    const auto o = CleanupReappearanceObservation::observe({noDetail}, {candidate(kA, 600)}, 500);
    EXPECT_EQ(o.assessment, A::noRecordedCleanedItems);
    EXPECT_EQ(o.recordedCleanedBytes, 0);
    EXPECT_EQ(o.recordedCleanedItemCount, 0);
    EXPECT_EQ(o.categoryReappearedItemCount, 0);
    EXPECT_EQ(o.reappearedFraction(), std::nullopt);

    const auto none = CleanupReappearanceObservation::observe({}, {candidate(kA, 600)}, 500);
    CleanupReappearanceObservation expected;
    expected.observedAt = 500;
    EXPECT_EQ(none, expected);
    const nlohmann::json j = none;
    EXPECT_FALSE(j.contains("cleanedAt"));
    EXPECT_FALSE(j.contains("cleanupSource"));
    EXPECT_FALSE(j.contains("reappearedFraction"));
}

TEST(CleanupReappearanceTest, FractionIsClamped) {
    CleanupReappearanceObservation o;
    o.recordedCleanedBytes = 1000;
    o.samePathReappearedBytes = 2500;
    EXPECT_EQ(o.reappearedFraction(), 1.0);
    o.samePathReappearedBytes = 500;
    EXPECT_EQ(o.reappearedFraction(), 0.5);
    o.recordedCleanedBytes = 0;
    EXPECT_EQ(o.reappearedFraction(), std::nullopt);
}

}  // namespace
}  // namespace velmora

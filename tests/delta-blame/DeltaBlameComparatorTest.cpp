#include "CleanerCore/delta-blame/DeltaBlameComparator.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "delta-blame/DeltaBlameTestSupport.h"

namespace velmora {
namespace {

using test::candidateAt;
using Kind = DeltaBlameChangeKind;
using Cat = CleanupCategory;

const std::string kCache = "/home/u/.cache";

// The earlier scan every item case starts from: four caches, one without a resource identity.
std::vector<CleanupCandidate> baseCandidates() {
    return {
        candidateAt(kCache + "/pip", Cat::packageManagerCaches, 500, "2049:11"),
        candidateAt(kCache + "/thumbnails", Cat::userCaches, 300, "2049:12"),
        candidateAt(kCache + "/mesa", Cat::userCaches, 300, "2049:13"),
        candidateAt(kCache + "/fontconfig", Cat::userCaches, 100),
    };
}

DeltaBlameSnapshotDraft snapshotOf(std::vector<CleanupCandidate> candidates,
                                   std::vector<std::string> roots = {kCache},
                                   DeltaBlameLimits limits = {},
                                   CleanupScanMode mode = CleanupScanMode::standard) {
    ScanReport report;
    report.hasCompletedScan = true;
    for (const auto& r : roots) report.scannedRoots.push_back(FileURL::directory(r));
    report.candidates = std::move(candidates);
    auto request = test::sampleRequest(limits);
    request.scanMode = mode;
    auto built = captureDeltaBlameSnapshot(report, request, test::providerFilledWith('k'));
    if (!built) throw std::runtime_error(built.error().description());
    return built->draft;
}

std::map<Kind, int64_t> kindCounts(const DeltaBlameComparison& c) {
    std::map<Kind, int64_t> counts;
    for (const auto& category : c.categories)
        for (size_t k = 0; k < kDeltaBlameChangeKindCount; ++k)
            if (category.tallies[k].count) counts[Kind(k)] += category.tallies[k].count;
    return counts;
}

TEST(DeltaBlameComparatorTest, ClassifiesEachItemByTokenPlaceAndShape) {
    using Edit = std::function<void(std::vector<CleanupCandidate>&)>;
    struct Case {
        const char* name;
        Edit edit;
        std::map<Kind, int64_t> expected;
        int64_t change;
        Edit before = [](auto&) {};  ///< applied to both scans
    };
    const Case cases[] = {
        {"nothing changed", [](auto&) {}, {{Kind::unchanged, 4}}, 0},
        {"a cache grew",
         [](auto& c) { c[0].sizeBytes = 800; },
         {{Kind::grown, 1}, {Kind::unchanged, 3}},
         300},
        {"a cache shrank in place without a resource identity",
         [](auto& c) { c[3].sizeBytes = 40; },
         {{Kind::shrunk, 1}, {Kind::unchanged, 3}},
         -60},
        {"a new cache appeared",
         [](auto& c) {
             c.push_back(
                 candidateAt(kCache + "/go-build", Cat::developerToolCaches, 900, "2049:20"));
         },
         {{Kind::unchanged, 4}, {Kind::added, 1}},
         900},
        {"a cache went away",
         [](auto& c) { c.erase(c.begin() + 2); },
         {{Kind::unchanged, 3}, {Kind::noLongerObserved, 1}},
         -300},
        {"renamed: the same resource under another name",
         [](auto& c) { c[1].url = FileURL(kCache + "/thumbs-old"); },
         {{Kind::unchanged, 3}, {Kind::probableMove, 1}},
         0},
        {"a gone item's number reused by a new one",
         [](auto& c) {
             c[2].url = FileURL(kCache + "/go-build");
             c[2].resourceIdentity->creationDate = 700'000'000;
             c[2].sizeBytes = 350;
         },
         {{Kind::unchanged, 3}, {Kind::noLongerObserved, 1}, {Kind::added, 1}},
         50},
        {"rewritten under the same name with a new resource",
         [](auto& c) {
             c[0].resourceIdentity->fileResourceIdentifier = "2049:99";
             c[0].sizeBytes = 450;
         },
         {{Kind::shrunk, 1}, {Kind::unchanged, 3}},
         -50},
        {"moved without a resource identity, same size, type and date",
         [](auto& c) { c[3].url = FileURL(kCache + "/fontconfig-1"); },
         {{Kind::unchanged, 3}, {Kind::probableMove, 1}},
         0},
        {"two look-alikes moved: no guess",
         [](auto& c) {
             for (int i : {1, 2}) c[i].url = FileURL(c[i].url.path + "-moved");
         },
         {{Kind::unchanged, 2}, {Kind::ambiguous, 4}},
         0,
         [](auto& c) {
             for (int i : {1, 2}) c[i].resourceIdentity.reset();
         }},
    };
    for (const auto& tc : cases) {
        SCOPED_TRACE(tc.name);
        auto earlierCandidates = baseCandidates();
        tc.before(earlierCandidates);
        auto later = earlierCandidates;
        tc.edit(later);
        const auto c = compareDeltaBlameSnapshots(snapshotOf(earlierCandidates), snapshotOf(later));
        EXPECT_EQ(c.comparability.kind, DeltaBlameComparability::Kind::comparable);
        EXPECT_EQ(kindCounts(c), tc.expected);
        EXPECT_EQ(c.change(), tc.change);
        int64_t itemChange = 0;
        for (const auto& item : c.items) itemChange += item.change();
        EXPECT_EQ(itemChange, tc.change) << "items account for the whole change";
    }
}

TEST(DeltaBlameComparatorTest, ItemsHiddenByTheEvidenceCutAreNotCalledGone) {
    // The later scan keeps only its two largest items as evidence: the small ones that seem to
    // vanish may be among its residual bytes, so they are not comparable; the totals stay exact.
    DeltaBlameLimits limits;
    limits.maximumEvidenceEntries = 2;
    auto later = baseCandidates();
    later[0].sizeBytes = 700;
    const auto c = compareDeltaBlameSnapshots(snapshotOf(baseCandidates()),
                                              snapshotOf(later, {kCache}, limits));
    const std::map<Kind, int64_t> expected{
        {Kind::grown, 1}, {Kind::unchanged, 1}, {Kind::notComparable, 2}};
    EXPECT_EQ(kindCounts(c), expected);
    for (const auto& item : c.items) {
        if (item.kind == Kind::notComparable) {
            EXPECT_EQ(item.reason, DeltaBlameNotComparableReason::evidenceBound);
        }
    }
    EXPECT_EQ(c.change(), 200);
}

TEST(DeltaBlameComparatorTest, ExplainsPairsThatCannotBeCompared) {
    const std::string tmp = "/tmp/scratch";
    using Adjust = std::function<void(DeltaBlameSnapshotDraft&, DeltaBlameSnapshotDraft&)>;
    const auto withRoots = [&](std::vector<std::string> e, std::vector<std::string> l) -> Adjust {
        return [=](DeltaBlameSnapshotDraft& earlier, DeltaBlameSnapshotDraft& later) {
            earlier = snapshotOf(baseCandidates(), e);
            later = snapshotOf(baseCandidates(), l);
        };
    };
    struct Case {
        const char* name;
        Adjust adjust;
        DeltaBlameComparability::Kind kind;
        std::vector<DeltaBlameSideNote> sides;
        size_t comparedRoots;
    };
    using CK = DeltaBlameComparability::Kind;
    using Side = DeltaBlameComparisonSide;
    using Trust = DeltaBlameSnapshotTrust;
    const Case cases[] = {
        {"the later scan was cancelled",
         [](auto&, auto& l) {
             l.provenance.disposition = DeltaBlameScanDisposition::cancelled;
             l.trust = Trust::cancelled;
         },
         CK::incomplete,
         {{Side::later, Trust::cancelled}},
         0},
        {"the earlier policy is unknown",
         [](auto& e, auto&) { e.trust = Trust::policyUnknown; },
         CK::unavailable,
         {{Side::earlier, Trust::policyUnknown}},
         0},
        {"another scan mode",
         [](auto& e, auto&) {
             e = snapshotOf(baseCandidates(), {kCache}, {}, CleanupScanMode::aggressive);
         },
         CK::policyMismatch,
         {},
         0},
        {"a folder was added", withRoots({kCache}, {kCache, tmp}), CK::scopedComparable, {}, 1},
        {"no folder in common",
         [&](auto& e, auto&) {
             e = snapshotOf({candidateAt(tmp + "/build", Cat::temporaryFiles, 10, "2050:1")},
                            {tmp});
         },
         CK::rootMismatch,
         {},
         0},
        {"a folder could not be read the second time",
         [&](auto& e, auto& l) {
             e = snapshotOf(baseCandidates(), {kCache, tmp});
             l = snapshotOf(baseCandidates(), {kCache, tmp});
             auto& scope = l.comparableScope;
             scope.excludedRootDescriptorIDs.push_back(scope.includedRootDescriptorIDs.back());
             scope.includedRootDescriptorIDs.pop_back();
             l.provenance.rootOutcomes.back().kind = DeltaBlameRootOutcomeKind::accessDenied;
         },
         CK::scopedComparable,
         {},
         1},
    };
    for (const auto& tc : cases) {
        SCOPED_TRACE(tc.name);
        auto earlier = snapshotOf(baseCandidates());
        auto later = snapshotOf(baseCandidates());
        tc.adjust(earlier, later);
        const auto c = compareDeltaBlameSnapshots(earlier, later);
        EXPECT_EQ(c.comparability.kind, tc.kind);
        EXPECT_EQ(c.sides, tc.sides);
        size_t compared = 0;
        for (const auto& r : c.roots) compared += !r.reason;
        EXPECT_EQ(compared, tc.comparedRoots);
        EXPECT_EQ(c.compared(), tc.comparedRoots > 0);
        if (!c.compared()) {
            EXPECT_TRUE(c.items.empty() && c.categories.empty());
        }
    }
}

TEST(DeltaBlameComparatorTest, ARootNotComparedSaysWhyAndStaysOutOfTheTotals) {
    const std::string tmp = "/tmp/scratch";
    auto candidates = baseCandidates();
    candidates.push_back(candidateAt(tmp + "/build", Cat::temporaryFiles, 4000, "2050:1"));
    auto later = snapshotOf(candidates, {kCache, tmp});
    auto& scope = later.comparableScope;
    scope.excludedRootDescriptorIDs = {scope.includedRootDescriptorIDs.back()};
    scope.includedRootDescriptorIDs.pop_back();
    later.provenance.rootOutcomes.back().kind = DeltaBlameRootOutcomeKind::enumerationFailed;

    const auto c = compareDeltaBlameSnapshots(snapshotOf(baseCandidates(), {kCache, tmp}), later);
    ASSERT_EQ(c.roots.size(), 2u);
    const auto& skipped = c.roots.back();
    EXPECT_EQ(skipped.reason, DeltaBlameNotComparableReason::incomplete);
    EXPECT_EQ(skipped.side, DeltaBlameComparisonSide::later);
    EXPECT_EQ(skipped.outcome, DeltaBlameRootOutcomeKind::enumerationFailed);
    EXPECT_EQ(c.change(), 0) << "the unreadable folder's bytes are not growth";
    for (const auto& item : c.items) EXPECT_NE(item.observation().byteCount, 4000);
}

TEST(DeltaBlameComparatorTest, KeepsTheLargestChangesWithinTheLimits) {
    auto later = baseCandidates();
    for (int i = 0; i < 6; ++i)
        later.push_back(candidateAt(kCache + "/new-" + std::to_string(i), Cat::userCaches, 1000 + i,
                                    "2049:" + std::to_string(40 + i)));
    DeltaBlameLimits limits;
    limits.maximumComparisonEntries = 3;
    limits.maximumExpandedRows = 2;
    const auto c =
        compareDeltaBlameSnapshots(snapshotOf(baseCandidates()), snapshotOf(later), limits);
    ASSERT_EQ(c.items.size(), 3u);
    EXPECT_EQ(c.items[0].change(), 1005);
    EXPECT_EQ(c.items[2].change(), 1003);
    EXPECT_EQ(c.omittedItems.count, 7);  // three more added, four unchanged
    EXPECT_EQ(c.omittedItems.change, 1000 + 1001 + 1002);
    ASSERT_EQ(c.categories.front().categoryKey.rawValue, "userCaches");
    EXPECT_EQ(c.categories.front().expandedItems, (std::vector<size_t>{0, 1}));
    EXPECT_EQ(c.categories.front().hiddenItems, 1);
    EXPECT_EQ(c.categories.front().tallies[size_t(Kind::added)].count, 6);
}

TEST(DeltaBlameComparatorTest, PicksTheNewestPairUnderOnePolicy) {
    struct Snap {
        Date at;
        bool eligible;
        CleanupScanMode mode;
    };
    const auto store = [](std::vector<Snap> snaps) {
        std::vector<DeltaBlameSnapshotDraftEnvelope> out;
        for (const auto& s : snaps) {
            DeltaBlameSnapshotDraftEnvelope e;
            e.draft = snapshotOf(baseCandidates(), {kCache}, {}, s.mode);
            e.draft.capturedAt = s.at;
            if (!s.eligible) e.draft.trust = DeltaBlameSnapshotTrust::hardIncomplete;
            out.push_back(e);
        }
        return out;
    };
    const auto std_ = CleanupScanMode::standard, full = CleanupScanMode::aggressive;
    struct Case {
        const char* name;
        std::vector<Snap> snaps;
        std::optional<Date> since;
        std::optional<size_t> earlier, later;
        bool sinceNotReached;
    };
    const Case cases[] = {
        {"nothing kept", {}, {}, {}, {}, false},
        {"one snapshot", {{10, true, std_}}, {}, {}, 0, false},
        {"the two newest", {{10, true, std_}, {20, true, std_}, {30, true, std_}}, {}, 1, 2, false},
        {"an incomplete newest is skipped",
         {{10, true, std_}, {20, true, std_}, {30, false, std_}},
         {},
         0,
         1,
         false},
        {"by date, not by place in the list",
         {{30, true, std_}, {10, true, std_}},
         {},
         1,
         0,
         false},
        {"the same mode first",
         {{10, true, std_}, {20, true, full}, {30, true, std_}},
         {},
         0,
         2,
         false},
        {"since: the newest that old",
         {{10, true, std_}, {20, true, std_}, {30, true, std_}, {40, true, std_}},
         25.0,
         1,
         3,
         false},
        {"since: older than anything kept",
         {{10, true, std_}, {20, true, std_}, {30, true, std_}},
         5.0,
         0,
         2,
         true},
    };
    for (const auto& tc : cases) {
        SCOPED_TRACE(tc.name);
        const auto s = selectDeltaBlamePair(store(tc.snaps), tc.since);
        EXPECT_EQ(s.earlier, tc.earlier);
        EXPECT_EQ(s.later, tc.later);
        EXPECT_EQ(s.sinceNotReached, tc.sinceNotReached);
    }
}

}  // namespace
}  // namespace velmora

// Building a snapshot from a cleanup scan: totals, the evidence cut, root outcomes, identity
// tiers, the projection's own checks, and that no path or name survives into the snapshot.
#include <gtest/gtest.h>

#include "CleanerCore/delta-blame/DeltaBlameCodec.h"
#include "CleanerCore/delta-blame/DeltaBlameDraftBuilder.h"
#include "CleanerCore/scanning/StorageScanner.h"
#include "delta-blame/DeltaBlameTestSupport.h"

namespace velmora {
namespace {

using test::candidateAt;
using test::providerFilledWith;
using test::sampleReport;
using test::sampleRequest;

TEST(DeltaBlameDraftBuilderTest, TotalsPerRootAndCategory) {
    const auto envelope = test::sampleEnvelope();
    const auto& d = envelope.draft;
    const auto& roots = d.provenance.completionMetadata.rootDescriptors;
    ASSERT_EQ(roots.size(), 2u);
    auto total = [&](size_t root, const char* category) -> std::pair<int64_t, int64_t> {
        for (const auto& a : d.aggregates)
            if (a.key.rootDescriptorID == roots[root].id && a.key.categoryKey.rawValue == category)
                return {a.byteCount, a.occurrenceCount};
        return {-1, -1};
    };
    EXPECT_EQ(total(0, "userCaches"), std::make_pair(int64_t{700}, int64_t{3}));
    EXPECT_EQ(total(0, "packageManagerCaches"), std::make_pair(int64_t{500}, int64_t{1}));
    EXPECT_EQ(total(1, "temporaryFiles"), std::make_pair(int64_t{900}, int64_t{1}));
    EXPECT_EQ(d.aggregates.size(), 3u);
    EXPECT_EQ(d.evidenceCoverage.kind, DeltaBlameCoverageKind::full);
    EXPECT_EQ(d.evidenceCoverage.totalBytes, 2100);
    EXPECT_EQ(d.evidenceCoverage.residualBytes, 0);
    EXPECT_EQ(d.trust, DeltaBlameSnapshotTrust::eligible);
    EXPECT_EQ(d.comparability.kind, DeltaBlameComparability::Kind::comparable);
    EXPECT_TRUE(d.rejectionReasons.empty());

    // Tiers: a resource identity gives the strong tier with both tokens; none gives the path tier.
    ASSERT_EQ(d.evidence.size(), 5u);
    EXPECT_EQ(d.evidence[0].identityTier, DeltaBlameIdentityTier::strongSameRootResource);
    EXPECT_TRUE(d.evidence[0].pathToken && d.evidence[0].resourceToken);
    EXPECT_EQ(d.evidence[0].resourceType, DeltaBlameResourceTypeCorroborator::directory);
    EXPECT_EQ(d.evidence[3].identityTier, DeltaBlameIdentityTier::scopedPath);
    EXPECT_FALSE(d.evidence[3].resourceToken);
    EXPECT_EQ(d.evidence[0].pathToken, providerFilledWith('k').pathToken("pip"));
}

TEST(DeltaBlameDraftBuilderTest, EvidenceKeepsTheLargestThenTheEarliest) {
    DeltaBlameLimits limits;
    limits.maximumEvidenceEntries = 3;
    const auto d = test::sampleEnvelope(limits).draft;
    // Sizes by ordinal: 500, 300, 300, 100, 900. Kept: 900, 500 and the first 300.
    std::vector<uint64_t> ordinals;
    for (const auto& o : d.evidence) ordinals.push_back(o.evidenceOrdinal);
    EXPECT_EQ(ordinals, (std::vector<uint64_t>{1, 2, 5}));
    EXPECT_EQ(d.evidenceCoverage.kind, DeltaBlameCoverageKind::boundedEvidence);
    EXPECT_EQ(d.evidenceCoverage.sourceObservationCount, 5);
    EXPECT_EQ(d.evidenceCoverage.evidenceObservationCount, 3);
    EXPECT_EQ(d.evidenceCoverage.evidenceBytes, 1700);
    EXPECT_EQ(d.evidenceCoverage.residualBytes, 400);
    int64_t userCachesResidual = -1;
    for (const auto& r : d.residuals)
        if (r.key.categoryKey.rawValue == "userCaches") userCachesResidual = r.residualBytes;
    EXPECT_EQ(userCachesResidual, 400);
}

TEST(DeltaBlameDraftBuilderTest, RootOutcomesComeFromTheRootsOwnSkipRecords) {
    auto report = sampleReport();
    report.scannedRoots.push_back(FileURL::directory("/home/u/.cache/deep"));
    report.scannedRoots.push_back(FileURL::directory("/gone"));
    report.skippedItems = {{FileURL("/tmp/scratch"), SkipReason::kCouldNotEnumerate},
                           {FileURL("/gone"), SkipReason::kFolderDoesNotExist},
                           {FileURL("/home/u/.cache/x"), SkipReason::kRecentlyModified}};
    report.candidates.push_back(
        candidateAt("/home/u/.cache/deep/a", CleanupCategory::userCaches, 5));
    auto built = captureDeltaBlameSnapshot(report, sampleRequest(), providerFilledWith('k'));
    ASSERT_TRUE(built) << built.error().description();
    const auto& d = built->draft;
    const auto& roots = d.provenance.completionMetadata.rootDescriptors;
    using O = DeltaBlameRootOutcomeKind;
    std::vector<O> kinds;
    for (const auto& o : d.provenance.rootOutcomes) kinds.push_back(o.kind);
    EXPECT_EQ(kinds, (std::vector{O::complete, O::enumerationFailed, O::complete, O::missing}));
    EXPECT_EQ(d.comparableScope.excludedRootDescriptorIDs, (std::vector{roots[1].id}));
    EXPECT_EQ(d.evidenceCoverage.kind, DeltaBlameCoverageKind::scoped);
    EXPECT_EQ(d.comparability.kind, DeltaBlameComparability::Kind::scopedComparable);
    ASSERT_EQ(d.rejectionReasons.size(), 1u);
    EXPECT_EQ(d.rejectionReasons[0].rawValue,
              "root-outcome:" + roots[1].id.rawValue + ":enumerationFailed");
    // The candidate below the nested root counts under the nested root.
    EXPECT_EQ(d.evidence.back().rootDescriptorID, roots[2].id);
    EXPECT_EQ(d.evidence.back().pathToken, providerFilledWith('k').pathToken("a"));

    report.hasCompletedScan = false;
    built = captureDeltaBlameSnapshot(report, sampleRequest(), providerFilledWith('k'));
    ASSERT_TRUE(built);
    EXPECT_EQ(built->draft.trust, DeltaBlameSnapshotTrust::cancelled);
    EXPECT_EQ(built->draft.provenance.disposition, DeltaBlameScanDisposition::cancelled);
}

TEST(DeltaBlameDraftBuilderTest, FailuresLeaveNoDraft) {
    auto outside = sampleReport();
    outside.candidates.push_back(candidateAt("/elsewhere/x", CleanupCategory::userCaches, 1));
    auto negative = sampleReport();
    negative.candidates[0].sizeBytes = -1;
    auto tooMany = sampleReport();
    DeltaBlameLimits few;
    few.maximumSourceObservations = 2;
    const struct {
        const char* name;
        ScanReport report;
        DeltaBlameLimits limits;
    } cases[] = {{"outside every root", outside, {}},
                 {"negative size", negative, {}},
                 {"too many observations", tooMany, few}};
    for (const auto& c : cases) {
        auto built =
            captureDeltaBlameSnapshot(c.report, sampleRequest(c.limits), providerFilledWith('k'));
        EXPECT_FALSE(built) << c.name;
    }
}

TEST(DeltaBlameDraftBuilderTest, ProjectionChecksOrdinalsRootsAndCounts) {
    using PK = DeltaBlameOccurrenceProjectionError::Kind;
    const auto provider = providerFilledWith('k');
    ScanCompletionMetadataDraft metadata;
    metadata.rootDescriptors = makeDeltaBlameRootDescriptors(provider, {"/a", "/b"});
    const auto a = metadata.rootDescriptors[0].id;
    const auto b = metadata.rootDescriptors[1].id;
    auto occ = [&](const char* path, uint64_t ordinal, DeltaBlameRootDescriptorID root) {
        return ScanCandidateOccurrence{candidateAt(path, CleanupCategory::userCaches, 7), ordinal,
                                       root};
    };
    const struct {
        const char* name;
        std::vector<ScanCandidateOccurrence> occurrences;
        PK kind;
    } cases[] = {
        {"duplicate ordinal",
         {occ("/a/1", 4, a), occ("/a/2", 4, a)},
         PK::duplicateOccurrenceOrdinal},
        {"decreasing ordinal",
         {occ("/a/1", 4, a), occ("/a/2", 3, a)},
         PK::nonMonotonicOccurrenceOrdinal},
        {"undeclared root", {occ("/a/1", 1, {"root-nowhere"})}, PK::unknownDeclaredRoot},
        {"outside its root", {occ("/a/1", 1, b)}, PK::incompleteCandidateProjection},
    };
    for (const auto& c : cases) {
        auto projected =
            projectDeltaBlameOccurrences(metadata, {"/a", "/b"}, c.occurrences, provider);
        ASSERT_FALSE(projected) << c.name;
        EXPECT_EQ(projected.error().kind, c.kind) << c.name;
    }
    auto twice = metadata;
    twice.rootDescriptors[1].id = a;
    auto dup = projectDeltaBlameOccurrences(twice, {"/a", "/b"}, {}, provider);
    ASSERT_FALSE(dup);
    EXPECT_EQ(dup.error().kind, PK::duplicateDeclaredRoot);

    const std::vector<ScanCandidateOccurrence> good = {occ("/a/1", 1, a), occ("/b/2", 2, b)};
    auto projected = projectDeltaBlameOccurrences(metadata, {"/a", "/b"}, good, provider);
    ASSERT_TRUE(projected);
    EXPECT_EQ(verifyDeltaBlameProjection(good, *projected), std::nullopt);
    const struct {
        const char* name;
        std::function<void(DeltaBlameOccurrenceDraftInput&)> tamper;
        PK kind;
    } tampered[] = {
        {"dropped", [](auto& in) { in.sourceObservations.pop_back(); },
         PK::incompleteCandidateProjection},
        {"root", [&](auto& in) { in.sourceObservations[0].rootDescriptorID = b; },
         PK::observationRootMismatch},
        {"ordinal", [](auto& in) { in.sourceObservations[1].evidenceOrdinal = 9; },
         PK::observationOrdinalMismatch},
        {"bytes", [](auto& in) { in.sourceObservations[1].byteCount = 8; },
         PK::observationByteCountMismatch},
    };
    for (const auto& t : tampered) {
        auto input = *projected;
        t.tamper(input);
        auto e = verifyDeltaBlameProjection(good, input);
        ASSERT_TRUE(e) << t.name;
        EXPECT_EQ(e->kind, t.kind) << t.name;
    }
}

TEST(DeltaBlameDraftBuilderTest, NoPathNameOrFileNumberIsKept) {
    const auto encoded =
        DeltaBlameTemporaryCodec::encode(test::sampleEnvelope(), kDeltaBlameMaximumEncodedBytes);
    ASSERT_TRUE(encoded);
    for (const char* secret : {"/home", "home/u", ".cache", "pip", "thumbnails", "fontconfig",
                               "scratch", "build-1", "2049:", "2050:"})
        EXPECT_EQ(encoded->find(secret), std::string::npos) << secret;
}

}  // namespace
}  // namespace velmora

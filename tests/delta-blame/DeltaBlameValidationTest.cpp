// The validator: each check fails with its error and payload on a draft that is otherwise
// valid, and the derivation of scope, trust and comparability from the scan's outcomes.
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "CleanerCore/delta-blame/DeltaBlameValidation.h"
#include "delta-blame/DeltaBlameTestSupport.h"

namespace velmora {
namespace {

using K = DeltaBlameValidationError::Kind;
using test::sampleEnvelope;

struct Mutation {
    const char* name;
    std::function<void(DeltaBlameSnapshotDraft&, DeltaBlameLimits&)> apply;
    DeltaBlameValidationError expected;
};

DeltaBlameValidationError err(K kind) {
    DeltaBlameValidationError e;
    e.kind = kind;
    return e;
}
DeltaBlameValidationError withField(K kind, std::string field, int64_t maximum = 0) {
    auto e = err(kind);
    e.field = std::move(field);
    e.maximum = maximum;
    return e;
}
DeltaBlameValidationError withCounts(K kind, int64_t actual, int64_t maximum) {
    auto e = err(kind);
    e.actual = actual;
    e.maximum = maximum;
    return e;
}

TEST(DeltaBlameValidationTest, BuiltDraftIsValid) {
    const auto envelope = sampleEnvelope();
    EXPECT_EQ(validateDeltaBlameDraft(envelope.draft, envelope.limits), std::nullopt);
    EXPECT_TRUE(makeDeltaBlameEnvelope(envelope.draft, envelope.limits));
}

TEST(DeltaBlameValidationTest, EachCheckReportsItsError) {
    const auto base = sampleEnvelope();
    const auto& firstRoot = base.draft.provenance.completionMetadata.rootDescriptors[0];
    const auto rootErr = [&](K kind) {
        auto e = err(kind);
        e.rootDescriptorID = firstRoot.id;
        return e;
    };
    const auto firstKey = base.draft.aggregates[0].key;
    const std::vector<Mutation> cases = {
        {"schema", [](auto& d, auto&) { d.schemaVersion = 2; },
         [] {
             auto e = err(K::invalidSchemaVersion);
             e.version = 2;
             return e;
         }()},
        {"descriptor schema",
         [](auto& d, auto&) {
             d.provenance.completionMetadata.rootDescriptors[1].schemaVersion = 0;
         },
         [] {
             auto e = err(K::invalidSchemaVersion);
             e.version = 0;
             return e;
         }()},
        {"zero limit", [](auto&, auto& l) { l.maximumEvidenceEntries = 0; },
         withField(K::invalidLimit, "maximumEvidenceEntries")},
        {"negative limit", [](auto&, auto& l) { l.maximumSnapshots = -1; },
         withField(K::invalidLimit, "maximumSnapshots")},
        {"store beyond 4 MiB", [](auto&, auto& l) { l.maximumEncodedStoreBytes = 4'194'305; },
         withField(K::invalidLimit, "maximumEncodedStoreBytes")},
        {"opaque shorter than a token", [](auto&, auto& l) { l.maximumOpaqueValueLength = 78; },
         withField(K::invalidLimit, "maximumOpaqueValueLength")},
        {"categories", [](auto&, auto& l) { l.maximumCategories = 2; },
         withCounts(K::tooManyCategories, 3, 2)},
        {"source observations", [](auto&, auto& l) { l.maximumSourceObservations = 4; },
         withCounts(K::tooManySourceObservations, 5, 4)},
        {"duplicate root id",
         [&](auto& d, auto&) {
             d.provenance.completionMetadata.rootDescriptors[1].id = firstRoot.id;
         },
         rootErr(K::duplicateRootDescriptorID)},
        {"duplicate outcome",
         [](auto& d, auto&) { d.provenance.rootOutcomes.push_back(d.provenance.rootOutcomes[0]); },
         rootErr(K::duplicateRootOutcome)},
        {"missing outcome",
         [](auto& d, auto&) { d.provenance.rootOutcomes.erase(d.provenance.rootOutcomes.begin()); },
         rootErr(K::missingRootOutcome)},
        {"unknown root in aggregate",
         [](auto& d, auto&) { d.aggregates[0].key.rootDescriptorID = {"root-elsewhere"}; },
         [] {
             auto e = err(K::unknownRootReference);
             e.rootDescriptorID = {"root-elsewhere"};
             return e;
         }()},
        {"root token mismatch",
         [&](auto& d, auto&) {
             for (auto& o : d.evidence)
                 if (o.rootDescriptorID == firstRoot.id)
                     o.rootToken = d.provenance.completionMetadata.rootDescriptors[1].rootToken;
         },
         rootErr(K::rootTokenMismatch)},
        {"fingerprint",
         [](auto& d, auto&) {
             auto& c = d.provenance.rootSetFingerprint.components;
             std::swap(c[0], c[1]);
         },
         err(K::rootFingerprintMismatch)},
        {"duplicate aggregate", [](auto& d, auto&) { d.aggregates.push_back(d.aggregates[0]); },
         [&] {
             auto e = err(K::duplicateAggregateKey);
             e.key = firstKey;
             return e;
         }()},
        {"missing aggregate", [](auto& d, auto&) { d.evidence[0].categoryKey = {"buildArchives"}; },
         [&] {
             auto e = err(K::missingAggregateKey);
             e.key = {base.draft.evidence[0].rootDescriptorID, {"buildArchives"}};
             return e;
         }()},
        {"duplicate ordinal",
         [](auto& d, auto&) { d.evidence[1].evidenceOrdinal = d.evidence[0].evidenceOrdinal; },
         [&] {
             auto e = err(K::duplicateEvidenceOrdinal);
             e.ordinal = base.draft.evidence[0].evidenceOrdinal;
             return e;
         }()},
        {"strong tier without resource",
         [](auto& d, auto&) { d.evidence[0].resourceToken.reset(); },
         [] {
             auto e = err(K::invalidIdentityTokens);
             e.tier = DeltaBlameIdentityTier::strongSameRootResource;
             return e;
         }()},
        {"path tier with resource",
         [](auto& d, auto&) { d.evidence[0].identityTier = DeltaBlameIdentityTier::scopedPath; },
         [] {
             auto e = err(K::invalidIdentityTokens);
             e.tier = DeltaBlameIdentityTier::scopedPath;
             return e;
         }()},
        {"no identity with path token",
         [](auto& d, auto&) {
             d.evidence[0].identityTier = DeltaBlameIdentityTier::noStableIdentity;
             d.evidence[0].resourceToken.reset();
         },
         [] {
             auto e = err(K::invalidIdentityTokens);
             e.tier = DeltaBlameIdentityTier::noStableIdentity;
             return e;
         }()},
        {"negative", [](auto& d, auto&) { d.residuals[0].residualBytes = -1; },
         err(K::negativeByteCount)},
        {"overflow",
         [](auto& d, auto&) {
             d.aggregates[0].byteCount = std::numeric_limits<int64_t>::max();
             d.aggregates[1].byteCount = std::numeric_limits<int64_t>::max();
         },
         err(K::byteCountOverflow)},
        {"coverage sum", [](auto& d, auto&) { d.evidenceCoverage.residualBytes += 1; },
         err(K::invalidEvidenceCoverage)},
        {"evidence over its limit", [](auto&, auto& l) { l.maximumEvidenceEntries = 4; },
         err(K::invalidEvidenceCoverage)},
        {"residual out of step with its aggregate",
         [](auto& d, auto&) { d.residuals[0].totalBytes += 1; }, err(K::invalidEvidenceCoverage)},
        {"coverage kind",
         [](auto& d, auto&) { d.evidenceCoverage.kind = DeltaBlameCoverageKind::boundedEvidence; },
         err(K::invalidEvidenceCoverage)},
        {"scope not disjoint",
         [](auto& d, auto&) {
             d.comparableScope.excludedRootDescriptorIDs.push_back(
                 d.comparableScope.includedRootDescriptorIDs[0]);
         },
         err(K::invalidComparableScope)},
        {"trust claimed for a cancelled scan",
         [](auto& d, auto&) { d.provenance.disposition = DeltaBlameScanDisposition::cancelled; },
         err(K::invalidComparableScope)},
        {"long category",
         [](auto& d, auto&) {
             const std::string name(300, 'c');
             for (auto& a : d.aggregates)
                 if (a.key == d.residuals[0].key) a.key.categoryKey = {name};
             for (auto& o : d.evidence)
                 if (DeltaBlameAggregateKey{o.rootDescriptorID, o.categoryKey} ==
                     d.residuals[0].key)
                     o.categoryKey = {name};
             d.residuals[0].key.categoryKey = {name};
         },
         withField(K::opaqueValueOutOfBounds, "aggregates.key.categoryKey", 256)},
        {"reason with a space",
         [](auto& d, auto&) { d.rejectionReasons.push_back({"not canonical"}); },
         withField(K::opaqueValueNotCanonical, "rejectionReasons")},
        {"upper-case token prefix",
         [](auto& d, auto&) {
             auto& t = d.evidence[0].pathToken->rawValue;
             t.replace(0, 4, "HMAC");
         },
         withField(K::opaqueValueNotCanonical, "evidence.pathToken")},
        {"short policy fingerprint",
         [](auto& d, auto&) { d.provenance.policyFingerprint.rawValue.pop_back(); },
         withField(K::opaqueValueNotCanonical, "provenance.policyFingerprint")},
    };
    for (const auto& c : cases) {
        auto draft = base.draft;
        auto limits = base.limits;
        c.apply(draft, limits);
        const auto found = validateDeltaBlameDraft(draft, limits);
        ASSERT_TRUE(found.has_value()) << c.name;
        EXPECT_EQ(*found, c.expected) << c.name << ": " << found->description();
        EXPECT_FALSE(makeDeltaBlameEnvelope(draft, limits)) << c.name;
    }
}

TEST(DeltaBlameValidationTest, SixtyFiveRootsAreTooManyUnderDefaultLimits) {
    ScanReport report;
    report.hasCompletedScan = true;
    for (int i = 0; i < 65; ++i)
        report.scannedRoots.push_back(FileURL::directory("/r/" + std::to_string(i)));
    DeltaBlameLimits generous;
    generous.maximumRoots = 100;
    auto built = captureDeltaBlameSnapshot(report, test::sampleRequest(generous),
                                           test::providerFilledWith('k'));
    ASSERT_TRUE(built) << built.error().description();
    EXPECT_EQ(validateDeltaBlameDraft(built->draft, DeltaBlameLimits{}),
              withCounts(K::tooManyRoots, 65, 64));
}

TEST(DeltaBlameValidationTest, TrustAndComparabilityFollowTheOutcomes) {
    using O = DeltaBlameRootOutcomeKind;
    using T = DeltaBlameSnapshotTrust;
    using C = DeltaBlameComparability::Kind;
    const struct {
        const char* name;
        std::vector<O> outcomes;
        DeltaBlameScanDisposition disposition;
        std::string policy;
        T trust;
        C comparability;
        size_t excluded;
    } cases[] = {
        {"all complete",
         {O::complete, O::complete},
         DeltaBlameScanDisposition::accepted,
         "p",
         T::eligible,
         C::comparable,
         0},
        {"missing counts as seen",
         {O::complete, O::missing},
         DeltaBlameScanDisposition::accepted,
         "p",
         T::eligible,
         C::comparable,
         0},
        {"denied root scoped out",
         {O::complete, O::accessDenied},
         DeltaBlameScanDisposition::accepted,
         "p",
         T::eligible,
         C::scopedComparable,
         1},
        {"policy-excluded scoped out",
         {O::policyExcludedButComplete, O::complete},
         DeltaBlameScanDisposition::accepted,
         "p",
         T::eligible,
         C::scopedComparable,
         1},
        {"nothing in scope",
         {O::enumerationFailed, O::accessDenied},
         DeltaBlameScanDisposition::accepted,
         "p",
         T::hardIncomplete,
         C::incomplete,
         2},
        {"root cancelled",
         {O::complete, O::cancelled},
         DeltaBlameScanDisposition::accepted,
         "p",
         T::hardIncomplete,
         C::incomplete,
         1},
        {"scan cancelled",
         {O::complete, O::complete},
         DeltaBlameScanDisposition::cancelled,
         "p",
         T::cancelled,
         C::incomplete,
         0},
        {"superseded",
         {O::complete, O::complete},
         DeltaBlameScanDisposition::superseded,
         "p",
         T::superseded,
         C::incomplete,
         0},
        {"unknown policy",
         {O::complete, O::complete},
         DeltaBlameScanDisposition::accepted,
         "",
         T::policyUnknown,
         C::unavailable,
         0},
    };
    const auto roots = makeDeltaBlameRootDescriptors(test::providerFilledWith('k'), {"/a", "/b"});
    for (const auto& c : cases) {
        DeltaBlameScanProvenance p;
        p.completionMetadata.rootDescriptors = roots;
        p.completionMetadata.policyRevision = c.policy;
        p.disposition = c.disposition;
        for (size_t i = 0; i < roots.size(); ++i)
            p.rootOutcomes.push_back({roots[i].id, c.outcomes[i]});
        const auto scope = deriveDeltaBlameScope(p);
        const auto trust = deriveDeltaBlameTrust(kDeltaBlameSchemaVersion, p, scope);
        EXPECT_EQ(trust, c.trust) << c.name;
        EXPECT_EQ(scope.excludedRootDescriptorIDs.size(), c.excluded) << c.name;
        const auto comparability = deriveDeltaBlameComparability(trust, scope);
        EXPECT_EQ(comparability.kind, c.comparability) << c.name;
        if (c.comparability == C::scopedComparable) {
            EXPECT_EQ(comparability.rootDescriptorIDs, scope.includedRootDescriptorIDs) << c.name;
        }
        EXPECT_EQ(deriveDeltaBlameRejectionReasons(kDeltaBlameSchemaVersion, p).empty(),
                  c.excluded == 0 && c.trust == T::eligible)
            << c.name;
    }
    DeltaBlameScanProvenance p;
    EXPECT_EQ(deriveDeltaBlameTrust(2, p, {}), T::schemaUnsupported);
}

}  // namespace
}  // namespace velmora

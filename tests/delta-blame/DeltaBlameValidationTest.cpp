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
using E = DeltaBlameValidationError;
using test::sampleEnvelope;

E err(K kind) {
    E e;
    e.kind = kind;
    return e;
}
// An error of `kind` whose payload `Member` is `value` (and, for a bound, `maximum`).
template <auto Member, class V>
E err(K kind, V value, int64_t maximum = 0) {
    E e = err(kind);
    e.*Member = value;
    e.maximum = maximum;
    return e;
}
E counts(K kind, int64_t actual, int64_t maximum) {
    return err<&E::actual>(kind, actual, maximum);
}

TEST(DeltaBlameValidationTest, BuiltDraftIsValid) {
    const auto envelope = sampleEnvelope();
    EXPECT_EQ(validateDeltaBlameDraft(envelope.draft, envelope.limits), std::nullopt);
    EXPECT_TRUE(makeDeltaBlameEnvelope(envelope.draft, envelope.limits));
}

TEST(DeltaBlameValidationTest, EachCheckReportsItsError) {
    const auto base = sampleEnvelope();
    const auto root = base.draft.provenance.completionMetadata.rootDescriptors[0].id;
    const auto firstKey = base.draft.aggregates[0].key;
    const DeltaBlameAggregateKey strayKey{base.draft.evidence[0].rootDescriptorID,
                                          {"buildArchives"}};
    using T = DeltaBlameIdentityTier;
    using Draft = DeltaBlameSnapshotDraft;
    using Limits = DeltaBlameLimits;
    const struct {
        const char* name;
        std::function<void(Draft&, Limits&)> apply;
        E expected;
    } cases[] = {
        {"schema", [](Draft& d, Limits&) { d.schemaVersion = 2; },
         err<&E::version>(K::invalidSchemaVersion, 2)},
        {"descriptor schema",
         [](Draft& d, Limits&) {
             d.provenance.completionMetadata.rootDescriptors[1].schemaVersion = 0;
         },
         err<&E::version>(K::invalidSchemaVersion, 0)},
        {"zero limit", [](Draft&, Limits& l) { l.maximumEvidenceEntries = 0; },
         err<&E::field>(K::invalidLimit, "maximumEvidenceEntries")},
        {"negative limit", [](Draft&, Limits& l) { l.maximumSnapshots = -1; },
         err<&E::field>(K::invalidLimit, "maximumSnapshots")},
        {"store beyond 4 MiB", [](Draft&, Limits& l) { l.maximumEncodedStoreBytes = 4'194'305; },
         err<&E::field>(K::invalidLimit, "maximumEncodedStoreBytes")},
        {"opaque shorter than a token", [](Draft&, Limits& l) { l.maximumOpaqueValueLength = 78; },
         err<&E::field>(K::invalidLimit, "maximumOpaqueValueLength")},
        {"categories", [](Draft&, Limits& l) { l.maximumCategories = 2; },
         counts(K::tooManyCategories, 3, 2)},
        {"source observations", [](Draft&, Limits& l) { l.maximumSourceObservations = 4; },
         counts(K::tooManySourceObservations, 5, 4)},
        {"duplicate root id",
         [&](Draft& d, Limits&) { d.provenance.completionMetadata.rootDescriptors[1].id = root; },
         err<&E::rootDescriptorID>(K::duplicateRootDescriptorID, root)},
        {"duplicate outcome",
         [](Draft& d, Limits&) {
             d.provenance.rootOutcomes.push_back(d.provenance.rootOutcomes[0]);
         },
         err<&E::rootDescriptorID>(K::duplicateRootOutcome, root)},
        {"missing outcome",
         [](Draft& d, Limits&) {
             d.provenance.rootOutcomes.erase(d.provenance.rootOutcomes.begin());
         },
         err<&E::rootDescriptorID>(K::missingRootOutcome, root)},
        {"unknown root in aggregate",
         [](Draft& d, Limits&) {
             d.aggregates[0].key.rootDescriptorID = DeltaBlameRootDescriptorID{"root-elsewhere"};
         },
         err<&E::rootDescriptorID>(K::unknownRootReference,
                                   DeltaBlameRootDescriptorID{"root-elsewhere"})},
        {"root token mismatch",
         [&](Draft& d, Limits&) {
             for (auto& o : d.evidence)
                 if (o.rootDescriptorID == root)
                     o.rootToken = d.provenance.completionMetadata.rootDescriptors[1].rootToken;
         },
         err<&E::rootDescriptorID>(K::rootTokenMismatch, root)},
        {"fingerprint",
         [](Draft& d, Limits&) {
             auto& c = d.provenance.rootSetFingerprint.components;
             std::swap(c[0], c[1]);
         },
         err(K::rootFingerprintMismatch)},
        {"duplicate aggregate", [](Draft& d, Limits&) { d.aggregates.push_back(d.aggregates[0]); },
         err<&E::key>(K::duplicateAggregateKey, firstKey)},
        {"missing aggregate",
         [](Draft& d, Limits&) { d.evidence[0].categoryKey = {"buildArchives"}; },
         err<&E::key>(K::missingAggregateKey, strayKey)},
        {"duplicate ordinal",
         [](Draft& d, Limits&) { d.evidence[1].evidenceOrdinal = d.evidence[0].evidenceOrdinal; },
         err<&E::ordinal>(K::duplicateEvidenceOrdinal, base.draft.evidence[0].evidenceOrdinal)},
        {"strong tier without resource",
         [](Draft& d, Limits&) { d.evidence[0].resourceToken.reset(); },
         err<&E::tier>(K::invalidIdentityTokens, T::strongSameRootResource)},
        {"path tier with resource",
         [](Draft& d, Limits&) { d.evidence[0].identityTier = T::scopedPath; },
         err<&E::tier>(K::invalidIdentityTokens, T::scopedPath)},
        {"no identity with path token",
         [](Draft& d, Limits&) {
             d.evidence[0].identityTier = T::noStableIdentity;
             d.evidence[0].resourceToken.reset();
         },
         err<&E::tier>(K::invalidIdentityTokens, T::noStableIdentity)},
        {"negative", [](Draft& d, Limits&) { d.residuals[0].residualBytes = -1; },
         err(K::negativeByteCount)},
        {"overflow",
         [](Draft& d, Limits&) {
             d.aggregates[0].byteCount = std::numeric_limits<int64_t>::max();
             d.aggregates[1].byteCount = std::numeric_limits<int64_t>::max();
         },
         err(K::byteCountOverflow)},
        {"coverage sum", [](Draft& d, Limits&) { d.evidenceCoverage.residualBytes += 1; },
         err(K::invalidEvidenceCoverage)},
        {"evidence over its limit", [](Draft&, Limits& l) { l.maximumEvidenceEntries = 4; },
         err(K::invalidEvidenceCoverage)},
        {"residual out of step with its aggregate",
         [](Draft& d, Limits&) { d.residuals[0].totalBytes += 1; },
         err(K::invalidEvidenceCoverage)},
        {"coverage kind",
         [](Draft& d, Limits&) {
             d.evidenceCoverage.kind = DeltaBlameCoverageKind::boundedEvidence;
         },
         err(K::invalidEvidenceCoverage)},
        {"scope not disjoint",
         [](Draft& d, Limits&) {
             d.comparableScope.excludedRootDescriptorIDs.push_back(
                 d.comparableScope.includedRootDescriptorIDs[0]);
         },
         err(K::invalidComparableScope)},
        {"trust claimed for a cancelled scan",
         [](Draft& d, Limits&) { d.provenance.disposition = DeltaBlameScanDisposition::cancelled; },
         err(K::invalidComparableScope)},
        {"long category",
         [](Draft& d, Limits&) {
             const std::string name(300, 'c');
             for (auto& a : d.aggregates)
                 if (a.key == d.residuals[0].key) a.key.categoryKey = {name};
             for (auto& o : d.evidence)
                 if (DeltaBlameAggregateKey{o.rootDescriptorID, o.categoryKey} ==
                     d.residuals[0].key)
                     o.categoryKey = {name};
             d.residuals[0].key.categoryKey = {name};
         },
         err<&E::field>(K::opaqueValueOutOfBounds, "aggregates.key.categoryKey", 256)},
        {"reason with a space",
         [](Draft& d, Limits&) { d.rejectionReasons.push_back({"not canonical"}); },
         err<&E::field>(K::opaqueValueNotCanonical, "rejectionReasons")},
        {"upper-case token prefix",
         [](Draft& d, Limits&) { d.evidence[0].pathToken->rawValue.replace(0, 4, "HMAC"); },
         err<&E::field>(K::opaqueValueNotCanonical, "evidence.pathToken")},
        {"short policy fingerprint",
         [](Draft& d, Limits&) { d.provenance.policyFingerprint.rawValue.pop_back(); },
         err<&E::field>(K::opaqueValueNotCanonical, "provenance.policyFingerprint")},
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
              counts(K::tooManyRoots, 65, 64));
}

TEST(DeltaBlameValidationTest, TrustAndComparabilityFollowTheOutcomes) {
    using O = DeltaBlameRootOutcomeKind;
    using T = DeltaBlameSnapshotTrust;
    using C = DeltaBlameComparability::Kind;
    using D = DeltaBlameScanDisposition;
    const std::vector<O> done = {O::complete, O::complete};
    const O excluded = O::policyExcludedButComplete, failed = O::enumerationFailed;
    const C scoped = C::scopedComparable;
    const struct {
        const char* name;
        std::vector<O> outcomes;
        T trust;
        C comparability;
        size_t excluded;
        D disposition = D::accepted;
        std::string policy = "p";
    } cases[] = {
        {"all complete", {O::complete, O::complete}, T::eligible, C::comparable, 0},
        {"missing counts as seen", {O::complete, O::missing}, T::eligible, C::comparable, 0},
        {"denied root scoped out", {O::complete, O::accessDenied}, T::eligible, scoped, 1},
        {"policy-excluded scoped out", {excluded, O::complete}, T::eligible, scoped, 1},
        {"nothing in scope", {failed, O::accessDenied}, T::hardIncomplete, C::incomplete, 2},
        {"root cancelled", {O::complete, O::cancelled}, T::hardIncomplete, C::incomplete, 1},
        {"scan cancelled", done, T::cancelled, C::incomplete, 0, D::cancelled},
        {"superseded", done, T::superseded, C::incomplete, 0, D::superseded},
        {"unknown policy", done, T::policyUnknown, C::unavailable, 0, D::accepted, ""},
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

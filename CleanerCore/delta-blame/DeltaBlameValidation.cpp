#include "CleanerCore/delta-blame/DeltaBlameValidation.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "CleanerCore/delta-blame/DeltaBlameIdentity.h"

namespace velmora {

namespace {

using Error = DeltaBlameValidationError;
using K = DeltaBlameValidationError::Kind;
using Outcome = DeltaBlameRootOutcomeKind;

Error error(K kind) {
    Error e;
    e.kind = kind;
    return e;
}
Error fieldError(K kind, std::string field, int64_t maximum = 0) {
    Error e = error(kind);
    e.field = std::move(field);
    e.maximum = maximum;
    return e;
}
Error countError(K kind, int64_t actual, int64_t maximum) {
    Error e = error(kind);
    e.actual = actual;
    e.maximum = maximum;
    return e;
}
Error rootError(K kind, const DeltaBlameRootDescriptorID& id) {
    Error e = error(kind);
    e.rootDescriptorID = id;
    return e;
}
Error keyError(K kind, const DeltaBlameAggregateKey& key) {
    Error e = error(kind);
    e.key = key;
    return e;
}

bool isIncluded(Outcome kind) {
    return kind == Outcome::complete || kind == Outcome::missing;
}

// Sums that refuse to wrap.
bool addChecked(int64_t& total, int64_t value) {
    return !__builtin_add_overflow(total, value, &total);
}

bool tokensMatchTier(const DeltaBlameObservation& o) {
    switch (o.identityTier) {
        case DeltaBlameIdentityTier::strongSameRootResource:
            return o.resourceToken.has_value();
        case DeltaBlameIdentityTier::scopedPath:
            return o.pathToken.has_value() && !o.resourceToken.has_value();
        case DeltaBlameIdentityTier::noStableIdentity:
            return !o.pathToken.has_value() && !o.resourceToken.has_value();
    }
    return false;
}

class OpaqueChecker {
  public:
    explicit OpaqueChecker(int64_t maximum) : maximum_(maximum) {}
    std::optional<Error> text(std::string_view value, const char* field) const {
        if (static_cast<int64_t>(value.size()) > maximum_)
            return fieldError(K::opaqueValueOutOfBounds, field, maximum_);
        if (!isCanonicalDeltaBlameText(value)) return fieldError(K::opaqueValueNotCanonical, field);
        return std::nullopt;
    }
    std::optional<Error> token(std::string_view value, const char* field) const {
        if (static_cast<int64_t>(value.size()) > maximum_)
            return fieldError(K::opaqueValueOutOfBounds, field, maximum_);
        if (!isValidDeltaBlameToken(value)) return fieldError(K::opaqueValueNotCanonical, field);
        return std::nullopt;
    }

  private:
    int64_t maximum_;
};

std::optional<Error> checkOpaqueValues(const DeltaBlameSnapshotDraft& d, int64_t maximum) {
    const OpaqueChecker check(maximum);
    std::optional<Error> e;
    const auto& p = d.provenance;
    for (const auto& r : p.completionMetadata.rootDescriptors) {
        if ((e = check.text(r.id.rawValue, "rootDescriptors.id"))) return e;
        if ((e = check.token(r.rootToken.rawValue, "rootDescriptors.rootToken"))) return e;
        if ((e = check.token(r.fingerprint.rawValue, "rootDescriptors.fingerprint"))) return e;
    }
    if ((e = check.token(p.policyFingerprint.rawValue, "provenance.policyFingerprint"))) return e;
    for (const auto& c : p.rootSetFingerprint.components)
        if ((e = check.token(c.rawValue, "rootSetFingerprint.components"))) return e;
    for (const auto& a : d.aggregates)
        if ((e = check.text(a.key.categoryKey.rawValue, "aggregates.key.categoryKey"))) return e;
    for (const auto& o : d.evidence) {
        if ((e = check.text(o.categoryKey.rawValue, "evidence.categoryKey"))) return e;
        if (o.resourceToken &&
            (e = check.token(o.resourceToken->rawValue, "evidence.resourceToken")))
            return e;
        if (o.pathToken && (e = check.token(o.pathToken->rawValue, "evidence.pathToken"))) return e;
    }
    for (const auto& r : d.rejectionReasons)
        if ((e = check.text(r.rawValue, "rejectionReasons"))) return e;
    return std::nullopt;
}

}  // namespace

bool isCanonicalDeltaBlameText(std::string_view text) {
    if (text.empty()) return false;
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return c >= 0x21 && c <= 0x7E && c != '"' && c != '\\'; });
}

std::optional<DeltaBlameValidationError> validateDeltaBlameLimits(const DeltaBlameLimits& l) {
    const std::pair<int64_t, const char*> fields[] = {
        {l.maximumSnapshots, "maximumSnapshots"},
        {l.maximumEncodedStoreBytes, "maximumEncodedStoreBytes"},
        {l.maximumRoots, "maximumRoots"},
        {l.maximumCategories, "maximumCategories"},
        {l.maximumSourceObservations, "maximumSourceObservations"},
        {l.maximumEvidenceEntries, "maximumEvidenceEntries"},
        {l.maximumComparisonEntries, "maximumComparisonEntries"},
        {l.maximumExpandedRows, "maximumExpandedRows"},
        {l.maximumOpaqueValueLength, "maximumOpaqueValueLength"},
    };
    for (const auto& [value, name] : fields)
        if (value < 1) return fieldError(K::invalidLimit, name);
    if (l.maximumEncodedStoreBytes > kDeltaBlameMaximumEncodedBytes)
        return fieldError(K::invalidLimit, "maximumEncodedStoreBytes");
    if (l.maximumOpaqueValueLength < static_cast<int64_t>(kDeltaBlameTokenLength))
        return fieldError(K::invalidLimit, "maximumOpaqueValueLength");
    return std::nullopt;
}

DeltaBlameComparableScope deriveDeltaBlameScope(const DeltaBlameScanProvenance& provenance) {
    DeltaBlameComparableScope scope;
    for (const auto& root : provenance.completionMetadata.rootDescriptors) {
        auto it = std::find_if(provenance.rootOutcomes.begin(), provenance.rootOutcomes.end(),
                               [&](const auto& o) { return o.rootDescriptorID == root.id; });
        const bool included = it != provenance.rootOutcomes.end() && isIncluded(it->kind);
        (included ? scope.includedRootDescriptorIDs : scope.excludedRootDescriptorIDs)
            .push_back(root.id);
    }
    return scope;
}

DeltaBlameSnapshotTrust deriveDeltaBlameTrust(int schemaVersion,
                                              const DeltaBlameScanProvenance& provenance,
                                              const DeltaBlameComparableScope& scope) {
    using T = DeltaBlameSnapshotTrust;
    if (schemaVersion != kDeltaBlameSchemaVersion ||
        provenance.completionMetadata.schemaVersion != kDeltaBlameSchemaVersion)
        return T::schemaUnsupported;
    if (provenance.disposition == DeltaBlameScanDisposition::cancelled) return T::cancelled;
    if (provenance.disposition == DeltaBlameScanDisposition::superseded) return T::superseded;
    if (provenance.completionMetadata.policyRevision.empty()) return T::policyUnknown;
    const bool anyCancelled =
        std::any_of(provenance.rootOutcomes.begin(), provenance.rootOutcomes.end(),
                    [](const auto& o) { return o.kind == Outcome::cancelled; });
    if (anyCancelled || scope.includedRootDescriptorIDs.empty()) return T::hardIncomplete;
    return T::eligible;
}

DeltaBlameComparability deriveDeltaBlameComparability(DeltaBlameSnapshotTrust trust,
                                                      const DeltaBlameComparableScope& scope) {
    using T = DeltaBlameSnapshotTrust;
    using C = DeltaBlameComparability::Kind;
    switch (trust) {
        case T::eligible:
            if (scope.excludedRootDescriptorIDs.empty()) return {C::comparable, {}};
            return {C::scopedComparable, scope.includedRootDescriptorIDs};
        case T::schemaUnsupported:
        case T::policyUnknown:
            return {C::unavailable, {}};
        case T::cancelled:
        case T::superseded:
        case T::hardIncomplete:
            return {C::incomplete, {}};
    }
    return {C::unavailable, {}};
}

DeltaBlameCoverageKind deriveDeltaBlameCoverageKind(int64_t sourceCount, int64_t evidenceCount,
                                                    const DeltaBlameComparableScope& scope) {
    if (evidenceCount < sourceCount) return DeltaBlameCoverageKind::boundedEvidence;
    if (!scope.excludedRootDescriptorIDs.empty()) return DeltaBlameCoverageKind::scoped;
    return DeltaBlameCoverageKind::full;
}

std::vector<DeltaBlameRejectionReason> deriveDeltaBlameRejectionReasons(
    int schemaVersion, const DeltaBlameScanProvenance& provenance) {
    std::vector<DeltaBlameRejectionReason> out;
    if (schemaVersion != kDeltaBlameSchemaVersion)
        out.push_back({"schema:" + std::to_string(schemaVersion)});
    if (provenance.disposition != DeltaBlameScanDisposition::accepted)
        out.push_back({"disposition:" + std::string(rawValue(provenance.disposition))});
    if (provenance.completionMetadata.policyRevision.empty()) out.push_back({"policy:unknown"});
    for (const auto& o : provenance.rootOutcomes)
        if (!isIncluded(o.kind))
            out.push_back({"root-outcome:" + o.rootDescriptorID.rawValue + ":" +
                           std::string(rawValue(o.kind))});
    return out;
}

std::optional<DeltaBlameValidationError> validateDeltaBlameDraft(const DeltaBlameSnapshotDraft& d,
                                                                 const DeltaBlameLimits& limits) {
    const auto& p = d.provenance;
    const auto& roots = p.completionMetadata.rootDescriptors;

    // 1. Schema versions.
    auto badVersion = [](int v) {
        Error e = error(K::invalidSchemaVersion);
        e.version = v;
        return e;
    };
    if (d.schemaVersion != kDeltaBlameSchemaVersion) return badVersion(d.schemaVersion);
    if (p.completionMetadata.schemaVersion != kDeltaBlameSchemaVersion)
        return badVersion(p.completionMetadata.schemaVersion);
    if (p.rootSetFingerprint.schemaVersion != kDeltaBlameSchemaVersion)
        return badVersion(p.rootSetFingerprint.schemaVersion);
    for (const auto& r : roots)
        if (r.schemaVersion != kDeltaBlameSchemaVersion) return badVersion(r.schemaVersion);

    // 2. Limits.
    if (auto e = validateDeltaBlameLimits(limits)) return e;

    // 3. Counts.
    if (static_cast<int64_t>(roots.size()) > limits.maximumRoots)
        return countError(K::tooManyRoots, static_cast<int64_t>(roots.size()), limits.maximumRoots);
    std::set<std::string_view> categories;
    for (const auto& a : d.aggregates) categories.insert(a.key.categoryKey.rawValue);
    if (static_cast<int64_t>(categories.size()) > limits.maximumCategories)
        return countError(K::tooManyCategories, static_cast<int64_t>(categories.size()),
                          limits.maximumCategories);
    if (d.evidenceCoverage.sourceObservationCount > limits.maximumSourceObservations)
        return countError(K::tooManySourceObservations, d.evidenceCoverage.sourceObservationCount,
                          limits.maximumSourceObservations);

    // 4. Roots, outcomes and references.
    std::map<DeltaBlameRootDescriptorID, const DeltaBlameNormalizedRootDescriptor*> declared;
    for (const auto& r : roots)
        if (!declared.emplace(r.id, &r).second)
            return rootError(K::duplicateRootDescriptorID, r.id);
    std::set<DeltaBlameRootDescriptorID> withOutcome;
    for (const auto& o : p.rootOutcomes) {
        if (!declared.contains(o.rootDescriptorID))
            return rootError(K::unknownRootReference, o.rootDescriptorID);
        if (!withOutcome.insert(o.rootDescriptorID).second)
            return rootError(K::duplicateRootOutcome, o.rootDescriptorID);
    }
    for (const auto& r : roots)
        if (!withOutcome.contains(r.id)) return rootError(K::missingRootOutcome, r.id);
    auto checkReference = [&](const DeltaBlameRootDescriptorID& id) -> std::optional<Error> {
        if (!declared.contains(id)) return rootError(K::unknownRootReference, id);
        return std::nullopt;
    };
    for (const auto& a : d.aggregates)
        if (auto e = checkReference(a.key.rootDescriptorID)) return e;
    for (const auto& r : d.residuals)
        if (auto e = checkReference(r.key.rootDescriptorID)) return e;
    for (const auto& o : d.evidence) {
        auto it = declared.find(o.rootDescriptorID);
        if (it == declared.end()) return rootError(K::unknownRootReference, o.rootDescriptorID);
        if (it->second->rootToken != o.rootToken)
            return rootError(K::rootTokenMismatch, o.rootDescriptorID);
    }
    for (const auto* list : {&d.comparableScope.includedRootDescriptorIDs,
                             &d.comparableScope.excludedRootDescriptorIDs})
        for (const auto& id : *list)
            if (auto e = checkReference(id)) return e;
    for (const auto& id : d.comparability.rootDescriptorIDs)
        if (auto e = checkReference(id)) return e;
    if (makeDeltaBlameRootSetFingerprint(roots) != p.rootSetFingerprint)
        return error(K::rootFingerprintMismatch);

    // 5. Aggregates.
    std::map<DeltaBlameAggregateKey, const DeltaBlameAggregate*> aggregates;
    for (const auto& a : d.aggregates)
        if (!aggregates.emplace(a.key, &a).second) return keyError(K::duplicateAggregateKey, a.key);
    for (const auto& o : d.evidence) {
        const DeltaBlameAggregateKey key{o.rootDescriptorID, o.categoryKey};
        if (!aggregates.contains(key)) return keyError(K::missingAggregateKey, key);
    }
    for (const auto& r : d.residuals)
        if (!aggregates.contains(r.key)) return keyError(K::missingAggregateKey, r.key);

    // 6. Evidence ordinals and tiers.
    std::set<uint64_t> ordinals;
    for (const auto& o : d.evidence) {
        if (!ordinals.insert(o.evidenceOrdinal).second) {
            Error e = error(K::duplicateEvidenceOrdinal);
            e.ordinal = o.evidenceOrdinal;
            return e;
        }
        if (!tokensMatchTier(o)) {
            Error e = error(K::invalidIdentityTokens);
            e.tier = o.identityTier;
            return e;
        }
    }

    // 7. Byte counts: none negative, no sum wraps.
    const auto& c = d.evidenceCoverage;
    for (int64_t v : {c.sourceObservationCount, c.evidenceObservationCount, c.totalBytes,
                      c.evidenceBytes, c.residualBytes})
        if (v < 0) return error(K::negativeByteCount);
    int64_t aggregateBytes = 0, aggregateOccurrences = 0;
    for (const auto& a : d.aggregates) {
        if (a.byteCount < 0 || a.occurrenceCount < 0) return error(K::negativeByteCount);
        if (!addChecked(aggregateBytes, a.byteCount) ||
            !addChecked(aggregateOccurrences, a.occurrenceCount))
            return error(K::byteCountOverflow);
    }
    int64_t evidenceBytes = 0;
    std::map<DeltaBlameAggregateKey, int64_t> evidenceByKey;
    for (const auto& o : d.evidence) {
        if (o.byteCount < 0) return error(K::negativeByteCount);
        if (!addChecked(evidenceBytes, o.byteCount) ||
            !addChecked(evidenceByKey[{o.rootDescriptorID, o.categoryKey}], o.byteCount))
            return error(K::byteCountOverflow);
    }
    int64_t residualBytes = 0;
    for (const auto& r : d.residuals) {
        if (r.totalBytes < 0 || r.evidenceBytes < 0 || r.residualBytes < 0)
            return error(K::negativeByteCount);
        if (!addChecked(residualBytes, r.residualBytes)) return error(K::byteCountOverflow);
    }
    int64_t coveredBytes = c.evidenceBytes;
    if (!addChecked(coveredBytes, c.residualBytes)) return error(K::byteCountOverflow);

    // 8. Coverage and scope.
    const auto coverageError = error(K::invalidEvidenceCoverage);
    if (c.evidenceObservationCount > c.sourceObservationCount || coveredBytes != c.totalBytes ||
        c.evidenceObservationCount != static_cast<int64_t>(d.evidence.size()) ||
        c.evidenceObservationCount > limits.maximumEvidenceEntries ||
        c.sourceObservationCount != aggregateOccurrences || c.totalBytes != aggregateBytes ||
        c.evidenceBytes != evidenceBytes || c.residualBytes != residualBytes ||
        d.residuals.size() != d.aggregates.size())
        return coverageError;
    std::set<DeltaBlameAggregateKey> residualKeys;
    for (const auto& r : d.residuals) {
        const int64_t total = aggregates.at(r.key)->byteCount;
        const auto found = evidenceByKey.find(r.key);
        const int64_t evidence = found == evidenceByKey.end() ? 0 : found->second;
        if (!residualKeys.insert(r.key).second || r.totalBytes != total ||
            r.evidenceBytes != evidence || r.residualBytes != total - evidence)
            return coverageError;
    }
    const auto scope = deriveDeltaBlameScope(p);
    if (c.kind !=
        deriveDeltaBlameCoverageKind(c.sourceObservationCount, c.evidenceObservationCount, scope))
        return coverageError;

    std::set<DeltaBlameRootDescriptorID> included(
        d.comparableScope.includedRootDescriptorIDs.begin(),
        d.comparableScope.includedRootDescriptorIDs.end());
    for (const auto& id : d.comparableScope.excludedRootDescriptorIDs)
        if (included.contains(id)) return error(K::invalidComparableScope);
    // Beyond being disjoint and declared, the scope, trust and comparability must be the ones
    // the provenance implies: a snapshot may not claim to be more comparable than its scan was.
    const auto trust = deriveDeltaBlameTrust(d.schemaVersion, p, scope);
    if (d.comparableScope != scope || d.trust != trust ||
        d.comparability != deriveDeltaBlameComparability(trust, scope))
        return error(K::invalidComparableScope);

    // 9. Opaque values.
    return checkOpaqueValues(d, limits.maximumOpaqueValueLength);
}

Result<DeltaBlameSnapshotDraftEnvelope, DeltaBlameValidationError> makeDeltaBlameEnvelope(
    DeltaBlameSnapshotDraft draft, const DeltaBlameLimits& limits) {
    if (auto e = validateDeltaBlameDraft(draft, limits)) return Failure{std::move(*e)};
    return DeltaBlameSnapshotDraftEnvelope{std::move(draft), limits};
}

}  // namespace velmora

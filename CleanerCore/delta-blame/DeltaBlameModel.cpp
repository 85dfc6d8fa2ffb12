#include "CleanerCore/delta-blame/DeltaBlameModel.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <utility>

namespace velmora {

namespace {

template <typename E, size_t N>
std::string_view nameOf(E value, const std::array<std::pair<E, std::string_view>, N>& table) {
    for (const auto& [e, name] : table)
        if (e == value) return name;
    return {};
}

template <typename E, size_t N>
std::optional<E> valueOf(std::string_view text,
                         const std::array<std::pair<E, std::string_view>, N>& table) {
    for (const auto& [e, name] : table)
        if (name == text) return e;
    return std::nullopt;
}

using Outcome = DeltaBlameRootOutcomeKind;
constexpr std::array<std::pair<Outcome, std::string_view>, 6> kOutcomeNames{{
    {Outcome::complete, "complete"},
    {Outcome::policyExcludedButComplete, "policyExcludedButComplete"},
    {Outcome::missing, "missing"},
    {Outcome::accessDenied, "accessDenied"},
    {Outcome::enumerationFailed, "enumerationFailed"},
    {Outcome::cancelled, "cancelled"},
}};

using Disposition = DeltaBlameScanDisposition;
constexpr std::array<std::pair<Disposition, std::string_view>, 3> kDispositionNames{{
    {Disposition::accepted, "accepted"},
    {Disposition::cancelled, "cancelled"},
    {Disposition::superseded, "superseded"},
}};

using Tier = DeltaBlameIdentityTier;
constexpr std::array<std::pair<Tier, std::string_view>, 3> kTierNames{{
    {Tier::strongSameRootResource, "strongSameRootResource"},
    {Tier::scopedPath, "scopedPath"},
    {Tier::noStableIdentity, "noStableIdentity"},
}};

using Corroborator = DeltaBlameResourceTypeCorroborator;
constexpr std::array<std::pair<Corroborator, std::string_view>, 4> kCorroboratorNames{{
    {Corroborator::regularFile, "regularFile"},
    {Corroborator::directory, "directory"},
    {Corroborator::symbolicLink, "symbolicLink"},
    {Corroborator::other, "other"},
}};

using Coverage = DeltaBlameCoverageKind;
constexpr std::array<std::pair<Coverage, std::string_view>, 3> kCoverageNames{{
    {Coverage::full, "full"},
    {Coverage::scoped, "scoped"},
    {Coverage::boundedEvidence, "boundedEvidence"},
}};

using Trust = DeltaBlameSnapshotTrust;
constexpr std::array<std::pair<Trust, std::string_view>, 6> kTrustNames{{
    {Trust::eligible, "eligible"},
    {Trust::cancelled, "cancelled"},
    {Trust::superseded, "superseded"},
    {Trust::hardIncomplete, "hardIncomplete"},
    {Trust::policyUnknown, "policyUnknown"},
    {Trust::schemaUnsupported, "schemaUnsupported"},
}};

using Comparability = DeltaBlameComparability::Kind;
constexpr std::array<std::pair<Comparability, std::string_view>, 6> kComparabilityNames{{
    {Comparability::comparable, "comparable"},
    {Comparability::scopedComparable, "scopedComparable"},
    {Comparability::rootMismatch, "rootMismatch"},
    {Comparability::policyMismatch, "policyMismatch"},
    {Comparability::incomplete, "incomplete"},
    {Comparability::unavailable, "unavailable"},
}};

}  // namespace

std::string_view rawValue(DeltaBlameRootOutcomeKind v) {
    return nameOf(v, kOutcomeNames);
}
std::string_view rawValue(DeltaBlameScanDisposition v) {
    return nameOf(v, kDispositionNames);
}
std::string_view rawValue(DeltaBlameIdentityTier v) {
    return nameOf(v, kTierNames);
}
std::string_view rawValue(DeltaBlameResourceTypeCorroborator v) {
    return nameOf(v, kCorroboratorNames);
}
std::string_view rawValue(DeltaBlameCoverageKind v) {
    return nameOf(v, kCoverageNames);
}
std::string_view rawValue(DeltaBlameSnapshotTrust v) {
    return nameOf(v, kTrustNames);
}
std::string_view rawValue(DeltaBlameComparability::Kind v) {
    return nameOf(v, kComparabilityNames);
}

std::optional<DeltaBlameRootOutcomeKind> rootOutcomeKindFromRaw(std::string_view t) {
    return valueOf(t, kOutcomeNames);
}
std::optional<DeltaBlameScanDisposition> dispositionFromRaw(std::string_view t) {
    return valueOf(t, kDispositionNames);
}
std::optional<DeltaBlameIdentityTier> identityTierFromRaw(std::string_view t) {
    return valueOf(t, kTierNames);
}
std::optional<DeltaBlameResourceTypeCorroborator> corroboratorFromRaw(std::string_view t) {
    return valueOf(t, kCorroboratorNames);
}
std::optional<DeltaBlameCoverageKind> coverageKindFromRaw(std::string_view t) {
    return valueOf(t, kCoverageNames);
}
std::optional<DeltaBlameSnapshotTrust> trustFromRaw(std::string_view t) {
    return valueOf(t, kTrustNames);
}
std::optional<DeltaBlameComparability::Kind> comparabilityKindFromRaw(std::string_view t) {
    return valueOf(t, kComparabilityNames);
}

int64_t deltaBlameMillisecondsSince1970(Date date) {
    return std::llround((date + kReferenceDateUnixOffset) * 1000.0);
}

Date deltaBlameDateFromMilliseconds(double millisecondsSince1970) {
    return millisecondsSince1970 / 1000.0 - kReferenceDateUnixOffset;
}

std::string DeltaBlameOccurrenceProjectionError::description() const {
    using K = Kind;
    switch (kind) {
        case K::duplicateOccurrenceOrdinal:
            return fmt::format("Duplicate occurrence ordinal {}", ordinal);
        case K::nonMonotonicOccurrenceOrdinal:
            return fmt::format("Occurrence ordinal {} follows {}", otherOrdinal, ordinal);
        case K::duplicateDeclaredRoot:
            return "Duplicate declared root " + rootDescriptorID.rawValue;
        case K::unknownDeclaredRoot:
            return "Unknown declared root " + rootDescriptorID.rawValue;
        case K::observationRootMismatch:
            return "Observation names another root than its occurrence: " +
                   rootDescriptorID.rawValue;
        case K::observationOrdinalMismatch:
            return fmt::format("Observation ordinal {} where {} was expected", otherOrdinal,
                               ordinal);
        case K::observationByteCountMismatch:
            return fmt::format("Observation of {} bytes where {} were expected", actualBytes,
                               expectedBytes);
        case K::incompleteCandidateProjection:
            return "Not every candidate became an observation";
    }
    return {};
}

std::string DeltaBlameValidationError::description() const {
    using K = Kind;
    switch (kind) {
        case K::invalidSchemaVersion:
            return fmt::format("Unsupported schema version {}", version);
        case K::invalidLimit:
            return "Unusable limit " + field;
        case K::tooManyRoots:
            return fmt::format("Too many roots: {} (at most {})", actual, maximum);
        case K::tooManyCategories:
            return fmt::format("Too many categories: {} (at most {})", actual, maximum);
        case K::tooManySourceObservations:
            return fmt::format("Too many source observations: {} (at most {})", actual, maximum);
        case K::duplicateEvidenceOrdinal:
            return fmt::format("Duplicate evidence ordinal {}", ordinal);
        case K::duplicateRootDescriptorID:
            return "Duplicate root descriptor " + rootDescriptorID.rawValue;
        case K::duplicateRootOutcome:
            return "Duplicate outcome for root " + rootDescriptorID.rawValue;
        case K::duplicateAggregateKey:
            return "Duplicate aggregate " + key.rootDescriptorID.rawValue + " " +
                   key.categoryKey.rawValue;
        case K::missingAggregateKey:
            return "Missing aggregate " + key.rootDescriptorID.rawValue + " " +
                   key.categoryKey.rawValue;
        case K::missingRootOutcome:
            return "Missing outcome for root " + rootDescriptorID.rawValue;
        case K::unknownRootReference:
            return "Reference to an undeclared root " + rootDescriptorID.rawValue;
        case K::rootTokenMismatch:
            return "Root token does not match root " + rootDescriptorID.rawValue;
        case K::invalidIdentityTokens:
            return "Identity tokens do not match the tier " + std::string(rawValue(tier));
        case K::opaqueValueOutOfBounds:
            return fmt::format("Value of {} is longer than {}", field, maximum);
        case K::opaqueValueNotCanonical:
            return "Value of " + field + " is not canonical";
        case K::rootFingerprintMismatch:
            return "Root-set fingerprint does not match the roots";
        case K::negativeByteCount:
            return "Negative byte count";
        case K::byteCountOverflow:
            return "Byte count overflow";
        case K::invalidEvidenceCoverage:
            return "Evidence coverage does not add up";
        case K::invalidComparableScope:
            return "Comparable scope does not match the roots";
    }
    return {};
}

}  // namespace velmora

#pragma once
// The records of a delta-blame snapshot: what a completed cleanup scan looked like, per root and
// per category, without a single path, file name or file number in it. Items are named only by
// keyed one-way tokens (DeltaBlameIdentity.h); roots by normalized descriptors.
//
// Plain values: copyable, comparable. The opaque value wrappers each hold one text, `rawValue`,
// and are written as that bare text. Building is DeltaBlameDraftBuilder.h, validation
// DeltaBlameValidation.h, coding DeltaBlameCodec.h.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

/// The one schema this build writes and reads.
inline constexpr int kDeltaBlameSchemaVersion = 1;

// The opaque value wrappers. Each is bounded by `maximumOpaqueValueLength` and must be canonical:
// token-valued ones (root tokens, fingerprints, resource and path tokens) in the token form,
// the others non-empty printable ASCII without spaces, quotes or backslashes.
#define VELMORA_DELTA_BLAME_OPAQUE(Name)                                 \
    struct Name {                                                        \
        std::string rawValue;                                            \
        friend bool operator==(const Name&, const Name&) = default;      \
        friend auto operator<=>(const Name& a, const Name& b) = default; \
    }
VELMORA_DELTA_BLAME_OPAQUE(DeltaBlameRootDescriptorID);
VELMORA_DELTA_BLAME_OPAQUE(DeltaBlameRootToken);
VELMORA_DELTA_BLAME_OPAQUE(DeltaBlameFingerprint);
VELMORA_DELTA_BLAME_OPAQUE(DeltaBlameCategoryKey);
VELMORA_DELTA_BLAME_OPAQUE(DeltaBlameResourceToken);
VELMORA_DELTA_BLAME_OPAQUE(DeltaBlamePathToken);
VELMORA_DELTA_BLAME_OPAQUE(DeltaBlameRejectionReason);
#undef VELMORA_DELTA_BLAME_OPAQUE

struct DeltaBlameLimits {
    int64_t maximumSnapshots = 20;
    int64_t maximumEncodedStoreBytes = 4'194'304;
    int64_t maximumRoots = 64;
    int64_t maximumCategories = 64;
    int64_t maximumSourceObservations = 50'000;
    int64_t maximumEvidenceEntries = 2'000;
    int64_t maximumComparisonEntries = 500;
    int64_t maximumExpandedRows = 200;
    int64_t maximumOpaqueValueLength = 256;
    friend bool operator==(const DeltaBlameLimits&, const DeltaBlameLimits&) = default;
};

/// Dates travel as whole milliseconds since 1970-01-01T00:00:00Z. Finite dates only.
int64_t deltaBlameMillisecondsSince1970(Date date);
Date deltaBlameDateFromMilliseconds(double millisecondsSince1970);

/// The most any store or codec may hold: the default `maximumEncodedStoreBytes`.
inline constexpr int64_t kDeltaBlameMaximumEncodedBytes = 4'194'304;

struct DeltaBlameNormalizedRootDescriptor {
    int schemaVersion = kDeltaBlameSchemaVersion;
    DeltaBlameRootDescriptorID id;
    DeltaBlameRootToken rootToken;
    DeltaBlameFingerprint fingerprint;
    /// Tells apart declared roots that normalize to the same fingerprint: 0 for the first.
    uint32_t multiplicityOrdinal = 0;
    friend bool operator==(const DeltaBlameNormalizedRootDescriptor&,
                           const DeltaBlameNormalizedRootDescriptor&) = default;
};

struct DeltaBlameRootSetFingerprint {
    int schemaVersion = kDeltaBlameSchemaVersion;
    std::vector<DeltaBlameFingerprint> components;  ///< one per root descriptor, in their order
    friend bool operator==(const DeltaBlameRootSetFingerprint&,
                           const DeltaBlameRootSetFingerprint&) = default;
};

/// What the scanner hands over when a scan completes.
struct ScanCompletionMetadataDraft {
    std::string scanRunID;  ///< canonical upper-case UUID
    int schemaVersion = kDeltaBlameSchemaVersion;
    std::vector<DeltaBlameNormalizedRootDescriptor> rootDescriptors;
    std::string scanModeIdentifier;  ///< the CleanupScanMode's case name
    std::string policyRevision;      ///< empty when the cleanup policy cannot be identified
    friend bool operator==(const ScanCompletionMetadataDraft&,
                           const ScanCompletionMetadataDraft&) = default;
};

struct ScanCandidateOccurrence {
    CleanupCandidate candidate;
    uint64_t occurrenceOrdinal = 0;  ///< strictly increasing within a scan
    DeltaBlameRootDescriptorID rootDescriptorID;
};

enum class DeltaBlameRootOutcomeKind {
    complete,
    policyExcludedButComplete,
    missing,
    accessDenied,
    enumerationFailed,
    cancelled,
};
enum class DeltaBlameScanDisposition { accepted, cancelled, superseded };
enum class DeltaBlameIdentityTier { strongSameRootResource, scopedPath, noStableIdentity };
enum class DeltaBlameResourceTypeCorroborator { regularFile, directory, symbolicLink, other };
enum class DeltaBlameCoverageKind { full, scoped, boundedEvidence };
enum class DeltaBlameSnapshotTrust {
    eligible,
    cancelled,
    superseded,
    hardIncomplete,
    policyUnknown,
    schemaUnsupported,
};

// Case names and their inverse (nullopt for unknown text).
std::string_view rawValue(DeltaBlameRootOutcomeKind);
std::string_view rawValue(DeltaBlameScanDisposition);
std::string_view rawValue(DeltaBlameIdentityTier);
std::string_view rawValue(DeltaBlameResourceTypeCorroborator);
std::string_view rawValue(DeltaBlameCoverageKind);
std::string_view rawValue(DeltaBlameSnapshotTrust);
std::optional<DeltaBlameRootOutcomeKind> rootOutcomeKindFromRaw(std::string_view);
std::optional<DeltaBlameScanDisposition> dispositionFromRaw(std::string_view);
std::optional<DeltaBlameIdentityTier> identityTierFromRaw(std::string_view);
std::optional<DeltaBlameResourceTypeCorroborator> corroboratorFromRaw(std::string_view);
std::optional<DeltaBlameCoverageKind> coverageKindFromRaw(std::string_view);
std::optional<DeltaBlameSnapshotTrust> trustFromRaw(std::string_view);

struct DeltaBlameRootOutcome {
    DeltaBlameRootDescriptorID rootDescriptorID;
    DeltaBlameRootOutcomeKind kind = DeltaBlameRootOutcomeKind::complete;
    friend bool operator==(const DeltaBlameRootOutcome&, const DeltaBlameRootOutcome&) = default;
};

struct DeltaBlameScanProvenance {
    ScanCompletionMetadataDraft completionMetadata;
    DeltaBlameFingerprint policyFingerprint;
    DeltaBlameRootSetFingerprint rootSetFingerprint;
    std::vector<DeltaBlameRootOutcome> rootOutcomes;  ///< exactly one per declared root
    DeltaBlameScanDisposition disposition = DeltaBlameScanDisposition::accepted;
    friend bool operator==(const DeltaBlameScanProvenance&,
                           const DeltaBlameScanProvenance&) = default;
};

struct DeltaBlameObservation {
    DeltaBlameCategoryKey categoryKey;
    int64_t byteCount = 0;  ///< never negative
    DeltaBlameRootDescriptorID rootDescriptorID;
    DeltaBlameRootToken rootToken;
    DeltaBlameIdentityTier identityTier = DeltaBlameIdentityTier::noStableIdentity;
    std::optional<DeltaBlameResourceToken> resourceToken;
    std::optional<DeltaBlamePathToken> pathToken;
    uint64_t evidenceOrdinal = 0;  ///< unique within a snapshot
    std::optional<Date> lastModified;
    std::optional<Date> creationDate;
    std::optional<DeltaBlameResourceTypeCorroborator> resourceType;
    friend bool operator==(const DeltaBlameObservation&, const DeltaBlameObservation&) = default;
};

/// One observation per occurrence, in the occurrences' order.
struct DeltaBlameOccurrenceDraftInput {
    std::vector<DeltaBlameObservation> sourceObservations;
};

struct DeltaBlameAggregateKey {
    DeltaBlameRootDescriptorID rootDescriptorID;
    DeltaBlameCategoryKey categoryKey;
    friend bool operator==(const DeltaBlameAggregateKey&, const DeltaBlameAggregateKey&) = default;
    friend auto operator<=>(const DeltaBlameAggregateKey&, const DeltaBlameAggregateKey&) = default;
};

struct DeltaBlameAggregate {
    DeltaBlameAggregateKey key;
    int64_t byteCount = 0;
    int64_t occurrenceCount = 0;
    friend bool operator==(const DeltaBlameAggregate&, const DeltaBlameAggregate&) = default;
};

/// Invariants: evidence count <= source count; evidence bytes + residual bytes = total bytes.
struct DeltaBlameEvidenceCoverage {
    DeltaBlameCoverageKind kind = DeltaBlameCoverageKind::full;
    int64_t sourceObservationCount = 0;
    int64_t evidenceObservationCount = 0;
    int64_t totalBytes = 0;
    int64_t evidenceBytes = 0;
    int64_t residualBytes = 0;
    friend bool operator==(const DeltaBlameEvidenceCoverage&,
                           const DeltaBlameEvidenceCoverage&) = default;
};

/// The bytes of one aggregate key that no evidence entry carries: residual = total - evidence.
struct DeltaBlameResidual {
    DeltaBlameAggregateKey key;
    int64_t totalBytes = 0;
    int64_t evidenceBytes = 0;
    int64_t residualBytes = 0;
    friend bool operator==(const DeltaBlameResidual&, const DeltaBlameResidual&) = default;
};

/// Disjoint lists of declared roots; together they name every declared root.
struct DeltaBlameComparableScope {
    std::vector<DeltaBlameRootDescriptorID> includedRootDescriptorIDs;
    std::vector<DeltaBlameRootDescriptorID> excludedRootDescriptorIDs;
    friend bool operator==(const DeltaBlameComparableScope&,
                           const DeltaBlameComparableScope&) = default;
};

struct DeltaBlameComparability {
    enum class Kind {
        comparable,
        scopedComparable,
        rootMismatch,
        policyMismatch,
        incomplete,
        unavailable,
    };
    Kind kind = Kind::comparable;
    std::vector<DeltaBlameRootDescriptorID> rootDescriptorIDs;  ///< scopedComparable only
    friend bool operator==(const DeltaBlameComparability&,
                           const DeltaBlameComparability&) = default;
};
std::string_view rawValue(DeltaBlameComparability::Kind);
std::optional<DeltaBlameComparability::Kind> comparabilityKindFromRaw(std::string_view);

struct DeltaBlameSnapshotDraft {
    std::string snapshotID;  ///< canonical upper-case UUID
    Date capturedAt = 0;
    int schemaVersion = kDeltaBlameSchemaVersion;
    DeltaBlameScanProvenance provenance;
    std::vector<DeltaBlameAggregate> aggregates;
    std::vector<DeltaBlameObservation> evidence;
    std::vector<DeltaBlameResidual> residuals;
    DeltaBlameEvidenceCoverage evidenceCoverage;
    DeltaBlameComparableScope comparableScope;
    DeltaBlameSnapshotTrust trust = DeltaBlameSnapshotTrust::eligible;
    DeltaBlameComparability comparability;
    std::vector<DeltaBlameRejectionReason> rejectionReasons;
    friend bool operator==(const DeltaBlameSnapshotDraft&,
                           const DeltaBlameSnapshotDraft&) = default;
};

struct DeltaBlameSnapshotDraftEnvelope {
    DeltaBlameSnapshotDraft draft;
    DeltaBlameLimits limits;
    friend bool operator==(const DeltaBlameSnapshotDraftEnvelope&,
                           const DeltaBlameSnapshotDraftEnvelope&) = default;
};

/// Errors of projecting a scan's occurrences into observations. The description is English.
struct DeltaBlameOccurrenceProjectionError {
    enum class Kind {
        duplicateOccurrenceOrdinal,     ///< ordinal
        nonMonotonicOccurrenceOrdinal,  ///< previous, current
        duplicateDeclaredRoot,          ///< rootDescriptorID
        unknownDeclaredRoot,            ///< rootDescriptorID
        observationRootMismatch,        ///< rootDescriptorID
        observationOrdinalMismatch,     ///< expected, actual
        observationByteCountMismatch,   ///< expected, actual
        incompleteCandidateProjection,
    };
    Kind kind = Kind::incompleteCandidateProjection;
    DeltaBlameRootDescriptorID rootDescriptorID;
    uint64_t ordinal = 0;       ///< the duplicate ordinal; the expected ordinal of a mismatch
    uint64_t otherOrdinal = 0;  ///< the current (non-monotonic) or actual (mismatch) ordinal
    int64_t expectedBytes = 0;
    int64_t actualBytes = 0;
    std::string description() const;
    friend bool operator==(const DeltaBlameOccurrenceProjectionError&,
                           const DeltaBlameOccurrenceProjectionError&) = default;
};

/// The snapshot validator's errors. `field` names a limit by its key or an opaque value by its
/// place ("evidence.pathToken"); "tooMany" errors carry the actual count and the maximum.
struct DeltaBlameValidationError {
    enum class Kind {
        invalidSchemaVersion,       ///< version
        invalidLimit,               ///< field
        tooManyRoots,               ///< actual, maximum
        tooManyCategories,          ///< actual, maximum
        tooManySourceObservations,  ///< actual, maximum
        duplicateEvidenceOrdinal,   ///< ordinal
        duplicateRootDescriptorID,  ///< rootDescriptorID
        duplicateRootOutcome,       ///< rootDescriptorID
        duplicateAggregateKey,      ///< key
        missingAggregateKey,        ///< key
        missingRootOutcome,         ///< rootDescriptorID
        unknownRootReference,       ///< rootDescriptorID
        rootTokenMismatch,          ///< rootDescriptorID
        invalidIdentityTokens,      ///< tier
        opaqueValueOutOfBounds,     ///< field, maximum
        opaqueValueNotCanonical,    ///< field
        rootFingerprintMismatch,
        negativeByteCount,
        byteCountOverflow,
        invalidEvidenceCoverage,
        invalidComparableScope,
    };
    Kind kind = Kind::invalidSchemaVersion;
    int64_t version = 0;
    std::string field;
    int64_t actual = 0;
    int64_t maximum = 0;
    uint64_t ordinal = 0;
    DeltaBlameRootDescriptorID rootDescriptorID;
    DeltaBlameAggregateKey key;
    DeltaBlameIdentityTier tier = DeltaBlameIdentityTier::noStableIdentity;

    std::string description() const;
    friend bool operator==(const DeltaBlameValidationError&,
                           const DeltaBlameValidationError&) = default;
};

}  // namespace velmora

#pragma once
// Validating a snapshot draft against its limits, and the derived parts of a draft (scope,
// trust, comparability, coverage kind, rejection reasons), which the builder sets and the
// validator insists on.
//
// Derivation from the root outcomes and the disposition:
//   - scope: roots that completed (`complete`) or were missing (a missing root holds nothing,
//     which is a true observation) are included; the others are excluded;
//   - trust, first that applies: schema other than this build's -> schemaUnsupported; disposition
//     cancelled -> cancelled, superseded -> superseded; empty policy revision -> policyUnknown;
//     a root `cancelled`, or no root included -> hardIncomplete; else eligible;
//   - comparability: eligible with nothing excluded -> comparable; eligible with exclusions ->
//     scopedComparable(included ids); schemaUnsupported or policyUnknown -> unavailable; any other
//     trust -> incomplete. (rootMismatch and policyMismatch only arise between two snapshots.)
//   - coverage kind: boundedEvidence when evidence holds fewer entries than the source; else
//     scoped when a root is excluded; else full.
//
// Canonical opaque values: the token-valued fields (root tokens, fingerprints, resource and path
// tokens) in the token form; every other one non-empty printable ASCII with no space, quote or
// backslash. Unusable limits: any below 1, a store larger than 4,194,304 bytes, and an opaque
// length below the token length (79), which no snapshot could meet.
//
// The validator runs the checks in this order and returns the first failure: schema versions,
// limits, counts, roots and outcomes, aggregates, evidence, byte counts, coverage and scope,
// opaque values. Pure functions; thread-safe.
#include <optional>
#include <vector>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/delta-blame/DeltaBlameModel.h"

namespace velmora {

/// nullopt when `draft` is valid under `limits`.
std::optional<DeltaBlameValidationError> validateDeltaBlameDraft(
    const DeltaBlameSnapshotDraft& draft, const DeltaBlameLimits& limits);

/// The first unusable limit, by its key.
std::optional<DeltaBlameValidationError> validateDeltaBlameLimits(const DeltaBlameLimits& limits);

/// True for non-empty printable ASCII (0x21...0x7E) other than '"' and '\\'.
bool isCanonicalDeltaBlameText(std::string_view text);

DeltaBlameComparableScope deriveDeltaBlameScope(const DeltaBlameScanProvenance& provenance);
DeltaBlameSnapshotTrust deriveDeltaBlameTrust(int schemaVersion,
                                              const DeltaBlameScanProvenance& provenance,
                                              const DeltaBlameComparableScope& scope);
DeltaBlameComparability deriveDeltaBlameComparability(DeltaBlameSnapshotTrust trust,
                                                      const DeltaBlameComparableScope& scope);
DeltaBlameCoverageKind deriveDeltaBlameCoverageKind(int64_t sourceCount, int64_t evidenceCount,
                                                    const DeltaBlameComparableScope& scope);
/// Short codes saying why a snapshot is not eligible ("disposition:cancelled",
/// "root-outcome:<root id>:accessDenied", "policy:unknown", "schema:<version>"); empty when none.
std::vector<DeltaBlameRejectionReason> deriveDeltaBlameRejectionReasons(
    int schemaVersion, const DeltaBlameScanProvenance& provenance);

/// Wraps `draft` and `limits` for encoding; the validator's first error when the draft is not
/// valid under them.
Result<DeltaBlameSnapshotDraftEnvelope, DeltaBlameValidationError> makeDeltaBlameEnvelope(
    DeltaBlameSnapshotDraft draft, const DeltaBlameLimits& limits);

}  // namespace velmora

#pragma once
// Turning a completed cleanup scan into a delta-blame snapshot draft.
//
// Each candidate becomes one source observation under the root it was found in: its category
// key (the category's case name), its size, and its identity as tokens (DeltaBlameIdentity.h):
// a resource token from "<device>:<inode>" when the scan captured one (tier
// strongSameRootResource, with the path token beside it), else only the path token of its path
// relative to the root (tier scopedPath). Dates are kept to the millisecond, the precision the
// codec writes, so a draft survives encoding unchanged.
//
// From the observations the draft keeps:
//   - one aggregate per (root, category) met: total bytes and occurrence count;
//   - evidence: every observation when there are at most `maximumEvidenceEntries`; otherwise the
//     largest ones, by byte count descending and then by occurrence ordinal ascending, cut at
//     `maximumEvidenceEntries`. Evidence is listed by ordinal; an observation's evidence ordinal
//     is its occurrence ordinal;
//   - one residual per aggregate: the bytes of that key that no evidence entry carries;
//   - coverage, scope, trust, comparability and rejection reasons as DeltaBlameValidation.h
//     derives them.
// The draft is validated before it is returned; no partially valid draft leaves the builder.
// Pure functions; thread-safe.
#include <string>
#include <variant>
#include <vector>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/delta-blame/DeltaBlameIdentity.h"
#include "CleanerCore/delta-blame/DeltaBlameModel.h"

namespace velmora {

/// Why a draft could not be built.
struct DeltaBlameBuildError {
    std::variant<DeltaBlameOccurrenceProjectionError, DeltaBlameValidationError> error;
    std::string description() const;
    friend bool operator==(const DeltaBlameBuildError&, const DeltaBlameBuildError&) = default;
};

/// One observation per occurrence. `rootPaths` are the declared roots' standardized paths, in
/// the order of `metadata.rootDescriptors`. Fails on a repeated or decreasing occurrence ordinal,
/// a repeated declared root, an occurrence under an undeclared root, or a candidate outside its
/// root's path (`incompleteCandidateProjection`).
Result<DeltaBlameOccurrenceDraftInput, DeltaBlameOccurrenceProjectionError>
projectDeltaBlameOccurrences(const ScanCompletionMetadataDraft& metadata,
                             const std::vector<std::string>& rootPaths,
                             const std::vector<ScanCandidateOccurrence>& occurrences,
                             const DeltaBlameIdentityHMACProvider& provider);

/// Checks that `input` holds exactly one observation per occurrence, each with the occurrence's
/// root, ordinal and byte count.
std::optional<DeltaBlameOccurrenceProjectionError> verifyDeltaBlameProjection(
    const std::vector<ScanCandidateOccurrence>& occurrences,
    const DeltaBlameOccurrenceDraftInput& input);

struct DeltaBlameDraftRequest {
    std::string snapshotID;  ///< canonical upper-case UUID
    Date capturedAt = 0;
    ScanCompletionMetadataDraft metadata;
    std::vector<std::string> rootPaths;  ///< parallel to metadata.rootDescriptors
    std::vector<DeltaBlameRootOutcome> rootOutcomes;
    DeltaBlameScanDisposition disposition = DeltaBlameScanDisposition::accepted;
    DeltaBlameLimits limits;
};

/// The validated draft of `occurrences`.
Result<DeltaBlameSnapshotDraft, DeltaBlameBuildError> buildDeltaBlameDraft(
    const DeltaBlameDraftRequest& request, const std::vector<ScanCandidateOccurrence>& occurrences,
    const DeltaBlameIdentityHMACProvider& provider);

/// What a finished cleanup scan is captured with, besides its report.
struct DeltaBlameCaptureRequest {
    std::string snapshotID;  ///< canonical upper-case UUID
    std::string scanRunID;   ///< canonical upper-case UUID
    Date capturedAt = 0;
    CleanupScanMode scanMode = CleanupScanMode::standard;
    std::string policyRevision;
    /// accepted, unless a newer scan replaced this one; a report without a completed scan is
    /// always captured as cancelled.
    DeltaBlameScanDisposition disposition = DeltaBlameScanDisposition::accepted;
    DeltaBlameLimits limits;
};

/// The envelope of a cleanup `report`. Its scanned roots are the declared roots; a candidate
/// belongs to the deepest root that contains it. A root skipped as missing is `missing`, one
/// that could not be enumerated `enumerationFailed`, one refused by the safety rules
/// `policyExcludedButComplete`; an unfinished scan's roots are `cancelled`.
Result<DeltaBlameSnapshotDraftEnvelope, DeltaBlameBuildError> captureDeltaBlameSnapshot(
    const ScanReport& report, const DeltaBlameCaptureRequest& request,
    const DeltaBlameIdentityHMACProvider& provider);

/// `date` to the nearest millisecond.
Date deltaBlameMillisecondDate(Date date);

}  // namespace velmora

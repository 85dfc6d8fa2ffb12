#include "CleanerCore/delta-blame/DeltaBlameDraftBuilder.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <set>

#include "CleanerCore/base/PathContainment.h"
#include "CleanerCore/delta-blame/DeltaBlameValidation.h"
#include "CleanerCore/scanning/StorageScanner.h"

namespace velmora {

namespace {

using ProjectionError = DeltaBlameOccurrenceProjectionError;
using PK = DeltaBlameOccurrenceProjectionError::Kind;

ProjectionError projectionError(PK kind) {
    ProjectionError e;
    e.kind = kind;
    return e;
}

std::optional<Date> millisecondDate(const std::optional<Date>& date) {
    if (!date) return std::nullopt;
    return deltaBlameMillisecondDate(*date);
}

// The path of `path` below `root` ("" for the root itself).
std::string relativePath(const std::string& path, const std::string& root) {
    if (path.size() <= root.size()) return {};
    return path.substr(root == "/" ? 1 : root.size() + 1);
}

}  // namespace

Date deltaBlameMillisecondDate(Date date) {
    return deltaBlameDateFromMilliseconds(
        static_cast<double>(deltaBlameMillisecondsSince1970(date)));
}

std::string DeltaBlameBuildError::description() const {
    return std::visit([](const auto& e) { return e.description(); }, error);
}

Result<DeltaBlameOccurrenceDraftInput, DeltaBlameOccurrenceProjectionError>
projectDeltaBlameOccurrences(const ScanCompletionMetadataDraft& metadata,
                             const std::vector<std::string>& rootPaths,
                             const std::vector<ScanCandidateOccurrence>& occurrences,
                             const DeltaBlameIdentityHMACProvider& provider) {
    const auto& roots = metadata.rootDescriptors;
    if (rootPaths.size() != roots.size())
        return Failure{projectionError(PK::incompleteCandidateProjection)};
    std::map<DeltaBlameRootDescriptorID, size_t> rootIndex;
    for (size_t i = 0; i < roots.size(); ++i) {
        if (!rootIndex.emplace(roots[i].id, i).second) {
            auto e = projectionError(PK::duplicateDeclaredRoot);
            e.rootDescriptorID = roots[i].id;
            return Failure{std::move(e)};
        }
    }

    std::vector<std::string> rootKeys;
    for (const auto& path : rootPaths) rootKeys.push_back(lexicalPathKey(path));

    DeltaBlameOccurrenceDraftInput out;
    out.sourceObservations.reserve(occurrences.size());
    std::optional<uint64_t> previous;
    for (const auto& occurrence : occurrences) {
        if (previous && occurrence.occurrenceOrdinal <= *previous) {
            auto e = projectionError(occurrence.occurrenceOrdinal == *previous
                                         ? PK::duplicateOccurrenceOrdinal
                                         : PK::nonMonotonicOccurrenceOrdinal);
            e.ordinal = *previous;
            e.otherOrdinal = occurrence.occurrenceOrdinal;
            return Failure{std::move(e)};
        }
        previous = occurrence.occurrenceOrdinal;
        auto found = rootIndex.find(occurrence.rootDescriptorID);
        if (found == rootIndex.end()) {
            auto e = projectionError(PK::unknownDeclaredRoot);
            e.rootDescriptorID = occurrence.rootDescriptorID;
            return Failure{std::move(e)};
        }
        const auto& root = roots[found->second];
        const std::string& rootPath = rootKeys[found->second];
        const auto& candidate = occurrence.candidate;
        if (!keyIsWithin(candidate.url.path, rootPath))
            return Failure{projectionError(PK::incompleteCandidateProjection)};

        DeltaBlameObservation o;
        o.categoryKey = {std::string(rawValue(candidate.category))};
        o.byteCount = candidate.sizeBytes;
        o.rootDescriptorID = root.id;
        o.rootToken = root.rootToken;
        o.pathToken = provider.pathToken(relativePath(candidate.url.path, rootPath));
        o.identityTier = DeltaBlameIdentityTier::scopedPath;
        o.evidenceOrdinal = occurrence.occurrenceOrdinal;
        o.lastModified = millisecondDate(candidate.lastModified);
        if (const auto& identity = candidate.resourceIdentity) {
            if (identity->fileResourceIdentifier) {
                o.resourceToken = provider.resourceToken(*identity->fileResourceIdentifier);
                o.identityTier = DeltaBlameIdentityTier::strongSameRootResource;
            }
            o.creationDate = millisecondDate(identity->creationDate);
            if (identity->isDirectory)
                o.resourceType = *identity->isDirectory
                                     ? DeltaBlameResourceTypeCorroborator::directory
                                     : DeltaBlameResourceTypeCorroborator::regularFile;
        }
        out.sourceObservations.push_back(std::move(o));
    }
    return out;
}

std::optional<DeltaBlameOccurrenceProjectionError> verifyDeltaBlameProjection(
    const std::vector<ScanCandidateOccurrence>& occurrences,
    const DeltaBlameOccurrenceDraftInput& input) {
    if (input.sourceObservations.size() != occurrences.size())
        return projectionError(PK::incompleteCandidateProjection);
    for (size_t i = 0; i < occurrences.size(); ++i) {
        const auto& occurrence = occurrences[i];
        const auto& o = input.sourceObservations[i];
        if (o.rootDescriptorID != occurrence.rootDescriptorID) {
            auto e = projectionError(PK::observationRootMismatch);
            e.rootDescriptorID = o.rootDescriptorID;
            return e;
        }
        if (o.evidenceOrdinal != occurrence.occurrenceOrdinal) {
            auto e = projectionError(PK::observationOrdinalMismatch);
            e.ordinal = occurrence.occurrenceOrdinal;
            e.otherOrdinal = o.evidenceOrdinal;
            return e;
        }
        if (o.byteCount != occurrence.candidate.sizeBytes) {
            auto e = projectionError(PK::observationByteCountMismatch);
            e.expectedBytes = occurrence.candidate.sizeBytes;
            e.actualBytes = o.byteCount;
            return e;
        }
    }
    return std::nullopt;
}

Result<DeltaBlameSnapshotDraft, DeltaBlameBuildError> buildDeltaBlameDraft(
    const DeltaBlameDraftRequest& request, const std::vector<ScanCandidateOccurrence>& occurrences,
    const DeltaBlameIdentityHMACProvider& provider) {
    auto projected =
        projectDeltaBlameOccurrences(request.metadata, request.rootPaths, occurrences, provider);
    if (!projected) return Failure{DeltaBlameBuildError{projected.error()}};
    if (auto e = verifyDeltaBlameProjection(occurrences, *projected))
        return Failure{DeltaBlameBuildError{*e}};
    auto& observations = projected->sourceObservations;

    DeltaBlameSnapshotDraft d;
    d.snapshotID = request.snapshotID;
    d.capturedAt = deltaBlameMillisecondDate(request.capturedAt);
    d.provenance.completionMetadata = request.metadata;
    d.provenance.policyFingerprint = provider.policyFingerprint(request.metadata.scanModeIdentifier,
                                                                request.metadata.policyRevision);
    d.provenance.rootSetFingerprint =
        makeDeltaBlameRootSetFingerprint(request.metadata.rootDescriptors);
    d.provenance.rootOutcomes = request.rootOutcomes;
    d.provenance.disposition = request.disposition;

    // Aggregates; a sum that would wrap is the validator's byteCountOverflow.
    auto validationFailure = [](DeltaBlameValidationError::Kind kind) {
        DeltaBlameValidationError e;
        e.kind = kind;
        return Failure{DeltaBlameBuildError{e}};
    };
    std::map<DeltaBlameAggregateKey, DeltaBlameAggregate> aggregates;
    for (const auto& o : observations) {
        if (o.byteCount < 0)
            return validationFailure(DeltaBlameValidationError::Kind::negativeByteCount);
        DeltaBlameAggregateKey key{o.rootDescriptorID, o.categoryKey};
        auto& a = aggregates.try_emplace(key, DeltaBlameAggregate{key, 0, 0}).first->second;
        if (__builtin_add_overflow(a.byteCount, o.byteCount, &a.byteCount))
            return validationFailure(DeltaBlameValidationError::Kind::byteCountOverflow);
        ++a.occurrenceCount;
    }

    // Evidence: the largest observations first, then by ordinal, cut at the limit.
    const auto cap =
        static_cast<size_t>(std::max<int64_t>(0, request.limits.maximumEvidenceEntries));
    std::vector<size_t> order(observations.size());
    std::iota(order.begin(), order.end(), size_t{0});
    if (order.size() > cap) {
        std::partial_sort(order.begin(), order.begin() + static_cast<ptrdiff_t>(cap), order.end(),
                          [&](size_t a, size_t b) {
                              if (observations[a].byteCount != observations[b].byteCount)
                                  return observations[a].byteCount > observations[b].byteCount;
                              return observations[a].evidenceOrdinal <
                                     observations[b].evidenceOrdinal;
                          });
        order.resize(cap);
        std::sort(order.begin(), order.end());  // occurrence order is ordinal order
    }
    std::map<DeltaBlameAggregateKey, int64_t> evidenceByKey;
    d.evidence.reserve(order.size());
    for (size_t i : order) {
        auto& o = observations[i];
        evidenceByKey[{o.rootDescriptorID, o.categoryKey}] += o.byteCount;
        d.evidence.push_back(std::move(o));
    }

    auto& c = d.evidenceCoverage;
    for (auto& [key, a] : aggregates) {
        const int64_t evidence = evidenceByKey[key];
        d.residuals.push_back({key, a.byteCount, evidence, a.byteCount - evidence});
        // Evidence bytes never exceed their aggregate's, so only the grand total can wrap.
        if (__builtin_add_overflow(c.totalBytes, a.byteCount, &c.totalBytes))
            return validationFailure(DeltaBlameValidationError::Kind::byteCountOverflow);
        c.evidenceBytes += evidence;
        c.residualBytes += a.byteCount - evidence;
        d.aggregates.push_back(a);
    }
    c.sourceObservationCount = static_cast<int64_t>(observations.size());
    c.evidenceObservationCount = static_cast<int64_t>(d.evidence.size());

    d.comparableScope = deriveDeltaBlameScope(d.provenance);
    c.kind = deriveDeltaBlameCoverageKind(c.sourceObservationCount, c.evidenceObservationCount,
                                          d.comparableScope);
    d.trust = deriveDeltaBlameTrust(d.schemaVersion, d.provenance, d.comparableScope);
    d.comparability = deriveDeltaBlameComparability(d.trust, d.comparableScope);
    d.rejectionReasons = deriveDeltaBlameRejectionReasons(d.schemaVersion, d.provenance);

    if (auto e = validateDeltaBlameDraft(d, request.limits))
        return Failure{DeltaBlameBuildError{std::move(*e)}};
    return d;
}

Result<DeltaBlameSnapshotDraftEnvelope, DeltaBlameBuildError> captureDeltaBlameSnapshot(
    const ScanReport& report, const DeltaBlameCaptureRequest& request,
    const DeltaBlameIdentityHMACProvider& provider) {
    DeltaBlameDraftRequest draft;
    draft.snapshotID = request.snapshotID;
    draft.capturedAt = request.capturedAt;
    draft.limits = request.limits;
    draft.disposition =
        report.hasCompletedScan ? request.disposition : DeltaBlameScanDisposition::cancelled;
    std::vector<std::string> rootKeys;
    for (const auto& root : report.scannedRoots) {
        draft.rootPaths.push_back(root.path);
        rootKeys.push_back(lexicalPathKey(root.path));
    }
    draft.metadata.scanRunID = request.scanRunID;
    draft.metadata.rootDescriptors = makeDeltaBlameRootDescriptors(provider, draft.rootPaths);
    draft.metadata.scanModeIdentifier = std::string(rawValue(request.scanMode));
    draft.metadata.policyRevision = request.policyRevision;

    // A root's own skip record says how it ended.
    std::map<std::string, DeltaBlameRootOutcomeKind> skippedRoots;
    for (const auto& skipped : report.skippedItems) {
        const std::string_view reason = skipped.reason;
        if (reason == SkipReason::kFolderDoesNotExist)
            skippedRoots.emplace(skipped.url.path, DeltaBlameRootOutcomeKind::missing);
        else if (reason == SkipReason::kCouldNotEnumerate)
            skippedRoots.emplace(skipped.url.path, DeltaBlameRootOutcomeKind::enumerationFailed);
        else if (reason == SkipReason::kSymbolicLink || reason == SkipReason::kProtectedPath ||
                 reason == SkipReason::kContainsProtected || reason == SkipReason::kMountPoint)
            skippedRoots.emplace(skipped.url.path,
                                 DeltaBlameRootOutcomeKind::policyExcludedButComplete);
    }
    const auto& descriptors = draft.metadata.rootDescriptors;
    for (size_t i = 0; i < descriptors.size(); ++i) {
        auto kind = DeltaBlameRootOutcomeKind::complete;
        if (!report.hasCompletedScan)
            kind = DeltaBlameRootOutcomeKind::cancelled;
        else if (auto it = skippedRoots.find(draft.rootPaths[i]); it != skippedRoots.end())
            kind = it->second;
        draft.rootOutcomes.push_back({descriptors[i].id, kind});
    }

    // Each candidate under the deepest root holding it; the first such root when several are
    // equally deep (the same folder declared twice).
    std::vector<ScanCandidateOccurrence> occurrences;
    occurrences.reserve(report.candidates.size());
    uint64_t ordinal = 0;
    for (const auto& candidate : report.candidates) {
        std::optional<size_t> best;
        for (size_t i = 0; i < draft.rootPaths.size(); ++i) {
            if ((!best || rootKeys[i].size() > rootKeys[*best].size()) &&
                keyIsWithin(candidate.url.path, rootKeys[i]))
                best = i;
        }
        if (!best)
            return Failure{
                DeltaBlameBuildError{projectionError(PK::incompleteCandidateProjection)}};
        occurrences.push_back({candidate, ++ordinal, descriptors[*best].id});
    }

    auto built = buildDeltaBlameDraft(draft, occurrences, provider);
    if (!built) return Failure{built.error()};
    return DeltaBlameSnapshotDraftEnvelope{std::move(*built), request.limits};
}

}  // namespace velmora

#include "CleanerCore/review/CleanupStorageImpactReport.h"

#include <algorithm>

#include "CleanerCore/base/HashCombine.h"

namespace velmora {

std::optional<CleanupStorageImpactReport> CleanupStorageImpactReport::make(
    const CleanupAuditEntry& entry) {
    if (entry.operation == CleanupAuditOperation::restore) return std::nullopt;
    auto atLeastZero = [](int64_t v) { return std::max<int64_t>(v, 0); };
    CleanupStorageImpactReport r;
    r.source = entry.source;
    r.mode = entry.mode;
    r.occurredAt = entry.occurredAt;
    r.requestedItemCount = atLeastZero(entry.requestedItemCount);
    r.succeededItemCount = atLeastZero(entry.succeededItemCount);
    r.failedItemCount = atLeastZero(entry.failedItemCount);
    r.expectedBytes = atLeastZero(entry.requestedBytes);
    r.affectedBytes = atLeastZero(entry.affectedBytes);
    r.wasCancelled = entry.wasCancelled;
    return r;
}

std::optional<double> CleanupStorageImpactReport::affectedByteFraction() const {
    if (expectedBytes < 1) return std::nullopt;
    const double fraction = static_cast<double>(affectedBytes) / static_cast<double>(expectedBytes);
    return std::clamp(fraction, 0.0, 1.0);
}

}  // namespace velmora

using velmora::review_detail::hashCombine;

size_t std::hash<velmora::CleanupStorageImpactReport>::operator()(
    const velmora::CleanupStorageImpactReport& r) const noexcept {
    size_t seed = 0;
    hashCombine(seed, r.source);
    hashCombine(seed, r.mode.has_value());
    if (r.mode) hashCombine(seed, *r.mode);
    hashCombine(seed, r.occurredAt);
    hashCombine(seed, r.requestedItemCount);
    hashCombine(seed, r.succeededItemCount);
    hashCombine(seed, r.failedItemCount);
    hashCombine(seed, r.expectedBytes);
    hashCombine(seed, r.affectedBytes);
    hashCombine(seed, r.wasCancelled);
    return seed;
}

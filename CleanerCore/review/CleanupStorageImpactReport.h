#pragma once
// What a recorded cleanup achieved, as the interface shows it afterwards: the figures of one
// clean entry of the history, with the fraction of the expected bytes that was actually moved.
//
// Pure computation, thread-safe.
#include <cstddef>
#include <cstdint>
#include <optional>

#include "CleanerCore/audit/CleanupAuditModel.h"

namespace velmora {

struct CleanupStorageImpactReport {
    CleanupAuditSource source = CleanupAuditSource::cleanupDashboard;
    std::optional<CleaningMode> mode;
    Date occurredAt = 0;
    // The five counts are never negative: a negative stored value reads as 0.
    int64_t requestedItemCount = 0;
    int64_t succeededItemCount = 0;
    int64_t failedItemCount = 0;
    int64_t expectedBytes = 0;  ///< the bytes the user asked to move
    int64_t affectedBytes = 0;  ///< the bytes actually moved
    bool wasCancelled = false;

    /// The report of a clean entry; nullopt for a restore entry.
    static std::optional<CleanupStorageImpactReport> make(const CleanupAuditEntry& entry);

    /// affectedBytes / expectedBytes clamped to 0...1 (items may grow between scan and
    /// cleanup); nullopt when nothing was expected (expectedBytes < 1): show no percentage.
    std::optional<double> affectedByteFraction() const;

    friend bool operator==(const CleanupStorageImpactReport&,
                           const CleanupStorageImpactReport&) = default;
};

}  // namespace velmora

template <>
struct std::hash<velmora::CleanupStorageImpactReport> {
    size_t operator()(const velmora::CleanupStorageImpactReport& r) const noexcept;
};

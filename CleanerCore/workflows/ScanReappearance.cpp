#include "CleanerCore/workflows/ScanReappearance.h"

#include "CleanerCore/audit/CleanupAuditStore.h"

namespace velmora {

std::optional<CleanupReappearanceObservation> observeReappearance(const ScanSetup& setup,
                                                                  const ScanReport& report) {
    if (!report.hasCompletedScan) return std::nullopt;
    const CleanupAuditStore store(CleanupAuditStore::defaultFilePath(setup.environment));
    return CleanupReappearanceObservation::observe(store.recentEntries(), report.candidates,
                                                   report.scannedAt);
}

}  // namespace velmora

#include "CleanerCore/audit/CleanupAuditChain.h"

#include "CleanerCore/audit/CleanupAuditDigest.h"

namespace velmora {

CleanupAuditChainReport verifyChain(const std::vector<CleanupAuditEntry>& entries) {
    CleanupAuditChainReport report;
    bool broken = false;
    for (size_t i = 0; i < entries.size(); ++i) {
        const CleanupAuditEntry& entry = entries[i];
        if (!entry.chainLink) {
            ++report.unverifiableEntryCount;
            continue;
        }
        const CleanupAuditChainLink& link = *entry.chainLink;
        bool ok = entryDigest(entry, link.previousEntryDigest) == link.entryDigest;
        if (ok && link.previousEntryDigest && i + 1 < entries.size()) {
            const auto& older = entries[i + 1].chainLink;
            ok = older && older->entryDigest == *link.previousEntryDigest;
        }
        if (ok) {
            ++report.verifiedEntryCount;
        } else if (!broken) {
            broken = true;
            report.firstBrokenEntryID = entry.id;
        }
    }
    report.status = broken                              ? CleanupAuditChainStatus::broken
                    : report.unverifiableEntryCount > 0 ? CleanupAuditChainStatus::unverifiable
                                                        : CleanupAuditChainStatus::intact;
    return report;
}

}  // namespace velmora

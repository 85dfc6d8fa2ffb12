#include "CleanerCore/audit/CleanupAuditModel.h"

#include <fmt/format.h>

namespace velmora {

std::string_view rawValue(CleanupAuditOperation o) {
    return o == CleanupAuditOperation::clean ? "clean" : "restore";
}

std::string_view rawValue(CleanupAuditSource s) {
    switch (s) {
        case CleanupAuditSource::cleanupDashboard:
            return "cleanupDashboard";
        case CleanupAuditSource::macInsights:
            return "macInsights";
        case CleanupAuditSource::iOSSandbox:
            return "iOSSandbox";
    }
    return "cleanupDashboard";
}

std::optional<CleanupAuditOperation> auditOperationFromRaw(std::string_view s) {
    if (s == "clean") return CleanupAuditOperation::clean;
    if (s == "restore") return CleanupAuditOperation::restore;
    return std::nullopt;
}

std::optional<CleanupAuditSource> auditSourceFromRaw(std::string_view s) {
    for (auto v : {CleanupAuditSource::cleanupDashboard, CleanupAuditSource::macInsights,
                   CleanupAuditSource::iOSSandbox}) {
        if (rawValue(v) == s) return v;
    }
    return std::nullopt;
}

std::string integritySentence(const CleanupAuditChainReport& report) {
    switch (report.status) {
        case CleanupAuditChainStatus::intact:
            return fmt::format(
                "Record integrity: no entry was changed or removed across the {} checked "
                "records. This is a link check, not a signature, so a log rewritten in full "
                "would not be caught.",
                report.verifiedEntryCount);
        case CleanupAuditChainStatus::unverifiable:
            return fmt::format(
                "Record integrity: {} records carry no link information, so they cannot be "
                "checked.",
                report.unverifiableEntryCount);
        case CleanupAuditChainStatus::broken:
            break;
    }
    return "Record integrity: an entry was changed or removed. This log no longer matches what "
           "was written.";
}

std::string_view rawValue(CleanupAuditChainStatus status) {
    switch (status) {
        case CleanupAuditChainStatus::intact:
            return "intact";
        case CleanupAuditChainStatus::unverifiable:
            return "unverifiable";
        case CleanupAuditChainStatus::broken:
            break;
    }
    return "broken";
}

}  // namespace velmora

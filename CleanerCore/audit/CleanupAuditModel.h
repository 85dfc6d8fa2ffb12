#pragma once
// The records of the cleanup history: one entry per cleanup run or restore attempt, linked to the
// entry recorded before it by SHA-256 digests (see CleanupAuditDigest.h and CleanupAuditChain.h).
// Plain values: copyable, comparable, no behaviour. JSON coding is in CleanupAuditJson.h, the
// file and its locking in CleanupAuditStore.h.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/cleaning/CleaningModel.h"

namespace velmora {

enum class CleanupAuditOperation { clean, restore };
/// Where the operation was started.
enum class CleanupAuditSource { cleanupDashboard, macInsights, iOSSandbox };

// Raw strings (the case names) and their inverse; the inverse is nullopt for unknown text.
std::string_view rawValue(CleanupAuditOperation);
std::string_view rawValue(CleanupAuditSource);
std::optional<CleanupAuditOperation> auditOperationFromRaw(std::string_view);
std::optional<CleanupAuditSource> auditSourceFromRaw(std::string_view);

struct CleanupAuditChainLink {
    std::string entryDigest;  ///< 64 lowercase hex digits: SHA-256 of the entry's canonical text
    /// The `entryDigest` of the newest entry when this one was appended; absent for the first
    /// entry of a chain.
    std::optional<std::string> previousEntryDigest;
    friend bool operator==(const CleanupAuditChainLink&, const CleanupAuditChainLink&) = default;
};

struct CleanupAuditEntry {
    std::string id;       ///< canonical upper-case UUID text
    Date occurredAt = 0;  ///< when the operation finished
    CleanupAuditOperation operation = CleanupAuditOperation::clean;
    CleanupAuditSource source = CleanupAuditSource::cleanupDashboard;
    std::optional<CleaningMode> mode;  ///< absent for restores
    int64_t requestedItemCount = 0;    ///< items the user asked to clean or restore
    int64_t requestedBytes = 0;        ///< their total recorded size
    int64_t succeededItemCount = 0;
    int64_t failedItemCount = 0;
    int64_t affectedBytes = 0;  ///< bytes of the items that succeeded
    bool wasCancelled = false;
    std::vector<std::string> samplePaths;     ///< a sample of the affected paths
    std::vector<std::string> failureReasons;  ///< failure reason texts
    /// Item-level restore records; empty for restores and entries that keep no item detail.
    std::vector<CleanedItem> cleanedItems;
    /// Absent only in entries that were never linked (written without a chain).
    std::optional<CleanupAuditChainLink> chainLink;
    friend bool operator==(const CleanupAuditEntry&, const CleanupAuditEntry&) = default;
};

enum class CleanupAuditChainStatus { intact, unverifiable, broken };
std::string_view rawValue(CleanupAuditChainStatus);

struct CleanupAuditChainReport {
    CleanupAuditChainStatus status = CleanupAuditChainStatus::intact;
    int64_t verifiedEntryCount = 0;      ///< entries whose digest and link were confirmed
    int64_t unverifiableEntryCount = 0;  ///< entries without a chain link
    /// The first entry, in stored order (newest first), at which the chain failed.
    std::optional<std::string> firstBrokenEntryID;
    friend bool operator==(const CleanupAuditChainReport&,
                           const CleanupAuditChainReport&) = default;
};

/// The English "Record integrity: ..." sentence for a verification report. It says plainly that
/// the check links entries and is not a signature.
std::string integritySentence(const CleanupAuditChainReport& report);

/// The English explanation the history panel shows beside the list.
inline constexpr std::string_view kCleanupHistoryExplanation =
    "Cleanup History records cleanup operations and restore attempts, with results, item "
    "counts, bytes, and retained path details when available. Full JSON/CSV includes the "
    "retained history details. For support sharing, choose a redacted export that replaces "
    "paths and file names with tokens, then review before sharing.";

}  // namespace velmora

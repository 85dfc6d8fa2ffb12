#pragma once
// Whether the material of the newest cleanup has come back: the cleaned items' paths compared
// with the candidates of a later scan. Material that returns at the same paths soon after it
// was cleaned regenerates on its own, so cleaning it again buys space only for a while.
//
// The cleanup compared is the newest history entry that cleaned at least one item and was not
// cancelled (a cancelled run stopped at an arbitrary item, so its list says little about what
// the person meant to remove). Then, in order:
//   - no such entry: `noRecentCleanup`, with no source or date and every figure 0;
//   - the entry kept no item detail: `noRecordedCleanedItems`, with its affected bytes
//     (never negative) as the recorded bytes;
//   - the recorded figures are the sums over the entry's cleaned items; a scan that did not
//     start after the cleanup (`observedAt` <= `cleanedAt`) is `awaitingFollowupScan`, with no
//     reappearance counted;
//   - a current candidate whose path (standardized, surrounding white space trimmed; empty
//     paths ignored) equals a cleaned item's counts as same-path reappearance; one whose
//     category is among the cleaned items' categories counts as category reappearance;
//   - `ambiguousAfterRestore` when a restore followed the cleanup and covers its items: a
//     history entry with operation `restore`, dated after the cleanup, that put at least one
//     item back, and whose recorded paths (the restored items' original paths) include a path
//     the cleanup cleaned. Material the person put back is not material that regenerated, so
//     the figures cannot say which it is. A restore that put nothing back, or only items of
//     other cleanups, does not count;
//   - otherwise `noSamePathReappearance` when nothing came back at the same paths, else
//     `substantialReappearance` when at least half of the cleaned bytes are back (exactly half
//     included), `partialReappearance` below that.
//
// Byte sums saturate at the largest 64-bit value instead of wrapping. Pure; thread-safe.
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string_view>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/base/Date.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

struct CleanupReappearanceObservation {
    enum class Assessment {
        noRecentCleanup,
        noRecordedCleanedItems,
        awaitingFollowupScan,
        ambiguousAfterRestore,
        noSamePathReappearance,
        partialReappearance,
        substantialReappearance,
    };

    Assessment assessment = Assessment::noRecentCleanup;
    std::optional<CleanupAuditSource> cleanupSource;  ///< of the cleanup compared
    std::optional<Date> cleanedAt;                    ///< when that cleanup happened
    Date observedAt = 0;                              ///< when the comparing scan ran
    int64_t recordedCleanedBytes = 0;                 ///< never negative
    int64_t recordedCleanedItemCount = 0;
    int64_t samePathReappearedBytes = 0;
    int64_t samePathReappearedItemCount = 0;
    int64_t categoryReappearedBytes = 0;
    int64_t categoryReappearedItemCount = 0;

    /// `samePathReappearedBytes / recordedCleanedBytes`, clamped to 0...1; none when fewer than
    /// one byte was recorded.
    std::optional<double> reappearedFraction() const;

    /// Compares the newest cleanup of `history` (any order; the store keeps it newest first)
    /// with `candidates`, found by a scan that started at `observedAt`.
    static CleanupReappearanceObservation observe(const std::vector<CleanupAuditEntry>& history,
                                                  const std::vector<CleanupCandidate>& candidates,
                                                  Date observedAt);

    friend bool operator==(const CleanupReappearanceObservation&,
                           const CleanupReappearanceObservation&) = default;
};

/// The assessment's case name ("noRecentCleanup", ...).
std::string_view rawValue(CleanupReappearanceObservation::Assessment assessment);

/// Keys are the field names plus "reappearedFraction"; the assessment and the source as their
/// case names, dates as seconds since 2001; absent optionals omitted.
void to_json(nlohmann::json& j, const CleanupReappearanceObservation& observation);

}  // namespace velmora

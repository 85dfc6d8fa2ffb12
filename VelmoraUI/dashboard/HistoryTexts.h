#pragma once
// The sentences of the cleanup history for people: the record-integrity sentence, the
// sentences about a history file that could not be read, and each entry's title and summary.
// The English forms are the ones the history's JSON carries; every other language is written
// from the same counts and ids (never by reading the English back). Pure, thread-safe.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// The "Record integrity: ..." sentence of `report` in `language` (in English, exactly
/// `integritySentence(report)`).
std::string presentedIntegritySentence(const CleanupAuditChainReport& report, AppLanguage language);

/// "The chain breaks at entry ID." — follows the integrity sentence of a broken chain.
std::string chainBreakSentence(std::string_view entryID, AppLanguage language);

/// Said instead of the integrity sentence when the newest entry that was recorded beside the
/// history (`entryID`) is missing or changed: entries were cut from the newest end.
std::string missingNewestEntrySentence(std::string_view entryID, AppLanguage language);

/// Said instead of the integrity sentence when the history file could not be read. `damage`
/// is the store's word for why ("oversized", "unreadable", "undecodable", anything else: the
/// file could not be opened just now); `backupPath` (already printable) is where the file was
/// moved aside, if it was, and `keptEntries` how many entries were kept from it.
std::string unreadableHistorySentence(std::string_view damage,
                                      const std::optional<std::string>& backupPath,
                                      size_t keptEntries, AppLanguage language);

/// What the history records, shown above the list (`kCleanupHistoryExplanation` in English).
std::string historyExplanation(AppLanguage language);
/// Shown in place of the list when nothing was recorded.
std::string emptyHistorySentence(AppLanguage language);

/// The kind of operation ("Restore", "Permanent deletion", "Cleanup (moved to Trash)").
std::string historyOperationTitle(const CleanupAuditEntry& entry, AppLanguage language);
/// Where the operation was started, for entries not started from the cleanup list itself
/// ("Started from Storage Insights."); nullopt for the cleanup list.
std::optional<std::string> historySourceSentence(CleanupAuditSource source, AppLanguage language);

/// The counts of one entry: "3 of 4 items moved, 1.2 MB of 1.5 MB (80% of the selected
/// bytes); 1 failed; cancelled".
std::string historyEntrySummary(const CleanupAuditEntry& entry, AppLanguage language);

}  // namespace velmora

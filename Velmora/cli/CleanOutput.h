#pragma once
// What the clean, restore and history commands print for people. Paths are shown relative to
// the home folder and made safe for a terminal; sizes in human units; reasons as sentences.
#include <iosfwd>
#include <string>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/cleaning/CleaningModel.h"

namespace velmora::cli {

/// The confirmation summary: count and bytes, then the split by safety and by category, then
/// every selected item.
void printSelectionPreview(std::ostream& out, const std::vector<CleanupCandidate>& selection,
                           const std::string& home);

/// One line per item (moved / refused with its reason), then a summary sentence and how to undo
/// it (`historyKeptItems`: the history entry kept the item list `restore` needs).
void printCleanResult(std::ostream& out, const CleanResult& result, CleaningMode mode,
                      const std::string& home, bool historyKeptItems);
void printRestoreResult(std::ostream& out, const RestoreResult& result, const std::string& home);

/// The history, newest first: one block per entry.
void printHistory(std::ostream& out, const std::vector<CleanupAuditEntry>& entries,
                  const std::string& home);

/// Local time as "2026-11-22 14:05".
std::string formatLocalTime(Date date);

}  // namespace velmora::cli

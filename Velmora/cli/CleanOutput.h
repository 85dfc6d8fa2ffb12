#pragma once
// What the clean, restore and history commands print for people. Paths are shown relative to
// the home folder and made safe for a terminal; sizes in human units; reasons as sentences.
#include <iosfwd>
#include <string>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/cleaning/CleaningModel.h"
#include "CleanerCore/workflows/CleanupRun.h"
#include "Velmora/cli/Output.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora::cli {

/// The texts are in `language` (paths, sizes' digits and units stay as they are).
/// The confirmation summary: count and bytes, then the split by safety and by category, then
/// every selected item.
void printSelectionPreview(std::ostream& out, const std::vector<CleanupCandidate>& selection,
                           const std::string& home, AppLanguage language);

/// One line per item (moved / refused with its reason), then a summary sentence and how to undo
/// it. When the history was not written, each moved item's place in the Trash is listed too:
/// the output is then the only record of where the items went.
void printCleanResult(std::ostream& out, const CleanResult& result, CleaningMode mode,
                      const std::string& home, CleanupHistoryRecord record,
                      AppLanguage language = AppLanguage::english);
/// The result as JSON (the CleanResult record), one document followed by a newline: the text of
/// dumpJSON(json(result), true), written one item at a time.
void printCleanResultJSON(std::ostream& out, const CleanResult& result);

/// printCleanResult for a result that arrives in parts, in input order, and is not held whole.
/// The lines are written by `finish`, once the history's outcome is known; until then only each
/// moved item's path and place in the Trash are kept, and the failed items.
class CleanResultTextWriter {
  public:
    CleanResultTextWriter(CleaningMode mode, std::string home, AppLanguage language)
        : mode_(mode), home_(std::move(home)), language_(language) {}
    void reserve(size_t count) { cleaned_.reserve(count); }
    void add(const CleanedItem& item);
    void add(FailedCleanItem item) { failed_.push_back(std::move(item)); }
    /// `cleanedBytes`: the distinct bytes of the cleaned items (as the history entry counts them).
    void finish(std::ostream& out, bool wasCancelled, int64_t cleanedBytes,
                CleanupHistoryRecord record) const;

  private:
    struct Cleaned {
        std::string path;
        std::string destination;  ///< empty when the item has no place in the Trash
    };
    CleaningMode mode_;
    std::string home_;
    AppLanguage language_;
    std::vector<Cleaned> cleaned_;
    std::vector<FailedCleanItem> failed_;
};

/// printCleanResultJSON for a result that arrives in parts, in input order: each cleaned item is
/// written as it is added; the failed items (which follow the cleaned ones in the document) are
/// held until `finish`.
class CleanResultJSONWriter {
  public:
    explicit CleanResultJSONWriter(std::ostream& out);
    void add(const CleanedItem& item);
    void add(FailedCleanItem item) { failed_.push_back(std::move(item)); }
    void finish(bool wasCancelled);

  private:
    std::ostream& out_;
    JSONArrayMemberWriter cleaned_;
    std::vector<FailedCleanItem> failed_;
};
void printRestoreResult(std::ostream& out, const RestoreResult& result, const std::string& home,
                        AppLanguage language);

/// Local time as "2026-11-22 14:05".
std::string formatLocalTime(Date date);

}  // namespace velmora::cli

#include "Velmora/cli/CleanOutput.h"

#include <fmt/format.h>

#include <cmath>
#include <ctime>
#include <ostream>

#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/cleaning/CleaningService.h"
#include "CleanerCore/review/CleanupSelectionPreview.h"
#include "CleanerCore/review/CleanupStorageImpactReport.h"
#include "CleanerCore/scanning/DistinctBytes.h"
#include "Velmora/cli/Output.h"
#include "VelmoraUI/dashboard/Formatting.h"

namespace velmora::cli {

namespace {

std::string shown(const std::string& path, const std::string& home) {
    return printable(displayPath(path, home));
}

}  // namespace

std::string formatLocalTime(Date date) {
    const auto unix = static_cast<time_t>(std::floor(date + kReferenceDateUnixOffset));
    std::tm local{};
    ::localtime_r(&unix, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local);
    return text;
}

void printSelectionPreview(std::ostream& out, const std::vector<CleanupCandidate>& selection,
                           const std::string& home) {
    const CleanupSelectionPreview preview = CleanupSelectionPreview::make(selection);
    out << countText(preview.count, "item", "items") << ", " << formatBytes(preview.bytes)
        << " selected.\n";
    const auto& s = preview.safetyBreakdown;
    out << "  By safety: " << s.safeCount << " " << displayName(CleanupSafety::safe) << ", "
        << s.cautionCount << " " << displayName(CleanupSafety::caution) << ", "
        << s.manualReviewCount << " " << displayName(CleanupSafety::manualReview) << "\n";
    out << "  By category:\n";
    for (const auto& c : preview.categorySummaries) {
        out << "    " << displayName(c.category) << ": " << countText(c.count, "item", "items")
            << ", " << formatBytes(c.bytes) << "\n";
    }
    out << "\n";
    for (const auto& c : selection) {
        out << padLeft(formatBytes(c.sizeBytes), 10) << "  " << shown(c.url.path, home) << "\n";
    }
    out << "\n";
}

void printCleanResult(std::ostream& out, const CleanResult& result, CleaningMode mode,
                      const std::string& home, CleanupHistoryRecord record) {
    CleanResultTextWriter writer(mode, home);
    writer.reserve(result.cleanedItems.size());
    std::vector<const CleanupCandidate*> cleaned;
    for (const auto& item : result.cleanedItems) {
        writer.add(item);
        cleaned.push_back(&item.candidate);
    }
    for (const auto& item : result.failedItems) writer.add(item);
    writer.finish(out, result.wasCancelled, distinctBytes(cleaned), record);
}

void CleanResultTextWriter::add(const CleanedItem& item) {
    cleaned_.push_back(
        {item.candidate.url.path, item.destinationURL ? item.destinationURL->path : ""});
}

void CleanResultTextWriter::finish(std::ostream& out, bool wasCancelled, int64_t cleanedBytes,
                                   CleanupHistoryRecord record) const {
    const bool trash = mode_ == CleaningMode::moveToTrash;
    for (const auto& item : cleaned_) {
        out << (trash ? "Moved to Trash: " : "Deleted: ") << shown(item.path, home_) << "\n";
        if (record == CleanupHistoryRecord::notWritten && !item.destination.empty()) {
            out << "    now at " << shown(item.destination, home_) << "\n";
        }
    }
    // A deletion that stopped part-way left the item no longer whole: it is neither "not
    // deleted" nor "left in place".
    size_t partlyDeleted = 0;
    for (const auto& item : failed_) {
        const bool partly = !trash && item.reason.starts_with(kPartlyDeletedReasonStart);
        if (partly) ++partlyDeleted;
        out << (partly  ? "Partly deleted: "
                : trash ? "Not moved: "
                        : "Not deleted: ")
            << shown(item.candidate.url.path, home_) << "\n    " << printable(item.reason) << "\n";
    }
    out << "\n"
        << countText(static_cast<int64_t>(cleaned_.size()), "item", "items") << " ("
        << formatBytes(cleanedBytes) << ") " << (trash ? "moved to the Trash" : "deleted");
    if (failed_.size() > partlyDeleted) {
        out << ", " << failed_.size() - partlyDeleted << " left in place";
    }
    if (partlyDeleted > 0) out << ", " << partlyDeleted << " partly deleted";
    out << ".";
    if (wasCancelled) out << " Cancelled: the remaining items were not touched.";
    if (trash && !cleaned_.empty()) {
        switch (record) {
            case CleanupHistoryRecord::withItems:
                out << "\nTo put them back: velmora restore --last";
                break;
            case CleanupHistoryRecord::withoutItems:
                out << "\nThe history could not keep the list of so many items; they can be put "
                       "back from your desktop's Trash.";
                break;
            case CleanupHistoryRecord::notWritten:
                out << "\nThis cleanup is not in the history, so `velmora restore` cannot put "
                       "these items back; each one's place in the Trash is listed above, and your "
                       "desktop's Trash can put them back.";
                break;
        }
    }
    out << "\n";
}

void printCleanResultJSON(std::ostream& out, const CleanResult& result) {
    CleanResultJSONWriter writer(out);
    for (const auto& item : result.cleanedItems) writer.add(item);
    for (const auto& item : result.failedItems) writer.add(item);
    writer.finish(result.wasCancelled);
}

CleanResultJSONWriter::CleanResultJSONWriter(std::ostream& out)
    : out_(out), cleaned_(out << "{\n", "cleanedItems") {}

void CleanResultJSONWriter::add(const CleanedItem& item) {
    cleaned_.add(nlohmann::json(item));
}

void CleanResultJSONWriter::finish(bool wasCancelled) {
    cleaned_.finish(false);
    writeJSONArrayMember(
        out_, "failedItems", failed_.size(),
        [this](size_t i) { return nlohmann::json(failed_[i]); }, false);
    out_ << "  \"wasCancelled\": " << (wasCancelled ? "true" : "false") << "\n}\n";
}

void printRestoreResult(std::ostream& out, const RestoreResult& result, const std::string& home) {
    for (const auto& item : result.restoredItems) {
        out << "Restored: " << shown(item.restoredURL.path, home) << "\n";
    }
    for (const auto& item : result.failedItems) {
        out << "Not restored: " << shown(item.cleanedItem.candidate.url.path, home) << "\n    "
            << printable(item.reason) << "\n";
    }
    out << "\n"
        << countText(static_cast<int64_t>(result.restoredItems.size()), "item", "items")
        << " restored";
    if (!result.failedItems.empty())
        out << ", " << result.failedItems.size() << " left in the Trash";
    out << ".";
    if (result.wasCancelled) out << " Cancelled: the remaining items stay in the Trash.";
    out << "\n";
}

void printHistory(std::ostream& out, const std::vector<CleanupAuditEntry>& entries,
                  const std::string& home) {
    if (entries.empty()) {
        out << "No cleanups or restores have been recorded yet.\n";
        return;
    }
    for (const auto& e : entries) {
        const bool restore = e.operation == CleanupAuditOperation::restore;
        std::string what = restore                                     ? "Restore"
                           : e.mode == CleaningMode::deletePermanently ? "Permanent deletion"
                                                                       : "Cleanup (moved to Trash)";
        out << formatLocalTime(e.occurredAt) << "  " << what << "\n";
        out << "  " << e.succeededItemCount << " of " << e.requestedItemCount << " "
            << (e.requestedItemCount == 1 ? "item" : "items") << " "
            << (restore                                     ? "restored"
                : e.mode == CleaningMode::deletePermanently ? "deleted"
                                                            : "moved")
            << ", " << formatBytes(e.affectedBytes) << " of " << formatBytes(e.requestedBytes);
        if (auto impact = CleanupStorageImpactReport::make(e)) {
            if (auto fraction = impact->affectedByteFraction()) {
                out << fmt::format(" ({:.0f}% of the selected bytes)", *fraction * 100);
            }
        }
        if (e.failedItemCount > 0) out << "; " << e.failedItemCount << " failed";
        if (e.wasCancelled) out << "; cancelled";
        out << "\n";
        for (const auto& p : e.samplePaths) out << "    " << shown(p, home) << "\n";
        for (const auto& r : e.failureReasons) out << "    ! " << printable(r) << "\n";
        out << "  id " << e.id << "\n\n";
    }
}

}  // namespace velmora::cli

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
#include "VelmoraUI/dashboard/CleanupTexts.h"
#include "VelmoraUI/dashboard/CoreTexts.h"
#include "VelmoraUI/dashboard/Formatting.h"
#include "VelmoraUI/localization/Localizer.h"

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
                           const std::string& home, AppLanguage language) {
    const CleanupSelectionPreview preview = CleanupSelectionPreview::make(selection);
    out << selectionSummaryText(preview.count, preview.bytes, language) << "\n";
    const auto& s = preview.safetyBreakdown;
    out << "  " << safetyBreakdownText(s.safeCount, s.cautionCount, s.manualReviewCount, language)
        << "\n";
    out << "  " << VelmoraCopy{language}.text("By category:", "종류별:") << "\n";
    for (const auto& c : preview.categorySummaries) {
        out << "    "
            << labelledText(categoryTitle(c.category, language),
                            itemsAndBytesText(c.count, c.bytes, language), language)
            << "\n";
    }
    out << "\n";
    for (const auto& c : selection) {
        out << padLeft(bytesText(c.sizeBytes, language), 10) << "  " << shown(c.url.path, home)
            << "\n";
    }
    out << "\n";
}

void printCleanResult(std::ostream& out, const CleanResult& result, CleaningMode mode,
                      const std::string& home, CleanupHistoryRecord record, AppLanguage language) {
    CleanResultTextWriter writer(mode, home, language);
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
    const VelmoraCopy copy{language_};
    const bool trash = mode_ == CleaningMode::moveToTrash;
    const std::string movedLabel =
        trash ? copy.text("Moved to Trash:", "휴지통으로 옮김:") : copy.text("Deleted:", "삭제함:");
    const std::string nowAt = copy.text("now at", "현재 위치:");
    for (const auto& item : cleaned_) {
        out << movedLabel << " " << shown(item.path, home_) << "\n";
        if (record == CleanupHistoryRecord::notWritten && !item.destination.empty()) {
            out << "    " << nowAt << " " << shown(item.destination, home_) << "\n";
        }
    }
    // A deletion that stopped part-way left the item no longer whole: it is neither "not
    // deleted" nor "left in place".
    const std::string partlyLabel = copy.text("Partly deleted:", "일부 삭제됨:");
    const std::string notLabel = trash ? copy.text("Not moved:", "옮기지 않음:")
                                       : copy.text("Not deleted:", "삭제하지 않음:");
    int64_t partlyDeleted = 0;
    for (const auto& item : failed_) {
        const bool partly = !trash && item.reason.starts_with(kPartlyDeletedReasonStart);
        if (partly) ++partlyDeleted;
        out << (partly ? partlyLabel : notLabel) << " " << shown(item.candidate.url.path, home_)
            << "\n    " << printable(presentedReason(item.reason, language_)) << "\n";
    }
    out << "\n"
        << cleanupSummaryText(
               {mode_, static_cast<int64_t>(cleaned_.size()), cleanedBytes,
                static_cast<int64_t>(failed_.size()) - partlyDeleted, partlyDeleted, wasCancelled},
               language_);
    if (trash && !cleaned_.empty()) {
        switch (record) {
            case CleanupHistoryRecord::withItems:
                out << "\n"
                    << copy.text("To put them back: velmora restore --last",
                                 "되돌리려면: velmora restore --last");
                break;
            case CleanupHistoryRecord::withoutItems:
                out << "\n"
                    << copy.text(
                           "The history could not keep the list of so many items; they can "
                           "be put back from your desktop's Trash.",
                           "항목이 너무 많아 기록에 목록을 남기지 못했습니다. 데스크톱의 "
                           "휴지통에서 되돌릴 수 있습니다.");
                break;
            case CleanupHistoryRecord::notWritten:
                out << "\n"
                    << copy.text(
                           "This cleanup is not in the history, so `velmora restore` cannot put "
                           "these items back; each one's place in the Trash is listed above, and "
                           "your desktop's Trash can put them back.",
                           "이 정리는 기록에 없으므로 `velmora restore`로 되돌릴 수 없습니다. "
                           "각 항목의 휴지통 위치가 위에 나와 있으며, 데스크톱의 휴지통에서 "
                           "되돌릴 수 있습니다.");
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

void printRestoreResult(std::ostream& out, const RestoreResult& result, const std::string& home,
                        AppLanguage language) {
    const VelmoraCopy copy{language};
    const std::string restoredLabel = copy.text("Restored:", "복원함:");
    for (const auto& item : result.restoredItems) {
        out << restoredLabel << " " << shown(item.restoredURL.path, home) << "\n";
    }
    const std::string notLabel = copy.text("Not restored:", "복원하지 않음:");
    for (const auto& item : result.failedItems) {
        out << notLabel << " " << shown(item.cleanedItem.candidate.url.path, home) << "\n    "
            << printable(presentedReason(item.reason, language)) << "\n";
    }
    out << "\n"
        << restoreSummaryText(static_cast<int64_t>(result.restoredItems.size()),
                              static_cast<int64_t>(result.failedItems.size()), result.wasCancelled,
                              language)
        << "\n";
}

}  // namespace velmora::cli

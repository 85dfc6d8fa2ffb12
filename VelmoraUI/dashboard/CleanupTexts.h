#pragma once
// The sentences that sum up a scan, a selection, a cleanup and a restore, in the person's
// language: counts, sizes and what happened, each as one whole sentence so that every language
// can order its words. Sizes keep their decimal units (kB, MB, GB) in every language; only
// counts of bytes below a kilobyte are words. Pure and thread-safe.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/cleaning/CleaningModel.h"
#include "CleanerCore/review/CleanupReappearance.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// `formatBytes` in `language`: "0 bytes", "1 byte" and "999 bytes" are translated, larger
/// sizes keep their digits and units ("1.0 kB", "12.3 MB").
std::string bytesText(int64_t bytes, AppLanguage language);

/// "3 candidates, 1.2 MB in total; 2 selected by default (*), 800 kB."
std::string scanTotalsText(int64_t candidates, int64_t bytes, int64_t selected,
                           int64_t selectedBytes, AppLanguage language);

/// "2 items skipped:", the heading of the skipped items.
std::string skippedHeadingText(int64_t count, AppLanguage language);

/// "5 folders scanned. Nothing was changed; use `velmora clean` to move items to the Trash."
std::string scanFinishedText(int64_t folders, AppLanguage language);

/// "Last scan: 12 items, 1.4 GB can be reclaimed.", the dashboard's summary of a report.
std::string lastScanSummaryText(int64_t candidates, int64_t bytes, AppLanguage language);

/// "1234 items looked at, 5 found", the dashboard's progress of a running scan.
std::string scanProgressCountsText(int64_t lookedAt, int64_t found, AppLanguage language);

/// "3 items, 1.2 MB selected."
std::string selectionSummaryText(int64_t count, int64_t bytes, AppLanguage language);

/// "By safety: 1 Safe, 2 Caution, 0 Manual Review"
std::string safetyBreakdownText(int64_t safe, int64_t caution, int64_t manualReview,
                                AppLanguage language);

/// "label: value", with the separator the language's typography asks for (French puts a space
/// before the colon).
/// What a scan after a cleanup says about that cleanup's material: how much of it is back at
/// the same paths (dated by the cleanup's local calendar day) and what that suggests, e.g.
/// "1.2 MB of the 2.0 MB cleaned on 2026-11-20 is back at the same paths: it regenerates with
/// use, so cleaning it again frees space only for a short while." Nothing when there was no
/// cleanup to compare.
std::optional<std::string> reappearanceSentence(const CleanupReappearanceObservation& observation,
                                                AppLanguage language);

std::string labelledText(std::string_view label, std::string_view value, AppLanguage language);

/// "2 items, 1.2 MB": the count and size of one category of a selection.
std::string itemsAndBytesText(int64_t count, int64_t bytes, AppLanguage language);

/// What a cleanup did, in counts.
struct CleanupTally {
    CleaningMode mode = CleaningMode::moveToTrash;
    int64_t cleaned = 0;
    int64_t cleanedBytes = 0;
    int64_t leftInPlace = 0;    ///< refused or failed, untouched
    int64_t partlyDeleted = 0;  ///< a permanent deletion that stopped part-way
    bool cancelled = false;
};

/// "3 items (1.2 MB) moved to the Trash." followed, when they apply, by "1 item was left in
/// place.", "1 item was partly deleted." and "Cancelled: the remaining items were not
/// touched.", separated by spaces.
std::string cleanupSummaryText(const CleanupTally& tally, AppLanguage language);

/// "2 items restored." followed, when they apply, by "1 item was left in the Trash." and
/// "Cancelled: the remaining items stay in the Trash."
std::string restoreSummaryText(int64_t restored, int64_t leftInTrash, bool cancelled,
                               AppLanguage language);

}  // namespace velmora

#pragma once
// The sentences and labels of the growth comparison and the kept snapshots, for the command and
// the application alike. Dates come in already written in the person's form (the front end's
// date format); sizes are written here in human units. Pure, thread-safe.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/delta-blame/DeltaBlameComparator.h"
#include "CleanerCore/delta-blame/DeltaBlameSnapshotStore.h"
#include "VelmoraUI/localization/AppLanguage.h"

namespace velmora {

/// "+1.2 GB", "−50 MB", "0 bytes".
std::string signedBytes(int64_t change);

/// "Since the scan of 18 Nov, cleanup candidates grew by 1.2 GB, from 3.4 GB to 4.6 GB." (or
/// shrank, or stayed the same).
std::string growthHeadline(const DeltaBlameComparison& comparison, const std::string& earlierDate,
                           AppLanguage language);

/// Why nothing could be compared: too few snapshots (`comparableSnapshots` below 2), or a pair
/// that is not comparable. nullopt when the comparison was made.
std::optional<std::string> growthUnavailableSentence(
    const std::optional<DeltaBlameComparison>& comparison, size_t comparableSnapshots,
    AppLanguage language);

/// Said when the date asked for is older than every kept snapshot.
std::string sinceNotReachedSentence(const std::string& oldestDate, AppLanguage language);

/// Said when some items of a side were kept only as totals.
std::string evidenceBoundSentence(AppLanguage language);

/// "appeared", "grew", "probably moved", ...
std::string changeKindLabel(DeltaBlameChangeKind kind, AppLanguage language);

/// The items of a category by kind: "appeared: 3 (+800 MB), grew: 2 (+100 MB)"; unchanged ones
/// are left out. Empty when nothing is itemized.
std::string categoryTallyText(const DeltaBlameCategoryChange& category, AppLanguage language);

/// The title of a category key; the key itself when it names no category this version knows.
std::string categoryKeyTitle(const DeltaBlameCategoryKey& key, AppLanguage language);

/// Why a root was not compared: "only scanned the later time", "could not be read the earlier
/// time", ...
std::string rootNotComparedText(const DeltaBlameRootChange& root, AppLanguage language);

/// Shown for a compared root that is not scanned now.
std::string unnamedRootText(AppLanguage language);

/// Headings of the command's report and the application's view.
std::string growthHeading(AppLanguage language);  ///< "What grew"
std::string byCategoryHeading(AppLanguage language);
std::string byFolderHeading(AppLanguage language);
std::string notComparedHeading(AppLanguage language);
std::string largestChangesHeading(AppLanguage language);
/// "And 12 smaller changes (+3.4 MB)."
std::string omittedChangesSentence(const DeltaBlameTally& omitted, AppLanguage language);

/// The state of a kept snapshot: "complete", "cancelled", "incomplete", ...
std::string snapshotTrustLabel(DeltaBlameSnapshotTrust trust, AppLanguage language);
/// "Kept scan snapshots: 3 (at most 20)." / "No scan snapshot is kept yet. ..."
std::string keptSnapshotsSentence(size_t kept, int64_t maximum, AppLanguage language);
/// "standard scan", ...; the text itself when it names no mode this version knows.
std::string scanModeLabel(std::string_view scanMode, AppLanguage language);
/// "1234 items"
std::string snapshotItemsText(int64_t items, AppLanguage language);

/// What the application's view adds to the command's texts.
/// The choices of the earlier side: "Since the previous scan", "Since 7 days ago", ...
std::string sincePreviousScanLabel(AppLanguage language);
std::string sinceDaysAgoLabel(int days, AppLanguage language);  ///< 7 or 30
/// The heading of the trend timeline.
std::string trendTimelineHeading(AppLanguage language);
/// "modified 18 Nov 2026" for an item row.
std::string itemModifiedText(const std::string& date, AppLanguage language);

}  // namespace velmora

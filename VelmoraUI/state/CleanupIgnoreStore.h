#pragma once
// The person's ignore list, kept in the preference file under one key as a JSON data blob
// (IgnoredCleanupItem.h). Main thread only; every change is published synchronously through
// `itemsChanged` and `lastErrorMessageChanged`.
//
// Every change follows one pattern: remember the list, compute the new one, sort it (newest
// `ignoredAt` first, equal times by path in the localized numeric-aware order, stable), publish
// it and save it. A save that fails puts the remembered list back, publishes it again, keeps the
// reason in `lastErrorMessage` and returns false; a save that succeeds clears the message.
//
// A stored value that cannot be read is never thrown away: it is copied unchanged under the key
// plus ".malformedBackup" (replacing an earlier backup), the key is removed, the list starts
// empty and `lastErrorMessage` says so. When the backup cannot be written the stored value is
// left where it is, and the first save writes the backup before it replaces the value.
#include <QObject>
#include <QSettings>
#include <functional>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "VelmoraUI/state/IgnoredCleanupItem.h"

namespace velmora {

inline constexpr std::string_view kCleanupIgnoreItemsKey = "velmora.cleanupIgnoreItems.v1";
inline constexpr std::string_view kMalformedBackupSuffix = ".malformedBackup";

class CleanupIgnoreStore : public QObject {
    Q_OBJECT

  public:
    /// Loads the list under `storageKey` and drops the items expired at `now`. `language` gives
    /// the language of the messages at the moment one is made.
    CleanupIgnoreStore(QSettings& settings, std::string storageKey,
                       std::function<AppLanguage()> language, Date now, QObject* parent = nullptr);

    const std::vector<IgnoredCleanupItem>& items() const { return items_; }
    const std::optional<std::string>& lastErrorMessage() const { return lastErrorMessage_; }

    /// Ignores every candidate from `now` for `duration`; ignoring an ignored candidate again
    /// replaces its item. Returns whether the new list was saved.
    bool ignore(const std::vector<CleanupCandidate>& candidates, CleanupIgnoreDuration duration,
                Date now);
    /// Shows the items with these ids again. Returns whether the new list was saved.
    bool remove(const std::unordered_set<std::string>& ids);
    /// Empties the list; false at once (nothing written) when it is already empty.
    bool removeAll();
    /// Drops the items expired at `now`; saves only when one was dropped. Returns false only
    /// when that save failed.
    bool purgeExpired(Date now);

    /// The items active at `now`, in list order.
    std::vector<IgnoredCleanupItem> activeItems(Date now) const;
    /// The ids of the items active at `now`; compare `ignoreMatchKey(candidate.id())`.
    std::unordered_set<std::string> activeIgnoredIDs(Date now) const;

  signals:
    void itemsChanged();
    void lastErrorMessageChanged();

  private:
    void load();
    bool commit(std::vector<IgnoredCleanupItem> next);
    bool save();
    void setItems(std::vector<IgnoredCleanupItem> items);
    void setLastErrorMessage(std::optional<std::string> message);

    QSettings& settings_;
    std::string storageKey_;
    std::function<AppLanguage()> language_;
    std::vector<IgnoredCleanupItem> items_;
    std::optional<std::string> lastErrorMessage_;
    /// An unreadable stored value whose backup could not be written yet; no save replaces it
    /// before the backup is written.
    std::optional<QVariant> pendingBackup_;
};

/// Sorts newest `ignoredAt` first, equal times by path ascending in the localized numeric-aware
/// order ("item2" before "item10"); stable.
void sortIgnoredCleanupItems(std::vector<IgnoredCleanupItem>& items);

}  // namespace velmora

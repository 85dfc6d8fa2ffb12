#include "VelmoraUI/state/CleanupIgnoreStore.h"

#include <QCollator>
#include <QLocale>
#include <algorithm>
#include <cmath>
#include <limits>

#include "VelmoraUI/localization/Localizer.h"
#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {

namespace {

/// The collator of the person's locale in numeric mode. The "C" locale has no collation (Qt
/// then compares code units and ignores numeric mode), so it stands for English there.
QCollator pathCollator() {
    QLocale locale;
    if (locale.language() == QLocale::C) locale = QLocale(QLocale::English);
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

/// NaN sorts as the oldest time, so the order stays a strict weak order.
double sortTime(Date d) {
    return std::isnan(d) ? -std::numeric_limits<double>::infinity() : d;
}

}  // namespace

void sortIgnoredCleanupItems(std::vector<IgnoredCleanupItem>& items) {
    const QCollator collator = pathCollator();
    std::vector<std::pair<QString, IgnoredCleanupItem>> keyed;
    keyed.reserve(items.size());
    for (auto& item : items) keyed.emplace_back(qText(item.path), std::move(item));
    std::stable_sort(keyed.begin(), keyed.end(), [&](const auto& a, const auto& b) {
        const double ta = sortTime(a.second.ignoredAt);
        const double tb = sortTime(b.second.ignoredAt);
        if (ta != tb) return ta > tb;
        return collator.compare(a.first, b.first) < 0;
    });
    items.clear();
    for (auto& [path, item] : keyed) items.push_back(std::move(item));
}

CleanupIgnoreStore::CleanupIgnoreStore(QSettings& settings, std::string storageKey,
                                       std::function<AppLanguage()> language, Date now,
                                       QObject* parent)
    : QObject(parent),
      settings_(settings),
      storageKey_(std::move(storageKey)),
      language_(std::move(language)) {
    if (!language_) language_ = [] { return AppLanguage::english; };
    load();
    purgeExpired(now);
}

void CleanupIgnoreStore::load() {
    const QVariant stored = settings_.value(qText(storageKey_));
    if (!stored.isValid()) return;
    const VelmoraCopy copy{language_()};
    std::string description;
    if (stored.typeId() == QMetaType::QByteArray) {
        const QByteArray data = stored.toByteArray();
        auto decoded = decodeIgnoredCleanupItems(
            std::string_view(data.constData(), static_cast<size_t>(data.size())));
        if (decoded) {
            sortIgnoredCleanupItems(*decoded);
            items_ = std::move(*decoded);
            return;
        }
        description = decoded.error().description(copy.language);
    } else {
        description = copy.text("The saved value is not stored as data.",
                                "저장된 값이 데이터 형식으로 저장되어 있지 않습니다.");
    }

    // Keep the unreadable value exactly as it was, and only then let go of the key.
    const std::string backupKey = storageKey_ + std::string(kMalformedBackupSuffix);
    if (storePreference(settings_, backupKey, stored) && removePreference(settings_, storageKey_)) {
        setLastErrorMessage(copy.text("Could not load ignored cleanup items. The saved ignore "
                                      "list was backed up and reset: ",
                                      "무시한 정리 항목을 불러올 수 없습니다. 저장된 무시 목록을 "
                                      "백업하고 초기화했습니다: ") +
                            description);
        return;
    }
    // The first save must not write over it before the backup exists.
    pendingBackup_ = stored;
    setLastErrorMessage(copy.text("Could not load ignored cleanup items. The saved ignore list "
                                  "could not be set aside, so it was left in place: ",
                                  "무시한 정리 항목을 불러올 수 없습니다. 저장된 무시 목록을 "
                                  "따로 보관할 수 없어 그대로 두었습니다: ") +
                        description);
}

bool CleanupIgnoreStore::ignore(const std::vector<CleanupCandidate>& candidates,
                                CleanupIgnoreDuration duration, Date now) {
    std::vector<IgnoredCleanupItem> added;
    std::unordered_set<std::string> ids;
    added.reserve(candidates.size());
    for (const CleanupCandidate& candidate : candidates) {
        added.push_back(makeIgnoredCleanupItem(candidate, duration, now));
        ids.insert(added.back().id);
    }
    std::vector<IgnoredCleanupItem> next;
    next.reserve(items_.size() + added.size());
    for (const auto& item : items_) {
        if (!ids.contains(item.id)) next.push_back(item);
    }
    for (auto& item : added) next.push_back(std::move(item));
    std::erase_if(next, [&](const IgnoredCleanupItem& item) { return !item.isActive(now); });
    return commit(std::move(next));
}

bool CleanupIgnoreStore::remove(const std::unordered_set<std::string>& ids) {
    std::vector<IgnoredCleanupItem> next = items_;
    std::erase_if(next, [&](const IgnoredCleanupItem& item) { return ids.contains(item.id); });
    return commit(std::move(next));
}

bool CleanupIgnoreStore::removeAll() {
    if (items_.empty()) return false;
    return commit({});
}

bool CleanupIgnoreStore::purgeExpired(Date now) {
    std::vector<IgnoredCleanupItem> next = items_;
    const auto dropped =
        std::erase_if(next, [&](const IgnoredCleanupItem& item) { return !item.isActive(now); });
    if (dropped == 0) return true;
    return commit(std::move(next));
}

std::vector<IgnoredCleanupItem> CleanupIgnoreStore::activeItems(Date now) const {
    std::vector<IgnoredCleanupItem> active;
    for (const auto& item : items_) {
        if (item.isActive(now)) active.push_back(item);
    }
    return active;
}

std::unordered_set<std::string> CleanupIgnoreStore::activeIgnoredIDs(Date now) const {
    std::unordered_set<std::string> ids;
    for (const auto& item : items_) {
        if (item.isActive(now)) ids.insert(item.id);
    }
    return ids;
}

bool CleanupIgnoreStore::commit(std::vector<IgnoredCleanupItem> next) {
    std::vector<IgnoredCleanupItem> previous = items_;
    sortIgnoredCleanupItems(next);
    setItems(std::move(next));
    if (save()) return true;
    setItems(std::move(previous));
    return false;
}

bool CleanupIgnoreStore::save() {
    const VelmoraCopy copy{language_()};
    const std::string prefix = copy.text("Could not save ignored cleanup items: ",
                                         "무시한 정리 항목을 저장할 수 없습니다: ");
    auto encoded = encodeIgnoredCleanupItems(items_, copy.language);
    if (!encoded) {
        setLastErrorMessage(prefix + encoded.error());
        return false;
    }
    const std::string backupKey = storageKey_ + std::string(kMalformedBackupSuffix);
    if (pendingBackup_ && storePreference(settings_, backupKey, *pendingBackup_)) {
        pendingBackup_.reset();
    }
    if (pendingBackup_ ||
        !storePreference(settings_, storageKey_,
                         QByteArray(encoded->data(), static_cast<qsizetype>(encoded->size())))) {
        setLastErrorMessage(prefix + copy.text("The preferences file could not be written.",
                                               "설정 파일에 쓸 수 없습니다."));
        return false;
    }
    setLastErrorMessage(std::nullopt);
    return true;
}

void CleanupIgnoreStore::setItems(std::vector<IgnoredCleanupItem> items) {
    items_ = std::move(items);
    emit itemsChanged();
}

void CleanupIgnoreStore::setLastErrorMessage(std::optional<std::string> message) {
    if (message == lastErrorMessage_) return;
    lastErrorMessage_ = std::move(message);
    emit lastErrorMessageChanged();
}

}  // namespace velmora

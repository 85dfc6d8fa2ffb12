#include "CleanerCore/audit/CleanupAuditStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <limits>
#include <mutex>

#include "CleanerCore/audit/CleanupAuditDecoding.h"
#include "CleanerCore/audit/CleanupAuditDigest.h"
#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/audit/CleanupAuditMarkers.h"
#include "CleanerCore/platform/CappedFileRead.h"
#include "CleanerCore/platform/ExclusiveFileLock.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

// The serial queue "Velmora.CleanupAuditStore": one per process, shared by every store.
std::mutex& auditQueue() {
    static std::mutex queue;
    return queue;
}

struct LoadedHistory {
    std::vector<CleanupAuditEntry> entries;
    std::optional<std::string> fileText;  ///< the bytes read, when they decoded strictly
    bool mayWrite = true;  ///< false when writing could destroy a file nobody set aside
    std::optional<std::string> damage;      ///< why the file could not be used as it was
    std::optional<std::string> backupPath;  ///< where it was moved
};

LoadedHistory load(const std::string& path, bool mayModify) {
    LoadedHistory out;
    CappedRead read =
        readFileCapped(path, static_cast<size_t>(CleanupAuditStore::kMaximumFileBytes));
    auto setAside = [&](std::string_view reason) {
        out.damage = std::string(reason);
        if (mayModify) out.backupPath = setFileAside(path, reason);
        out.mayWrite = out.backupPath.has_value();
    };
    switch (read.state) {
        case CappedReadState::missing:
            return out;
        case CappedReadState::unavailable:
            out.mayWrite = false;
            out.damage = "unavailable";
            return out;
        case CappedReadState::oversized:
            setAside("oversized");
            return out;
        case CappedReadState::unreadable:
            setAside("unreadable");
            return out;
        case CappedReadState::data:
            break;
    }
    if (read.data.empty()) return out;  // an empty history, left as it is
    auto decoded = decodeCleanupAuditHistory(read.data);
    if (!decoded) {
        setAside("undecodable");
        return out;
    }
    out.entries = std::move(decoded->entries);
    if (decoded->wasStrict) {
        out.fileText = std::move(read.data);
    } else {
        setAside("undecodable");
    }
    return out;
}

// A total order even for dates that are not numbers (which sort as the oldest).
double sortableDate(Date d) {
    return std::isnan(d) ? -std::numeric_limits<double>::infinity() : d;
}

bool newerFirst(const CleanupAuditEntry& a, const CleanupAuditEntry& b) {
    const double da = sortableDate(a.occurredAt);
    const double db = sortableDate(b.occurredAt);
    if (da != db) return da > db;
    return a.id > b.id;  // ids are kept in upper case
}

size_t retentionBound(int64_t limit) {
    return static_cast<size_t>(std::max(limit, CleanupAuditStore::kMinimumRetention));
}

std::vector<CleanupAuditEntry> firstEntries(const std::vector<CleanupAuditEntry>& entries,
                                            int64_t limit) {
    const size_t n = std::min(entries.size(), static_cast<size_t>(limit));
    return {entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(n)};
}

// Encodes `entries` (newest first) for the file, dropping the oldest while the text exceeds the
// read cap. The entry at `newIndex`, when it cannot fit even alone, loses its item detail and is
// linked again. nullopt when an entry cannot be encoded or nothing fits.
std::optional<std::string> encodeWithinCap(std::vector<CleanupAuditEntry>& entries,
                                           std::optional<size_t> newIndex) {
    constexpr auto kCap = static_cast<size_t>(CleanupAuditStore::kMaximumFileBytes);
    std::vector<std::string> elements;
    elements.reserve(entries.size());
    for (const auto& e : entries) {
        auto element = encodeCleanupAuditHistoryElement(e);
        if (!element) return std::nullopt;
        elements.push_back(std::move(*element));
    }
    if (joinedCleanupAuditHistorySize(elements) <= kCap)
        return joinCleanupAuditHistoryElements(elements);

    if (newIndex && joinedCleanupAuditHistorySize({elements[*newIndex]}) > kCap &&
        !entries[*newIndex].cleanedItems.empty()) {
        CleanupAuditEntry& added = entries[*newIndex];
        added.cleanedItems.clear();
        added.chainLink->entryDigest = entryDigest(added, added.chainLink->previousEntryDigest);
        auto element = encodeCleanupAuditHistoryElement(added);
        if (!element) return std::nullopt;
        elements[*newIndex] = std::move(*element);
    }
    while (!elements.empty() && joinedCleanupAuditHistorySize(elements) > kCap) {
        elements.pop_back();
        entries.pop_back();
    }
    if (entries.empty()) return std::nullopt;
    return joinCleanupAuditHistoryElements(elements);
}

}  // namespace

CleanupAuditStore::CleanupAuditStore(std::string filePath) : filePath_(standardizePath(filePath)) {}

std::string CleanupAuditStore::defaultFilePath(const UserEnvironment& environment) {
    std::string base = environment.xdgDataHome;
    if (base.empty())
        base = environment.temporaryFolder.empty() ? "/tmp" : environment.temporaryFolder;
    return appendingPathComponent(base, "Velmora/cleanup-audit-log.json");
}

std::vector<CleanupAuditEntry> CleanupAuditStore::recentEntries(int64_t limit) const {
    return readRecentEntries(limit).entries;
}

CleanupAuditReadResult CleanupAuditStore::readRecentEntries(int64_t limit) const {
    if (limit < 1) return {};
    std::lock_guard queue(auditQueue());
    struct stat st {};
    if (::stat(deletingLastPathComponent(filePath_).c_str(), &st) != 0) return {};
    const auto lock = ExclusiveFileLock::acquire(lockFilePath());

    LoadedHistory loaded = load(filePath_, lock.has_value());
    std::stable_sort(loaded.entries.begin(), loaded.entries.end(), newerFirst);
    if (loaded.entries.size() > retentionBound(limit)) loaded.entries.resize(retentionBound(limit));
    // Nothing decoded and the file set aside (or empty, or missing): nothing to write back.
    if (lock && loaded.mayWrite && (loaded.fileText || !loaded.entries.empty())) {
        auto text = encodeWithinCap(loaded.entries, std::nullopt);
        if (text && text != loaded.fileText) (void)writeFileAtomically(filePath_, *text);
    }
    return {firstEntries(loaded.entries, limit), std::move(loaded.damage),
            std::move(loaded.backupPath)};
}

std::vector<CleanupAuditEntry> CleanupAuditStore::append(CleanupAuditEntry entry,
                                                         int64_t limit) const {
    return appendEntry(std::move(entry), limit, Timing::asGiven).entries;
}

std::vector<CleanupAuditEntry> CleanupAuditStore::appendAtCurrentTime(CleanupAuditEntry entry,
                                                                      int64_t limit) const {
    return appendEntry(std::move(entry), limit, Timing::stampedWhileLocked).entries;
}

CleanupAuditAppendResult CleanupAuditStore::recordAtCurrentTime(CleanupAuditEntry entry,
                                                                int64_t limit) const {
    return appendEntry(std::move(entry), limit, Timing::stampedWhileLocked);
}

CleanupAuditAppendResult CleanupAuditStore::appendEntry(CleanupAuditEntry entry, int64_t limit,
                                                        Timing timing) const {
    if (limit < 1) return {};
    // An entry that cannot be encoded changes nothing; find out before touching the file.
    auto id = canonicalUUIDText(entry.id);
    if (!id) return {};
    entry.id = std::move(*id);
    entry.chainLink.reset();
    // Item detail too large for the file even on its own would only be dropped after encoding
    // it in full (many megabytes for a large cleanup): drop it first, so that every encoding
    // below stays within about the file cap. The digest is computed over the emptied list, as it
    // would have been.
    if (cleanedItemsExceed(entry.cleanedItems, static_cast<size_t>(kMaximumFileBytes))) {
        std::vector<CleanedItem>().swap(entry.cleanedItems);
    }
    if (timing == Timing::asGiven && !encodeCleanupAuditHistoryElement(entry)) return {};

    std::lock_guard queue(auditQueue());
    (void)createFolders(deletingLastPathComponent(filePath_), 0700);
    const auto lock = ExclusiveFileLock::acquire(lockFilePath());
    LoadedHistory loaded = load(filePath_, lock.has_value());
    std::vector<CleanupAuditEntry>& entries = loaded.entries;

    if (timing == Timing::stampedWhileLocked) {
        entry.occurredAt = currentDate();
        if (!encodeCleanupAuditHistoryElement(entry)) return {};
    }

    // Sort with the new entry marked, then link it to the entry right after it.
    entries.push_back(std::move(entry));
    std::vector<size_t> order(entries.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return newerFirst(entries[a], entries[b]); });
    const size_t newSlot = entries.size() - 1;
    std::vector<CleanupAuditEntry> sorted;
    sorted.reserve(entries.size());
    size_t newIndex = 0;
    for (size_t i = 0; i < order.size(); ++i) {
        if (order[i] == newSlot) newIndex = i;
        sorted.push_back(std::move(entries[order[i]]));
    }
    CleanupAuditEntry& added = sorted[newIndex];
    std::optional<std::string> previous;
    if (newIndex + 1 < sorted.size() && sorted[newIndex + 1].chainLink) {
        previous = sorted[newIndex + 1].chainLink->entryDigest;
    }
    added.chainLink = CleanupAuditChainLink{entryDigest(added, previous), previous};

    if (sorted.size() > retentionBound(limit)) sorted.resize(retentionBound(limit));
    const bool keptNew = newIndex < sorted.size();
    auto text = encodeWithinCap(sorted, keptNew ? std::optional(newIndex) : std::nullopt);
    if (!text) return {};
    const bool written = lock && loaded.mayWrite && !writeFileAtomically(filePath_, *text);
    if (written && sorted.front().chainLink) {
        (void)writeCleanupAuditHead(filePath_,
                                    {sorted.front().id, sorted.front().chainLink->entryDigest});
    }
    // Dropping the oldest to fit the size cap may have dropped an old-dated new entry too.
    return {firstEntries(sorted, limit), written && newIndex < sorted.size()};
}

}  // namespace velmora

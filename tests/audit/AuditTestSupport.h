#pragma once
// Entries and file helpers shared by the history tests.
#include <string>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/platform/UUID.h"
#include "support/Files.h"

namespace velmora::test {

/// A cleaned item as the cleaning service records it for `path` moved into a home Trash.
inline CleanedItem cleanedItemAt(const std::string& path, int64_t size, bool trashed = true) {
    CleanedItem item;
    item.candidate.url = FileURL(path);
    item.candidate.category = CleanupCategory::userCaches;
    item.candidate.displayName = item.candidate.url.lastComponent();
    item.candidate.sizeBytes = size;
    item.candidate.lastModified = 780000000.25;
    if (trashed) {
        item.destinationURL = FileURL("/h/.local/share/Trash/files/" + item.candidate.displayName);
        item.restoreSourceRootURL = FileURL::directory("/h/.local/share/Trash/files");
    }
    return item;
}

/// A clean entry at `occurredAt` with `items` cleaned items and a fresh id.
inline CleanupAuditEntry entryAt(Date occurredAt, int items = 1) {
    CleanupAuditEntry e;
    e.id = makeUUIDString();
    e.occurredAt = occurredAt;
    e.mode = CleaningMode::moveToTrash;
    for (int i = 0; i < items; ++i) {
        e.cleanedItems.push_back(cleanedItemAt("/h/.cache/item-" + std::to_string(i), 4096));
        e.samplePaths.push_back(e.cleanedItems.back().candidate.url.path);
    }
    e.requestedItemCount = e.succeededItemCount = items;
    e.requestedBytes = e.affectedBytes = 4096LL * items;
    return e;
}

inline std::vector<std::string> idsOf(const std::vector<CleanupAuditEntry>& entries) {
    std::vector<std::string> out;
    for (const auto& e : entries) out.push_back(e.id);
    return out;
}

}  // namespace velmora::test

#include "CleanerCore/review/CleanupReappearance.h"

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <unordered_set>

#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/base/Text.h"

namespace velmora {

namespace {

using Assessment = CleanupReappearanceObservation::Assessment;

int64_t saturatingAdd(int64_t a, int64_t b) {
    int64_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum)) return sum;
    return b > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

// The comparable form of a recorded or scanned path; empty for a path that names nothing.
std::string pathKey(std::string_view path) {
    const std::string trimmed = trimmedWhitespace(path);
    if (trimmed.empty()) return {};
    return standardizePath(trimmed);
}

// The store's order: later first, equal dates by the greater (upper-case) id first.
bool isNewer(const CleanupAuditEntry& a, const CleanupAuditEntry& b) {
    if (a.occurredAt != b.occurredAt) return a.occurredAt > b.occurredAt;
    return a.id > b.id;
}

const CleanupAuditEntry* newestComparableCleanup(const std::vector<CleanupAuditEntry>& history) {
    const CleanupAuditEntry* newest = nullptr;
    for (const auto& e : history) {
        if (e.operation != CleanupAuditOperation::clean) continue;
        if (e.succeededItemCount < 1 || e.wasCancelled) continue;
        if (!newest || isNewer(e, *newest)) newest = &e;
    }
    return newest;
}

bool restoredAfter(const std::vector<CleanupAuditEntry>& history, const CleanupAuditEntry& cleanup,
                   const std::unordered_set<std::string>& cleanedPaths) {
    for (const auto& e : history) {
        if (e.operation != CleanupAuditOperation::restore) continue;
        if (e.succeededItemCount < 1 || !(e.occurredAt > cleanup.occurredAt)) continue;
        for (const auto& path : e.samplePaths) {
            const std::string key = pathKey(path);
            if (!key.empty() && cleanedPaths.count(key)) return true;
        }
    }
    return false;
}

}  // namespace

std::string_view rawValue(CleanupReappearanceObservation::Assessment assessment) {
    switch (assessment) {
        case Assessment::noRecentCleanup:
            return "noRecentCleanup";
        case Assessment::noRecordedCleanedItems:
            return "noRecordedCleanedItems";
        case Assessment::awaitingFollowupScan:
            return "awaitingFollowupScan";
        case Assessment::ambiguousAfterRestore:
            return "ambiguousAfterRestore";
        case Assessment::noSamePathReappearance:
            return "noSamePathReappearance";
        case Assessment::partialReappearance:
            return "partialReappearance";
        case Assessment::substantialReappearance:
            return "substantialReappearance";
    }
    return "noRecentCleanup";
}

std::optional<double> CleanupReappearanceObservation::reappearedFraction() const {
    if (recordedCleanedBytes < 1) return std::nullopt;
    const double fraction =
        static_cast<double>(samePathReappearedBytes) / static_cast<double>(recordedCleanedBytes);
    return std::clamp(fraction, 0.0, 1.0);
}

CleanupReappearanceObservation CleanupReappearanceObservation::observe(
    const std::vector<CleanupAuditEntry>& history, const std::vector<CleanupCandidate>& candidates,
    Date observedAt) {
    CleanupReappearanceObservation o;
    o.observedAt = observedAt;
    const CleanupAuditEntry* cleanup = newestComparableCleanup(history);
    if (!cleanup) return o;
    o.cleanupSource = cleanup->source;
    o.cleanedAt = cleanup->occurredAt;

    if (cleanup->cleanedItems.empty()) {
        o.assessment = Assessment::noRecordedCleanedItems;
        o.recordedCleanedBytes = std::max<int64_t>(cleanup->affectedBytes, 0);
        return o;
    }

    std::unordered_set<std::string> cleanedPaths;
    std::set<CleanupCategory> cleanedCategories;
    for (const auto& item : cleanup->cleanedItems) {
        o.recordedCleanedBytes =
            saturatingAdd(o.recordedCleanedBytes, std::max<int64_t>(item.candidate.sizeBytes, 0));
        ++o.recordedCleanedItemCount;
        cleanedCategories.insert(item.candidate.category);
        std::string key = pathKey(item.candidate.url.path);
        if (!key.empty()) cleanedPaths.insert(std::move(key));
    }
    if (!(observedAt > cleanup->occurredAt)) {
        o.assessment = Assessment::awaitingFollowupScan;
        return o;
    }

    for (const auto& c : candidates) {
        const int64_t bytes = std::max<int64_t>(c.sizeBytes, 0);
        const std::string key = pathKey(c.url.path);
        if (!key.empty() && cleanedPaths.count(key)) {
            o.samePathReappearedBytes = saturatingAdd(o.samePathReappearedBytes, bytes);
            ++o.samePathReappearedItemCount;
        }
        if (cleanedCategories.count(c.category)) {
            o.categoryReappearedBytes = saturatingAdd(o.categoryReappearedBytes, bytes);
            ++o.categoryReappearedItemCount;
        }
    }

    if (restoredAfter(history, *cleanup, cleanedPaths)) {
        o.assessment = Assessment::ambiguousAfterRestore;
    } else if (o.samePathReappearedItemCount == 0) {
        o.assessment = Assessment::noSamePathReappearance;
    } else {
        // Compared as integers so that exactly half is never lost to rounding. Anything back
        // after a cleanup that recorded no bytes is more than it removed.
        const int64_t recorded = o.recordedCleanedBytes, back = o.samePathReappearedBytes;
        const bool atLeastHalf = recorded == 0 ? back > 0 : back >= recorded - recorded / 2;
        o.assessment =
            atLeastHalf ? Assessment::substantialReappearance : Assessment::partialReappearance;
    }
    return o;
}

void to_json(nlohmann::json& j, const CleanupReappearanceObservation& o) {
    j = nlohmann::json::object();
    j["assessment"] = std::string(rawValue(o.assessment));
    if (o.cleanupSource) j["cleanupSource"] = *o.cleanupSource;
    if (o.cleanedAt) j["cleanedAt"] = *o.cleanedAt;
    j["observedAt"] = o.observedAt;
    j["recordedCleanedBytes"] = o.recordedCleanedBytes;
    j["recordedCleanedItemCount"] = o.recordedCleanedItemCount;
    j["samePathReappearedBytes"] = o.samePathReappearedBytes;
    j["samePathReappearedItemCount"] = o.samePathReappearedItemCount;
    j["categoryReappearedBytes"] = o.categoryReappearedBytes;
    j["categoryReappearedItemCount"] = o.categoryReappearedItemCount;
    if (auto fraction = o.reappearedFraction()) j["reappearedFraction"] = *fraction;
}

}  // namespace velmora

#include "CleanerCore/scanning/DistinctBytes.h"

#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "CleanerCore/safety/PathRules.h"

namespace velmora {

namespace {

using Item = DistinctBytesCounter::Item;

Item itemOf(const CleanupCandidate& c) {
    Item item;
    // A record without a path (built in memory, not scanned) has nothing to compare.
    if (!c.url.path.empty()) item.key = lexicalPathKey(c.url.path);
    const auto& identity = c.resourceIdentity;
    if (identity && identity->systemNumber && identity->systemFileNumber) {
        item.device = *identity->systemNumber;
        item.inode = *identity->systemFileNumber;
        item.hasFile = true;
    }
    item.size = c.sizeBytes;
    return item;
}

std::vector<bool> countedElsewhere(const std::vector<Item>& items) {
    const size_t n = items.size();
    std::vector<bool> elsewhere(n, false);
    std::unordered_set<std::string_view> listed;
    listed.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        if (!items[i].key.empty() && !listed.insert(items[i].key).second) elsewhere[i] = true;
    }
    std::map<std::pair<uint64_t, uint64_t>, size_t> files;
    for (size_t i = 0; i < n; ++i) {
        if (elsewhere[i] || items[i].key.empty()) continue;
        // Inside another listed item: some proper ancestor of the path is listed.
        std::string_view ancestor = items[i].key;
        for (;;) {
            const size_t slash = ancestor.rfind('/');
            if (slash == std::string_view::npos) break;
            ancestor = slash == 0 ? std::string_view("/") : ancestor.substr(0, slash);
            if (ancestor == items[i].key) break;  // "/" itself
            if (listed.count(ancestor)) {
                elsewhere[i] = true;
                break;
            }
            if (ancestor == "/") break;
        }
        if (elsewhere[i]) continue;
        if (items[i].hasFile) {
            if (!files.emplace(std::make_pair(items[i].device, items[i].inode), i).second) {
                elsewhere[i] = true;
            }
        }
    }
    return elsewhere;
}

int64_t sumOfDistinct(const std::vector<Item>& items) {
    const auto elsewhere = countedElsewhere(items);
    int64_t total = 0;
    for (size_t i = 0; i < items.size(); ++i) {
        if (elsewhere[i] || items[i].size <= 0) continue;
        if (__builtin_add_overflow(total, items[i].size, &total)) {
            return std::numeric_limits<int64_t>::max();
        }
    }
    return total;
}

std::vector<Item> itemsOf(const std::vector<const CleanupCandidate*>& candidates) {
    std::vector<Item> items;
    items.reserve(candidates.size());
    for (const auto* c : candidates) items.push_back(itemOf(*c));
    return items;
}

}  // namespace

std::vector<bool> bytesCountedElsewhere(const std::vector<const CleanupCandidate*>& candidates) {
    return countedElsewhere(itemsOf(candidates));
}

int64_t distinctBytes(const std::vector<const CleanupCandidate*>& candidates) {
    return sumOfDistinct(itemsOf(candidates));
}

void DistinctBytesCounter::add(const CleanupCandidate& candidate) {
    items_.push_back(itemOf(candidate));
}

int64_t DistinctBytesCounter::total() const {
    return sumOfDistinct(items_);
}

}  // namespace velmora

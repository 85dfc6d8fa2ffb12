#include "CleanerCore/scanning/DistinctBytes.h"

#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "CleanerCore/safety/PathRules.h"

namespace velmora {

std::vector<bool> bytesCountedElsewhere(const std::vector<const CleanupCandidate*>& candidates) {
    const size_t n = candidates.size();
    std::vector<bool> elsewhere(n, false);
    std::vector<std::string> keys;
    keys.reserve(n);
    for (const auto* c : candidates) {
        keys.push_back(c->url.path.empty() ? std::string() : lexicalPathKey(c->url.path));
    }

    std::unordered_set<std::string_view> listed;
    listed.reserve(n);
    // A record without a path (built in memory, not scanned) has nothing to compare.
    for (size_t i = 0; i < n; ++i) {
        if (!keys[i].empty() && !listed.insert(keys[i]).second) elsewhere[i] = true;
    }
    std::map<std::pair<uint64_t, uint64_t>, size_t> files;
    for (size_t i = 0; i < n; ++i) {
        if (elsewhere[i] || keys[i].empty()) continue;
        // Inside another listed item: some proper ancestor of the path is listed.
        std::string_view ancestor = keys[i];
        for (;;) {
            const size_t slash = ancestor.rfind('/');
            if (slash == std::string_view::npos) break;
            ancestor = slash == 0 ? std::string_view("/") : ancestor.substr(0, slash);
            if (ancestor == keys[i]) break;  // "/" itself
            if (listed.count(ancestor)) {
                elsewhere[i] = true;
                break;
            }
            if (ancestor == "/") break;
        }
        if (elsewhere[i]) continue;
        const auto& identity = candidates[i]->resourceIdentity;
        if (identity && identity->systemNumber && identity->systemFileNumber) {
            const auto key = std::make_pair(*identity->systemNumber, *identity->systemFileNumber);
            if (!files.emplace(key, i).second) elsewhere[i] = true;
        }
    }
    return elsewhere;
}

int64_t distinctBytes(const std::vector<const CleanupCandidate*>& candidates) {
    const auto elsewhere = bytesCountedElsewhere(candidates);
    int64_t total = 0;
    for (size_t i = 0; i < candidates.size(); ++i) {
        if (elsewhere[i] || candidates[i]->sizeBytes <= 0) continue;
        if (__builtin_add_overflow(total, candidates[i]->sizeBytes, &total)) {
            return std::numeric_limits<int64_t>::max();
        }
    }
    return total;
}

}  // namespace velmora

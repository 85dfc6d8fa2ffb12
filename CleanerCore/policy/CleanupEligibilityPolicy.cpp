#include "CleanerCore/policy/CleanupEligibilityPolicy.h"

#include <algorithm>
#include <limits>

#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

CleanupEligibilityPolicy CleanupEligibilityPolicy::make(const std::vector<ScanLocation>& locations,
                                                        int64_t descendantLimit,
                                                        std::optional<int64_t> traversalLimit,
                                                        const SafePathPolicy& rules) {
    const int64_t descendants = std::max<int64_t>(descendantLimit, 1);
    int64_t traversal = 0;
    if (traversalLimit) {
        traversal = std::max(*traversalLimit, descendants);
    } else {
        constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
        traversal = descendants > kMax / 4 ? kMax : descendants * 4;
    }

    CleanupEligibilityPolicy policy;
    for (const auto& location : locations) {
        if (rules.checkPathIgnoringScope(location.rootURL.path)) continue;
        std::string path = lexicalPathKey(location.rootURL.path);
        if (path == "/") continue;
        auto identity = AnchorIdentity::ofPath(path);
        if (!identity) continue;
        policy.roots.push_back({path,
                                *identity,
                                {location.includesHiddenFiles, location.includesPackageDescendants,
                                 descendants, traversal},
                                location.depth,
                                std::max(location.minimumModificationAge, 0.0)});
    }
    std::stable_sort(policy.roots.begin(), policy.roots.end(), [](const Root& a, const Root& b) {
        if (a.path.size() != b.path.size()) return a.path.size() > b.path.size();
        return a.path < b.path;
    });
    return policy;
}

const CleanupEligibilityPolicy::Root* CleanupEligibilityPolicy::rootFor(
    const std::string& path) const {
    const std::string key = lexicalPathKey(path);
    for (const auto& root : roots) {
        if (!StoragePathContainment::pathIsWithin(key, root.path)) continue;
        auto identity = AnchorIdentity::ofPath(root.path);
        if (identity && *identity == root.identity) return &root;
    }
    return nullptr;
}

bool CleanupEligibilityPolicy::Root::admitsByPosition(const std::string& itemPath) const {
    const std::string key = lexicalPathKey(itemPath);
    if (depth == ScanDepth::directoryItself) return key == path;
    if (key == path || deletingLastPathComponent(key) != path) return false;
    return validationOptions.includesHiddenFiles || lastPathComponent(key)[0] != '.';
}

const CleanupEligibilityPolicy::Root* CleanupEligibilityPolicy::rootAdmitting(
    const std::string& path) const {
    const std::string key = lexicalPathKey(path);
    for (const auto& root : roots) {
        if (!root.admitsByPosition(key)) continue;
        auto identity = AnchorIdentity::ofPath(root.path);
        if (identity && *identity == root.identity) return &root;
    }
    return nullptr;
}

}  // namespace velmora

#include "CleanerCore/insights/MacStorageInsightCleanupAllowance.h"

namespace velmora {

MacStorageInsightCleanupAllowance MacStorageInsightCleanupAllowance::make(
    const std::vector<InsightScanRoot>& roots, const std::string& home, Catalogue catalogue,
    int64_t descendantLimit) {
    MacStorageInsightCleanupAllowance allowance;
    std::vector<std::string> rootPaths;
    for (const auto& root : roots) {
        ScanLocation location;
        location.rootURL = FileURL::directory(root.path);
        location.displayName = lastPathComponent(root.path);
        location.includesHiddenFiles = true;
        allowance.locations.push_back(location);
        rootPaths.push_back(root.path);
    }
    allowance.paths = SafePathPolicy::make(rootPaths, home, catalogue);
    allowance.eligibility =
        CleanupEligibilityPolicy::make(allowance.locations, descendantLimit, std::nullopt,
                                       SafePathPolicy::make({}, home, catalogue));
    return allowance;
}

bool MacStorageInsightCleanupAllowance::allows(const FileInsight& insight) const {
    const std::string& path = insight.url.path;
    if (isProtectedUserDataPath(path, paths.catalogue)) return false;
    if (!eligibility.rootFor(path)) return false;
    return !paths.checkCleanPath(path).has_value();
}

}  // namespace velmora

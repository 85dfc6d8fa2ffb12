#include "VelmoraUI/state/ReviewProfileScan.h"

#include <algorithm>

namespace velmora {

ScanRequest scanRequestForProfile(const CleanupReviewProfile& profile, ScanRequest base) {
    base.mode = profile.scanMode;
    std::vector<CleanupCategory> categories;
    for (CleanupCategory c : profile.categories) {
        const bool allowed =
            !base.categories || std::find(base.categories->begin(), base.categories->end(), c) !=
                                    base.categories->end();
        if (allowed) categories.push_back(c);
    }
    base.categories = std::move(categories);
    if (!profile.includesCustomFolders) {
        base.customFolders.clear();
        base.unavailableCustomFolders.clear();
    }
    return base;
}

}  // namespace velmora

#include "VelmoraUI/state/IgnoredCandidates.h"

#include "VelmoraUI/state/IgnoredCleanupItem.h"

namespace velmora {

bool isIgnoredCandidate(const CleanupCandidate& candidate,
                        const std::unordered_set<std::string>& activeIgnoredIDs) {
    return !activeIgnoredIDs.empty() && activeIgnoredIDs.contains(ignoreMatchKey(candidate.id()));
}

size_t hideIgnoredCandidates(ScanReport& report,
                             const std::unordered_set<std::string>& activeIgnoredIDs) {
    if (activeIgnoredIDs.empty()) return 0;
    return std::erase_if(report.candidates, [&](const CleanupCandidate& c) {
        return isIgnoredCandidate(c, activeIgnoredIDs);
    });
}

}  // namespace velmora

#include "CleanerCore/insights/DuplicateKeeper.h"

#include <algorithm>
#include <initializer_list>

namespace velmora {

namespace {

bool hasComponent(std::string_view path, std::initializer_list<std::string_view> names) {
    size_t i = 0;
    while (i < path.size()) {
        if (path[i] == '/') {
            ++i;
            continue;
        }
        size_t end = path.find('/', i);
        if (end == std::string_view::npos) end = path.size();
        const std::string_view component = path.substr(i, end - i);
        if (std::find(names.begin(), names.end(), component) != names.end()) return true;
        i = end;
    }
    return false;
}

// A missing date is the distant future: it never wins on age.
bool isOlder(const std::optional<Date>& a, const std::optional<Date>& b) {
    if (!a) return false;
    return !b || *a < *b;
}

bool sameDate(const std::optional<Date>& a, const std::optional<Date>& b) {
    return !isOlder(a, b) && !isOlder(b, a);
}

}  // namespace

int duplicateLocationRank(std::string_view path, Catalogue catalogue) {
    const bool isLinux = catalogue == Catalogue::linux;
    if (hasComponent(path, {"Documents"})) return 0;
    if (isLinux ? hasComponent(path, {"Pictures", "Movies", "Music", "Videos"})
                : hasComponent(path, {"Pictures", "Movies", "Music"})) {
        return 1;
    }
    if (hasComponent(path, {"Desktop"})) return 2;
    if (hasComponent(path, {"Downloads"})) return 3;
    if (isLinux ? hasComponent(path, {"Library", ".local"}) : hasComponent(path, {"Library"})) {
        return 4;
    }
    return 2;
}

bool isBetterDuplicateKeeper(const FileInsight& a, const FileInsight& b, Catalogue catalogue) {
    const int rankA = duplicateLocationRank(a.url.path, catalogue);
    const int rankB = duplicateLocationRank(b.url.path, catalogue);
    if (rankA != rankB) return rankA < rankB;
    if (!sameDate(a.lastModified, b.lastModified)) return isOlder(a.lastModified, b.lastModified);
    return a.url.path < b.url.path;
}

std::optional<DuplicateKeeperRecommendation> recommendDuplicateKeeper(
    const DuplicateFileGroup& group, Catalogue catalogue) {
    if (group.files.empty()) return std::nullopt;
    size_t keeperIndex = 0;
    for (size_t i = 1; i < group.files.size(); ++i) {
        if (isBetterDuplicateKeeper(group.files[i], group.files[keeperIndex], catalogue)) {
            keeperIndex = i;
        }
    }
    const FileInsight& keeper = group.files[keeperIndex];
    const int keeperRank = duplicateLocationRank(keeper.url.path, catalogue);

    bool preferredLocation = false, olderDate = false, pathTieBreak = false;
    for (size_t i = 0; i < group.files.size(); ++i) {
        if (i == keeperIndex) continue;
        const FileInsight& other = group.files[i];
        const int rank = duplicateLocationRank(other.url.path, catalogue);
        if (rank > keeperRank) preferredLocation = true;
        if (rank != keeperRank) continue;
        if (isOlder(keeper.lastModified, other.lastModified)) olderDate = true;
        if (sameDate(keeper.lastModified, other.lastModified)) pathTieBreak = true;
    }

    DuplicateKeeperRecommendation r;
    r.groupID = group.id;
    r.keeperID = keeper.id;
    r.keeperPath = keeper.url.path;
    r.duplicateCount = static_cast<int64_t>(group.files.size()) - 1;
    using Reason = DuplicateKeeperRecommendationReason;
    if (preferredLocation) r.reasons.push_back(Reason::preferredLocation);
    if (olderDate) r.reasons.push_back(Reason::olderModificationDate);
    if (pathTieBreak) r.reasons.push_back(Reason::deterministicPathTieBreak);
    return r;
}

}  // namespace velmora

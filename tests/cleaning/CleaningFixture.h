#pragma once
// A home folder in a throw-away tree with one scan location (~/.cache), the scanner that
// proposes its entries and the services that clean and restore them, wired as the commands do.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "CleanerCore/cleaning/CleaningService.h"
#include "CleanerCore/cleaning/TrashRestoreService.h"
#include "CleanerCore/scanning/StorageScanner.h"
#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora::test {

class CleaningFixture : public ::testing::Test {
  public:
    TestTree tree;
    std::string home = tree.dir("home");
    std::string cache = tree.dir("home/.cache");
    std::string outside = tree.dir("outside");
    ScopedHome scopedHome{home};
    std::vector<ScanLocation> locations;
    int64_t descendantLimit = kDefaultValidationDescendantLimit;

    CleaningFixture() {
        ScanLocation l;
        l.rootURL = FileURL::directory(cache);
        l.category = CleanupCategory::userCaches;
        l.displayName = "Caches";
        l.isSelectedByDefault = true;
        locations.push_back(l);
    }

    Trash trash() const { return Trash({home + "/.local/share", ::getuid()}); }

    /// Scans the locations; every entry of ~/.cache is a candidate.
    std::vector<CleanupCandidate> scan() const {
        return StorageScanner({}, home, Catalogue::linux)
            .scan(locations, dateFromUnixSeconds(unixNow()), {}, CancellationToken{})
            .candidates;
    }
    CleanupEligibilityPolicy policy() const {
        return CleanupEligibilityPolicy::make(locations, descendantLimit, std::nullopt,
                                              SafePathPolicy::make({}, home, Catalogue::linux));
    }

    CleanResult clean(const std::vector<CleanupCandidate>& candidates,
                      CleaningMode mode = CleaningMode::moveToTrash,
                      CancellationQuery cancel = {}) const {
        return clean(candidates, policy(), mode, std::move(cancel));
    }
    CleanResult clean(const std::vector<CleanupCandidate>& candidates,
                      const CleanupEligibilityPolicy& fence,
                      CleaningMode mode = CleaningMode::moveToTrash,
                      CancellationQuery cancel = {}) const {
        CleaningService service({home, Catalogue::linux, trash(), currentDate}, std::move(cancel));
        return service.clean(candidates, locations, mode, fence);
    }

    RestoreResult restore(const std::vector<CleanedItem>& items) const {
        TrashRestoreService service({home, Catalogue::linux, trash(), std::nullopt});
        return service.restore(items, locations, policy());
    }
};

inline const FileURL& urlOf(const CleanupCandidate& c) {
    return c.url;
}
inline const FileURL& urlOf(const CleanedItem& item) {
    return item.candidate.url;
}
/// The element of `items` for the item named `name`.
template <typename T>
T named(const std::vector<T>& items, const std::string& name) {
    for (const auto& item : items) {
        if (urlOf(item).lastComponent() == name) return item;
    }
    ADD_FAILURE() << "no item " << name;
    return {};
}

/// "reason" texts of the failed items, in order.
template <typename Result>
std::vector<std::string> reasons(const Result& result) {
    std::vector<std::string> out;
    for (const auto& f : result.failedItems) out.push_back(f.reason);
    return out;
}

}  // namespace velmora::test

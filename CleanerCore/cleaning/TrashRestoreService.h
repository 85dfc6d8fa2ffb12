#pragma once
// Puts items that the cleaning service moved to the Trash back where they were, only when
// everything still matches: the original place is inside a live scan root and passes the path
// rules, the trashed item is present, is not a link, lies in a trash folder that belongs to the
// original location (or the user's own trash), has the identity recorded when it was trashed, and
// nothing has taken its original place. Any mismatch leaves the item in the Trash and says why.
// A restore never replaces anything (RENAME_NOREPLACE) and removes the item's `.trashinfo`.
//
// Threading: `restore` runs synchronously on the caller's thread; cancellation is read between
// items only (an item once started is finished). No state between runs.
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/cleaning/CleaningModel.h"
#include "CleanerCore/cleaning/CleanupValidation.h"
#include "CleanerCore/platform/Trash.h"
#include "CleanerCore/policy/CleanupEligibilityPolicy.h"

namespace velmora {

struct RestoreContext {
    std::string homeFolder;
    Catalogue catalogue = hostCatalogue();
    Trash trash;
    /// The trash `files` folders a restore may take from; when absent they are determined per
    /// item (the trash of the original's volume and the user's own trash).
    std::optional<std::vector<std::string>> allowedTrashRootPaths;
    /// The Trash and Velmora's own folders: nothing is restored into them.
    ProtectedPlaces protectedPlaces = {};
};

class TrashRestoreService {
  public:
    TrashRestoreService(RestoreContext context, CancellationQuery isCancellationRequested = {});

    RestoreResult restore(const std::vector<CleanedItem>& items,
                          const std::vector<ScanLocation>& locations,
                          const CleanupEligibilityPolicy& policy) const;

    /// The trash folders a restore of `item` may take from (deduplicated, standardized).
    std::vector<std::string> allowedTrashRoots(const CleanedItem& item) const;

  private:
    std::optional<CleaningError> restoreOne(const CleanedItem& item, const SafePathPolicy& rules,
                                            const CleanupEligibilityPolicy& policy,
                                            std::string& systemFailure) const;

    RestoreContext context_;
    CancellationQuery isCancellationRequested_;
};

}  // namespace velmora

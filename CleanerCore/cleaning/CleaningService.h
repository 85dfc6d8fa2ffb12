#pragma once
// Acts on the candidates the user confirmed, one at a time and in order: re-establishes that each
// is inside a live scan root, is not protected, is not a link and has not changed since the scan,
// then moves it to the Trash (or deletes it), verifies it is gone from its place and records what
// a restore needs. Every candidate ends in `cleanedItems` or `failedItems` unless the run is
// cancelled; nothing is rolled back.
//
// The item is reached through its scan root's descriptor (identity checked) and O_NOFOLLOW
// components; the walk, the identity check and the move all use that one parent descriptor, and
// the move itself is checked to have taken the object that was validated.
//
// Threading: `clean` runs synchronously on the caller's thread; cancellation is polled between
// the steps (never between an operation and its verification). The service holds no state
// between runs.
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/cleaning/CleaningModel.h"
#include "CleanerCore/cleaning/CleanupValidation.h"
#include "CleanerCore/platform/Trash.h"
#include "CleanerCore/policy/CleanupEligibilityPolicy.h"

namespace velmora {

struct CleaningContext {
    std::string homeFolder;  ///< the effective home folder (for the path rules)
    Catalogue catalogue = hostCatalogue();
    /// The Trash to move into; absent where there is none (items then fail with
    /// `moveToTrashUnavailable`).
    std::optional<Trash> trash;
    /// "Now" for the roots' age rules and the `.trashinfo` deletion date.
    std::function<Date()> clock = currentDate;
    /// The Trash and Velmora's own folders, never cleaned nor cleaned with their container.
    ProtectedPlaces protectedPlaces = {};
};

/// How the reason of a permanent deletion that stopped part-way begins: the item is no longer
/// whole, and what was deleted is gone.
inline constexpr const char* kPartlyDeletedReasonStart = "Part of the item was deleted";
/// "Part of the item was deleted before the deletion stopped at <where>: <cause>".
std::string partlyDeletedReason(const std::string& where, const std::string& cause);

class CleaningService {
  public:
    CleaningService(CleaningContext context, CancellationQuery isCancellationRequested = {});

    CleanResult clean(const std::vector<CleanupCandidate>& candidates,
                      const std::vector<ScanLocation>& locations, CleaningMode mode,
                      const CleanupEligibilityPolicy& policy) const;
    /// The same, moving each candidate into its result instead of copying it.
    CleanResult clean(std::vector<CleanupCandidate>&& candidates,
                      const std::vector<ScanLocation>& locations, CleaningMode mode,
                      const CleanupEligibilityPolicy& policy) const;

  private:
    struct ItemOutcome;
    CleanResult run(const std::vector<CleanupCandidate>& candidates, bool consume,
                    const std::vector<ScanLocation>& locations, CleaningMode mode,
                    const CleanupEligibilityPolicy& policy) const;
    ItemOutcome cleanOne(const CleanupCandidate& candidate, const SafePathPolicy& rules,
                         CleaningMode mode, const CleanupEligibilityPolicy& policy) const;

    CleaningContext context_;
    CancellationQuery isCancellationRequested_;
};

}  // namespace velmora

#pragma once
// The records a cleanup or restore run produces. Plain values: copyable, comparable. JSON coding
// (keys are the field names, URLs absolute file-URL text) is in CleaningJson.h.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

/// What the cleaning service does with an item. The dashboard and the command always move to
/// the Trash; permanent deletion exists for configurations that ask for it.
enum class CleaningMode { moveToTrash, deletePermanently };
std::string_view rawValue(CleaningMode);
std::optional<CleaningMode> cleaningModeFromRaw(std::string_view);

struct CleanedItem {
    CleanupCandidate candidate;             ///< as it was scanned
    std::optional<FileURL> destinationURL;  ///< where it lies in the Trash (absent after deletion)
    std::optional<FileURL> restoreSourceRootURL;  ///< the Trash `files` folder holding it
    /// The identity of the item in the Trash, captured right after the move.
    std::optional<FileResourceIdentity> restoreSourceIdentity;
    friend bool operator==(const CleanedItem&, const CleanedItem&) = default;
};

struct FailedCleanItem {
    CleanupCandidate candidate;
    std::string reason;  ///< a CleaningError description, or the system's error text
    friend bool operator==(const FailedCleanItem&, const FailedCleanItem&) = default;
};

struct CleanResult {
    std::vector<CleanedItem> cleanedItems;     ///< input order
    std::vector<FailedCleanItem> failedItems;  ///< input order
    bool wasCancelled = false;  ///< items after the stopping point are in neither list
    friend bool operator==(const CleanResult&, const CleanResult&) = default;
};

struct RestoredCleanedItem {
    CleanedItem cleanedItem;
    FileURL restoredURL;  ///< the candidate's original URL
    friend bool operator==(const RestoredCleanedItem&, const RestoredCleanedItem&) = default;
};

struct FailedRestoreItem {
    CleanedItem cleanedItem;
    std::string reason;
    friend bool operator==(const FailedRestoreItem&, const FailedRestoreItem&) = default;
};

struct RestoreResult {
    std::vector<RestoredCleanedItem> restoredItems;
    std::vector<FailedRestoreItem> failedItems;
    bool wasCancelled = false;
    friend bool operator==(const RestoreResult&, const RestoreResult&) = default;
};

}  // namespace velmora

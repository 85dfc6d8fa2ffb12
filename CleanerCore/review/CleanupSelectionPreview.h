#pragma once
// What the confirmation sheet shows before a cleanup: how many items, how many bytes, and how
// they split by safety level and by category. A pure computation over the current selection.
//
// Thread-safe, no state. A byte total that overflows 64 bits is a programming error (sizes come
// from the file system and cannot add up that far) and aborts rather than wraps.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

struct CleanupSafetyBreakdown {
    int64_t safeCount = 0;
    int64_t cautionCount = 0;
    int64_t manualReviewCount = 0;
    friend bool operator==(const CleanupSafetyBreakdown&, const CleanupSafetyBreakdown&) = default;
};

struct CleanupPreviewCategorySummary {
    CleanupCategory category = CleanupCategory::userCaches;
    int64_t count = 0;  ///< selected candidates of this category
    int64_t bytes = 0;  ///< the sum of their sizes
    friend bool operator==(const CleanupPreviewCategorySummary&,
                           const CleanupPreviewCategorySummary&) = default;
};

struct CleanupSelectionPreview {
    int64_t count = 0;
    int64_t bytes = 0;
    CleanupSafetyBreakdown safetyBreakdown;
    /// One per category present: more bytes first; equal bytes in ascending order of the
    /// category's raw text.
    std::vector<CleanupPreviewCategorySummary> categorySummaries;

    /// The preview of `selection` (order does not matter).
    static CleanupSelectionPreview make(const std::vector<CleanupCandidate>& selection);

    friend bool operator==(const CleanupSelectionPreview&,
                           const CleanupSelectionPreview&) = default;
};

}  // namespace velmora

template <>
struct std::hash<velmora::CleanupSafetyBreakdown> {
    size_t operator()(const velmora::CleanupSafetyBreakdown& b) const noexcept;
};
template <>
struct std::hash<velmora::CleanupPreviewCategorySummary> {
    size_t operator()(const velmora::CleanupPreviewCategorySummary& s) const noexcept;
};
template <>
struct std::hash<velmora::CleanupSelectionPreview> {
    size_t operator()(const velmora::CleanupSelectionPreview& p) const noexcept;
};

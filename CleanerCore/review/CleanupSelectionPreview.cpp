#include "CleanerCore/review/CleanupSelectionPreview.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "CleanerCore/base/HashCombine.h"
#include "CleanerCore/scanning/DistinctBytes.h"

namespace velmora {

namespace {

int64_t addBytes(int64_t total, int64_t more) {
    int64_t sum = 0;
    if (__builtin_add_overflow(total, more, &sum)) {
        std::fputs("velmora: the selected byte total overflows 64 bits\n", stderr);
        std::abort();
    }
    return sum;
}

}  // namespace

CleanupSelectionPreview CleanupSelectionPreview::make(
    const std::vector<CleanupCandidate>& selection) {
    CleanupSelectionPreview p;
    std::array<CleanupPreviewCategorySummary, kCleanupCategoryCount> groups{};
    // An item inside another selected item is already part of that one's size: it counts as an
    // item but adds no bytes, to the total or to its category.
    std::vector<const CleanupCandidate*> pointers;
    pointers.reserve(selection.size());
    for (const auto& c : selection) pointers.push_back(&c);
    const std::vector<bool> counted = bytesCountedElsewhere(pointers);
    for (size_t i = 0; i < selection.size(); ++i) {
        const CleanupCandidate& c = selection[i];
        const int64_t bytes = counted[i] ? 0 : c.sizeBytes;
        ++p.count;
        p.bytes = addBytes(p.bytes, bytes);
        switch (c.safety) {
            case CleanupSafety::safe:
                ++p.safetyBreakdown.safeCount;
                break;
            case CleanupSafety::caution:
                ++p.safetyBreakdown.cautionCount;
                break;
            case CleanupSafety::manualReview:
                ++p.safetyBreakdown.manualReviewCount;
                break;
        }
        auto& group = groups[static_cast<size_t>(c.category)];
        group.category = c.category;
        ++group.count;
        group.bytes = addBytes(group.bytes, bytes);
    }
    for (const auto& g : groups) {
        if (g.count > 0) p.categorySummaries.push_back(g);
    }
    std::stable_sort(p.categorySummaries.begin(), p.categorySummaries.end(),
                     [](const auto& a, const auto& b) {
                         if (a.bytes != b.bytes) return a.bytes > b.bytes;
                         return rawValue(a.category) < rawValue(b.category);
                     });
    return p;
}

}  // namespace velmora

using velmora::review_detail::hashCombine;

size_t std::hash<velmora::CleanupSafetyBreakdown>::operator()(
    const velmora::CleanupSafetyBreakdown& b) const noexcept {
    size_t seed = 0;
    hashCombine(seed, b.safeCount);
    hashCombine(seed, b.cautionCount);
    hashCombine(seed, b.manualReviewCount);
    return seed;
}

size_t std::hash<velmora::CleanupPreviewCategorySummary>::operator()(
    const velmora::CleanupPreviewCategorySummary& s) const noexcept {
    size_t seed = 0;
    hashCombine(seed, s.category);
    hashCombine(seed, s.count);
    hashCombine(seed, s.bytes);
    return seed;
}

size_t std::hash<velmora::CleanupSelectionPreview>::operator()(
    const velmora::CleanupSelectionPreview& p) const noexcept {
    size_t seed = 0;
    hashCombine(seed, p.count);
    hashCombine(seed, p.bytes);
    hashCombine(seed, p.safetyBreakdown);
    for (const auto& s : p.categorySummaries) hashCombine(seed, s);
    hashCombine(seed, p.categorySummaries.size());
    return seed;
}

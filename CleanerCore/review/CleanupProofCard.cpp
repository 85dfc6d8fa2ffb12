#include "CleanerCore/review/CleanupProofCard.h"

#include "CleanerCore/safety/PathRules.h"

namespace velmora {

std::string_view rawValue(CleanupProofCheckKind kind) {
    switch (kind) {
        case CleanupProofCheckKind::directNoTouchPath:
            return "directNoTouchPath";
        case CleanupProofCheckKind::manualReviewPolicy:
            return "manualReviewPolicy";
        case CleanupProofCheckKind::cleanupTimeRevalidation:
            return "cleanupTimeRevalidation";
    }
    return "directNoTouchPath";
}

std::string_view rawValue(CleanupProofCheckState state) {
    switch (state) {
        case CleanupProofCheckState::passed:
            return "passed";
        case CleanupProofCheckState::needsReview:
            return "needsReview";
        case CleanupProofCheckState::blocked:
            return "blocked";
        case CleanupProofCheckState::required:
            return "required";
    }
    return "passed";
}

std::string_view rawValue(CleanupProofRecommendationState state) {
    switch (state) {
        case CleanupProofRecommendationState::reviewReady:
            return "reviewReady";
        case CleanupProofRecommendationState::manualReviewRequired:
            return "manualReviewRequired";
        case CleanupProofRecommendationState::blockedByPolicy:
            return "blockedByPolicy";
    }
    return "reviewReady";
}

bool needsManualReviewByPolicy(const CleanupCandidate& candidate) {
    if (candidate.requiresManualReviewBySource) return true;
    if (candidate.safety == CleanupSafety::manualReview) return true;
    switch (candidate.category) {
        case CleanupCategory::developerToolCaches:
        case CleanupCategory::packageManagerCaches:
        case CleanupCategory::buildArchives:
        case CleanupCategory::customFolder:
            return true;
        default:
            return false;
    }
}

CleanupProofCard cleanupProofCard(const CleanupCandidate& candidate, Catalogue catalogue) {
    const bool noTouch = isProtectedUserDataPath(candidate.url.path, catalogue);
    const bool manual = needsManualReviewByPolicy(candidate);
    CleanupProofCard card;
    card.checks = {{
        {CleanupProofCheckKind::directNoTouchPath,
         noTouch ? CleanupProofCheckState::blocked : CleanupProofCheckState::passed},
        {CleanupProofCheckKind::manualReviewPolicy,
         manual ? CleanupProofCheckState::needsReview : CleanupProofCheckState::passed},
        {CleanupProofCheckKind::cleanupTimeRevalidation, CleanupProofCheckState::required},
    }};
    card.recommendationState = noTouch  ? CleanupProofRecommendationState::blockedByPolicy
                               : manual ? CleanupProofRecommendationState::manualReviewRequired
                                        : CleanupProofRecommendationState::reviewReady;
    return card;
}

}  // namespace velmora

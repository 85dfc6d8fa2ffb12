// The proof card: which checks stand behind offering a candidate.
#include <gtest/gtest.h>

#include "CleanerCore/review/CleanupProofCard.h"

namespace velmora {
namespace {

using C = CleanupCategory;
using S = CleanupSafety;
using K = CleanupProofCheckState;
using R = CleanupProofRecommendationState;

CleanupCandidate candidate(std::string path, C category, S safety, bool bySource = false) {
    CleanupCandidate c;
    c.url = FileURL::directory(path);
    c.category = category;
    c.safety = safety;
    c.requiresManualReviewBySource = bySource;
    return c;
}

TEST(CleanupProofCardTest, ChecksAndRecommendation) {
    struct Case {
        CleanupCandidate candidate;
        K noTouch;
        K manual;
        R recommendation;
    };
    const std::string cache = "/home/p/.cache/thumbnails";
    const Case cases[] = {
        {candidate(cache, C::userCaches, S::safe), K::passed, K::passed, R::reviewReady},
        // The category alone asks for a person, whatever the level says.
        {candidate("/home/p/work", C::customFolder, S::safe), K::passed, K::needsReview,
         R::manualReviewRequired},
        {candidate(cache, C::packageManagerCaches, S::safe), K::passed, K::needsReview,
         R::manualReviewRequired},
        {candidate(cache, C::userCaches, S::manualReview), K::passed, K::needsReview,
         R::manualReviewRequired},
        {candidate(cache, C::userCaches, S::safe, true), K::passed, K::needsReview,
         R::manualReviewRequired},
        // Protected personal data blocks even a safe cache, and wins over manual review.
        {candidate("/home/p/.mozilla/firefox/cache2", C::userCaches, S::safe), K::blocked,
         K::passed, R::blockedByPolicy},
        {candidate("/home/p/.ssh/cache", C::customFolder, S::caution), K::blocked, K::needsReview,
         R::blockedByPolicy},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.candidate.url.path + " " + std::string(rawValue(c.candidate.category)));
        const CleanupProofCard card = cleanupProofCard(c.candidate, Catalogue::linux);
        EXPECT_EQ(card.checks[0].kind, CleanupProofCheckKind::directNoTouchPath);
        EXPECT_EQ(card.checks[0].state, c.noTouch);
        EXPECT_EQ(card.checks[1].kind, CleanupProofCheckKind::manualReviewPolicy);
        EXPECT_EQ(card.checks[1].state, c.manual);
        EXPECT_EQ(card.checks[2].kind, CleanupProofCheckKind::cleanupTimeRevalidation);
        EXPECT_EQ(card.checks[2].state, K::required);
        EXPECT_EQ(card.recommendationState, c.recommendation);
    }
}

TEST(CleanupProofCardTest, OnlyCostlyCategoriesNeedReviewByPolicy) {
    int needing = 0;
    for (C category : allCleanupCategories()) {
        needing += needsManualReviewByPolicy(candidate("/tmp/x", category, S::safe)) ? 1 : 0;
    }
    EXPECT_EQ(needing, 4);
}

}  // namespace
}  // namespace velmora

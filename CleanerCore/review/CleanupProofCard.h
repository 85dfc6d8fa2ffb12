#pragma once
// The proof card of a candidate: which safety checks stand behind offering it, and whether it
// is ready for review, needs a person's judgement, or is blocked by policy. Shown in the
// candidate's details and carried in scan exports. Pure; thread-safe.
#include <array>
#include <string_view>

#include "CleanerCore/safety/PathConventions.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

enum class CleanupProofCheckKind { directNoTouchPath, manualReviewPolicy, cleanupTimeRevalidation };
enum class CleanupProofCheckState { passed, needsReview, blocked, required };
enum class CleanupProofRecommendationState { reviewReady, manualReviewRequired, blockedByPolicy };

std::string_view rawValue(CleanupProofCheckKind kind);
std::string_view rawValue(CleanupProofCheckState state);
std::string_view rawValue(CleanupProofRecommendationState state);

struct CleanupProofCheck {
    CleanupProofCheckKind kind = CleanupProofCheckKind::directNoTouchPath;
    CleanupProofCheckState state = CleanupProofCheckState::passed;
    friend bool operator==(const CleanupProofCheck&, const CleanupProofCheck&) = default;
};

inline constexpr std::string_view kCleanupProofPolicyVersion = "cleanup-proof-v1";

struct CleanupProofCard {
    CleanupProofRecommendationState recommendationState =
        CleanupProofRecommendationState::reviewReady;
    /// Always the three checks, in the order of `CleanupProofCheckKind`.
    std::array<CleanupProofCheck, 3> checks{};
    /// Every cleanup validates each item again before it moves it.
    static constexpr bool requiresCleanupTimeRevalidation = true;
    static constexpr std::string_view policyVersion = kCleanupProofPolicyVersion;
    friend bool operator==(const CleanupProofCard&, const CleanupProofCard&) = default;
};

/// Whether policy asks a person to look at `candidate` before it is cleaned, whatever its safety
/// level says: the scan asked for it, the level is manual review, or the category holds material
/// that is only regenerable at a cost (tool and package caches, build archives, custom folders).
bool needsManualReviewByPolicy(const CleanupCandidate& candidate);

/// The card of `candidate`. A path under the protected user data of `catalogue` (cloud folders,
/// mail, keychains, ...) blocks it regardless of its category and level.
CleanupProofCard cleanupProofCard(const CleanupCandidate& candidate, Catalogue catalogue);

}  // namespace velmora

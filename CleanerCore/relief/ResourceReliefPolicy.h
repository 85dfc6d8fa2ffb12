#pragma once
// Which running applications the user may ask to quit, and the order the panel lists them in.
// A pure value: evaluate it on any thread.
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "CleanerCore/relief/ReliefText.h"
#include "CleanerCore/relief/ResourceReliefModel.h"

namespace velmora {

struct ResourceReliefPolicy {
    int32_t currentProcessIdentifier = 0;  ///< this program's process
    /// This program's own application identifier (on Linux the desktop-file id of the
    /// application this process belongs to), if it has one.
    std::optional<std::string> currentBundleIdentifier;
    ResourceReliefCapability capability;
    /// Identifiers never offered, compared in lower case. An entry ending in "*" protects every
    /// identifier that begins with the text before it.
    std::set<std::string> protectedBundleIdentifiers = defaultProtectedBundleIdentifiers();

    /// The desktop's own shells, window managers, session and settings applications, file
    /// managers and portals, in lower case.
    static std::set<std::string> defaultProtectedBundleIdentifiers();

    /// The first rule that applies: this program (by process, then by identifier), already
    /// terminated, not user-visible, no identifier and no name, protected identifier, no
    /// capability to request quits; otherwise actionable.
    ResourceReliefEligibility eligibility(const ResourceReliefProcessSnapshot& snapshot) const;
    /// The snapshot as a listed candidate; nothing when it has no user-facing name at all.
    std::optional<ResourceReliefCandidate> candidate(
        const ResourceReliefProcessSnapshot& snapshot) const;
    /// Every snapshot that has a name, in the input order.
    std::vector<ResourceReliefCandidate> candidates(
        const std::vector<ResourceReliefProcessSnapshot>& snapshots) const;

    /// Whether `snapshot`, read just now, still describes the process `candidate` was made
    /// from: same process id, identifier (trimmed, lower case), name and launch date.
    static bool isSameProcess(const ResourceReliefProcessSnapshot& snapshot,
                              const ResourceReliefCandidate& candidate);
};

/// The trimmed display name, else the trimmed identifier, else nothing.
std::optional<std::string> reliefDisplayName(const ResourceReliefProcessSnapshot& snapshot);

/// The two rankings: the metric present before absent, higher first; then frontmost first;
/// then display name ascending by `compareNames`; then identifier (absent as empty) by bytes;
/// then process id ascending.
std::vector<ResourceReliefCandidate> rankedByCPU(
    std::vector<ResourceReliefCandidate> candidates,
    const DisplayNameComparator& compareNames = compareDisplayNamesCaseInsensitively);
std::vector<ResourceReliefCandidate> rankedByMemory(
    std::vector<ResourceReliefCandidate> candidates,
    const DisplayNameComparator& compareNames = compareDisplayNamesCaseInsensitively);

}  // namespace velmora

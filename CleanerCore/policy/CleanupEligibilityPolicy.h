#pragma once
// The fence around every destructive operation: the scan roots an item may be cleaned or restored
// under, each with the identity (device, inode) its folder had when the policy was built and the
// options its validation walk uses. A root whose folder was removed, replaced or swapped since
// then is not live and matches nothing, so every item under it is refused.
//
// Building reads the file system once per location and never fails (locations that cannot be
// admitted are left out). Lookup reads the attributes of the roots it considers. A policy is an
// immutable value; concurrent lookups are safe.
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/platform/AnchoredPath.h"
#include "CleanerCore/safety/PathRules.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

struct CleanupValidationOptions {
    bool includesHiddenFiles = false;
    bool includesPackageDescendants = false;
    int64_t maximumDescendantItems = 1;  ///< at least 1
    int64_t maximumTraversalItems = 4;   ///< at least maximumDescendantItems
    friend bool operator==(const CleanupValidationOptions&,
                           const CleanupValidationOptions&) = default;
};

struct CleanupEligibilityPolicy {
    /// Device (`systemNumber`) and inode (`fileNumber`) of the root folder, plus its birth
    /// time where recorded: inode numbers are reused as soon as a folder is deleted.
    using RootIdentity = AnchorIdentity;
    struct Root {
        std::string path;  ///< standardized, no trailing "/"
        RootIdentity identity;
        CleanupValidationOptions validationOptions;
        /// What under the root the scan offers: its immediate entries, or the root itself.
        ScanDepth depth = ScanDepth::immediateChildren;
        /// Seconds; an item whose newest content is younger is not offered. 0 disables the rule.
        double minimumModificationAge = 0;
        /// Whether the scan of this root would offer `path` by position and name: a direct
        /// entry of the root (for `directoryItself` the root itself, for `immediateChildren`
        /// never the root), and not a hidden entry unless the root includes hidden files.
        bool admitsByPosition(const std::string& path) const;
    };

    /// Longest path first, then ascending text, so the deepest root containing a path wins.
    std::vector<Root> roots;

    /// Admits each location whose root the path rules allow (relative to `rules`, built for the
    /// effective home folder), whose path is not "/" and whose attributes can be read.  The
    /// identity is that of the folder itself, read without following a final link (links above
    /// it are the user's layout).
    /// `maximumDescendantItems` = max(descendantLimit, 1); the traversal limit is
    /// max(traversalLimit, descendants), or four times the descendants (saturating) when absent.
    static CleanupEligibilityPolicy make(const std::vector<ScanLocation>& locations,
                                         int64_t descendantLimit,
                                         std::optional<int64_t> traversalLimit,
                                         const SafePathPolicy& rules);

    /// The first live root (identity unchanged) that contains `path`, or nothing.
    const Root* rootFor(const std::string& path) const;

    /// The first live root, deepest first, whose scan would offer `path` as a candidate
    /// (`Root::admitsByPosition`); nothing when no root would. Cleaning uses this root's
    /// options and age rule, so an item is judged by the location that offered it: with nested
    /// roots ~/.cache and ~/.cache/pip, ~/.cache/pip is an entry of ~/.cache, never the pip root
    /// itself.
    const Root* rootAdmitting(const std::string& path) const;
};

/// The validation limits the cleaning commands use: the scanner's per-candidate inventory limit.
inline constexpr int64_t kDefaultValidationDescendantLimit = 100'000;

}  // namespace velmora

#pragma once
// Comparing two delta-blame snapshots: what grew, shrank, appeared or went away between an
// earlier and a later cleanup scan, category by category, root by root and item by item,
// without a path or a name in sight. Items are matched only through their keyed tokens, so two
// snapshots compare only under the same installation key (the store guarantees that).
//
// The pair. Each side must be an eligible snapshot of an accepted scan; otherwise the pair is
// `incomplete` (a side cancelled, superseded or hard-incomplete) or `unavailable` (a side whose
// policy or schema is unknown), and the side is named in `sides`. Both sides must come from the
// same policy fingerprint (scan mode and policy revision): the rules decide what a candidate is,
// so totals under different rules say nothing about growth (`policyMismatch`). In these three
// cases nothing is classified.
//
// Roots are matched by descriptor id, which is stable for one root path under one key. A root is
// compared when it is in the comparable scope of both sides. Every root of either side gets a
// root row; one that is not compared is `notComparable` because it is declared by one side only
// (`rootSet`, with the side that has it) or did not complete on a side (`incomplete`, with the
// side and its outcome). The pair is `comparable` when every root is compared,
// `scopedComparable(compared ids)` when some are, and `rootMismatch` when none is.
//
// Aggregate rows, one per (root, category) key of either side: in a compared root, a key on
// both sides is unchanged, grown or shrunk by its bytes; only in the later one added; only in
// the earlier one noLongerObserved. Keys of other roots are notComparable with their root's
// reason. Category rows sum the compared roots' aggregates (the totals are exact even where the
// evidence was cut); root rows sum a root's aggregates.
//
// Items: the evidence of compared roots, matched in three passes.
//   1. The same resource token with the same corroborator, in any compared root, and the same
//      creation date where both sides know it (a file number is reused once its file is gone):
//      the same item. At the same root and path token (or without path tokens) and in the same
//      category it is unchanged, grown or shrunk by bytes; elsewhere it is a probableMove.
//   2. The same root and path token: the same place, so the same item as far as a person can
//      tell (a cache file rewritten under the same name): unchanged, grown or shrunk.
//   3. What is left: an earlier and a later item in the same category, of the same byte count,
//      modification time (known on both sides) and type (or neither with one), in compared
//      roots, are a probableMove; when either of them has more than one such partner, every
//      item of that group is ambiguous.
//   Left over after that, a later item is added and an earlier item noLongerObserved, unless
//   the other side's evidence was cut for that (root, category) key (its residual is above 0):
//   the item may then sit among the bytes the other side kept only as a total, and it is
//   notComparable(evidenceBound). An item with neither token can never be matched:
//   notComparable(noStableIdentity). Items of roots that are not compared are not listed.
//
// Bounds: `items` keeps at most `maximumComparisonEntries` entries, the largest absolute change
// first (then by kind, then by category, then by later and earlier evidence ordinal, so the
// result is deterministic); `omittedItems` counts the rest and their change. The tallies of a
// category count every item, kept or not. A category row names at most `maximumExpandedRows`
// of the kept items (indices into `items`, in their order) and counts the others in
// `hiddenItems`.
//
// Pure functions; thread-safe. Inputs are expected to be valid snapshots (the store only hands
// out validated ones); an invalid input gives a meaningless but memory-safe result.
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "CleanerCore/delta-blame/DeltaBlameModel.h"

namespace velmora {

enum class DeltaBlameChangeKind {
    unchanged,
    grown,
    shrunk,
    added,
    noLongerObserved,
    probableMove,
    ambiguous,
    notComparable,
};
inline constexpr size_t kDeltaBlameChangeKindCount = 8;

enum class DeltaBlameNotComparableReason {
    rootSet,           ///< the root is declared by one side only
    policy,            ///< the sides were taken under different rules
    incomplete,        ///< a side, or the root on a side, did not complete
    unavailable,       ///< a side's policy or schema is unknown
    evidenceBound,     ///< the other side kept this key's smaller items only as a total
    noStableIdentity,  ///< the item has no token to match it by
};

enum class DeltaBlameComparisonSide { earlier, later };

std::string_view rawValue(DeltaBlameChangeKind);
std::string_view rawValue(DeltaBlameNotComparableReason);
std::string_view rawValue(DeltaBlameComparisonSide);

/// Items of one kind: how many, and the bytes they changed by (later - earlier).
struct DeltaBlameTally {
    int64_t count = 0;
    int64_t change = 0;
    friend bool operator==(const DeltaBlameTally&, const DeltaBlameTally&) = default;
};
using DeltaBlameTallies = std::array<DeltaBlameTally, kDeltaBlameChangeKindCount>;

/// A side that keeps the pair from being compared, with its trust.
struct DeltaBlameSideNote {
    DeltaBlameComparisonSide side = DeltaBlameComparisonSide::earlier;
    DeltaBlameSnapshotTrust trust = DeltaBlameSnapshotTrust::eligible;
    friend bool operator==(const DeltaBlameSideNote&, const DeltaBlameSideNote&) = default;
};

struct DeltaBlameAggregateChange {
    DeltaBlameAggregateKey key;
    DeltaBlameChangeKind kind = DeltaBlameChangeKind::unchanged;
    std::optional<DeltaBlameNotComparableReason> reason;  ///< notComparable only
    int64_t earlierBytes = 0, laterBytes = 0;
    int64_t earlierCount = 0, laterCount = 0;
    int64_t change() const { return laterBytes - earlierBytes; }
};

struct DeltaBlameRootChange {
    DeltaBlameRootDescriptorID rootDescriptorID;
    DeltaBlameChangeKind kind = DeltaBlameChangeKind::unchanged;
    std::optional<DeltaBlameNotComparableReason> reason;  ///< notComparable only
    /// notComparable: the side that declares it (rootSet) or where it did not complete.
    std::optional<DeltaBlameComparisonSide> side;
    std::optional<DeltaBlameRootOutcomeKind> outcome;  ///< incomplete: the outcome on `side`
    int64_t earlierBytes = 0, laterBytes = 0;
    int64_t change() const { return laterBytes - earlierBytes; }
};

struct DeltaBlameItemChange {
    DeltaBlameChangeKind kind = DeltaBlameChangeKind::unchanged;
    std::optional<DeltaBlameNotComparableReason> reason;  ///< notComparable only
    std::optional<DeltaBlameObservation> earlier;
    std::optional<DeltaBlameObservation> later;
    /// The later observation when there is one, else the earlier.
    const DeltaBlameObservation& observation() const { return later ? *later : *earlier; }
    int64_t change() const {
        return (later ? later->byteCount : 0) - (earlier ? earlier->byteCount : 0);
    }
};

/// One category over the compared roots.
struct DeltaBlameCategoryChange {
    DeltaBlameCategoryKey categoryKey;
    DeltaBlameChangeKind kind = DeltaBlameChangeKind::unchanged;
    int64_t earlierBytes = 0, laterBytes = 0;
    int64_t earlierCount = 0, laterCount = 0;
    DeltaBlameTallies tallies{};        ///< every item of the category, by kind
    std::vector<size_t> expandedItems;  ///< indices into DeltaBlameComparison::items
    int64_t hiddenItems = 0;            ///< kept items of the category not in expandedItems
    int64_t change() const { return laterBytes - earlierBytes; }
};

struct DeltaBlameComparison {
    std::string earlierSnapshotID, laterSnapshotID;
    Date earlierCapturedAt = 0, laterCapturedAt = 0;
    DeltaBlameComparability comparability;
    std::vector<DeltaBlameSideNote> sides;  ///< incomplete or unavailable: the sides at fault

    /// Every root of either side, the compared ones first, each group by id; empty when the pair
    /// is incomplete, unavailable or a policy mismatch.
    std::vector<DeltaBlameRootChange> roots;
    /// Empty unless something was compared (comparable or scopedComparable); by key.
    std::vector<DeltaBlameAggregateChange> aggregates;
    /// Largest absolute change first, then by category key.
    std::vector<DeltaBlameCategoryChange> categories;
    std::vector<DeltaBlameItemChange> items;
    DeltaBlameTally omittedItems;
    /// Over the compared roots.
    int64_t earlierBytes = 0, laterBytes = 0;

    bool compared() const {
        return comparability.kind == DeltaBlameComparability::Kind::comparable ||
               comparability.kind == DeltaBlameComparability::Kind::scopedComparable;
    }
    int64_t change() const { return laterBytes - earlierBytes; }
};

DeltaBlameComparison compareDeltaBlameSnapshots(const DeltaBlameSnapshotDraft& earlier,
                                                const DeltaBlameSnapshotDraft& later,
                                                const DeltaBlameLimits& limits = {});

/// True for a snapshot that may be a side of a comparison: eligible, of an accepted scan.
bool isComparableDeltaBlameSnapshot(const DeltaBlameSnapshotDraft& snapshot);

/// Which kept snapshots to compare (indices into the store's list, oldest first).
struct DeltaBlamePairSelection {
    std::optional<size_t> earlier, later;
    /// `since` was given and no earlier snapshot is that old: the oldest one was chosen.
    bool sinceNotReached = false;
    size_t comparableSnapshots = 0;  ///< how many may be a side
};

/// The later side is the newest comparable snapshot (by capture date; the later in the list on
/// a tie). The earlier side is a comparable snapshot captured before it: without `since` the
/// newest; with `since`, the newest captured at or before `since`, else the oldest. Among those
/// the rule prefers snapshots under the later side's policy fingerprint, so that switching the
/// scan mode once does not hide every comparison.
DeltaBlamePairSelection selectDeltaBlamePair(
    const std::vector<DeltaBlameSnapshotDraftEnvelope>& oldestFirst,
    std::optional<Date> since = std::nullopt);

}  // namespace velmora

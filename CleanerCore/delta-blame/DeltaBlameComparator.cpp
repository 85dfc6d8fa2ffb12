#include "CleanerCore/delta-blame/DeltaBlameComparator.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>

namespace velmora {

std::string_view rawValue(DeltaBlameChangeKind kind) {
    switch (kind) {
        case DeltaBlameChangeKind::unchanged:
            return "unchanged";
        case DeltaBlameChangeKind::grown:
            return "grown";
        case DeltaBlameChangeKind::shrunk:
            return "shrunk";
        case DeltaBlameChangeKind::added:
            return "added";
        case DeltaBlameChangeKind::noLongerObserved:
            return "noLongerObserved";
        case DeltaBlameChangeKind::probableMove:
            return "probableMove";
        case DeltaBlameChangeKind::ambiguous:
            return "ambiguous";
        case DeltaBlameChangeKind::notComparable:
            return "notComparable";
    }
    return "notComparable";
}

std::string_view rawValue(DeltaBlameNotComparableReason reason) {
    switch (reason) {
        case DeltaBlameNotComparableReason::rootSet:
            return "rootSet";
        case DeltaBlameNotComparableReason::policy:
            return "policy";
        case DeltaBlameNotComparableReason::incomplete:
            return "incomplete";
        case DeltaBlameNotComparableReason::unavailable:
            return "unavailable";
        case DeltaBlameNotComparableReason::evidenceBound:
            return "evidenceBound";
        case DeltaBlameNotComparableReason::noStableIdentity:
            return "noStableIdentity";
    }
    return "unavailable";
}

std::string_view rawValue(DeltaBlameComparisonSide side) {
    return side == DeltaBlameComparisonSide::earlier ? "earlier" : "later";
}

bool isComparableDeltaBlameSnapshot(const DeltaBlameSnapshotDraft& snapshot) {
    return snapshot.trust == DeltaBlameSnapshotTrust::eligible &&
           snapshot.provenance.disposition == DeltaBlameScanDisposition::accepted &&
           snapshot.schemaVersion == kDeltaBlameSchemaVersion;
}

namespace {

using Kind = DeltaBlameChangeKind;
using Reason = DeltaBlameNotComparableReason;
using Side = DeltaBlameComparisonSide;
using RootID = DeltaBlameRootDescriptorID;

Kind byBytes(int64_t earlier, int64_t later) {
    return later > earlier ? Kind::grown : later < earlier ? Kind::shrunk : Kind::unchanged;
}

bool unavailableTrust(DeltaBlameSnapshotTrust trust) {
    return trust == DeltaBlameSnapshotTrust::policyUnknown ||
           trust == DeltaBlameSnapshotTrust::schemaUnsupported;
}

// Whether the pair may be compared at all; fills `out.comparability` and `out.sides` when not.
bool pairIsComparable(const DeltaBlameSnapshotDraft& earlier, const DeltaBlameSnapshotDraft& later,
                      DeltaBlameComparison& out) {
    bool unavailable = false;
    for (auto [side, snapshot] : {std::pair{Side::earlier, &earlier}, {Side::later, &later}}) {
        if (isComparableDeltaBlameSnapshot(*snapshot)) continue;
        // A snapshot of an unaccepted scan whose derived trust still says eligible (it cannot
        // come out of the builder, but a hand-made one could) counts by its disposition.
        auto trust = snapshot->trust;
        if (trust == DeltaBlameSnapshotTrust::eligible) {
            trust = snapshot->schemaVersion != kDeltaBlameSchemaVersion
                        ? DeltaBlameSnapshotTrust::schemaUnsupported
                    : snapshot->provenance.disposition == DeltaBlameScanDisposition::cancelled
                        ? DeltaBlameSnapshotTrust::cancelled
                        : DeltaBlameSnapshotTrust::superseded;
        }
        unavailable = unavailable || unavailableTrust(trust);
        out.sides.push_back({side, trust});
    }
    if (!out.sides.empty()) {
        out.comparability.kind = unavailable ? DeltaBlameComparability::Kind::unavailable
                                             : DeltaBlameComparability::Kind::incomplete;
        return false;
    }
    if (earlier.provenance.policyFingerprint != later.provenance.policyFingerprint) {
        out.comparability.kind = DeltaBlameComparability::Kind::policyMismatch;
        return false;
    }
    return true;
}

const DeltaBlameRootOutcome* outcomeOf(const DeltaBlameSnapshotDraft& s, const RootID& id) {
    for (const auto& o : s.provenance.rootOutcomes)
        if (o.rootDescriptorID == id) return &o;
    return nullptr;
}

bool declares(const DeltaBlameSnapshotDraft& s, const RootID& id) {
    for (const auto& d : s.provenance.completionMetadata.rootDescriptors)
        if (d.id == id) return true;
    return false;
}

bool inScope(const DeltaBlameSnapshotDraft& s, const RootID& id) {
    const auto& included = s.comparableScope.includedRootDescriptorIDs;
    return std::find(included.begin(), included.end(), id) != included.end();
}

// One row per root of either side; the compared ones first.
std::vector<DeltaBlameRootChange> rootRows(const DeltaBlameSnapshotDraft& earlier,
                                           const DeltaBlameSnapshotDraft& later) {
    std::set<RootID> ids;
    for (const auto* s : {&earlier, &later})
        for (const auto& d : s->provenance.completionMetadata.rootDescriptors) ids.insert(d.id);
    std::vector<DeltaBlameRootChange> compared, other;
    for (const auto& id : ids) {
        DeltaBlameRootChange row;
        row.rootDescriptorID = id;
        const bool inEarlier = declares(earlier, id), inLater = declares(later, id);
        if (!inEarlier || !inLater) {
            row.kind = Kind::notComparable;
            row.reason = Reason::rootSet;
            row.side = inEarlier ? Side::earlier : Side::later;
        } else if (!inScope(earlier, id) || !inScope(later, id)) {
            row.kind = Kind::notComparable;
            row.reason = Reason::incomplete;
            row.side = inScope(earlier, id) ? Side::later : Side::earlier;
            const auto* outcome = outcomeOf(*row.side == Side::earlier ? earlier : later, id);
            if (outcome) row.outcome = outcome->kind;
        }
        (row.reason ? other : compared).push_back(std::move(row));
    }
    compared.insert(compared.end(), std::make_move_iterator(other.begin()),
                    std::make_move_iterator(other.end()));
    return compared;
}

// The item passes. Observations are referred to by index into each side's evidence.
class ItemMatcher {
  public:
    ItemMatcher(const DeltaBlameSnapshotDraft& earlier, const DeltaBlameSnapshotDraft& later,
                const std::set<RootID>& compared)
        : earlier_(earlier), later_(later) {
        for (size_t i = 0; i < earlier.evidence.size(); ++i)
            if (compared.count(earlier.evidence[i].rootDescriptorID)) earlierLeft_.insert(i);
        for (size_t i = 0; i < later.evidence.size(); ++i)
            if (compared.count(later.evidence[i].rootDescriptorID)) laterLeft_.insert(i);
        for (const auto& r : earlier.residuals)
            if (r.residualBytes > 0) earlierCut_.insert(r.key);
        for (const auto& r : later.residuals)
            if (r.residualBytes > 0) laterCut_.insert(r.key);
    }

    std::vector<DeltaBlameItemChange> run() {
        matchByResource();
        matchByPath();
        matchByShape();
        for (size_t i : earlierLeft_) leftOver(Side::earlier, earlier_.evidence[i]);
        for (size_t i : laterLeft_) leftOver(Side::later, later_.evidence[i]);
        return std::move(items_);
    }

  private:
    void matched(size_t e, size_t l, Kind kind) {
        items_.push_back({kind, std::nullopt, earlier_.evidence[e], later_.evidence[l]});
        earlierLeft_.erase(e);
        laterLeft_.erase(l);
    }

    // Pass 1: a resource token names one file object; the corroborator keeps a reused number
    // that now names another kind of object apart.
    void matchByResource() {
        std::map<std::pair<std::string, int>, size_t> byResource;
        for (size_t i : earlierLeft_) {
            const auto& o = earlier_.evidence[i];
            if (o.resourceToken) byResource.try_emplace(resourceKey(o), i);
        }
        for (size_t l : std::set<size_t>(laterLeft_)) {
            const auto& o = later_.evidence[l];
            if (!o.resourceToken) continue;
            const auto it = byResource.find(resourceKey(o));
            if (it == byResource.end() || !earlierLeft_.count(it->second)) continue;
            const auto& e = earlier_.evidence[it->second];
            // A file number is reused once its file is gone: another birth time means another
            // item that happens to have the old number.
            if (e.creationDate && o.creationDate && *e.creationDate != *o.creationDate) continue;
            const bool samePlace = e.rootDescriptorID == o.rootDescriptorID &&
                                   e.pathToken == o.pathToken && e.categoryKey == o.categoryKey;
            matched(it->second, l,
                    samePlace ? byBytes(e.byteCount, o.byteCount) : Kind::probableMove);
        }
    }

    static std::pair<std::string, int> resourceKey(const DeltaBlameObservation& o) {
        return {o.resourceToken->rawValue, o.resourceType ? static_cast<int>(*o.resourceType) : -1};
    }

    // Pass 2: the same place in the same root.
    void matchByPath() {
        std::map<std::pair<RootID, std::string>, size_t> byPath;
        for (size_t i : earlierLeft_) {
            const auto& o = earlier_.evidence[i];
            if (o.pathToken) byPath.try_emplace({o.rootDescriptorID, o.pathToken->rawValue}, i);
        }
        for (size_t l : std::set<size_t>(laterLeft_)) {
            const auto& o = later_.evidence[l];
            if (!o.pathToken) continue;
            const auto it = byPath.find({o.rootDescriptorID, o.pathToken->rawValue});
            if (it == byPath.end() || !earlierLeft_.count(it->second)) continue;
            matched(it->second, l, byBytes(earlier_.evidence[it->second].byteCount, o.byteCount));
        }
    }

    // Pass 3: the same category, size, type and modification time: moved, as far as anything
    // can tell without a token in common; more than one candidate on a side makes the whole
    // group ambiguous rather than a guess.
    void matchByShape() {
        using Shape = std::tuple<std::string, int64_t, int, int64_t>;
        const auto shape = [](const DeltaBlameObservation& o) -> std::optional<Shape> {
            if (!o.lastModified || (!o.resourceToken && !o.pathToken)) return std::nullopt;
            const int type = o.resourceType ? static_cast<int>(*o.resourceType) : -1;
            return Shape{o.categoryKey.rawValue, o.byteCount, type,
                         deltaBlameMillisecondsSince1970(*o.lastModified)};
        };
        std::map<Shape, std::pair<std::vector<size_t>, std::vector<size_t>>> groups;
        for (size_t i : earlierLeft_)
            if (auto s = shape(earlier_.evidence[i])) groups[*s].first.push_back(i);
        for (size_t i : laterLeft_)
            if (auto s = shape(later_.evidence[i])) groups[*s].second.push_back(i);
        for (const auto& [s, group] : groups) {
            const auto& [e, l] = group;
            if (e.empty() || l.empty()) continue;
            if (e.size() == 1 && l.size() == 1) {
                matched(e[0], l[0], Kind::probableMove);
                continue;
            }
            for (size_t i : e) {
                items_.push_back({Kind::ambiguous, std::nullopt, earlier_.evidence[i], {}});
                earlierLeft_.erase(i);
            }
            for (size_t i : l) {
                items_.push_back({Kind::ambiguous, std::nullopt, {}, later_.evidence[i]});
                laterLeft_.erase(i);
            }
        }
    }

    void leftOver(Side side, const DeltaBlameObservation& o) {
        DeltaBlameItemChange item;
        (side == Side::earlier ? item.earlier : item.later) = o;
        const auto& otherCut = side == Side::earlier ? laterCut_ : earlierCut_;
        if (!o.resourceToken && !o.pathToken) {
            item.kind = Kind::notComparable;
            item.reason = Reason::noStableIdentity;
        } else if (otherCut.count({o.rootDescriptorID, o.categoryKey})) {
            item.kind = Kind::notComparable;
            item.reason = Reason::evidenceBound;
        } else {
            item.kind = side == Side::earlier ? Kind::noLongerObserved : Kind::added;
        }
        items_.push_back(std::move(item));
    }

    const DeltaBlameSnapshotDraft& earlier_;
    const DeltaBlameSnapshotDraft& later_;
    std::set<size_t> earlierLeft_, laterLeft_;
    std::set<DeltaBlameAggregateKey> earlierCut_, laterCut_;
    std::vector<DeltaBlameItemChange> items_;
};

// The deterministic order of items: the largest absolute change first.
bool itemBefore(const DeltaBlameItemChange& a, const DeltaBlameItemChange& b) {
    const auto magnitude = [](const DeltaBlameItemChange& i) {
        const int64_t c = i.change();
        // Changes are bounded by validated byte counts, so negation cannot overflow except at
        // the minimum, which no valid snapshot reaches.
        return c < 0 ? -c : c;
    };
    const auto ordinal = [](const std::optional<DeltaBlameObservation>& o) {
        return o ? o->evidenceOrdinal : UINT64_MAX;
    };
    return std::tuple(-magnitude(a), a.kind, a.observation().categoryKey, ordinal(a.later),
                      ordinal(a.earlier)) < std::tuple(-magnitude(b), b.kind,
                                                       b.observation().categoryKey,
                                                       ordinal(b.later), ordinal(b.earlier));
}

}  // namespace

DeltaBlameComparison compareDeltaBlameSnapshots(const DeltaBlameSnapshotDraft& earlier,
                                                const DeltaBlameSnapshotDraft& later,
                                                const DeltaBlameLimits& limits) {
    DeltaBlameComparison out;
    out.earlierSnapshotID = earlier.snapshotID;
    out.laterSnapshotID = later.snapshotID;
    out.earlierCapturedAt = earlier.capturedAt;
    out.laterCapturedAt = later.capturedAt;
    if (!pairIsComparable(earlier, later, out)) return out;

    out.roots = rootRows(earlier, later);
    std::set<RootID> compared;
    std::map<RootID, DeltaBlameRootChange*> rootByID;
    for (auto& r : out.roots) {
        rootByID[r.rootDescriptorID] = &r;
        if (!r.reason) compared.insert(r.rootDescriptorID);
    }
    if (compared.empty()) {
        out.comparability.kind = DeltaBlameComparability::Kind::rootMismatch;
        return out;
    }
    if (compared.size() == out.roots.size()) {
        out.comparability.kind = DeltaBlameComparability::Kind::comparable;
    } else {
        out.comparability.kind = DeltaBlameComparability::Kind::scopedComparable;
        out.comparability.rootDescriptorIDs.assign(compared.begin(), compared.end());
    }

    // Aggregates, by key; a key is "there" on a side when that side has an aggregate for it.
    std::map<DeltaBlameAggregateKey, DeltaBlameAggregateChange> rows;
    std::set<DeltaBlameAggregateKey> inEarlier, inLater;
    for (const auto& a : earlier.aggregates) {
        auto& row = rows[a.key];
        row.key = a.key;
        row.earlierBytes = a.byteCount;
        row.earlierCount = a.occurrenceCount;
        inEarlier.insert(a.key);
    }
    for (const auto& a : later.aggregates) {
        auto& row = rows[a.key];
        row.key = a.key;
        row.laterBytes = a.byteCount;
        row.laterCount = a.occurrenceCount;
        inLater.insert(a.key);
    }
    std::map<DeltaBlameCategoryKey, DeltaBlameCategoryChange> categories;
    std::set<DeltaBlameCategoryKey> categoryInEarlier, categoryInLater;
    for (auto& [key, row] : rows) {
        const auto root = rootByID.find(key.rootDescriptorID);
        if (root != rootByID.end()) {
            root->second->earlierBytes += row.earlierBytes;
            root->second->laterBytes += row.laterBytes;
        }
        if (!compared.count(key.rootDescriptorID)) {
            row.kind = Kind::notComparable;
            row.reason = root == rootByID.end() ? Reason::rootSet : *root->second->reason;
            out.aggregates.push_back(row);
            continue;
        }
        const bool wasThere = inEarlier.count(key) > 0, isThere = inLater.count(key) > 0;
        row.kind = !wasThere  ? Kind::added
                   : !isThere ? Kind::noLongerObserved
                              : byBytes(row.earlierBytes, row.laterBytes);
        auto& c = categories[key.categoryKey];
        c.categoryKey = key.categoryKey;
        c.earlierBytes += row.earlierBytes;
        c.laterBytes += row.laterBytes;
        c.earlierCount += row.earlierCount;
        c.laterCount += row.laterCount;
        if (wasThere) categoryInEarlier.insert(key.categoryKey);
        if (isThere) categoryInLater.insert(key.categoryKey);
        out.earlierBytes += row.earlierBytes;
        out.laterBytes += row.laterBytes;
        out.aggregates.push_back(row);
    }
    for (auto& r : out.roots)
        if (!r.reason) r.kind = byBytes(r.earlierBytes, r.laterBytes);

    // Items: classify all, tally all, keep the largest changes.
    auto items = ItemMatcher(earlier, later, compared).run();
    std::sort(items.begin(), items.end(), itemBefore);
    for (const auto& item : items) {
        auto& c = categories[item.observation().categoryKey];
        c.categoryKey = item.observation().categoryKey;
        auto& tally = c.tallies[static_cast<size_t>(item.kind)];
        ++tally.count;
        tally.change += item.change();
    }
    const auto keep = static_cast<size_t>(std::max<int64_t>(0, limits.maximumComparisonEntries));
    for (size_t i = keep; i < items.size(); ++i) {
        ++out.omittedItems.count;
        out.omittedItems.change += items[i].change();
    }
    if (items.size() > keep) items.resize(keep);
    out.items = std::move(items);

    const auto expand = static_cast<size_t>(std::max<int64_t>(0, limits.maximumExpandedRows));
    for (size_t i = 0; i < out.items.size(); ++i) {
        auto& c = categories[out.items[i].observation().categoryKey];
        if (c.expandedItems.size() < expand)
            c.expandedItems.push_back(i);
        else
            ++c.hiddenItems;
    }
    for (auto& [key, c] : categories) {
        const bool wasThere = categoryInEarlier.count(key) > 0;
        const bool isThere = categoryInLater.count(key) > 0;
        c.kind = !wasThere && isThere   ? Kind::added
                 : wasThere && !isThere ? Kind::noLongerObserved
                                        : byBytes(c.earlierBytes, c.laterBytes);
        out.categories.push_back(std::move(c));
    }
    std::stable_sort(out.categories.begin(), out.categories.end(),
                     [](const auto& a, const auto& b) {
                         return std::llabs(a.change()) > std::llabs(b.change());
                     });
    return out;
}

DeltaBlamePairSelection selectDeltaBlamePair(
    const std::vector<DeltaBlameSnapshotDraftEnvelope>& oldestFirst, std::optional<Date> since) {
    DeltaBlamePairSelection out;
    std::vector<size_t> usable;
    for (size_t i = 0; i < oldestFirst.size(); ++i)
        if (isComparableDeltaBlameSnapshot(oldestFirst[i].draft)) usable.push_back(i);
    out.comparableSnapshots = usable.size();
    if (usable.empty()) return out;
    // Newest by capture date; the later in the list on a tie.
    const auto newer = [&](size_t a, size_t b) {
        const Date da = oldestFirst[a].draft.capturedAt, db = oldestFirst[b].draft.capturedAt;
        return da != db ? da > db : a > b;
    };
    size_t later = usable.front();
    for (size_t i : usable)
        if (newer(i, later)) later = i;
    out.later = later;

    std::vector<size_t> before, samePolicy;
    const auto& policy = oldestFirst[later].draft.provenance.policyFingerprint;
    for (size_t i : usable) {
        if (i == later || !newer(later, i)) continue;
        before.push_back(i);
        if (oldestFirst[i].draft.provenance.policyFingerprint == policy) samePolicy.push_back(i);
    }
    const auto& pool = samePolicy.empty() ? before : samePolicy;
    if (pool.empty()) return out;
    std::optional<size_t> newest, oldest, newestBySince;
    for (size_t i : pool) {
        if (!newest || newer(i, *newest)) newest = i;
        if (!oldest || newer(*oldest, i)) oldest = i;
        if (since && oldestFirst[i].draft.capturedAt <= *since &&
            (!newestBySince || newer(i, *newestBySince)))
            newestBySince = i;
    }
    if (!since) {
        out.earlier = newest;
    } else if (newestBySince) {
        out.earlier = newestBySince;
    } else {
        out.earlier = oldest;
        out.sinceNotReached = true;
    }
    return out;
}

}  // namespace velmora

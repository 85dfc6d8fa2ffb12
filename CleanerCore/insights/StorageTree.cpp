#include "CleanerCore/insights/StorageTree.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace velmora {

namespace {

int64_t saturatingAdd(int64_t a, int64_t b) {
    int64_t sum = 0;
    return __builtin_add_overflow(a, b, &sum) ? std::numeric_limits<int64_t>::max() : sum;
}

int64_t nonNegative(int64_t v) {
    return v < 0 ? 0 : v;
}

// The name's first 8 bytes, big-endian, as unsigned bytes: ordering these orders the names as
// std::string does whenever they differ (a name holds no NUL, so padding sorts first).
uint64_t prefixOf(std::string_view name) {
    unsigned char bytes[8] = {};
    std::memcpy(bytes, name.data(), std::min<size_t>(name.size(), 8));
    uint64_t v = 0;
    for (unsigned char b : bytes) v = (v << 8) | b;
    return v;
}

std::string lastComponent(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos || slash + 1 == path.size()) return path;
    return path.substr(slash + 1);
}

}  // namespace

// Lays out parts and joins them as one tree.
class StorageTreeAssembler {
  public:
    using Builder = StorageTreeRootBuilder;
    struct Top {
        std::string path, displayName;
        bool isTruncated = false;
        Builder* part = nullptr;  // none: an item that was not walked
    };

    // The part as the tree holds it: sizes summed, files every one of whose files another root
    // counted left out, breadth-first so that siblings are adjacent, each group largest first
    // (ties by name).
    static std::vector<StorageTree::Node> layOut(const Builder& part) {
        const auto& nodes = part.nodes_;
        const std::string& names = *part.names_;
        const size_t n = nodes.size();
        std::vector<int64_t> size(n), count(n);
        for (size_t i = 0; i < n; ++i) {
            size[i] = nonNegative(nodes[i].sizeBytes);
            count[i] = nonNegative(nodes[i].fileCount);
        }
        // A parent always precedes its children, so each child is complete when it adds in.
        for (size_t i = n; i-- > 1;) {
            const uint32_t p = nodes[i].parent;
            if (p >= i) continue;  // a malformed link: no parent here
            size[p] = saturatingAdd(size[p], size[i]);
            count[p] = saturatingAdd(count[p], count[i]);
        }
        auto shown = [&](size_t i) {
            return i > 0 && nodes[i].parent < i &&
                   (nodes[i].kind == StorageTree::Kind::folder || count[i] > 0);
        };
        // Children by parent, in one array: those of node p are [start[p], start[p + 1]).
        std::vector<uint32_t> start(n + 1, 0);
        for (size_t i = 1; i < n; ++i) {
            if (shown(i)) ++start[nodes[i].parent + 1];
        }
        for (size_t i = 0; i < n; ++i) start[i + 1] += start[i];
        std::vector<uint32_t> children(start[n]);
        {
            std::vector<uint32_t> cursor(start.begin(), start.end() - 1);
            for (size_t i = 1; i < n; ++i) {
                if (shown(i)) children[cursor[nodes[i].parent]++] = static_cast<uint32_t>(i);
            }
        }
        auto nameOf = [&](uint32_t i) {
            return std::string_view(names).substr(nodes[i].nameOffset, nodes[i].nameLength);
        };
        // Sorted by value: size, then the name's first bytes, which settle most ties.
        struct Key {
            int64_t size;
            uint64_t prefix;
            uint32_t node;
        };
        std::vector<Key> keys;
        std::vector<StorageTree::Node> out;
        std::vector<uint32_t> source;  // out index -> node
        out.reserve(children.size() + 1);
        source.reserve(children.size() + 1);
        out.push_back({});
        out[0].sizeBytes = size[0];
        out[0].fileCount = count[0];
        source.push_back(0);
        for (size_t q = 0; q < out.size(); ++q) {
            const uint32_t b = source[q];
            const auto first = children.begin() + start[b], last = children.begin() + start[b + 1];
            if (first == last) continue;
            keys.clear();
            for (auto c = first; c != last; ++c)
                keys.push_back({size[*c], prefixOf(nameOf(*c)), *c});
            std::sort(keys.begin(), keys.end(), [&](const Key& x, const Key& y) {
                if (x.size != y.size) return x.size > y.size;
                if (x.prefix != y.prefix) return x.prefix < y.prefix;
                return nameOf(x.node) < nameOf(y.node);
            });
            for (size_t k = 0; k < keys.size(); ++k)
                first[static_cast<ptrdiff_t>(k)] = keys[k].node;
            out[q].firstChild = static_cast<StorageTree::Index>(out.size());
            out[q].childCount = static_cast<uint32_t>(last - first);
            for (auto c = first; c != last; ++c) {
                StorageTree::Node m;
                m.name = nameOf(*c);
                m.sizeBytes = size[*c];
                m.fileCount = count[*c];
                m.parent = static_cast<StorageTree::Index>(q);
                m.kind = nodes[*c].kind;
                m.holdsFoldedFolders = nodes[*c].holdsFoldedFolders;
                out.push_back(m);
                source.push_back(*c);
            }
        }
        return out;
    }

    // Joins laid-out parts below a root: the root, its items in the given order, then each
    // part's nodes with their indices moved to where the part lands.
    static StorageTree assemble(const std::string& rootPath, std::string rootDisplay,
                                const std::vector<Top>& tops) {
        StorageTree tree;
        tree.rootPath_ = rootPath;
        tree.rootDisplay_ = std::move(rootDisplay);
        // The root's and the items' names, in one store made before any view into it.
        const std::string rootName = lastComponent(rootPath);
        auto own = std::make_shared<std::string>(rootName);
        for (const auto& top : tops) *own += top.displayName;
        size_t total = 1 + tops.size();
        for (const auto& top : tops) {
            if (!top.part) continue;
            if (top.part->stale_ || top.part->laidOut_.empty()) top.part->layOut();
            total += top.part->laidOut_.size() - 1;
        }
        tree.nodes_.clear();
        tree.nodes_.reserve(total);  // exact: the references below stay valid
        tree.nodes_.resize(1 + tops.size());
        std::string_view ownNames = *own;
        size_t offset = 0;
        auto take = [&](size_t length) {
            const auto v = ownNames.substr(offset, length);
            offset += length;
            return v;
        };
        auto& root = tree.nodes_[0];
        root.name = take(rootName.size());
        root.firstChild = 1;
        root.childCount = static_cast<uint32_t>(tops.size());
        tree.nameStores_.push_back(std::move(own));
        for (size_t j = 0; j < tops.size(); ++j) {
            const Top& top = tops[j];
            const auto item = static_cast<StorageTree::Index>(1 + j);
            StorageTree::Node& n = tree.nodes_[item];
            n.name = take(top.displayName.size());
            n.parent = 0;
            n.isTruncated = top.isTruncated;
            tree.topPaths_.push_back(top.path);
            if (top.part) {
                const auto& part = top.part->laidOut_;
                // The part's node k (k >= 1) lands at base + k - 1.
                const auto base = static_cast<StorageTree::Index>(tree.nodes_.size());
                n.sizeBytes = part[0].sizeBytes;
                n.fileCount = part[0].fileCount;
                n.childCount = part[0].childCount;
                n.firstChild = n.childCount ? part[0].firstChild - 1 + base : 0;
                for (size_t k = 1; k < part.size(); ++k) {
                    StorageTree::Node m = part[k];
                    m.parent = m.parent == 0 ? item : m.parent - 1 + base;
                    if (m.childCount) m.firstChild += base - 1;
                    tree.nodes_.push_back(m);
                }
                tree.nameStores_.push_back(top.part->names_);
            }
            auto& r = tree.nodes_[0];
            r.sizeBytes = saturatingAdd(r.sizeBytes, tree.nodes_[item].sizeBytes);
            r.fileCount = saturatingAdd(r.fileCount, tree.nodes_[item].fileCount);
        }
        return tree;
    }

    static StorageTree fromSpec(const StorageTree::Spec& root, const std::string& rootPath) {
        // Each top-level item is a part of its own, as the walk builds them.
        std::atomic<int64_t> unbounded{std::numeric_limits<int64_t>::max()};
        std::vector<std::unique_ptr<Builder>> parts;
        std::vector<Top> tops;
        for (const auto& child : root.children) {
            parts.push_back(std::make_unique<Builder>(StorageTreeLimits{}, unbounded));
            flatten(child, *parts.back());
            parts.back()->layOut();
            tops.push_back(
                {rootPath + "/" + child.name, child.name, child.isTruncated, parts.back().get()});
        }
        // Top-level items are ordered here, as the storage map orders its items.
        std::stable_sort(tops.begin(), tops.end(), [](const Top& a, const Top& b) {
            return a.part->laidOut_[0].sizeBytes > b.part->laidOut_[0].sizeBytes;
        });
        return assemble(rootPath, root.name, tops);
    }

    // A hand-made item as a part: its nodes depth-first, as a walk would have kept them.
    static void flatten(const StorageTree::Spec& spec, Builder& part) {
        setOwn(spec, part.nodes_[0]);
        addChildren(spec, 0, part);
    }

  private:
    static void setOwn(const StorageTree::Spec& spec, Builder::BuildNode& b) {
        b.kind = spec.kind;
        if (!spec.children.empty()) return;
        b.sizeBytes = nonNegative(spec.sizeBytes);
        b.fileCount = nonNegative(spec.fileCount);
    }
    static void addChildren(const StorageTree::Spec& spec, uint32_t index, Builder& part) {
        for (const auto& child : spec.children) {
            const uint32_t c = part.addNode(index, child.name, child.kind);
            setOwn(child, part.nodes_[c]);
            addChildren(child, c, part);
        }
    }
};

StorageTree::StorageTree() : rootPath_("/"), rootDisplay_("/") {
    nodes_.push_back({});
    nodes_[0].name = "/";
    nodes_[0].firstChild = 1;
}

StorageTree StorageTree::fromSpec(const Spec& root, const std::string& rootPath) {
    return StorageTreeAssembler::fromSpec(root, rootPath);
}

int StorageTree::depth(Index i) const {
    int d = 0;
    while (nodes_[i].parent != kNoNode) {
        i = nodes_[i].parent;
        ++d;
    }
    return d;
}

StorageTree::Index StorageTree::topLevelOf(Index i) const {
    if (i == root()) return kNoNode;
    while (nodes_[i].parent != root()) i = nodes_[i].parent;
    return i;
}

namespace {

// Names from below the top-level item down to `i`, joined with "/" (empty at the top level).
std::string relativeNames(const StorageTree& tree, StorageTree::Index i) {
    std::vector<std::string_view> names;
    while (tree.depth(i) > 1) {
        names.push_back(tree.node(i).name);
        i = tree.node(i).parent;
    }
    std::string out;
    for (auto it = names.rbegin(); it != names.rend(); ++it) {
        if (!out.empty()) out += '/';
        out += *it;
    }
    return out;
}

}  // namespace

std::string StorageTree::path(Index i) const {
    if (nodes_[i].isAggregate()) i = nodes_[i].parent;
    if (i == root()) return rootPath_;
    const Index top = topLevelOf(i);
    const std::string& base = topPaths_[top - nodes_[root()].firstChild];
    const std::string rest = relativeNames(*this, i);
    return rest.empty() ? base : base + "/" + rest;
}

std::string StorageTree::displayPath(Index i) const {
    if (nodes_[i].isAggregate()) i = nodes_[i].parent;
    if (i == root()) return rootDisplay_;
    const std::string_view base = nodes_[topLevelOf(i)].name;
    const std::string rest = relativeNames(*this, i);
    std::string out(base);
    if (rest.empty()) return out;
    if (!base.ends_with('/')) out += '/';
    return out + rest;
}

StorageTreeRootBuilder::StorageTreeRootBuilder(StorageTreeLimits limits,
                                               std::atomic<int64_t>& nodesLeft)
    : limits_(limits), nodesLeft_(nodesLeft), names_(std::make_shared<std::string>()) {
    nodes_.push_back({});
    openLevel();
    takeNode();  // the map item's own node counts too
}

bool StorageTreeRootBuilder::takeNode() {
    if (reserved_ > 0) {
        --reserved_;
        return true;
    }
    // While the budget is far from spent, nodes are taken in batches: the roots walked side by
    // side then rarely touch the shared counter. Near the end they are taken one at a time, so
    // that a batch held by one walk does not leave another short.
    constexpr int64_t kBatch = 256;
    if (nodesLeft_.load(std::memory_order_relaxed) > 16 * kBatch) {
        const int64_t before = nodesLeft_.fetch_sub(kBatch, std::memory_order_relaxed);
        const int64_t got = std::clamp<int64_t>(before, 0, kBatch);
        if (got == 0) return false;
        reserved_ = got - 1;
        return true;
    }
    return nodesLeft_.fetch_sub(1, std::memory_order_relaxed) > 0;
}

uint32_t StorageTreeRootBuilder::addNode(uint32_t parent, std::string_view name,
                                         StorageTree::Kind kind) {
    const auto index = static_cast<uint32_t>(nodes_.size());
    BuildNode b;
    b.nameOffset = static_cast<uint32_t>(names_->size());
    b.nameLength = static_cast<uint32_t>(name.size());
    b.parent = parent;
    b.kind = kind;
    names_->append(name);
    nodes_.push_back(b);
    return index;
}

StorageTreeRootBuilder::Level& StorageTreeRootBuilder::openLevel() {
    // Levels keep their storage once closed, so that a walk allocates per depth, not per folder.
    if (open_ == levels_.size()) levels_.emplace_back();
    Level& level = levels_[open_++];
    level.node = 0;
    level.kept = true;
    level.keptLevel = 0;
    level.largest.clear();
    level.largestIsHeap = false;
    level.namesMark = pendingNames_.size();
    level.restBytes = level.restCount = 0;
    level.restFolds = false;
    level.restLinks.clear();
    return level;
}

void StorageTreeRootBuilder::closeTo(int depth) {
    const auto keep = static_cast<size_t>(std::max(depth, 0)) + 1;
    while (open_ > keep) {
        finishLevel(levels_[open_ - 1]);
        --open_;
    }
}

void StorageTreeRootBuilder::folder(int depth, std::string_view name) {
    closeTo(depth);
    if (open_ != static_cast<size_t>(depth) + 1) return;  // a depth the walk skipped
    const Level& parent = levels_[open_ - 1];
    const bool kept = parent.kept && takeNode();
    const size_t parentKeptLevel = parent.keptLevel;
    const uint32_t node = kept ? addNode(parent.node, name, StorageTree::Kind::folder) : 0;
    Level& level = openLevel();
    if (kept) {
        level.node = node;
        level.keptLevel = open_ - 1;
    } else {
        level.kept = false;
        level.keptLevel = parentKeptLevel;
    }
}

void StorageTreeRootBuilder::file(int depth, std::string_view name, int64_t size,
                                  std::optional<StorageTreeLink> link) {
    closeTo(depth);
    if (open_ != static_cast<size_t>(depth) + 1) return;
    size = nonNegative(size);
    Level& here = levels_[open_ - 1];
    if (!here.kept) {
        // Inside a folder beyond the budget: it counts in the nearest kept folder's aggregate.
        Level& kept = levels_[here.keptLevel];
        kept.restBytes = saturatingAdd(kept.restBytes, size);
        ++kept.restCount;
        kept.restFolds = true;
        if (link) kept.restLinks.emplace_back(*link, size);
        return;
    }
    auto& heap = here.largest;
    auto cmp = [this](const Pending& a, const Pending& b) { return ranksAbove(a, b); };
    auto toRest = [&here](int64_t bytes, const StorageTreeLink* restLink) {
        here.restBytes = saturatingAdd(here.restBytes, bytes);
        ++here.restCount;
        if (restLink) here.restLinks.emplace_back(*restLink, bytes);
    };
    if (heap.size() >= limits_.filesPerFolder) {
        // Full (and so a heap): the newcomer takes the smallest kept file's place only when it
        // ranks above it. Most are told apart by size alone.
        const bool displaces =
            !heap.empty() &&
            (size != heap.front().sizeBytes ? size > heap.front().sizeBytes
                                            : rankAbove(size, prefixOf(name), name, heap.front()));
        if (!displaces) return toRest(size, link ? &*link : nullptr);
        std::pop_heap(heap.begin(), heap.end(), cmp);
        const Pending& smallest = heap.back();
        toRest(smallest.sizeBytes, smallest.link == kNoLink ? nullptr : &links_[smallest.link]);
        heap.pop_back();
    }
    Pending p{size, prefixOf(name), static_cast<uint32_t>(pendingNames_.size()),
              static_cast<uint32_t>(name.size()), kNoLink};
    pendingNames_.append(name);
    if (link) {
        p.link = static_cast<uint32_t>(links_.size());
        links_.push_back(*link);
    }
    // Until the folder has its fill of files they are kept in walk order; a heap is made once
    // it is full, when a newcomer first has to be weighed against the smallest.
    heap.push_back(p);
    if (heap.size() == limits_.filesPerFolder && !here.largestIsHeap) {
        std::make_heap(heap.begin(), heap.end(), cmp);
        here.largestIsHeap = true;
    } else if (here.largestIsHeap) {
        std::push_heap(heap.begin(), heap.end(), cmp);
    }
}

void StorageTreeRootBuilder::finishLevel(Level& level) {
    if (!level.kept) return;
    auto& files = level.largest;
    std::sort(files.begin(), files.end(),
              [this](const Pending& a, const Pending& b) { return ranksAbove(a, b); });
    for (const auto& f : files) {
        if (!takeNode()) {
            level.restBytes = saturatingAdd(level.restBytes, f.sizeBytes);
            ++level.restCount;
            if (f.link != kNoLink) level.restLinks.emplace_back(links_[f.link], f.sizeBytes);
            continue;
        }
        const uint32_t n = addNode(level.node, pendingName(f), StorageTree::Kind::file);
        nodes_[n].sizeBytes = f.sizeBytes;
        nodes_[n].fileCount = 1;
        if (f.link != kNoLink) placed_.emplace(links_[f.link], std::pair{n, f.sizeBytes});
    }
    files.clear();
    pendingNames_.resize(level.namesMark);
    if (level.restCount == 0) return;
    // Always made, so that the sums add up; at most one per kept folder.
    takeNode();
    const uint32_t n = addNode(level.node, {}, StorageTree::Kind::aggregate);
    nodes_[n].sizeBytes = level.restBytes;
    nodes_[n].fileCount = level.restCount;
    nodes_[n].holdsFoldedFolders = level.restFolds;
    for (const auto& [link, size] : level.restLinks) placed_.emplace(link, std::pair{n, size});
    level.restLinks.clear();
}

void StorageTreeRootBuilder::finish() {
    closeTo(0);
    if (open_ > 0) {
        finishLevel(levels_.front());
        open_ = 0;
    }
    // What this walk took ahead and did not use goes back to the others.
    if (reserved_ > 0) nodesLeft_.fetch_add(reserved_, std::memory_order_relaxed);
    reserved_ = 0;
    levels_ = {};
    pendingNames_ = {};
    links_ = {};
    layOut();
}

void StorageTreeRootBuilder::layOut() {
    laidOut_ = StorageTreeAssembler::layOut(*this);
    stale_ = false;
}

void StorageTreeRootBuilder::forget(const StorageTreeLink& link) {
    auto it = placed_.find(link);
    if (it == placed_.end()) return;
    auto& node = nodes_[it->second.first];
    node.sizeBytes = nonNegative(node.sizeBytes - it->second.second);
    node.fileCount = nonNegative(node.fileCount - 1);
    placed_.erase(it);
    stale_ = true;
}

StorageTree assembleStorageTree(const std::string& home,
                                const std::vector<StorageTreeItem>& items) {
    std::vector<StorageTreeAssembler::Top> tops;
    tops.reserve(items.size());
    for (const auto& item : items) {
        tops.push_back({item.path, item.displayName, item.isTruncated, item.part});
    }
    return StorageTreeAssembler::assemble(home, "~", tops);
}

}  // namespace velmora

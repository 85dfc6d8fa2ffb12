#include "CleanerCore/insights/StorageTree.h"

#include <algorithm>
#include <deque>
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

// The smaller of two pending files sits on top of the heap: the first to give way.
template <typename P>
bool ranksAbove(const P& a, const P& b) {
    if (a.sizeBytes != b.sizeBytes) return a.sizeBytes > b.sizeBytes;
    return a.name < b.name;
}

std::string lastComponent(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos || slash + 1 == path.size()) return path;
    return path.substr(slash + 1);
}

}  // namespace

// Lays out parts built elsewhere as one tree: breadth-first, so that the children of every node
// are adjacent, each sibling group largest first.
class StorageTreeAssembler {
  public:
    using BuildNode = StorageTreeRootBuilder::BuildNode;
    struct Top {
        std::string path, displayName;
        bool isTruncated = false;
        const std::vector<BuildNode>* nodes = nullptr;  // none: an item that was not walked
        uint32_t index = 0;
    };

    static StorageTree assemble(const std::string& rootPath, std::string rootDisplay,
                                const std::vector<Top>& tops) {
        StorageTree tree;
        tree.rootPath_ = rootPath;
        tree.rootDisplay_ = std::move(rootDisplay);
        tree.nodes_.clear();
        tree.nodes_.push_back({});
        tree.nodes_[0].name = lastComponent(rootPath);

        // Sums per part: a parent always precedes its children in a part's nodes.
        std::unordered_map<const std::vector<BuildNode>*, std::vector<std::pair<int64_t, int64_t>>>
            totals;
        for (const auto& top : tops) {
            if (!top.nodes || totals.count(top.nodes)) continue;
            auto& t = totals[top.nodes];
            const auto& nodes = *top.nodes;
            t.resize(nodes.size());
            for (size_t i = nodes.size(); i-- > 0;) {
                t[i].first = saturatingAdd(t[i].first, nonNegative(nodes[i].sizeBytes));
                t[i].second = saturatingAdd(t[i].second, nonNegative(nodes[i].fileCount));
            }
            // Children add into parents; done separately so every child is complete first.
            for (size_t i = nodes.size(); i-- > 1;) {
                const uint32_t p = nodes[i].parent;
                if (p >= i) continue;  // the part's root (or a malformed link) has no parent here
                t[p].first = saturatingAdd(t[p].first, t[i].first);
                t[p].second = saturatingAdd(t[p].second, t[i].second);
            }
        }

        struct Queued {
            const std::vector<BuildNode>* nodes;
            uint32_t source;
            StorageTree::Index target;
        };
        std::deque<Queued> queue;
        auto& root = tree.nodes_[0];
        root.firstChild = 1;
        root.childCount = static_cast<uint32_t>(tops.size());
        for (const auto& top : tops) {
            StorageTree::Node n;
            n.name = top.displayName;
            n.parent = 0;
            n.isTruncated = top.isTruncated;
            if (top.nodes) {
                const auto& t = totals[top.nodes][top.index];
                n.sizeBytes = t.first;
                n.fileCount = t.second;
                queue.push_back(
                    {top.nodes, top.index, static_cast<StorageTree::Index>(tree.nodes_.size())});
            }
            tree.nodes_[0].sizeBytes = saturatingAdd(tree.nodes_[0].sizeBytes, n.sizeBytes);
            tree.nodes_[0].fileCount = saturatingAdd(tree.nodes_[0].fileCount, n.fileCount);
            tree.topPaths_.push_back(top.path);
            tree.nodes_.push_back(std::move(n));
        }

        struct Child {
            uint32_t source;
            int64_t sizeBytes, fileCount;
            const std::string* name;
        };
        std::vector<Child> children;
        while (!queue.empty()) {
            const Queued q = queue.front();
            queue.pop_front();
            const auto& nodes = *q.nodes;
            const auto& t = totals[q.nodes];
            children.clear();
            for (uint32_t c : nodes[q.source].children) {
                // A file or aggregate whose every file another root counted has gone.
                if (nodes[c].kind != StorageTree::Kind::folder && t[c].second <= 0) continue;
                children.push_back({c, t[c].first, t[c].second, &nodes[c].name});
            }
            std::sort(children.begin(), children.end(), [](const Child& a, const Child& b) {
                if (a.sizeBytes != b.sizeBytes) return a.sizeBytes > b.sizeBytes;
                return *a.name < *b.name;
            });
            const auto first = static_cast<StorageTree::Index>(tree.nodes_.size());
            tree.nodes_[q.target].firstChild = first;
            tree.nodes_[q.target].childCount = static_cast<uint32_t>(children.size());
            for (const auto& c : children) {
                const BuildNode& b = nodes[c.source];
                StorageTree::Node n;
                n.name = b.name;
                n.sizeBytes = c.sizeBytes;
                n.fileCount = c.fileCount;
                n.parent = q.target;
                n.kind = b.kind;
                n.holdsFoldedFolders = b.holdsFoldedFolders;
                if (!b.children.empty()) {
                    queue.push_back(
                        {q.nodes, c.source, static_cast<StorageTree::Index>(tree.nodes_.size())});
                }
                tree.nodes_.push_back(std::move(n));
            }
        }
        return tree;
    }

    static void flatten(const StorageTree::Spec& spec, uint32_t parent,
                        std::vector<BuildNode>& out) {
        const auto index = static_cast<uint32_t>(out.size());
        BuildNode b;
        b.name = spec.name;
        b.parent = parent;
        b.kind = spec.kind;
        if (spec.children.empty()) {
            b.sizeBytes = nonNegative(spec.sizeBytes);
            b.fileCount = nonNegative(spec.fileCount);
        }
        out.push_back(std::move(b));
        for (const auto& child : spec.children) {
            out[index].children.push_back(static_cast<uint32_t>(out.size()));
            flatten(child, index, out);
        }
    }
};

StorageTree::StorageTree() : rootPath_("/"), rootDisplay_("/") {
    nodes_.push_back({});
    nodes_[0].name = "/";
    nodes_[0].firstChild = 1;
}

StorageTree StorageTree::fromSpec(const Spec& root, const std::string& rootPath) {
    // Each top-level item is a part of its own, as the walk builds them.
    std::vector<std::vector<StorageTreeAssembler::BuildNode>> parts(root.children.size());
    std::vector<StorageTreeAssembler::Top> tops;
    for (size_t i = 0; i < root.children.size(); ++i) {
        StorageTreeAssembler::flatten(root.children[i], 0, parts[i]);
        const std::string& name = root.children[i].name;
        tops.push_back({rootPath + "/" + name, name, root.children[i].isTruncated, &parts[i], 0});
    }
    auto tree = StorageTreeAssembler::assemble(rootPath, root.name, tops);
    // Top-level items are ordered here, as the storage map orders its items.
    std::vector<size_t> order(tops.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return tree.nodes_[1 + a].sizeBytes > tree.nodes_[1 + b].sizeBytes;
    });
    std::vector<StorageTreeAssembler::Top> sorted;
    for (size_t i : order) sorted.push_back(tops[i]);
    return StorageTreeAssembler::assemble(rootPath, root.name, sorted);
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
    std::vector<const std::string*> names;
    while (tree.depth(i) > 1) {
        names.push_back(&tree.node(i).name);
        i = tree.node(i).parent;
    }
    std::string out;
    for (auto it = names.rbegin(); it != names.rend(); ++it) {
        if (!out.empty()) out += '/';
        out += **it;
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
    const std::string& base = nodes_[topLevelOf(i)].name;
    const std::string rest = relativeNames(*this, i);
    if (rest.empty()) return base;
    return base.ends_with('/') ? base + rest : base + "/" + rest;
}

StorageTreeRootBuilder::StorageTreeRootBuilder(StorageTreeLimits limits,
                                               std::atomic<int64_t>& nodesLeft)
    : limits_(limits), nodesLeft_(nodesLeft) {
    nodes_.push_back({});
    levels_.push_back({});
    takeNode();  // the map item's own node counts too
}

bool StorageTreeRootBuilder::takeNode() {
    return nodesLeft_.fetch_sub(1, std::memory_order_relaxed) > 0;
}

uint32_t StorageTreeRootBuilder::addNode(uint32_t parent, std::string name,
                                         StorageTree::Kind kind) {
    const auto index = static_cast<uint32_t>(nodes_.size());
    BuildNode b;
    b.name = std::move(name);
    b.parent = parent;
    b.kind = kind;
    nodes_.push_back(std::move(b));
    nodes_[parent].children.push_back(index);
    return index;
}

void StorageTreeRootBuilder::closeTo(int depth) {
    const auto keep = static_cast<size_t>(std::max(depth, 0)) + 1;
    while (levels_.size() > keep) {
        finishLevel(levels_.back());
        levels_.pop_back();
    }
}

void StorageTreeRootBuilder::folder(int depth, std::string_view name) {
    closeTo(depth);
    if (levels_.size() != static_cast<size_t>(depth) + 1) return;  // a depth the walk skipped
    const Level& parent = levels_.back();
    Level level;
    if (parent.kept && takeNode()) {
        level.node = addNode(parent.node, std::string(name), StorageTree::Kind::folder);
        level.keptLevel = levels_.size();
    } else {
        level.kept = false;
        level.keptLevel = parent.keptLevel;
    }
    levels_.push_back(std::move(level));
}

void StorageTreeRootBuilder::file(int depth, std::string_view name, int64_t size,
                                  std::optional<StorageTreeLink> link) {
    closeTo(depth);
    if (levels_.size() != static_cast<size_t>(depth) + 1) return;
    size = nonNegative(size);
    Level& here = levels_.back();
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
    auto cmp = [](const Pending& a, const Pending& b) { return ranksAbove(a, b); };
    heap.push_back({std::string(name), size, link});
    std::push_heap(heap.begin(), heap.end(), cmp);
    if (heap.size() > limits_.filesPerFolder) {
        std::pop_heap(heap.begin(), heap.end(), cmp);
        Pending& smallest = heap.back();
        here.restBytes = saturatingAdd(here.restBytes, smallest.sizeBytes);
        ++here.restCount;
        if (smallest.link) here.restLinks.emplace_back(*smallest.link, smallest.sizeBytes);
        heap.pop_back();
    }
}

void StorageTreeRootBuilder::finishLevel(Level& level) {
    if (!level.kept) return;
    auto& files = level.largest;
    std::sort(files.begin(), files.end(),
              [](const Pending& a, const Pending& b) { return ranksAbove(a, b); });
    for (auto& f : files) {
        if (!takeNode()) {
            level.restBytes = saturatingAdd(level.restBytes, f.sizeBytes);
            ++level.restCount;
            if (f.link) level.restLinks.emplace_back(*f.link, f.sizeBytes);
            continue;
        }
        const uint32_t n = addNode(level.node, std::move(f.name), StorageTree::Kind::file);
        nodes_[n].sizeBytes = f.sizeBytes;
        nodes_[n].fileCount = 1;
        if (f.link) placed_.emplace(*f.link, std::pair{n, f.sizeBytes});
    }
    files.clear();
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
    if (!levels_.empty()) {
        finishLevel(levels_.front());
        levels_.clear();
    }
}

void StorageTreeRootBuilder::forget(const StorageTreeLink& link) {
    auto it = placed_.find(link);
    if (it == placed_.end()) return;
    auto& node = nodes_[it->second.first];
    node.sizeBytes = nonNegative(node.sizeBytes - it->second.second);
    node.fileCount = nonNegative(node.fileCount - 1);
    placed_.erase(it);
}

StorageTree assembleStorageTree(const std::string& home,
                                const std::vector<StorageTreeItem>& items) {
    std::vector<StorageTreeAssembler::Top> tops;
    for (const auto& item : items) {
        tops.push_back({item.path, item.displayName, item.isTruncated,
                        item.part ? &item.part->nodes_ : nullptr, 0});
    }
    return StorageTreeAssembler::assemble(home, "~", tops);
}

}  // namespace velmora

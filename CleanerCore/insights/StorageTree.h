#pragma once
// A bounded tree of folder and file sizes under a home folder: the data behind the treemap and
// the flame graph. The insight walk builds one part per root as it goes (StorageTreeRootBuilder)
// and joins the parts in storage-map order (assembleStorageTree).
//
// Shape: the root node is the home folder; its children are the storage map's items, with the
// same sizes and file counts (a file with several names counts once, where the map counts it);
// below them folders, files (packages count as files) and aggregates. Sizes are allocated bytes
// as the map counts them; a folder's size and file count are the sums of its children's. The
// children of every node are stored next to each other, largest first (ties by name).
//
// Bounds, so that memory stays small whatever the home holds:
// - `maximumNodes`: folders are kept as the walks meet them until the budget is spent; a folder
//   met after that gets no node, and everything inside it counts in the aggregate of its nearest
//   kept folder (which is then marked `holdsFoldedFolders`). Files take nodes from the same
//   budget when their folder is finished; the budget is shared by the roots walked side by side,
//   so which deep folders fold depends on the walk order once it is spent.
// - `filesPerFolder`: per folder only the largest files get nodes; the rest are one aggregate
//   node ("N smaller files") holding their total size and count.
// While walking, each open folder keeps at most `filesPerFolder` pending files, and only the
// folders on the current path are open.
//
// Names: a node's name is a view into storage the tree shares with its copies.
//
// Threading: a finished tree is immutable and may be read from any thread. A root builder is
// used by one thread; builders of different roots may run side by side.
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora {

struct StorageTreeLimits {
    size_t maximumNodes = 200'000;
    /// Eight: a folder's largest files usually hold most of its bytes, and every kept file
    /// lengthens the scan (by about 0.15 µs, more than the rest of the tree's work per file).
    size_t filesPerFolder = 8;
};

class StorageTreeRootBuilder;

class StorageTree {
  public:
    using Index = uint32_t;
    static constexpr Index kNoNode = UINT32_MAX;

    enum class Kind : uint8_t {
        folder,
        file,       ///< a regular file or a package counted as one unit
        aggregate,  ///< the files of a folder not shown one by one
    };

    struct Node {
        /// Last path component; a map item's display name; "" for an aggregate. It lives as
        /// long as the tree (or a copy of it) does.
        std::string_view name;
        int64_t sizeBytes = 0;   ///< never negative
        int64_t fileCount = 0;   ///< regular files (and packages) counted in it
        Index parent = kNoNode;  ///< kNoNode for the root only
        Index firstChild = 0;    ///< the children are nodes [firstChild, firstChild + childCount)
        uint32_t childCount = 0;
        Kind kind = Kind::folder;
        bool isTruncated = false;  ///< a map item whose walk stopped before the end
        bool holdsFoldedFolders =
            false;  ///< an aggregate that also holds folders beyond the budget

        bool isFolder() const { return kind == Kind::folder; }
        bool isAggregate() const { return kind == Kind::aggregate; }
    };

    /// A tree described by hand (previews, tests, benchmarks). A folder with children takes the
    /// sums of its children (saturating at the largest 64-bit value); a folder without children
    /// keeps its own values. Negative values count as 0.
    struct Spec {
        std::string name;
        int64_t sizeBytes = 0;
        int64_t fileCount = 0;
        Kind kind = Kind::folder;
        bool isTruncated = false;
        std::vector<Spec> children;
    };
    /// `root`'s children become the top-level items, at `rootPath`/<name>.
    static StorageTree fromSpec(const Spec& root, const std::string& rootPath);

    /// An empty tree: a root without children at "/".
    StorageTree();

    Index root() const { return 0; }
    const Node& node(Index i) const { return nodes_[i]; }
    size_t nodeCount() const { return nodes_.size(); }
    std::span<const Node> children(Index i) const {
        return {nodes_.data() + nodes_[i].firstChild, nodes_[i].childCount};
    }
    Index indexOf(const Node& n) const { return static_cast<Index>(&n - nodes_.data()); }
    /// 0 for the root, 1 for the map items, and so on.
    int depth(Index i) const;
    /// The top-level item `i` lies in (`i` itself at depth 1); kNoNode for the root.
    Index topLevelOf(Index i) const;

    /// The node's absolute path; an aggregate has its folder's path.
    std::string path(Index i) const;
    /// The path as people read it: "~" for the home, "~/rest" below it (the map items' own
    /// display names below which the names are joined with "/").
    std::string displayPath(Index i) const;

  private:
    friend class StorageTreeAssembler;
    std::vector<Node> nodes_;
    std::string rootPath_, rootDisplay_;
    /// Per top-level item (in child order of the root): its absolute path.
    std::vector<std::string> topPaths_;
    /// Where the nodes' names live; shared and never changed, so copies of the tree stay valid.
    std::vector<std::shared_ptr<const std::string>> nameStores_;
};

/// The identity of a file with several names, to count it once across roots.
struct StorageTreeLink {
    uint64_t device = 0, inode = 0;
    friend bool operator==(const StorageTreeLink&, const StorageTreeLink&) = default;
};

struct StorageTreeItem;

/// Builds the part of a tree below one map item from the walk of its root, whose entries are
/// at depth 0. Calls follow the depth-first walk: a folder is announced right before it is
/// entered, and everything that follows at a greater depth lies inside it.
///
/// Cost: a file that does not make its folder's largest files copies nothing; `finish` lays
/// the part out as the tree will hold it, on the walking thread, so that joining the parts is
/// a copy.
class StorageTreeRootBuilder {
  public:
    /// `nodesLeft` is the budget shared by the builders of one scan.
    StorageTreeRootBuilder(StorageTreeLimits limits, std::atomic<int64_t>& nodesLeft);

    /// A folder about to be entered.
    void folder(int depth, std::string_view name);
    /// A counted file (or package) of `size` bytes; `link` when it has several names.
    void file(int depth, std::string_view name, int64_t size,
              std::optional<StorageTreeLink> link = std::nullopt);
    /// Closes the folders still open and lays the part out; call once the walk is over.
    void finish();
    /// Takes out a file with several names that another root counted already: its size and
    /// count leave the node it went to. After `finish`; the part is laid out again when joined.
    void forget(const StorageTreeLink& link);

  private:
    friend class StorageTreeAssembler;
    static constexpr uint32_t kNoLink = UINT32_MAX;

    struct BuildNode {
        uint32_t nameOffset = 0, nameLength = 0;  // in names_
        int64_t sizeBytes = 0, fileCount = 0;     // own (leaves); folders sum at layout
        uint32_t parent = 0;                      // always below the node's own index
        StorageTree::Kind kind = StorageTree::Kind::folder;
        bool holdsFoldedFolders = false;
    };
    /// A file waiting for its folder to finish; its name is in pendingNames_.
    struct Pending {
        int64_t sizeBytes;
        uint64_t prefix;  // the name's first 8 bytes, big-endian: most ties end here
        uint32_t nameOffset, nameLength;
        uint32_t link;  // into links_, or kNoLink
    };
    struct Level {
        uint32_t node = 0;  // its node when kept
        bool kept = true;
        size_t keptLevel = 0;          // the level whose folder receives what lies here
        std::vector<Pending> largest;  // a heap once full, the smallest kept file on top
        bool largestIsHeap = false;
        size_t namesMark = 0;  // pendingNames_ before this folder's files
        int64_t restBytes = 0, restCount = 0;
        bool restFolds = false;
        std::vector<std::pair<StorageTreeLink, int64_t>> restLinks;
    };
    struct LinkHash {
        size_t operator()(const StorageTreeLink& l) const {
            return std::hash<uint64_t>()(l.inode * 1'000'003u ^ l.device);
        }
    };

    Level& openLevel();
    void closeTo(int depth);
    void finishLevel(Level& level);
    std::string_view pendingName(const Pending& p) const {
        return std::string_view(pendingNames_).substr(p.nameOffset, p.nameLength);
    }
    /// Larger first, ties by name: the smaller of two pending files is the first to give way.
    bool rankAbove(int64_t size, uint64_t prefix, std::string_view name, const Pending& b) const {
        if (size != b.sizeBytes) return size > b.sizeBytes;
        if (prefix != b.prefix) return prefix < b.prefix;
        return name < pendingName(b);
    }
    bool ranksAbove(const Pending& a, const Pending& b) const {
        return rankAbove(a.sizeBytes, a.prefix, pendingName(a), b);
    }
    bool takeNode();
    uint32_t addNode(uint32_t parent, std::string_view name, StorageTree::Kind kind);
    void layOut();

    StorageTreeLimits limits_;
    std::atomic<int64_t>& nodesLeft_;
    int64_t reserved_ = 0;  // nodes taken from nodesLeft_ ahead, not yet used
    std::vector<BuildNode> nodes_;
    std::shared_ptr<std::string> names_;  // the kept nodes' names, shared with the tree
    std::string pendingNames_;            // the open folders' pending files' names
    std::vector<StorageTreeLink> links_;  // of pending files with several names
    std::vector<Level> levels_;           // [0, open_) are open; the rest keep their storage
    size_t open_ = 0;
    std::unordered_map<StorageTreeLink, std::pair<uint32_t, int64_t>, LinkHash> placed_;
    /// The part as the tree holds it: node 0 is the map item, the children of every node are
    /// adjacent and sorted, indices are local. Empty until `finish`.
    std::vector<StorageTree::Node> laidOut_;
    bool stale_ = false;  // a `forget` since the layout
};

/// One map item and the part of the tree its walk built (none when the root was not walked).
struct StorageTreeItem {
    std::string path;         ///< the root's standardized path
    std::string displayName;  ///< the map item's display name
    bool isTruncated = false;
    /// Finished; a part that forgot files is laid out again by the assembly.
    StorageTreeRootBuilder* part = nullptr;
};

/// The tree of `home` from its map items, in map order.
StorageTree assembleStorageTree(const std::string& home, const std::vector<StorageTreeItem>& items);

}  // namespace velmora

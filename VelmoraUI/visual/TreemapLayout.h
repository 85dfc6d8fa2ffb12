#pragma once
// The geometry of a treemap of a storage tree: data in, rectangles out, no painting.
//
// A node's children are laid out in a rectangle by the squarified algorithm (rows of tiles
// whose aspect ratios stay close to 1, children taken largest first), and a folder's tile holds
// its own children below a band for its name, to a chosen depth. Areas are proportional to
// sizes. Children whose tiles would be smaller than `minimumTileArea` are merged into one tile
// per folder (dropped too when even that tile is below the minimum), so the number of tiles is
// bounded by the pixels, never by the tree. Children of size 0 get no tile. Sizes are used as
// doubles, so the largest 64-bit sizes are safe.
//
// Tiles are listed parent before children; the last tile that contains a point is the deepest.
// Pure and thread-safe; the tree must outlive nothing here (tiles hold indices).
#include <QRectF>
#include <span>
#include <vector>

#include "CleanerCore/insights/StorageTree.h"

namespace velmora::visual {

struct TreemapOptions {
    /// Levels below the laid-out node: 1 lays out its children only.
    int maximumDepth = 3;
    /// Tiles smaller than this (square pixels) are merged.
    double minimumTileArea = 16;
    /// Height kept at the top of a folder's tile for its name when it shows its children.
    double labelBand = 16;
    /// Space between a folder's edge and its children.
    double padding = 2;
};

struct TreemapTile {
    /// The node shown; for a merged tile, the folder whose small children it stands for.
    StorageTree::Index node = StorageTree::kNoNode;
    QRectF rect;
    int depth = 1;  ///< 1 for the children of the laid-out node
    bool isMerged = false;
    int64_t sizeBytes = 0;    ///< the node's size, or the merged children's total
    int64_t mergedCount = 0;  ///< how many children a merged tile stands for
};

class TreemapLayout {
  public:
    TreemapLayout() = default;
    /// Lays out `focus`'s subtree of `tree` in `bounds`.
    TreemapLayout(const StorageTree& tree, StorageTree::Index focus, const QRectF& bounds,
                  const TreemapOptions& options = {});

    StorageTree::Index focus() const { return focus_; }
    const QRectF& bounds() const { return bounds_; }
    const std::vector<TreemapTile>& tiles() const { return tiles_; }
    /// The deepest tile containing `point`, or null.
    const TreemapTile* tileAt(const QPointF& point) const;

    /// Squarified rectangles for `weights` (largest first; non-negative) filling `bounds`, in
    /// the same order; all empty when the weights add up to nothing.
    static std::vector<QRectF> squarify(std::span<const double> weights, const QRectF& bounds);
    /// The plain slicing of `bounds` in one direction (for comparison): along the longer side.
    static std::vector<QRectF> slice(std::span<const double> weights, const QRectF& bounds);

  private:
    void layoutChildren(const StorageTree& tree, StorageTree::Index folder, const QRectF& rect,
                        int depth, const TreemapOptions& options);

    StorageTree::Index focus_ = StorageTree::kNoNode;
    QRectF bounds_;
    std::vector<TreemapTile> tiles_;
};

}  // namespace velmora::visual

#pragma once
// The geometry of a flame graph of a storage tree: one row per depth below a focus node, each
// item's horizontal extent proportional to its size and lying within its parent's. Children
// narrower than `minimumWidth` are merged into one item per parent (dropped too when even that
// item is narrower), so the number of items is bounded by the width, never by the tree.
// Children of size 0 get no item. Pure and thread-safe.
#include <vector>

#include "CleanerCore/insights/StorageTree.h"

namespace velmora::visual {

struct FlameGraphOptions {
    /// Rows below the focus's own row (row 0).
    int maximumDepth = 12;
    /// Items narrower than this (pixels) are merged.
    double minimumWidth = 3;
};

struct FlameGraphItem {
    /// The node shown; for a merged item, the folder whose narrow children it stands for.
    StorageTree::Index node = StorageTree::kNoNode;
    double x = 0, width = 0;
    bool isMerged = false;
    int64_t sizeBytes = 0;    ///< the node's size, or the merged children's total
    int64_t mergedCount = 0;  ///< how many children a merged item stands for
};

class FlameGraphRows {
  public:
    FlameGraphRows() = default;
    /// Row 0 is `focus` across [0, width); row k + 1 holds the children of row k's items.
    FlameGraphRows(const StorageTree& tree, StorageTree::Index focus, double width,
                   const FlameGraphOptions& options = {});

    StorageTree::Index focus() const { return focus_; }
    double width() const { return width_; }
    const std::vector<std::vector<FlameGraphItem>>& rows() const { return rows_; }
    /// The item of `row` that covers `x`, or null.
    const FlameGraphItem* itemAt(int row, double x) const;
    size_t itemCount() const;

  private:
    StorageTree::Index focus_ = StorageTree::kNoNode;
    double width_ = 0;
    std::vector<std::vector<FlameGraphItem>> rows_;
};

}  // namespace velmora::visual

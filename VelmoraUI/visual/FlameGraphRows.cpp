#include "VelmoraUI/visual/FlameGraphRows.h"

#include <algorithm>
#include <limits>

namespace velmora::visual {

FlameGraphRows::FlameGraphRows(const StorageTree& tree, StorageTree::Index focus, double width,
                               const FlameGraphOptions& options)
    : focus_(focus), width_(std::max(width, 0.0)) {
    if (focus >= tree.nodeCount() || !(width_ > 0)) return;
    const auto& f = tree.node(focus);
    rows_.push_back({{focus, 0, width_, false, f.sizeBytes, 0}});
    for (int depth = 0; depth < options.maximumDepth; ++depth) {
        std::vector<FlameGraphItem> next;
        for (const auto& parent : rows_.back()) {
            if (parent.isMerged) continue;
            const auto& p = tree.node(parent.node);
            if (p.childCount == 0 || p.sizeBytes <= 0) continue;
            const double scale = parent.width / static_cast<double>(p.sizeBytes);
            double x = parent.x;
            FlameGraphItem merged{parent.node, 0, 0, true, 0, 0};
            for (const auto& c : tree.children(parent.node)) {
                if (c.sizeBytes <= 0) continue;
                const double w = static_cast<double>(c.sizeBytes) * scale;
                // Children are largest first: once one is too narrow, the rest are too.
                if (w >= options.minimumWidth && merged.mergedCount == 0) {
                    next.push_back({tree.indexOf(c), x, w, false, c.sizeBytes, 0});
                    x += w;
                    continue;
                }
                merged.width += w;
                merged.sizeBytes =
                    merged.sizeBytes > std::numeric_limits<int64_t>::max() - c.sizeBytes
                        ? std::numeric_limits<int64_t>::max()
                        : merged.sizeBytes + c.sizeBytes;
                ++merged.mergedCount;
            }
            if (merged.mergedCount > 0 && merged.width >= options.minimumWidth) {
                merged.x = x;
                next.push_back(merged);
            }
        }
        if (next.empty()) break;
        rows_.push_back(std::move(next));
    }
}

const FlameGraphItem* FlameGraphRows::itemAt(int row, double x) const {
    if (row < 0 || static_cast<size_t>(row) >= rows_.size()) return nullptr;
    for (const auto& item : rows_[static_cast<size_t>(row)]) {
        if (x >= item.x && x < item.x + item.width) return &item;
    }
    return nullptr;
}

size_t FlameGraphRows::itemCount() const {
    size_t n = 0;
    for (const auto& row : rows_) n += row.size();
    return n;
}

}  // namespace velmora::visual

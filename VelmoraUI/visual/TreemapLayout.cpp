#include "VelmoraUI/visual/TreemapLayout.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace velmora::visual {

namespace {

// The worst aspect ratio of a row of `sum` total area holding areas between `smallest` and
// `largest`, laid along a side of length `side`.
double worstRatio(double sum, double smallest, double largest, double side) {
    if (sum <= 0 || smallest <= 0 || side <= 0) return std::numeric_limits<double>::infinity();
    const double s2 = sum * sum, w2 = side * side;
    return std::max(w2 * largest / s2, s2 / (w2 * smallest));
}

// Lays the areas [first, last) as one row along the shorter side of `free`, and takes the row's
// strip off `free`. The last tile ends exactly at the strip's end, so no rounding gap opens.
void layRow(std::span<const double> areas, size_t first, size_t last, double rowArea, QRectF& free,
            std::vector<QRectF>& out) {
    const bool column = free.width() >= free.height();  // the row is a column at the left
    const double length = column ? free.height() : free.width();
    const double thickness =
        length > 0 ? std::min(rowArea / length, column ? free.width() : free.height()) : 0;
    double offset = 0;
    for (size_t i = first; i < last; ++i) {
        const double extent =
            i + 1 == last ? length - offset : (rowArea > 0 ? areas[i] / rowArea * length : 0);
        if (column)
            out[i] = QRectF(free.left(), free.top() + offset, thickness, extent);
        else
            out[i] = QRectF(free.left() + offset, free.top(), extent, thickness);
        offset += extent;
    }
    if (column)
        free.setLeft(free.left() + thickness);
    else
        free.setTop(free.top() + thickness);
}

}  // namespace

std::vector<QRectF> TreemapLayout::squarify(std::span<const double> weights, const QRectF& bounds) {
    std::vector<QRectF> out(weights.size());
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0,
                                         [](double a, double w) { return a + std::max(w, 0.0); });
    const double area = bounds.width() * bounds.height();
    if (!(total > 0) || !(area > 0)) return out;
    std::vector<double> areas(weights.size());
    for (size_t i = 0; i < weights.size(); ++i) areas[i] = std::max(weights[i], 0.0) / total * area;
    // Zero areas at the end get empty rectangles: they cannot make a row better.
    size_t n = areas.size();
    while (n > 0 && areas[n - 1] <= 0) --n;

    QRectF free = bounds;
    size_t i = 0;
    while (i < n) {
        const double side = std::min(free.width(), free.height());
        size_t j = i + 1;
        double sum = areas[i], largest = areas[i], smallest = areas[i];
        double worst = worstRatio(sum, smallest, largest, side);
        while (j < n) {
            const double a = areas[j];
            const double next =
                worstRatio(sum + a, std::min(smallest, a), std::max(largest, a), side);
            if (next > worst) break;
            sum += a;
            smallest = std::min(smallest, a);
            largest = std::max(largest, a);
            worst = next;
            ++j;
        }
        if (j == n) {
            // The last row takes what is left, so the tiles fill the bounds exactly.
            sum = free.width() * free.height();
        }
        layRow(areas, i, j, sum, free, out);
        i = j;
    }
    return out;
}

std::vector<QRectF> TreemapLayout::slice(std::span<const double> weights, const QRectF& bounds) {
    std::vector<QRectF> out(weights.size());
    const double total = std::accumulate(weights.begin(), weights.end(), 0.0,
                                         [](double a, double w) { return a + std::max(w, 0.0); });
    if (!(total > 0)) return out;
    const bool across = bounds.width() >= bounds.height();
    const double length = across ? bounds.width() : bounds.height();
    double offset = 0;
    for (size_t i = 0; i < weights.size(); ++i) {
        const double extent = std::max(weights[i], 0.0) / total * length;
        out[i] = across ? QRectF(bounds.left() + offset, bounds.top(), extent, bounds.height())
                        : QRectF(bounds.left(), bounds.top() + offset, bounds.width(), extent);
        offset += extent;
    }
    return out;
}

TreemapLayout::TreemapLayout(const StorageTree& tree, StorageTree::Index focus,
                             const QRectF& bounds, const TreemapOptions& options)
    : focus_(focus), bounds_(bounds) {
    if (focus >= tree.nodeCount() || options.maximumDepth < 1) return;
    layoutChildren(tree, focus, bounds, 1, options);
}

void TreemapLayout::layoutChildren(const StorageTree& tree, StorageTree::Index folder,
                                   const QRectF& rect, int depth, const TreemapOptions& options) {
    const auto children = tree.children(folder);
    const double area = rect.width() * rect.height();
    if (children.empty() || !(area > 0)) return;
    double total = 0;
    for (const auto& c : children) total += static_cast<double>(std::max<int64_t>(c.sizeBytes, 0));
    if (!(total > 0)) return;

    // Children are largest first: those big enough form a prefix, the rest merge.
    struct Item {
        double weight;
        StorageTree::Index node;  // kNoNode: the merged tile
    };
    std::vector<Item> items;
    double mergedWeight = 0;
    int64_t mergedBytes = 0, mergedCount = 0;
    const double minimumWeight = options.minimumTileArea / area * total;
    for (const auto& c : children) {
        const double w = static_cast<double>(std::max<int64_t>(c.sizeBytes, 0));
        if (w <= 0) continue;
        if (w >= minimumWeight && mergedCount == 0) {
            items.push_back({w, tree.indexOf(c)});
            continue;
        }
        mergedWeight += w;
        mergedBytes = mergedBytes > std::numeric_limits<int64_t>::max() - c.sizeBytes
                          ? std::numeric_limits<int64_t>::max()
                          : mergedBytes + c.sizeBytes;
        ++mergedCount;
    }
    if (mergedCount > 0) {
        // In its place by weight, so the rows stay squarified.
        Item merged{mergedWeight, StorageTree::kNoNode};
        auto at = std::find_if(items.begin(), items.end(),
                               [&](const Item& i) { return i.weight < mergedWeight; });
        items.insert(at, merged);
    }
    std::vector<double> weights(items.size());
    for (size_t i = 0; i < items.size(); ++i) weights[i] = items[i].weight;
    const auto rects = squarify(weights, rect);

    for (size_t i = 0; i < items.size(); ++i) {
        const QRectF& r = rects[i];
        if (r.width() * r.height() < options.minimumTileArea) continue;
        if (items[i].node == StorageTree::kNoNode) {
            tiles_.push_back({folder, r, depth, true, mergedBytes, mergedCount});
            continue;
        }
        const auto& node = tree.node(items[i].node);
        tiles_.push_back({items[i].node, r, depth, false, node.sizeBytes, 0});
        if (depth >= options.maximumDepth || !node.isFolder() || node.childCount == 0) continue;
        const QRectF inner =
            r.adjusted(options.padding, options.labelBand, -options.padding, -options.padding);
        if (inner.width() <= 0 || inner.height() <= 0) continue;
        layoutChildren(tree, items[i].node, inner, depth + 1, options);
    }
}

const TreemapTile* TreemapLayout::tileAt(const QPointF& point) const {
    for (auto it = tiles_.rbegin(); it != tiles_.rend(); ++it) {
        const QRectF& r = it->rect;
        if (point.x() >= r.left() && point.x() < r.right() && point.y() >= r.top() &&
            point.y() < r.bottom())
            return &*it;
    }
    return nullptr;
}

}  // namespace velmora::visual

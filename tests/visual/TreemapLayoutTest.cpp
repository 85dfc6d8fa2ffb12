#include "VelmoraUI/visual/TreemapLayout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "visual/TreeSpecs.h"

namespace velmora::visual {
namespace {

using test::fileSpec;
using test::folderSpec;
using Spec = StorageTree::Spec;
constexpr int64_t kMax = std::numeric_limits<int64_t>::max();

double area(const QRectF& r) {
    return std::max(r.width(), 0.0) * std::max(r.height(), 0.0);
}
double aspect(const QRectF& r) {
    return std::max(r.width() / r.height(), r.height() / r.width());
}
void expectInside(const QRectF& inner, const QRectF& outer, double eps = 1e-6) {
    EXPECT_GE(inner.left(), outer.left() - eps);
    EXPECT_GE(inner.top(), outer.top() - eps);
    EXPECT_LE(inner.right(), outer.right() + eps);
    EXPECT_LE(inner.bottom(), outer.bottom() + eps);
}
void expectDisjoint(const std::vector<QRectF>& rects, double eps) {
    for (size_t i = 0; i < rects.size(); ++i)
        for (size_t j = i + 1; j < rects.size(); ++j)
            EXPECT_LE(area(rects[i].intersected(rects[j])), eps) << i << " and " << j;
}

TEST(SquarifyTest, TilesFillTheBoundsInProportionWithoutOverlap) {
    struct Row {
        const char* name;
        std::vector<double> weights;
        QRectF bounds;
    };
    const Row rows[] = {
        {"classic", {6, 6, 4, 3, 2, 2, 1}, {0, 0, 6, 4}},
        {"single", {5}, {10, 20, 300, 7}},
        {"trailing zeros", {5, 3, 0, 0}, {0, 0, 40, 40}},
        {"thin strip", {1, 1, 1, 1, 1}, {0, 0, 1000, 2}},
        {"largest sizes", {9.2e18, 9.2e18, 1}, {0, 0, 1280, 800}},
        {"many unequal", {1000, 500, 250, 125, 60, 30, 15, 8, 4, 2, 1}, {5, 5, 640, 480}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto rects = TreemapLayout::squarify(row.weights, row.bounds);
        ASSERT_EQ(rects.size(), row.weights.size());
        double total = 0;
        for (double w : row.weights) total += w;
        const double boundsArea = area(row.bounds);
        double covered = 0;
        for (size_t i = 0; i < rects.size(); ++i) {
            if (row.weights[i] > 0) expectInside(rects[i], row.bounds);
            EXPECT_NEAR(area(rects[i]), row.weights[i] / total * boundsArea, boundsArea * 1e-9);
            covered += area(rects[i]);
        }
        EXPECT_NEAR(covered, boundsArea, boundsArea * 1e-9);
        expectDisjoint(rects, boundsArea * 1e-9);
    }
    EXPECT_EQ(TreemapLayout::squarify(std::vector<double>{0, 0}, {0, 0, 10, 10}),
              std::vector<QRectF>(2));
}

// The classic example: squarified rows keep tiles far closer to squares than slicing does.
TEST(SquarifyTest, BeatsSlicingOnAspectRatio) {
    const std::vector<double> weights{6, 6, 4, 3, 2, 2, 1};
    const QRectF bounds(0, 0, 6, 4);
    auto worst = [](const std::vector<QRectF>& rects) {
        double w = 0;
        for (const auto& r : rects) w = std::max(w, aspect(r));
        return w;
    };
    const double squarified = worst(TreemapLayout::squarify(weights, bounds));
    const double sliced = worst(TreemapLayout::slice(weights, bounds));
    EXPECT_LT(squarified, 3.0);
    EXPECT_GT(sliced, 4 * squarified);
}

TEST(TreemapLayoutTest, NestsFoldersInsideTheirTilesBelowTheLabelBand) {
    Spec root = folderSpec(
        "home", {
                    folderSpec("Documents",
                               {fileSpec("a", 4000), fileSpec("b", 3000),
                                folderSpec("deep", {fileSpec("c", 2000), fileSpec("d", 1000)})}),
                    folderSpec("Music", {fileSpec("e", 5000)}),
                    fileSpec("loose", 1000),
                });
    const auto tree = StorageTree::fromSpec(root, "/h");
    const QRectF bounds(0, 0, 800, 600);
    TreemapOptions options;
    options.maximumDepth = 3;
    const TreemapLayout layout(tree, tree.root(), bounds, options);
    std::vector<QRectF> top;
    for (const auto& tile : layout.tiles()) {
        expectInside(tile.rect, bounds);
        EXPECT_FALSE(tile.isMerged);
        EXPECT_EQ(tile.sizeBytes, tree.node(tile.node).sizeBytes);
        if (tile.depth == 1) {
            top.push_back(tile.rect);
            EXPECT_NEAR(area(tile.rect), tile.sizeBytes / 16000.0 * area(bounds), 1e-6);
            continue;
        }
        // Inside the parent's tile, under its band.
        const auto parent = tree.node(tile.node).parent;
        const auto it = std::find_if(layout.tiles().begin(), layout.tiles().end(),
                                     [&](const auto& t) { return t.node == parent; });
        ASSERT_NE(it, layout.tiles().end());
        EXPECT_EQ(it->depth, tile.depth - 1);
        expectInside(tile.rect, it->rect.adjusted(options.padding, options.labelBand,
                                                  -options.padding, -options.padding));
    }
    EXPECT_EQ(top.size(), 3u);
    expectDisjoint(top, 1e-6);
    EXPECT_EQ(layout.tiles().size(), 3u + 3u + 1u + 2u);

    // The deepest tile wins a hit test.
    const auto& c = *std::find_if(layout.tiles().begin(), layout.tiles().end(),
                                  [&](const auto& t) { return tree.node(t.node).name == "c"; });
    const auto* hit = layout.tileAt(c.rect.center());
    ASSERT_TRUE(hit);
    EXPECT_EQ(hit->node, c.node);
    EXPECT_EQ(layout.tileAt({-1, -1}), nullptr);
}

TEST(TreemapLayoutTest, MergesTilesTooSmallToShowAndSkipsEmptyOnes) {
    std::vector<Spec> files{fileSpec("big", 1000), fileSpec("empty", 0)};
    for (int i = 0; i < 1000; ++i) files.push_back(fileSpec("tiny" + std::to_string(i), 1));
    const auto tree = StorageTree::fromSpec(folderSpec("home", {folderSpec("F", files)}), "/h");
    const QRectF bounds(0, 0, 100, 100);
    const TreemapLayout layout(tree, tree.indexOf(tree.children(tree.root())[0]), bounds);
    ASSERT_EQ(layout.tiles().size(), 2u);
    const auto& merged = layout.tiles()[0].isMerged ? layout.tiles()[0] : layout.tiles()[1];
    EXPECT_TRUE(merged.isMerged);
    EXPECT_EQ(merged.mergedCount, 1000);
    EXPECT_EQ(merged.sizeBytes, 1000);
    EXPECT_NEAR(area(merged.rect), 5000, 1e-6);

    // In a box of 25 pixels every child is too small: one merged tile stands for them all.
    const TreemapLayout small(tree, tree.indexOf(tree.children(tree.root())[0]), {0, 0, 5, 5});
    ASSERT_EQ(small.tiles().size(), 1u);
    EXPECT_TRUE(small.tiles()[0].isMerged);
    EXPECT_EQ(small.tiles()[0].mergedCount, 1001);
}

TEST(TreemapLayoutTest, ZeroAndLargestSizesAreSafe) {
    struct Row {
        const char* name;
        std::vector<int64_t> sizes;
        size_t tiles;
    };
    const Row rows[] = {
        {"all zero", {0, 0, 0}, 0},
        {"largest", {kMax - 1, kMax - 1, kMax / 2}, 3},
        {"one", {kMax}, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::vector<Spec> files;
        for (size_t i = 0; i < row.sizes.size(); ++i)
            files.push_back(fileSpec("f" + std::to_string(i), row.sizes[i]));
        const auto tree = StorageTree::fromSpec(folderSpec("home", files), "/h");
        const TreemapLayout layout(tree, tree.root(), {0, 0, 1280, 800});
        ASSERT_EQ(layout.tiles().size(), row.tiles);
        double covered = 0;
        for (const auto& t : layout.tiles()) {
            expectInside(t.rect, {0, 0, 1280, 800});
            covered += area(t.rect);
        }
        if (row.tiles > 0) {
            EXPECT_NEAR(covered, 1280.0 * 800.0, 1e-3);
        }
    }
}

}  // namespace
}  // namespace velmora::visual

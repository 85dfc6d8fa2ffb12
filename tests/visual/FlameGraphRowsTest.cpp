#include "VelmoraUI/visual/FlameGraphRows.h"

#include <gtest/gtest.h>

#include "visual/TreeSpecs.h"

namespace velmora::visual {
namespace {

using test::fileSpec;
using test::folderSpec;
using Spec = StorageTree::Spec;

class FlameGraphRowsTest : public ::testing::Test {
  protected:
    // home (1000): A (600: a1 500, a2 100), B (390: 39 files of 10), C (10), Empty (0)
    StorageTree tree = [] {
        std::vector<Spec> many;
        for (int i = 0; i < 39; ++i) many.push_back(fileSpec("b" + std::to_string(i), 10));
        return StorageTree::fromSpec(
            folderSpec("home", {folderSpec("A", {fileSpec("a1", 500), fileSpec("a2", 100)}),
                                folderSpec("B", many), fileSpec("C", 10), folderSpec("Empty", {})}),
            "/h");
    }();
    StorageTree::Index named(const std::string& name) const { return test::nodeNamed(tree, name); }
};

TEST_F(FlameGraphRowsTest, ChildrenSpanTheirParentInProportion) {
    FlameGraphOptions options;
    options.minimumWidth = 3;
    const FlameGraphRows rows(tree, tree.root(), 1000, options);
    ASSERT_EQ(rows.rows().size(), 3u);
    ASSERT_EQ(rows.rows()[0].size(), 1u);
    EXPECT_EQ(rows.rows()[0][0].width, 1000);

    const auto& top = rows.rows()[1];
    ASSERT_EQ(top.size(), 3u);  // A, B, C; Empty has no width
    EXPECT_DOUBLE_EQ(top[0].x, 0);
    EXPECT_DOUBLE_EQ(top[0].width, 600);
    EXPECT_DOUBLE_EQ(top[1].x, 600);
    EXPECT_DOUBLE_EQ(top[2].x, 990);
    EXPECT_DOUBLE_EQ(top[2].width, 10);

    // Every child lies within its parent's extent.
    for (size_t r = 2; r < rows.rows().size(); ++r) {
        for (const auto& item : rows.rows()[r]) {
            const auto parent = item.isMerged ? item.node : tree.node(item.node).parent;
            const auto* p = rows.itemAt(static_cast<int>(r) - 1, item.x);
            ASSERT_TRUE(p);
            EXPECT_EQ(p->node, parent);
            EXPECT_LE(item.x + item.width, p->x + p->width + 1e-9);
        }
    }
    EXPECT_EQ(rows.itemAt(1, 650)->node, named("B"));
    EXPECT_EQ(rows.itemAt(1, 1000), nullptr);
}

TEST_F(FlameGraphRowsTest, MergesNarrowChildrenPerParent) {
    FlameGraphOptions options;
    options.minimumWidth = 20;
    const FlameGraphRows rows(tree, tree.root(), 1000, options);
    ASSERT_GE(rows.rows().size(), 3u);
    // Row 1: A and B; C (10 px) merges alone, and a merged item of 10 px is dropped too.
    ASSERT_EQ(rows.rows()[1].size(), 2u);
    // Row 2: a1, a2 under A; B's 39 files of 10 px each merge into one 390 px item.
    const auto& second = rows.rows()[2];
    ASSERT_EQ(second.size(), 3u);
    EXPECT_TRUE(second[2].isMerged);
    EXPECT_EQ(second[2].node, named("B"));
    EXPECT_EQ(second[2].mergedCount, 39);
    EXPECT_EQ(second[2].sizeBytes, 390);
    EXPECT_DOUBLE_EQ(second[2].width, 390);
    EXPECT_EQ(rows.rows().size(), 3u);  // merged items are not opened
}

TEST_F(FlameGraphRowsTest, FocusDepthAndDegenerateInputs) {
    const FlameGraphRows focused(tree, named("A"), 300);
    ASSERT_EQ(focused.rows().size(), 2u);
    EXPECT_EQ(focused.rows()[1][0].node, named("a1"));
    EXPECT_DOUBLE_EQ(focused.rows()[1][0].width, 250);

    FlameGraphOptions shallow;
    shallow.maximumDepth = 1;
    EXPECT_EQ(FlameGraphRows(tree, tree.root(), 1000, shallow).rows().size(), 2u);
    EXPECT_EQ(FlameGraphRows(tree, named("Empty"), 1000).rows().size(), 1u);
    EXPECT_TRUE(FlameGraphRows(tree, tree.root(), 0).rows().empty());
    EXPECT_TRUE(FlameGraphRows(tree, 99'999, 100).rows().empty());
}

}  // namespace
}  // namespace velmora::visual

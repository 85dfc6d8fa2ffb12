#include "CleanerCore/insights/StorageTree.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <memory>

#include "CleanerCore/insights/MacStorageInsightScanner.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;
using Kind = StorageTree::Kind;

int64_t allocated(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0);
    const int64_t a = static_cast<int64_t>(st.st_blocks) * 512;
    return a > 0 ? a : st.st_size;
}

// Every folder with children holds exactly their sums, and siblings are largest first.
void expectSumsAddUp(const StorageTree& tree, StorageTree::Index i = 0) {
    const auto& n = tree.node(i);
    if (n.childCount == 0) return;
    int64_t size = 0, count = 0, previous = std::numeric_limits<int64_t>::max();
    for (const auto& c : tree.children(i)) {
        EXPECT_LE(c.sizeBytes, previous) << tree.path(i);
        previous = c.sizeBytes;
        size += c.sizeBytes;
        count += c.fileCount;
        EXPECT_EQ(c.parent, i);
        expectSumsAddUp(tree, tree.indexOf(c));
    }
    EXPECT_EQ(n.sizeBytes, size) << tree.path(i);
    EXPECT_EQ(n.fileCount, count) << tree.path(i);
}

const StorageTree::Node* find(const StorageTree& tree, const std::string& path) {
    for (size_t i = 0; i < tree.nodeCount(); ++i) {
        const auto index = static_cast<StorageTree::Index>(i);
        if (!tree.node(index).isAggregate() && tree.path(index) == path) return &tree.node(index);
    }
    return nullptr;
}

class StorageTreeScanTest : public ::testing::Test {
  protected:
    TestTree tree;
    const std::string home = tree.dir("home");

    std::string file(const std::string& relative, size_t size) {
        const std::string p = tree.file("home/" + relative, size);
        tree.setMtime("home/" + relative, test::unixNow() - 3 * 86400);
        return p;
    }

    std::pair<MacStorageInsightReport, std::shared_ptr<const StorageTree>> scan(
        StorageTreeLimits limits, int64_t visitLimit = 100'000) {
        MacStorageInsightScanner::Options o;
        o.catalogue = Catalogue::linux;
        o.captureSnapshot = [] { return SystemResourceSnapshot{}; };
        o.walkWorkerCount = 1;
        o.duplicateWorkerCount = 1;
        o.storageTree = limits;
        MacStorageInsightScanner::Configuration c;
        c.maximumVisitedItemsPerRoot = visitLimit;
        MacStorageInsightScanner::Notes notes;
        CancellationToken cancel;
        auto report = MacStorageInsightScanner(home, c, o).scan(cancel, &notes);
        return {std::move(report), notes.storageTree};
    }

    // A home with nested folders, a crowded folder, hard links within and across roots.
    void buildHome() {
        file("Documents/report.txt", 9000);
        file("Documents/a/b/c/deep.bin", 40000);
        file("Documents/a/b/side.bin", 3000);
        // Whole blocks, so that allocated sizes differ as the lengths do.
        for (int i = 0; i < 30; ++i) file("Documents/many/f" + std::to_string(i), 4096 * (i + 1));
        const auto shared = file("Downloads/shared.iso", 20000);
        ASSERT_EQ(::link(shared.c_str(), (home + "/Documents/a/shared-again.iso").c_str()), 0);
        const auto twin = file("Pictures/twin.jpg", 12000);
        ASSERT_EQ(::link(twin.c_str(), (home + "/Pictures/twin-copy.jpg").c_str()), 0);
        file("Projects/src/main.c", 2000);
        file(".bashrc", 100);
    }
};

// Whatever the limits, the tree's items are the map's items with the same sizes and counts,
// every folder adds up, and the nodes stay within the budget (aggregates aside).
TEST_F(StorageTreeScanTest, MatchesTheStorageMapUnderAnyLimits) {
    buildHome();
    const StorageTreeLimits rows[] = {{200'000, 24}, {200'000, 1}, {12, 24}, {3, 2}, {0, 0}};
    for (const auto& limits : rows) {
        SCOPED_TRACE(testing::Message() << limits.maximumNodes << "/" << limits.filesPerFolder);
        const auto [report, t] = scan(limits);
        ASSERT_TRUE(t);
        const auto items = t->children(t->root());
        ASSERT_EQ(items.size(), report.heatmapItems.size());
        int64_t total = 0;
        for (size_t i = 0; i < items.size(); ++i) {
            EXPECT_EQ(items[i].name, report.heatmapItems[i].displayName);
            EXPECT_EQ(items[i].sizeBytes, report.heatmapItems[i].sizeBytes);
            EXPECT_EQ(items[i].fileCount, report.heatmapItems[i].itemCount);
            EXPECT_EQ(t->path(t->indexOf(items[i])), report.heatmapItems[i].id);
            total += items[i].sizeBytes;
        }
        EXPECT_EQ(t->node(t->root()).sizeBytes, total);
        EXPECT_EQ(t->displayPath(t->root()), "~");
        expectSumsAddUp(*t);
        size_t budgeted = 0;
        for (size_t i = 1; i < t->nodeCount(); ++i) {
            if (!t->node(static_cast<StorageTree::Index>(i)).isAggregate()) ++budgeted;
        }
        EXPECT_LE(budgeted, limits.maximumNodes + items.size());
    }
}

TEST_F(StorageTreeScanTest, KeepsTheLargestFilesAndAggregatesTheRest) {
    buildHome();
    const auto [report, t] = scan({200'000, 24});
    const auto* many = find(*t, home + "/Documents/many");
    ASSERT_TRUE(many);
    const auto files = t->children(t->indexOf(*many));
    ASSERT_EQ(files.size(), 25u);
    EXPECT_EQ(files[0].name, "f29");
    EXPECT_EQ(files[24].name, "f6");
    // f0 to f5 make one aggregate, in its place by size among the files.
    const auto found =
        std::find_if(files.begin(), files.end(), [](const auto& n) { return n.isAggregate(); });
    ASSERT_NE(found, files.end());
    const auto& rest = *found;
    EXPECT_FALSE(rest.holdsFoldedFolders);
    EXPECT_EQ(rest.fileCount, 6);
    int64_t smallest = 0;
    for (int i = 0; i < 6; ++i)
        smallest += allocated(home + "/Documents/many/f" + std::to_string(i));
    EXPECT_EQ(rest.sizeBytes, smallest);
    EXPECT_EQ(t->path(t->indexOf(rest)), home + "/Documents/many");

    const auto* deep = find(*t, home + "/Documents/a/b/c/deep.bin");
    ASSERT_TRUE(deep);
    EXPECT_EQ(deep->kind, Kind::file);
    EXPECT_EQ(deep->sizeBytes, allocated(home + "/Documents/a/b/c/deep.bin"));
    EXPECT_EQ(t->displayPath(t->indexOf(*deep)), "~/Documents/a/b/c/deep.bin");
}

// One inode is one file: a second name in the same root adds nothing, and a name in a later
// root leaves the tree as it leaves the map.
TEST_F(StorageTreeScanTest, CountsAFileWithSeveralNamesOnce) {
    buildHome();
    const auto [report, t] = scan({200'000, 24});
    EXPECT_TRUE(find(*t, home + "/Downloads/shared.iso"));
    EXPECT_FALSE(find(*t, home + "/Documents/a/shared-again.iso"));
    const auto* pictures = find(*t, home + "/Pictures");
    ASSERT_TRUE(pictures);
    EXPECT_EQ(pictures->fileCount, 1);
    EXPECT_EQ(pictures->childCount, 1u);
}

TEST_F(StorageTreeScanTest, FoldsFoldersBeyondTheBudgetIntoTheirKeptParent) {
    buildHome();
    // Downloads takes two nodes, Documents one: two are left for its four folders.
    const auto [report, t] = scan({5, 24});
    bool folded = false;
    for (size_t i = 0; i < t->nodeCount(); ++i) {
        folded = folded || t->node(static_cast<StorageTree::Index>(i)).holdsFoldedFolders;
    }
    EXPECT_TRUE(folded);
    EXPECT_FALSE(find(*t, home + "/Documents/a/b/c/deep.bin"));
}

TEST_F(StorageTreeScanTest, MarksATruncatedItem) {
    for (int i = 0; i < 140; ++i) file("Music/f" + std::to_string(i), 10);
    const auto [report, t] = scan({200'000, 24}, 128);
    const auto* music = find(*t, home + "/Music");
    ASSERT_TRUE(music);
    EXPECT_TRUE(music->isTruncated);
    EXPECT_EQ(music->fileCount, 128);
    expectSumsAddUp(*t);
}

TEST(StorageTreeSpecTest, SumsSaturateAndPathsJoinNames) {
    constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
    StorageTree::Spec root{"home", 0, 0, Kind::folder, false, {}};
    root.children = {
        {"Huge",
         0,
         0,
         Kind::folder,
         false,
         {{"a", kMax - 1, 1, Kind::file, false, {}}, {"b", kMax - 1, 1, Kind::file, false, {}}}},
        {"Small",
         0,
         0,
         Kind::folder,
         false,
         {{"sub", 0, 0, Kind::folder, false, {{"x", -5, 1, Kind::file, false, {}}}}}},
        {"Kept", 70, 3, Kind::folder, false, {}},
    };
    const auto t = StorageTree::fromSpec(root, "/h");
    const auto items = t.children(t.root());
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].name, "Huge");
    EXPECT_EQ(items[0].sizeBytes, kMax);
    EXPECT_EQ(t.node(t.root()).sizeBytes, kMax);
    EXPECT_EQ(items[1].name, "Kept");
    EXPECT_EQ(items[1].fileCount, 3);
    const auto& sub = t.children(t.indexOf(items[2]))[0];
    const auto x = t.indexOf(t.children(t.indexOf(sub))[0]);
    EXPECT_EQ(t.node(x).sizeBytes, 0);
    EXPECT_EQ(t.path(x), "/h/Small/sub/x");
    EXPECT_EQ(t.displayPath(x), "Small/sub/x");
    EXPECT_EQ(t.depth(x), 3);
    EXPECT_EQ(t.topLevelOf(x), t.indexOf(items[2]));

    // Names live in storage the copies share: a copy outlives the tree it came from.
    auto original = std::make_unique<StorageTree>(StorageTree::fromSpec(root, "/h"));
    const StorageTree copy = *original;
    original.reset();
    EXPECT_EQ(copy.children(copy.root())[2].name, "Small");
    EXPECT_EQ(copy.path(x), "/h/Small/sub/x");
}

// Walks side by side share one budget: together they keep exactly as many nodes as it allows,
// and what one walk took ahead and did not use goes back when it finishes.
TEST(StorageTreeBudgetTest, WalksSideBySideShareTheBudgetExactly) {
    struct Row {
        int foldersA, foldersB;
        bool interleaved;
        int64_t budget;
        uint32_t kept;  // folders kept in all, the map items' own nodes aside
        int keptA;      // of them in A; -1 when the interleaving decides
    };
    const Row rows[] = {
        {4000, 4000, true, 6000, 5998, -1},
        {100, 10'000, false, 6000, 5998, 100},
        {5000, 5000, true, 20'000, 10'000, 5000},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.foldersA << "/" << row.foldersB);
        std::atomic<int64_t> budget{row.budget};
        StorageTreeRootBuilder a({}, budget), b({}, budget);
        const int most = std::max(row.foldersA, row.foldersB);
        if (row.interleaved) {
            for (int i = 0; i < most; ++i) {
                if (i < row.foldersA) a.folder(0, "a" + std::to_string(i));
                if (i < row.foldersB) b.folder(0, "b" + std::to_string(i));
            }
            a.finish();
            b.finish();
        } else {
            for (int i = 0; i < row.foldersA; ++i) a.folder(0, "a" + std::to_string(i));
            a.finish();
            for (int i = 0; i < row.foldersB; ++i) b.folder(0, "b" + std::to_string(i));
            b.finish();
        }
        const auto t =
            assembleStorageTree("/h", {{"/h/A", "~/A", false, &a}, {"/h/B", "~/B", false, &b}});
        ASSERT_EQ(t.children(t.root()).size(), 2u);
        const uint32_t keptA = t.node(1).childCount, keptB = t.node(2).childCount;
        EXPECT_EQ(keptA + keptB, row.kept);
        if (row.keptA >= 0) {
            EXPECT_EQ(keptA, static_cast<uint32_t>(row.keptA));
        }
    }
}

}  // namespace
}  // namespace velmora

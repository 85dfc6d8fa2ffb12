#include "CleanerCore/insights/DuplicateDetection.h"

#include "CleanerCore/insights/ContentDigest.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iterator>
#include <sstream>

#include "insights/DuplicateTestSupport.h"

namespace velmora {
namespace {

using test::collectAll;
using test::groupPaths;
using test::patternContent;
using test::smallFileOptions;
using test::TestTree;
using test::writeFile;
using Paths = std::vector<std::vector<std::string>>;

std::vector<std::string> reasonsOf(const DuplicateDetectionResult& r, const std::string& path) {
    std::vector<std::string> out;
    for (const auto& s : r.skippedItems) {
        if (s.url.path == path) out.push_back(s.reason);
    }
    return out;
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

TEST(DuplicateDetection, IdenticalFilesFormOneGroupDescribedAsDuplicates) {
    TestTree tree;
    const auto content = patternContent(70'000, 1);
    auto a = writeFile(tree, "Documents/a.bin", content);
    auto b = writeFile(tree, "Downloads/b.bin", content);
    auto c = writeFile(tree, "Downloads/c.bin", patternContent(70'000, 2));  // same size only
    writeFile(tree, "Downloads/d.bin", content + "x");                       // other size
    auto files = collectAll({c, b, a, tree.path("Downloads/d.bin")});
    auto r = detectDuplicates(files, smallFileOptions(tree));

    ASSERT_EQ(groupPaths(r), (Paths{{a, b}}));
    const auto& g = r.groups[0];
    EXPECT_EQ(g.sizeBytes, 70'000);
    EXPECT_TRUE(g.id.starts_with("sha256:")) << g.id;
    EXPECT_TRUE(g.id.ends_with(":70000")) << g.id;
    const auto& f = g.files[0];
    EXPECT_EQ(f.id, "duplicate:" + a);
    EXPECT_EQ(f.kind, FileInsightKind::duplicate);
    EXPECT_EQ(f.detail, "Duplicate set \xC2\xB7 2 copies");
    EXPECT_EQ(f.displayName, "a.bin");
    EXPECT_EQ(f.parentPath, "~/Documents");
    EXPECT_EQ(f.lastModified, files[2].modificationDate);
    EXPECT_EQ(f.linkCount, 1);

    // The size floor is inclusive; the default one (20 MiB) leaves these files alone.
    auto options = smallFileOptions(tree);
    options.budgets.minimumDuplicateFileBytes = 70'001;
    EXPECT_TRUE(detectDuplicates(files, options).groups.empty());
    options.budgets.minimumDuplicateFileBytes = 70'000;
    EXPECT_EQ(detectDuplicates(files, options).groups.size(), 1u);
    options.budgets = DuplicateBudgets{};
    EXPECT_TRUE(detectDuplicates(files, options).groups.empty());
}

TEST(DuplicateDetection, ADifferenceBetweenTheSamplesIsFoundByTheFullDigest) {
    TestTree tree;
    auto content = patternContent(307'200, 1);
    auto a = writeFile(tree, "a", content);
    content[100'000] ^= 1;  // outside [0, 65536), [120832, 186368) and [241664, 307200)
    auto b = writeFile(tree, "b", content);
    auto files = collectAll({a, b});
    auto fa =
        sampledFingerprint({a, files[0].device, files[0].inode, 307'200, std::nullopt}, nullptr);
    auto fb =
        sampledFingerprint({b, files[1].device, files[1].inode, 307'200, std::nullopt}, nullptr);
    ASSERT_TRUE(fa.ok() && fb.ok());
    ASSERT_EQ(fa->digest, fb->digest) << "the difference must lie outside the samples";
    auto r = detectDuplicates(files, smallFileOptions(tree));
    EXPECT_TRUE(r.groups.empty());
}

TEST(DuplicateDetection, SeveralGroupsOfOneSizeAreOrderedBySizeThenPath) {
    TestTree tree;
    const auto x = patternContent(2'000, 1), y = patternContent(2'000, 2);
    const auto big = patternContent(3'000, 3);
    auto files = collectAll({writeFile(tree, "y2", y), writeFile(tree, "x1", x),
                             writeFile(tree, "a-y1", y), writeFile(tree, "x2", x),
                             writeFile(tree, "z-big", big), writeFile(tree, "big", big)});
    auto r = detectDuplicates(files, smallFileOptions(tree));
    EXPECT_EQ(groupPaths(r), (Paths{{tree.path("big"), tree.path("z-big")},
                                    {tree.path("a-y1"), tree.path("y2")},
                                    {tree.path("x1"), tree.path("x2")}}));
    EXPECT_NE(r.groups[1].id, r.groups[2].id);
}

// One inode is one file: its names are neither read twice nor copies of each other, and a name
// listed twice counts once. A hard-linked file that has a real copy is still grouped with it,
// and left out of the estimate because deleting that name frees nothing.
TEST(DuplicateDetection, HardLinkedNamesAreOneFile) {
    TestTree tree;
    const auto content = patternContent(10'000, 1);
    auto a = writeFile(tree, "a", content);
    auto b = tree.path("b-link-of-a");
    ASSERT_EQ(::link(a.c_str(), b.c_str()), 0);
    EXPECT_TRUE(detectDuplicates(collectAll({a, b}), smallFileOptions(tree)).groups.empty());
    EXPECT_TRUE(detectDuplicates(collectAll({a, a}), smallFileOptions(tree)).groups.empty());

    auto c = writeFile(tree, "c", content);
    auto d = writeFile(tree, "d", content);
    auto r = detectDuplicates(collectAll({b, c, a, d}), smallFileOptions(tree));
    EXPECT_EQ(groupPaths(r), (Paths{{a, c, d}}));
    const auto& g = r.groups.at(0);
    EXPECT_EQ(g.files[0].linkCount, 2);
    EXPECT_EQ(g.files[1].linkCount, 1);
    EXPECT_EQ(g.files[0].detail, "Duplicate set \xC2\xB7 3 copies");
    EXPECT_EQ(g.hardLinkedMemberCount(), 1);
    // c and d count, less one to keep.
    EXPECT_EQ(g.estimatedReclaimableBytes(), 10'000);
}

// Each budget stops the files beyond it with its reason and names itself; what fits is still
// grouped. Budgets are granted by size, largest first, and a file left without a partner of its
// size is not read at all.
TEST(DuplicateDetection, EachBudgetSkipsWhatNoLongerFits) {
    TestTree tree;
    const auto a = patternContent(1'000, 1), big = patternContent(5'000, 2);
    const auto mib = patternContent(1'048'577, 3);  // one byte above the 1 MiB floor
    const auto x = patternContent(400'000, 4), y = patternContent(300'000, 5);
    using B = DuplicateBudgets;
    using D = DuplicateBudget;
    using Files = std::vector<std::pair<std::string, const std::string*>>;
    const Files abc = {{"a", &a}, {"b", &a}, {"c", &a}},
                smallAndLarge = {{"s1", &a}, {"s2", &a}, {"l1", &big}, {"l2", &big}},
                twoMiB = {{"a", &mib}, {"b", &mib}},
                xy = {{"x1", &x}, {"x2", &x}, {"y1", &y}, {"y2", &y}};
    struct Case {
        const char* name;
        const Files& files;
        int64_t B::*budget;
        int64_t limit;
        const char* group;    // the names of the one group left, if any
        const char* skipped;  // the names skipped with the budget's reason
        DuplicateBudget exceeded;
    };
    const Case cases[] = {
        {"fingerprint files", abc, &B::maximumDuplicateFingerprintFiles, 2, "a b", "c",
         D::fingerprintFiles},
        {"fingerprint bytes, nothing left to compare", smallAndLarge,
         &B::maximumDuplicateFingerprintBytes, 6'500, "", "l1 l2 s1 s2", D::fingerprintBytes},
        {"fingerprint bytes, the larger pair fits", smallAndLarge,
         &B::maximumDuplicateFingerprintBytes, 11'000, "l1 l2", "s1 s2", D::fingerprintBytes},
        {"hash files", abc, &B::maximumDuplicateHashFiles, 2, "a b", "c", D::hashFiles},
        {"hash bytes per file, clamped to 1 MiB", twoMiB, &B::maximumDuplicateFullHashBytesPerFile,
         5, "", "a b", D::hashBytesPerFile},
        {"total hash bytes, clamped to 1 MiB", xy, &B::maximumDuplicateHashBytes, 0, "x1 x2",
         "y1 y2", D::hashBytes},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestTree caseTree;
        std::vector<std::string> paths;
        for (const auto& [name, content] : c.files)
            paths.push_back(writeFile(caseTree, name, *content));
        auto options = smallFileOptions(caseTree);
        options.budgets.*c.budget = c.limit;
        auto r = detectDuplicates(collectAll(paths), options);
        std::vector<std::string> names;
        for (const auto& g : r.groups)
            for (const auto& f : g.files) names.push_back(lastPathComponent(f.url.path));
        EXPECT_EQ(names, words(c.group));
        EXPECT_LE(r.groups.size(), 1u);
        const std::string reason =
            c.exceeded == D::fingerprintFiles || c.exceeded == D::fingerprintBytes
                ? "Duplicate fingerprint budget exceeded"
                : "Duplicate hash budget exceeded";
        std::vector<std::string> skipped;
        for (const auto& s : r.skippedItems) {
            EXPECT_EQ(s.reason, reason);
            skipped.push_back(lastPathComponent(s.url.path));
        }
        std::sort(skipped.begin(), skipped.end());
        EXPECT_EQ(skipped, words(c.skipped));
        EXPECT_EQ(r.exceededBudgets, std::vector{c.exceeded});
    }
    DuplicateBudgets low{0, 0, 0, 0, 0, -5};
    EXPECT_EQ(low.clamped(), (DuplicateBudgets{1, 1, 1'048'576, 1'048'576, 1, 1}));
}

// A file changed between collection and reading is never grouped: written again (its date
// moved), replaced by another inode, or swapped for a link to the very object it was (following
// it would pass every identity check).
TEST(DuplicateDetection, AFileChangedAfterCollectionIsNotGrouped) {
    const std::function<void(TestTree&, const std::string&, std::vector<CollectedFile>&)>
        changes[] = {
            [](TestTree& tree, const std::string& content, auto&) {
                writeFile(tree, "c", content);
                tree.setMtime("c", test::unixNow() + 3'600);
            },
            [](TestTree& tree, const std::string& content, auto& files) {
                auto replacement = writeFile(tree, "replacement", content);
                tree.setMtime("replacement", 0);
                ASSERT_EQ(std::rename(replacement.c_str(), tree.path("c").c_str()), 0);
                files[2].modificationDate.reset();  // the inode alone tells
            },
            [](TestTree& tree, const std::string&, auto&) {
                ASSERT_EQ(::unlink(tree.path("c").c_str()), 0);
                ASSERT_EQ(::symlink(tree.path("d").c_str(), tree.path("c").c_str()), 0);
            },
        };
    for (size_t i = 0; i < std::size(changes); ++i) {
        SCOPED_TRACE(i);
        TestTree tree;
        const auto content = patternContent(9'000, 1);
        auto a = writeFile(tree, "a", content), b = writeFile(tree, "b", content);
        auto c = tree.path("c");
        if (i == 2) {  // c is another name of d, which is not collected
            ASSERT_EQ(::link(writeFile(tree, "d", content).c_str(), c.c_str()), 0);
        } else {
            writeFile(tree, "c", content);
        }
        auto files = collectAll({a, b, c});
        changes[i](tree, content, files);
        auto r = detectDuplicates(files, smallFileOptions(tree));
        EXPECT_EQ(groupPaths(r), (Paths{{a, b}}));
        EXPECT_EQ(reasonsOf(r, c), std::vector<std::string>{"File changed during the scan"});
    }
}

// A protected path is skipped before it is read; an unreadable file with the system's error.
TEST(DuplicateDetection, ProtectedAndUnreadableFilesAreSkippedWithTheirReasons) {
    TestTree tree;
    const auto content = patternContent(9'000, 1);
    auto a = writeFile(tree, "a", content), b = writeFile(tree, "Library/Mail/b", content);
    auto c = writeFile(tree, "c", content), d = writeFile(tree, "d", content);
    auto files = collectAll({a, b, c, d});
    tree.chmod("c", 0);
    auto options = smallFileOptions(tree);
    options.isProtectedUserDataPath = [](std::string_view p) {
        return p.find("/Library/Mail/") != std::string_view::npos;
    };
    EXPECT_TRUE(test::runWithoutPrivileges(tree, [&] {
        auto r = detectDuplicates(files, options);
        return groupPaths(r) == Paths{{a, d}} && !r.budgetExceeded &&
               reasonsOf(r, b) == std::vector<std::string>{"Protected user data path"} &&
               reasonsOf(r, c) == std::vector<std::string>{"Permission denied"};
    }));
}

TEST(DuplicateDetection, CancellationWhileSelectingStopsBeforeAnyRead) {
    TestTree tree;
    const auto content = patternContent(9'000, 1);
    std::vector<std::string> paths;
    for (int i = 0; i < 6; ++i) paths.push_back(writeFile(tree, "f" + std::to_string(i), content));
    auto files = collectAll(paths);
    CancellationToken token;
    auto options = smallFileOptions(tree);
    options.cancellation = &token;
    // The predicate runs while candidates are selected, before any file is read.
    options.isProtectedUserDataPath = [&](std::string_view) {
        token.requestCancellation();
        return false;
    };
    auto r = detectDuplicates(files, options);
    EXPECT_TRUE(r.wasCancelled);
    EXPECT_TRUE(r.groups.empty());
    // Cancelled before the call: nothing at all, with any number of workers.
    options.isProtectedUserDataPath = nullptr;
    options.workerCount = 2;
    r = detectDuplicates(files, options);
    EXPECT_TRUE(r.wasCancelled);
    EXPECT_TRUE(r.groups.empty());
}

TEST(DuplicateDetection, OneAndSeveralWorkersGiveTheSameResult) {
    TestTree tree;
    std::vector<std::string> paths;
    for (int group = 0; group < 8; ++group) {
        const auto content = patternContent(3'000 + 40'000 * (group % 3), group);
        for (int copy = 0; copy <= group % 4; ++copy) {
            paths.push_back(writeFile(
                tree, "g" + std::to_string(group) + "/c" + std::to_string(copy), content));
        }
        // A same-size file with other content in every group.
        auto other = patternContent(3'000 + 40'000 * (group % 3), 100 + group);
        paths.push_back(writeFile(tree, "g" + std::to_string(group) + "/other", other));
    }
    auto files = collectAll(paths);
    auto options = smallFileOptions(tree, 1);
    options.budgets.maximumDuplicateHashFiles = 9;  // some files run out of budget
    const auto one = detectDuplicates(files, options);
    EXPECT_FALSE(one.groups.empty());
    EXPECT_TRUE(one.budgetExceeded);
    for (size_t workers : {2u, 3u, 8u}) {
        options.workerCount = workers;
        EXPECT_EQ(detectDuplicates(files, options), one) << workers << " workers";
    }
    // Input order does not matter either.
    std::reverse(files.begin(), files.end());
    options.workerCount = 2;
    EXPECT_EQ(detectDuplicates(files, options), one);
}

// More copies than are read together: the group is read in several parts and must still come
// out whole, with every file's outcome in its place.
TEST(DuplicateDetection, AGroupLargerThanOneReadingStaysWhole) {
    TestTree tree;
    const auto content = patternContent(5'000, 3);
    std::vector<std::string> paths;
    for (int i = 0; i < 70; ++i) {
        char name[16];
        std::snprintf(name, sizeof name, "c%02d", i);
        // Every tenth copy differs in its last byte: two groups of one size and fingerprint
        // only when compared in full.
        std::string c = content;
        if (i % 10 == 9) c.back() ^= 1;
        paths.push_back(writeFile(tree, name, c));
    }
    auto files = collectAll(paths);
    for (size_t workers : {1u, 3u}) {
        const auto result = detectDuplicates(files, smallFileOptions(tree, workers));
        ASSERT_EQ(result.groups.size(), 2u) << workers;
        EXPECT_TRUE(result.skippedItems.empty());
        EXPECT_EQ(result.groups[0].files.size(), 63u);
        EXPECT_EQ(result.groups[1].files.size(), 7u);
        EXPECT_EQ(result.groups[1].files.front().url.path, standardizePath(paths[9]));
    }
}

}  // namespace
}  // namespace velmora

// Which roots the cleanup fence admits, which one a path resolves to, and that a root replaced
// after the scan no longer admits anything.
#include "CleanerCore/policy/CleanupEligibilityPolicy.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

ScanLocation location(const std::string& root, bool hidden = false) {
    ScanLocation l;
    l.rootURL = FileURL::directory(root);
    l.includesHiddenFiles = hidden;
    return l;
}

struct Fence {
    TestTree tree;
    std::string home = tree.dir("home");
    SafePathPolicy rules = SafePathPolicy::make({}, home, Catalogue::linux);
};

TEST(CleanupEligibilityPolicy, AdmitsOnlyUsableRootsAndOrdersDeepestFirst) {
    Fence f;
    const std::string outer = f.tree.dir("home/.cache");
    const std::string inner = f.tree.dir("home/.cache/app");
    auto policy = CleanupEligibilityPolicy::make(
        {location("/"), location(outer + "/"), location(inner, true), location(f.home + "/missing"),
         location(f.tree.dir("home/.ssh"))},
        10, std::nullopt, f.rules);

    ASSERT_EQ(policy.roots.size(), 2u);
    EXPECT_EQ(policy.roots[0].path, inner);
    EXPECT_EQ(policy.roots[1].path, outer);  // stored without its trailing slash

    const auto* root = policy.rootFor(inner + "/x/y");
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->path, inner);
    EXPECT_TRUE(root->validationOptions.includesHiddenFiles);
    EXPECT_EQ(policy.rootFor(outer + "/other")->path, outer);
    EXPECT_EQ(policy.rootFor(f.home + "/Documents/x"), nullptr);
    // A sibling sharing the prefix is not inside.
    EXPECT_EQ(policy.rootFor(outer + "-old/x"), nullptr);
}

TEST(CleanupEligibilityPolicy, AdmitsOnlyWhatTheScanOfARootWouldOffer) {
    Fence f;
    const std::string cache = f.tree.dir("home/.cache");
    const std::string pip = f.tree.dir("home/.cache/pip");
    const std::string whole = f.tree.dir("home/whole");
    ScanLocation itself = location(whole);
    itself.depth = ScanDepth::directoryItself;
    ScanLocation aged = location(pip, true);
    aged.minimumModificationAge = 86'400;
    auto policy =
        CleanupEligibilityPolicy::make({location(cache), aged, itself}, 10, std::nullopt, f.rules);

    struct Case {
        std::string path;
        std::string root;  // empty: nothing admits it
    };
    const Case cases[] = {
        {cache, ""},               // an immediateChildren root is never its own candidate
        {cache + "/", ""},         // ... however it is spelled
        {cache + "/app/../", ""},  // ... however it is spelled
        {cache + "/app", cache},   // an entry
        {cache + "/.hidden", ""},  // hidden, and the root lists no hidden entries
        {pip, cache},              // an entry of ~/.cache, not the pip root itself
        {pip + "/.lock", pip},     // the pip root includes hidden entries
        {pip + "/http/x", ""},     // inside an entry of pip
        {whole, whole},            // a directoryItself root is its one candidate
        {whole + "/x", ""},        // ... and nothing inside it is
    };
    for (const auto& c : cases) {
        const auto* root = policy.rootAdmitting(c.path);
        EXPECT_EQ(root ? root->path : "", c.root) << c.path;
    }
    EXPECT_EQ(policy.rootAdmitting(pip + "/x")->minimumModificationAge, 86'400);
}

TEST(CleanupEligibilityPolicy, ClampsTheValidationLimits) {
    struct Case {
        int64_t descendants;
        std::optional<int64_t> traversal;
        int64_t wantDescendants, wantTraversal;
    };
    const Case cases[] = {
        {100'000, std::nullopt, 100'000, 400'000},
        {0, std::nullopt, 1, 4},
        {50, 10, 50, 50},
        {50, 70, 50, 70},
        {INT64_MAX / 2, std::nullopt, INT64_MAX / 2, INT64_MAX},
    };
    Fence f;
    const std::string root = f.tree.dir("home/.cache");
    for (const auto& c : cases) {
        auto policy =
            CleanupEligibilityPolicy::make({location(root)}, c.descendants, c.traversal, f.rules);
        ASSERT_EQ(policy.roots.size(), 1u);
        EXPECT_EQ(policy.roots[0].validationOptions.maximumDescendantItems, c.wantDescendants);
        EXPECT_EQ(policy.roots[0].validationOptions.maximumTraversalItems, c.wantTraversal);
    }
}

TEST(CleanupEligibilityPolicy, ARootRecreatedOrSwappedAfterBuildingMatchesNothing) {
    Fence f;
    const std::string root = f.tree.dir("home/.cache");
    f.tree.file("home/.cache/a/f");
    auto policy = CleanupEligibilityPolicy::make({location(root)}, 10, std::nullopt, f.rules);
    ASSERT_NE(policy.rootFor(root + "/a"), nullptr);

    std::filesystem::remove_all(root);
    f.tree.file("home/.cache/a/f");
    EXPECT_EQ(policy.rootFor(root + "/a"), nullptr);

    // Swapped for a link to a folder that has the old contents: still not the recorded folder.
    std::filesystem::remove_all(root);
    f.tree.dir("elsewhere/a");
    f.tree.symlink("home/.cache", f.tree.path("elsewhere"));
    EXPECT_EQ(policy.rootFor(root + "/a"), nullptr);
}

}  // namespace
}  // namespace velmora

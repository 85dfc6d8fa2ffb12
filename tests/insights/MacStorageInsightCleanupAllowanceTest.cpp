// Which insight findings may be offered for the Trash.
#include "CleanerCore/insights/MacStorageInsightCleanupAllowance.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

FileInsight insightAt(const std::string& path) {
    FileInsight insight;
    insight.url = FileURL(path);
    insight.id = fileInsightID(FileInsightKind::largeFile, path);
    return insight;
}

// Nothing is offered through a link, and that includes a root that is itself a link to a folder
// elsewhere, since no cleanup ever goes through a link.
TEST(MacStorageInsightCleanupAllowance, OffersOnlyPlainFilesInsideLiveRoots) {
    TestTree tree;
    const std::string home = tree.dir("home");
    const std::string downloads = tree.dir("home/Downloads");
    tree.file("home/Downloads/big.iso");
    tree.file("home/Downloads/.ssh/id_rsa");
    tree.file("home/Documents/notes.txt");
    tree.file("outside/secret");
    tree.symlink("home/Downloads/link", tree.path("outside/secret"));
    tree.file("disk/Videos/big.mkv");
    const std::string videos = tree.symlink("home/Videos", tree.path("disk/Videos"));
    auto allowance = MacStorageInsightCleanupAllowance::make({{downloads, true}, {videos, false}},
                                                             home, Catalogue::linux, 100'000);

    const std::vector<std::pair<std::string, bool>> cases = {
        {downloads + "/big.iso", true},
        {downloads + "/.ssh/id_rsa", false},     // protected user data
        {home + "/Documents/notes.txt", false},  // under no root
        {downloads + "/link", false},            // a link
        {tree.path("outside/secret"), false},
        {downloads + "/missing", false},  // nothing there to check
        {videos + "/big.mkv", false},     // under a linked root
    };
    for (const auto& [path, allowed] : cases) {
        EXPECT_EQ(allowance.allows(insightAt(path)), allowed) << path;
    }

    // The root replaced after the scan: nothing under it is offered any more.
    std::filesystem::rename(downloads, tree.path("old-downloads"));
    tree.file("home/Downloads/big.iso");
    EXPECT_FALSE(allowance.allows(insightAt(downloads + "/big.iso")));
}

}  // namespace
}  // namespace velmora

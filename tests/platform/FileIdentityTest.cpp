// Identity capture and link resolution: the facts the cleaner later compares to decide that an
// item is still the one that was scanned.
#include "CleanerCore/platform/FileIdentity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "CleanerCore/platform/FileSystem.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

TEST(FileIdentityTest, DescribesTheItemItselfNeverALinkTarget) {
    TestTree tree;
    const std::string file = tree.file("f", 5000);
    tree.setMtime("f", test::unixNow() - 1000.5);
    const std::string dir = tree.dir("d");
    tree.file("d/content", 100);
    // path, is a directory, has sizes
    const std::tuple<std::string, bool, bool> cases[] = {
        {file, false, true},
        {dir, true, false},
        {tree.symlink("link", file), false, false},
        {tree.symlink("dirLink", dir), false, false}};
    for (const auto& [path, isDirectory, hasSizes] : cases) {
        SCOPED_TRACE(path);
        struct stat st {};
        ASSERT_EQ(::lstat(path.c_str(), &st), 0);
        auto id = captureIdentity(path);
        ASSERT_TRUE(id);
        EXPECT_EQ(id->fileResourceIdentifier,
                  std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino));
        EXPECT_EQ(id->systemFileNumber, st.st_ino);
        EXPECT_EQ(id->systemNumber, st.st_dev);
        EXPECT_EQ(id->modificationDate, dateFromTimespec(st.st_mtim));
        EXPECT_TRUE(id->volumeIdentifier && id->volumeName);
        EXPECT_EQ(id->isDirectory, isDirectory);
        EXPECT_EQ(id->fileSize, hasSizes ? std::optional<int64_t>(5000) : std::nullopt);
        EXPECT_EQ(id->totalFileAllocatedSize,
                  hasSizes ? std::optional<int64_t>(st.st_blocks * 512) : std::nullopt);
    }
    EXPECT_FALSE(captureIdentity(tree.path("missing")));
}

TEST(FileSystemTest, ResolvingSymlinksKeepsTheMissingTail) {
    TestTree tree;
    tree.dir("real/existing");
    tree.symlink("link", tree.path("real"));
    tree.symlink("relative", "real/existing");
    const std::pair<std::string, std::string> cases[] = {
        {"link", "real"},
        {"link/missing/tail", "real/missing/tail"},
        {"relative/new", "real/existing/new"},
        {"link/missing/../existing", "real/existing"},
    };
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(resolvingSymlinksInPath(tree.path(in)), tree.path(out)) << in;
    }
    EXPECT_EQ(resolvingSymlinksInPath("/velmora-missing-root/a/b"), "/velmora-missing-root/a/b");
    EXPECT_EQ(resolvingSymlinksInPath("/"), "/");
}

// The protected-places check of a cleaning run compares where the folder it acts in really
// is: reached through a link, moved after it was opened, or gone.
TEST(FileSystemTest, CurrentPathOfAFolderFollowsTheFolderItself) {
    TestTree tree;
    tree.dir("real/inner");
    tree.symlink("link", tree.path("real"));
    const std::string real = resolvingSymlinksInPath(tree.path("real"));
    UniqueFd viaLink = openDirectoryFollowingLinks(tree.path("link/inner"));
    ASSERT_TRUE(viaLink);
    EXPECT_EQ(currentPathOfFolder(viaLink.get()), real + "/inner");

    ASSERT_EQ(::rename(tree.path("real/inner").c_str(), tree.path("real/moved").c_str()), 0);
    EXPECT_EQ(currentPathOfFolder(viaLink.get()), real + "/moved");
    ASSERT_EQ(::rmdir(tree.path("real/moved").c_str()), 0);
    EXPECT_EQ(currentPathOfFolder(viaLink.get()), std::nullopt);
}

}  // namespace
}  // namespace velmora

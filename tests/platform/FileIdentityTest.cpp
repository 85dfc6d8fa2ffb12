// Identity capture and link resolution: the facts the cleaner later compares to decide that an
// item is still the one that was scanned.
#include "CleanerCore/platform/FileIdentity.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CleanerCore/platform/FileSystem.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

struct stat lstatOf(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0) << path;
    return st;
}

void expectDescribes(const FileResourceIdentity& id, const struct stat& st) {
    EXPECT_EQ(id.fileResourceIdentifier,
              std::to_string(st.st_dev) + ":" + std::to_string(st.st_ino));
    EXPECT_EQ(id.systemFileNumber, st.st_ino);
    EXPECT_EQ(id.systemNumber, st.st_dev);
    EXPECT_EQ(id.modificationDate, dateFromTimespec(st.st_mtim));
    EXPECT_TRUE(id.volumeIdentifier);
    EXPECT_TRUE(id.volumeName);
}

TEST(FileIdentityTest, RegularFileHasSizesAndDates) {
    TestTree tree;
    const std::string file = tree.file("f", 5000);
    tree.setMtime("f", test::unixNow() - 1000.5);
    auto id = captureIdentity(file);
    ASSERT_TRUE(id);
    const struct stat st = lstatOf(file);
    expectDescribes(*id, st);
    EXPECT_EQ(id->isDirectory, false);
    EXPECT_EQ(id->fileSize, 5000);
    EXPECT_EQ(id->totalFileAllocatedSize, static_cast<int64_t>(st.st_blocks) * 512);
}

TEST(FileIdentityTest, DirectoryHasNoSizes) {
    TestTree tree;
    const std::string dir = tree.dir("d");
    tree.file("d/content", 100);
    auto id = captureIdentity(dir);
    ASSERT_TRUE(id);
    expectDescribes(*id, lstatOf(dir));
    EXPECT_EQ(id->isDirectory, true);
    EXPECT_FALSE(id->fileSize);
    EXPECT_FALSE(id->totalFileAllocatedSize);
}

TEST(FileIdentityTest, SymlinkIsDescribedItselfNotItsTarget) {
    TestTree tree;
    const std::string target = tree.file("target", 5000);
    const std::string link = tree.symlink("link", target);
    const std::string dirLink = tree.symlink("dirLink", tree.dir("d"));
    for (const auto& path : {link, dirLink}) {
        auto id = captureIdentity(path);
        ASSERT_TRUE(id) << path;
        expectDescribes(*id, lstatOf(path));
        EXPECT_EQ(id->isDirectory, false) << path;
        EXPECT_FALSE(id->fileSize) << path;
        EXPECT_NE(id->systemFileNumber, lstatOf(target).st_ino);
    }
}

TEST(FileIdentityTest, RelativeAndAbsoluteCaptureAgreeAndMissingIsNothing) {
    TestTree tree;
    const std::string file = tree.file("sub/f", 10);
    UniqueFd dir = openDirectoryNoFollow(tree.path("sub"));
    ASSERT_TRUE(dir);
    EXPECT_EQ(captureIdentityAt(dir.get(), "f"), captureIdentity(file));
    EXPECT_FALSE(captureIdentity(tree.path("missing")));
    EXPECT_FALSE(captureIdentityAt(dir.get(), "missing"));
}

TEST(FileSystemTest, ResolvingSymlinksKeepsTheMissingTail) {
    TestTree tree;
    tree.dir("real/existing");
    tree.symlink("link", tree.path("real"));
    tree.symlink("relative", "real/existing");
    const std::pair<std::string, std::string> cases[] = {
        {"link", "real"},
        {"link/existing", "real/existing"},
        {"link/missing/tail", "real/missing/tail"},
        {"link//missing/./tail/", "real/missing/tail"},
        {"relative/new", "real/existing/new"},
        {"link/missing/../existing", "real/existing"},
    };
    for (const auto& [in, out] : cases) {
        EXPECT_EQ(resolvingSymlinksInPath(tree.path(in)), tree.path(out)) << in;
    }
    EXPECT_EQ(resolvingSymlinksInPath("/velmora-missing-root/a/b"), "/velmora-missing-root/a/b");
    EXPECT_EQ(resolvingSymlinksInPath("/"), "/");
}

}  // namespace
}  // namespace velmora

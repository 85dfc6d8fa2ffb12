// Mount boundaries: the mount table parser, and permanent deletion stopping at a mount point
// (another file system, or a bind mount of the same one) without touching what it shows.
#include "CleanerCore/platform/MountIdentity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "CleanerCore/platform/AnchoredPath.h"
#include "CleanerCore/platform/FileSystem.h"
#include "support/Files.h"
#include "support/MountNamespace.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::ChildFindings;
using test::TestTree;

TEST(MountIdentityTest, ParsesMountPointsWithEscapedNames) {
    const std::string text =
        "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
        "36 22 98:0 /mnt1 /home/a\\040b\\011c rw,noatime master:1 - ext3 /dev/root rw\n"
        "37 22 0:5 / /x\\012y\\134z\\\\q rw - tmpfs tmpfs rw\n"
        "38 22 0:6 / /odd\\7z rw - tmpfs tmpfs rw\n"
        "not a line\n"
        "39 x 0:6 / /bad-parent rw - tmpfs tmpfs rw\n"
        "40 22 0:6 / relative rw - tmpfs tmpfs rw\n"
        "41 22 0:6 / /last rw - tmpfs tmpfs rw";  // no final newline
    const std::vector<MountInfoEntry> expected = {
        {22, 1, "/"},         {36, 22, "/home/a b\tc"}, {37, 22, "/x\ny\\z\\\\q"},
        {38, 22, "/odd\\7z"}, {41, 22, "/last"},
    };
    EXPECT_EQ(parseMountInfo(text), expected);
    EXPECT_TRUE(parseMountInfo("").empty());
}

TEST(MountIdentityTest, ReadsTheMountIdOfADescriptor) {
    const struct {
        std::string text;
        std::optional<uint64_t> id;
    } cases[] = {
        {"pos:\t0\nflags:\t02100000\nmnt_id:\t29\nino:\t1234\n", 29},
        {"mnt_id: 7", 7},
        {"pos:\t0\nflags:\t0\n", std::nullopt},
        {"mnt_id:\tx\n", std::nullopt},
    };
    for (const auto& c : cases) EXPECT_EQ(mountIdFromFdInfo(c.text), c.id) << c.text;

    // The two ways of learning it agree, and both see the folder's own mount.
    TestTree tree;
    UniqueFd fd = openDirectoryNoFollow(tree.root());
    ASSERT_TRUE(fd);
    const auto id = mountIdOf(fd.get());
    ASSERT_TRUE(id);
    const std::string fdinfo = test::readFile("/proc/self/fdinfo/" + std::to_string(fd.get()));
    EXPECT_EQ(mountIdFromFdInfo(fdinfo), id);
}

// In the child: each case builds an item, mounts something at or inside it, and removes it.
std::string removalFindings(TestTree& tree) {
    ChildFindings f;
    struct Case {
        std::string label;
        std::string stoppedAt;  // relative to the item
        // Builds "item" under `base` and mounts; returns the files that must survive.
        std::function<std::vector<std::string>(const std::string& base)> prepare;
    };
    auto file = [&](const std::string& path) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << "precious";
        return path;
    };
    const std::vector<Case> cases = {
        {"bind mount of the same device below the item", "b/mounted",
         [&](const std::string& base) {
             file(base + "/item/a/plain");
             const std::string shown = file(base + "/source/precious");
             std::filesystem::create_directories(base + "/item/b/mounted");
             test::bindMount(base + "/source", base + "/item/b/mounted");
             return std::vector<std::string>{shown};
         }},
        {"item is a bind mount of a folder elsewhere", "",
         [&](const std::string& base) {
             const std::string shown = file(base + "/source/deeper/precious");
             std::filesystem::create_directories(base + "/item");
             test::bindMount(base + "/source", base + "/item");
             return std::vector<std::string>{shown};
         }},
        {"item is bound onto itself", "",
         [&](const std::string& base) {
             const std::string shown = file(base + "/item/deeper/precious");
             test::bindMount(base + "/item", base + "/item");
             return std::vector<std::string>{shown};
         }},
        {"tmpfs below the item", "t",
         [&](const std::string& base) {
             std::filesystem::create_directories(base + "/item/t");
             test::mountTmpfs(base + "/item/t");
             return std::vector<std::string>{file(base + "/item/t/precious")};
         }},
    };
    int index = 0;
    for (const auto& c : cases) {
        const std::string base = tree.dir("case" + std::to_string(index++));
        const auto survivors = c.prepare(base);
        UniqueFd parent = openDirectoryNoFollow(base);
        struct stat st {};
        if (!parent || ::fstatat(parent.get(), "item", &st, AT_SYMLINK_NOFOLLOW) != 0) {
            f.expect(false, c.label + ": cannot reach the item");
            continue;
        }
        const auto failure = removeTreeAt(parent.get(), "item", st.st_dev, st.st_ino);
        f.expect(failure && failure->errorNumber == EXDEV && failure->relativePath == c.stoppedAt,
                 c.label + ": " +
                     (failure ? "stopped at \"" + failure->relativePath + "\"" : "did not stop"));
        for (const auto& path : survivors) {
            f.expect(test::readFile(path) == "precious", c.label + ": " + path + " was removed");
        }
    }
    return f.text;
}

TEST(MountIdentityTest, PermanentRemovalStopsAtEveryMountPoint) {
    TestTree tree;
    const auto report = test::runInPrivateMountNamespace([&] { return removalFindings(tree); });
    if (report.status == test::kMountNamespaceUnavailable) {
        GTEST_SKIP() << "no private mount namespace here (" << report.text << ")";
    }
    EXPECT_EQ(report.status, 0) << report.text;
}

}  // namespace
}  // namespace velmora

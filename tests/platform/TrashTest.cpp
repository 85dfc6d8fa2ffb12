// The freedesktop.org Trash: where items go, what the .trashinfo says, how hostile names and a
// hostile trash are handled, and that the desktop's own tools read what Velmora writes.
#include "CleanerCore/platform/Trash.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/FileSystem.h"
#include "support/Files.h"
#include "support/MountNamespace.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::exists;
using test::namesIn;
using test::readFile;
using test::TestTree;

const Date kDate = dateFromUnixSeconds(1700000000.75);

/// The Path= and DeletionDate= values of a well-formed .trashinfo; nullopt otherwise.
std::optional<std::pair<std::string, std::string>> parseTrashInfo(const std::string& text) {
    constexpr std::string_view kHead = "[Trash Info]\nPath=";
    if (!text.starts_with(kHead) || !text.ends_with("\n")) return std::nullopt;
    const size_t pathEnd = text.find('\n', kHead.size());
    const std::string_view rest = std::string_view(text).substr(pathEnd + 1);
    if (!rest.starts_with("DeletionDate=") || rest.find('\n') != rest.size() - 1) {
        return std::nullopt;
    }
    return std::pair{text.substr(kHead.size(), pathEnd - kHead.size()),
                     std::string(rest.substr(13, rest.size() - 14))};
}

/// True when `text` is YYYY-MM-DDThh:mm:ss in local time naming the whole second of `date`.
bool isLocalDeletionDate(const std::string& text, Date date) {
    struct tm tm {};
    const char* end = ::strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &tm);
    if (text.size() != 19 || end == nullptr || *end != '\0') return false;
    tm.tm_isdst = -1;
    return static_cast<double>(::mktime(&tm)) == std::floor(date + kReferenceDateUnixOffset);
}

Result<TrashedItem, TrashError> moveItem(const Trash& trash, const std::string& path,
                                         std::optional<ino_t> expectedInode = std::nullopt) {
    const std::string parent = deletingLastPathComponent(path);
    UniqueFd parentFd = openDirectoryNoFollow(parent);
    struct stat st {};
    if (!parentFd || ::lstat(path.c_str(), &st) != 0) {
        return Failure{TrashError{TrashError::Kind::system, errno, "test setup"}};
    }
    return trash.moveToTrash(parentFd.get(), parent, lastPathComponent(path), st.st_dev,
                             expectedInode.value_or(st.st_ino), kDate);
}

Result<bool, TrashError> putItemBack(const Trash& trash, const TrashedItem& item,
                                     const std::string& originalPath) {
    UniqueFd parentFd = openDirectoryNoFollow(deletingLastPathComponent(originalPath));
    return trash.putBack(item.filesFd.get(), item.filesFolder, item.trashName, parentFd.get(),
                         lastPathComponent(originalPath));
}

/// Sets TZ for the lifetime of the object so that local time differs from UTC.
class ScopedTimeZone {
  public:
    explicit ScopedTimeZone(const char* zone) {
        if (const char* old = std::getenv("TZ")) saved_ = old;
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~ScopedTimeZone() {
        if (saved_) {
            ::setenv("TZ", saved_->c_str(), 1);
        } else {
            ::unsetenv("TZ");
        }
        ::tzset();
    }

  private:
    std::optional<std::string> saved_;
};

TEST(TrashTest, MovesFilesAndFoldersIntoTheHomeTrash) {
    TestTree tree;
    ScopedTimeZone zone("VLM-5:30");
    const std::string dataHome = tree.path("home/.local/share");
    const Trash trash({dataHome, ::getuid()});
    const std::string files = dataHome + "/Trash/files";
    EXPECT_TRUE(trash.restoreRootsFor(tree.path("work/a.log")).empty());
    EXPECT_FALSE(exists(dataHome)) << "restoreRootsFor never creates anything";

    struct Case {
        std::string relative;
        bool folder;
        std::string trashName;
    };
    const Case cases[] = {{"work/a.log", false, "a.log"},    {"work/build", true, "build"},
                          {"other/a.log", false, "a.2.log"}, {"third/a.log", false, "a.3.log"},
                          {"other/build", true, "build.2"},  {"work/.cache", true, ".cache"},
                          {"other/.cache", true, ".cache.2"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.relative);
        const std::string original =
            c.folder ? tree.dir(c.relative) : tree.file(c.relative, c.relative.size());
        if (c.folder) tree.file(c.relative + "/inside", 3);
        struct stat before {};
        ASSERT_EQ(::lstat(original.c_str(), &before), 0);
        auto moved = moveItem(trash, original);
        ASSERT_TRUE(moved) << moved.error().description;
        EXPECT_EQ(moved->trashName, c.trashName);
        EXPECT_EQ(moved->filesFolder, files);
        EXPECT_EQ(moved->trashedPath, files + "/" + c.trashName);
        EXPECT_EQ(moved->trashInfoPath, dataHome + "/Trash/info/" + c.trashName + ".trashinfo");
        EXPECT_FALSE(exists(original));
        struct stat after {};
        ASSERT_EQ(::fstatat(moved->filesFd.get(), c.trashName.c_str(), &after, AT_SYMLINK_NOFOLLOW),
                  0);
        EXPECT_EQ(after.st_ino, before.st_ino);
        if (c.folder) {
            EXPECT_TRUE(exists(moved->trashedPath + "/inside"));
        }
        const auto info = parseTrashInfo(readFile(moved->trashInfoPath));
        ASSERT_TRUE(info) << readFile(moved->trashInfoPath);
        EXPECT_EQ(info->first, original) << "absolute and plain for these names";
        EXPECT_TRUE(isLocalDeletionDate(info->second, kDate)) << info->second;
        EXPECT_EQ(trash.restoreRootsFor(original), std::vector<std::string>{files});
    }
    EXPECT_EQ(namesIn(dataHome + "/Trash/info").size(), std::size(cases));
    for (const char* folder : {"", "/files", "/info"}) {
        struct stat st {};
        ASSERT_EQ(::lstat((dataHome + "/Trash" + folder).c_str(), &st), 0);
        EXPECT_TRUE(S_ISDIR(st.st_mode));
        EXPECT_EQ(st.st_mode & 07777, 0700u) << folder;
    }

    // An item in files/ without its .trashinfo still holds its name; the .trashinfo written
    // for that name is withdrawn before the next one is tried.
    tree.file("home/.local/share/Trash/files/orphan.txt", 1);
    auto moved = moveItem(trash, tree.file("work/orphan.txt", 2));
    ASSERT_TRUE(moved) << moved.error().description;
    EXPECT_EQ(moved->trashName, "orphan.2.txt");
    EXPECT_FALSE(exists(dataHome + "/Trash/info/orphan.txt.trashinfo"));
    EXPECT_EQ(fs::file_size(files + "/orphan.txt"), 1u);
}

// The home trash's folders are checked before every move, also when they were kept open from
// an earlier one: a link in place of any of them, or a trash that is not the user's, is refused;
// a folder replaced between two moves is used in place of the kept one. Nothing ever lands
// outside the trash, in a folder set aside, or as a stray .trashinfo.
TEST(TrashTest, RefusesALinkedOrForeignTrashAndChecksKeptFoldersAgain) {
    auto linkInPlaceOf = [](const std::string& folder) {
        return [folder](TestTree& tree) {
            fs::rename(tree.path("data/" + folder), tree.path("set-aside"));
            tree.symlink("data/" + folder, tree.path("outside"));
        };
    };
    auto freshInPlaceOf = [](const std::string& folder) {
        return [folder](TestTree& tree) {
            fs::rename(tree.path(folder), tree.path("set-aside"));
            tree.dir(folder);
        };
    };
    const struct {
        const char* name;
        bool afterAMove;
        std::function<void(TestTree&)> change;
        uid_t otherOwner;
        int errorNumber;  // 0: the move succeeds into data/Trash
    } cases[] = {
        {"Trash is a link", false, linkInPlaceOf("Trash"), 0, ELOOP},
        {"files is a link", false, linkInPlaceOf("Trash/files"), 0, ELOOP},
        {"info is a link", false, linkInPlaceOf("Trash/info"), 0, ELOOP},
        {"not the user's", false, {}, 1, EPERM},
        {"Trash became a link", true, linkInPlaceOf("Trash"), 0, ELOOP},
        {"files became a link", true, linkInPlaceOf("Trash/files"), 0, ELOOP},
        {"info became a link", true, linkInPlaceOf("Trash/info"), 0, ELOOP},
        {"files replaced", true, freshInPlaceOf("data/Trash/files"), 0, 0},
        {"info replaced", true, freshInPlaceOf("data/Trash/info"), 0, 0},
        {"Trash replaced", true, freshInPlaceOf("data/Trash"), 0, 0},
        {"data folder replaced", true, freshInPlaceOf("data"), 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TestTree tree;
        tree.dir("outside/files");
        tree.dir("outside/info");
        const Trash trash({tree.path("data"), ::getuid() + c.otherOwner});
        if (c.afterAMove) {
            ASSERT_TRUE(moveItem(trash, tree.file("work/first", 4)));
        } else {
            tree.dir("data/Trash/files");
            tree.dir("data/Trash/info");
        }
        if (c.change) c.change(tree);

        const std::string item = tree.file("work/second", 4);
        auto moved = moveItem(trash, item);
        EXPECT_EQ(namesIn(tree.path("outside")), (std::vector<std::string>{"files", "info"}));
        EXPECT_TRUE(namesIn(tree.path("outside/files")).empty());
        EXPECT_TRUE(namesIn(tree.path("outside/info")).empty());
        EXPECT_FALSE(exists(tree.path("set-aside/second")));
        EXPECT_FALSE(exists(tree.path("set-aside/second.trashinfo")));
        if (c.errorNumber != 0) {
            ASSERT_FALSE(moved);
            EXPECT_EQ(moved.error().kind, TrashError::Kind::system);
            EXPECT_EQ(moved.error().errorNumber, c.errorNumber);
            EXPECT_NE(moved.error().description.find("Trash"), std::string::npos);
            EXPECT_TRUE(exists(item));
            EXPECT_FALSE(exists(tree.path("data/Trash/info/second.trashinfo")));
            continue;
        }
        ASSERT_TRUE(moved) << moved.error().description;
        EXPECT_EQ(moved->trashedPath, tree.path("data/Trash/files/second"));
        EXPECT_TRUE(exists(tree.path("data/Trash/files/second")));
        EXPECT_TRUE(exists(tree.path("data/Trash/info/second.trashinfo")));
        EXPECT_FALSE(exists(item));
    }
}

// Whatever the move or the put-back meets in place of what it expects stays as it is.
TEST(TrashTest, NeverMovesAnUnexpectedObjectNorReplacesOneOnPutBack) {
    TestTree tree;
    const Trash trash({tree.path("data"), ::getuid()});
    const std::string item = tree.file("work/item", 7);
    struct stat itemStat {};
    struct stat otherStat {};
    ASSERT_EQ(::lstat(item.c_str(), &itemStat), 0);
    ASSERT_EQ(::lstat(tree.file("work/other", 1).c_str(), &otherStat), 0);

    // The validated object was `other`; what sits at `item` is something else: put back.
    auto refused = moveItem(trash, item, otherStat.st_ino);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, TrashError::Kind::changedDuringMove);
    struct stat now {};
    ASSERT_EQ(::lstat(item.c_str(), &now), 0);
    EXPECT_EQ(now.st_ino, itemStat.st_ino);
    EXPECT_TRUE(namesIn(tree.path("data/Trash/files")).empty());
    EXPECT_TRUE(namesIn(tree.path("data/Trash/info")).empty());

    // Something new at the original place is never replaced by the item coming back.
    auto moved = moveItem(trash, item);
    ASSERT_TRUE(moved) << moved.error().description;
    tree.file("work/item", 3);
    auto back = putItemBack(trash, *moved, item);
    ASSERT_FALSE(back);
    EXPECT_EQ(back.error().kind, TrashError::Kind::system);
    EXPECT_EQ(back.error().errorNumber, EEXIST);
    EXPECT_EQ(readFile(item), "xxx");
    EXPECT_EQ(readFile(moved->trashedPath), "xxxxxxx");
    EXPECT_TRUE(exists(moved->trashInfoPath));
}

// The per-volume trash needs a file system other than the one holding $XDG_DATA_HOME. A child
// process enters a mount namespace of its own (with a user namespace when not root), mounts
// tmpfs folders inside the test tree and reports its findings through a pipe and its exit
// status. The mounts vanish with the child.

using test::ChildFindings;
using test::runInPrivateMountNamespace;

std::string volumeTrashFindings(TestTree& tree) {
    ChildFindings f;
    const uid_t uid = ::getuid();
    const std::string uidText = std::to_string(uid);
    const std::string homeFiles = tree.dir("home/.local/share/Trash/files");
    tree.dir("home/.local/share/Trash/info");
    const Trash trash({tree.path("home/.local/share"), uid});

    auto mountVolume = [&](const std::string& relative) {
        test::mountTmpfs(tree.dir(relative));
        return tree.path(relative);
    };
    auto makeDir = [](const std::string& path, mode_t mode) {
        if (::mkdir(path.c_str(), mode) != 0 || ::chmod(path.c_str(), mode) != 0) {
            throw std::runtime_error("mkdir " + path);
        }
    };

    struct Case {
        std::string label;
        std::function<void(const std::string& top)> prepare;
        std::string trashFolder;                // relative to the volume's top
        std::vector<std::string> mustNotExist;  // relative to the volume's top
    };
    const std::string ownTrash = ".Trash-" + uidText;
    const Case cases[] = {
        {"no .Trash", [](const std::string&) {}, ownTrash, {".Trash"}},
        {"sticky .Trash",
         [&](const std::string& top) { makeDir(top + "/.Trash", 01777); },
         ".Trash/" + uidText,
         {ownTrash}},
        {".Trash without the sticky bit",
         [&](const std::string& top) { makeDir(top + "/.Trash", 0777); },
         ownTrash,
         {".Trash/" + uidText}},
        {".Trash is a link",
         [&](const std::string& top) {
             makeDir(top + "/elsewhere", 01777);
             if (::symlink("elsewhere", (top + "/.Trash").c_str()) != 0) {
                 throw std::runtime_error("symlink");
             }
         },
         ownTrash,
         {"elsewhere/" + uidText}},
    };
    int index = 0;
    for (const auto& c : cases) {
        const std::string top = mountVolume("vol" + std::to_string(index++));
        c.prepare(top);
        makeDir(top + "/dir", 0755);
        makeDir(top + "/dir/sub", 0755);
        const std::string original = top + "/dir/sub/it em%.txt";
        std::ofstream(original) << "data";
        const std::string where = c.label + ": ";

        auto moved = moveItem(trash, original);
        if (!moved) {
            f.expect(false, where + "move failed: " + moved.error().description);
            continue;
        }
        const std::string trashPath = top + "/" + c.trashFolder;
        f.expect(moved->trashedPath == trashPath + "/files/it em%.txt",
                 where + "trashed at " + moved->trashedPath);
        const auto info = parseTrashInfo(readFile(trashPath + "/info/it em%.txt.trashinfo"));
        f.expect(info && info->first == "dir/sub/it%20em%25.txt",
                 where + "Path= " + (info ? info->first : "(no .trashinfo)"));
        struct stat st {};
        f.expect(::lstat(trashPath.c_str(), &st) == 0 && (st.st_mode & 07777) == 0700 &&
                     st.st_uid == uid,
                 where + "trash folder mode or owner");
        for (const auto& absent : c.mustNotExist) {
            f.expect(!exists(top + "/" + absent), where + absent + " was created");
        }
        const std::vector<std::string> roots{trashPath + "/files", homeFiles};
        f.expect(trash.restoreRootsFor(original) == roots, where + "restore roots");
        f.expect(trash.restoreRootsFor(top + "/missing/deeper/x") == roots,
                 where + "restore roots below a missing folder");

        auto back = putItemBack(trash, *moved, original);
        f.expect(back && *back && readFile(original) == "data" &&
                     !exists(trashPath + "/info/it em%.txt.trashinfo"),
                 where + "put back");
    }

    // A volume where no trash can be made: the item stays, nothing is copied.
    const std::string top = mountVolume("readonly");
    std::ofstream(top + "/item") << "data";
    if (::mount(nullptr, top.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0) {
        throw std::runtime_error("remount read-only: " + std::string(std::strerror(errno)));
    }
    auto refused = moveItem(trash, top + "/item");
    f.expect(!refused && refused.error().kind == TrashError::Kind::crossDevice &&
                 refused.error().description.find("never copies") != std::string::npos,
             "read-only volume: expected crossDevice");
    f.expect(readFile(top + "/item") == "data", "read-only volume: item moved");
    f.expect(namesIn(homeFiles).empty(), "an item from another volume reached the home trash");
    return f.text;
}

TEST(TrashTest, UsesTheVolumesOwnTrashOnAnotherFileSystem) {
    TestTree tree;
    const test::MountChildReport report =
        runInPrivateMountNamespace([&] { return volumeTrashFindings(tree); });
    if (report.status == test::kMountNamespaceUnavailable) {
        GTEST_SKIP() << "cannot create a second file system here (" << report.text
                     << "); the per-volume trash is not tested";
    }
    EXPECT_EQ(report.status, 0) << report.text;
}

}  // namespace
}  // namespace velmora

// The shared directory walk: what it reads, what it refuses to follow or enter, and how the
// visitor's answers, the depth limit and cancellation end it.
#include "CleanerCore/platform/DirectoryWalker.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <functional>
#include <set>

#include "CleanerCore/platform/FileSystem.h"
#include "support/MountNamespace.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

// Records what the walk reported, as paths relative to the walked folder, sorted (the listing
// order is the file system's).
struct Recorder final : DirectoryVisitor {
    explicit Recorder(std::string walked) : root(std::move(walked)) {}
    std::string relative(const std::string& path) const { return path.substr(root.size() + 1); }

    bool isCancelled() override { return cancelAfter >= 0 && visits >= cancelAfter; }
    WalkAction listed(WalkEntry& entry) override {
        if (onListed) onListed(entry);
        return WalkAction::proceed;
    }
    WalkAction visit(WalkEntry& entry) override {
        ++visits;
        const std::string path = relative(entry.path());
        std::string tag = S_ISLNK(entry.stat().st_mode) ? "@" : "";
        if (entry.inheritedFlags() != 0) tag += "+";
        if (entry.isOnOtherMount()) tag += "!";
        seen.insert(path + tag);
        if (entry.name() == std::string("marked")) entry.setChildFlags(1);
        if (onVisit) onVisit(entry);
        return stopAfter >= 0 && visits >= stopAfter ? WalkAction::stop : WalkAction::proceed;
    }
    WalkAction failed(const std::string& path, WalkFailure failure, int error) override {
        static const char* const names[] = {"list",    "describe", "open",
                                            "changed", "tooDeep",  "otherMount"};
        seen.insert(std::string(names[static_cast<int>(failure)]) + ":" + relative(path) +
                    (error == ENOENT ? ":ENOENT" : ""));
        return WalkAction::pass;
    }

    std::string root;
    std::set<std::string> seen;
    int visits = 0;
    int stopAfter = -1;
    int cancelAfter = -1;
    std::function<void(WalkEntry&)> onListed, onVisit;
};

WalkEnd walkTree(const std::string& root, Recorder& recorder, const WalkOptions& options = {}) {
    UniqueFd fd = openDirectoryNoFollow(root);
    EXPECT_TRUE(fd);
    DirectoryWalker walker;
    return walker.walk(fd.get(), root, recorder, options);
}

// Replaces the folder `name` in the entry's folder between its description and its opening.
void swapFolder(WalkEntry& entry, const char* name, bool forLink) {
    if (entry.name() != std::string(name)) return;
    const std::string path = entry.path();
    ASSERT_EQ(std::rename(path.c_str(), (path + "-moved").c_str()), 0);
    if (forLink) {
        ASSERT_EQ(::symlink((path + "-moved").c_str(), path.c_str()), 0);
    } else {
        ASSERT_EQ(::mkdir(path.c_str(), 0755), 0);
    }
}

TEST(DirectoryWalkerTest, ReadsTheTreeAndRefusesWhatItMustNotFollowOrEnter) {
    auto swap = [](bool forLink) {
        return [forLink](Recorder& r) {
            r.onVisit = [forLink](WalkEntry& e) { swapFolder(e, "d", forLink); };
        };
    };
    const std::set<std::string> whole = {"d", "d/f", "d/e", "d/e/g", "toFile@"};
    const struct {
        const char* label;
        bool opensFoldersFirst;
        int maximumDepth;
        std::function<void(Recorder&)> arrange;
        std::set<std::string> expected;  // besides "toDir@" and "marked" with its descendants
    } cases[] = {
        {"links are described, never followed; flags reach descendants only", true, 2048, nullptr,
         whole},
        {"the same when folders are described before they are opened", false, 2048, nullptr, whole},
        {"a folder deeper than the limit is seen but not entered",
         true,
         2,
         nullptr,
         {"d", "d/f", "d/e", "tooDeep:d/e", "tooDeep:marked/y", "toFile@"}},
        {"a folder swapped for a link after its description is not entered",
         false,
         2048,
         swap(true),
         {"d", "open:d", "toFile@"}},
        {"a folder swapped for another folder after its description is not entered",
         false,
         2048,
         swap(false),
         {"d", "changed:d", "toFile@"}},
        {"a folder opened first is walked as opened, whatever its name leads to afterwards", true,
         2048, swap(true), whole},
        {"an entry gone since the listing is reported as gone",
         true,
         2048,
         [](Recorder& r) {
             r.onListed = [](WalkEntry& e) {
                 if (e.name() == std::string("toFile")) ::unlink(e.path().c_str());
             };
         },
         {"d", "d/f", "d/e", "d/e/g", "describe:toFile:ENOENT"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        TestTree tree;
        tree.file("d/f");
        tree.file("d/e/g");
        tree.file("marked/x");
        tree.file("marked/y/z");
        tree.symlink("toDir", tree.path("d"));
        tree.symlink("toFile", tree.path("d/f"));
        Recorder recorder(tree.root());
        if (c.arrange) c.arrange(recorder);
        WalkOptions options;
        options.opensFoldersFirst = c.opensFoldersFirst;
        options.maximumDepth = c.maximumDepth;
        EXPECT_EQ(walkTree(tree.root(), recorder, options), WalkEnd::finished);
        std::set<std::string> expected = c.expected;
        expected.insert({"toDir@", "marked", "marked/x+", "marked/y+"});
        if (c.maximumDepth > 2) expected.insert("marked/y/z+");
        EXPECT_EQ(recorder.seen, expected);
    }
}

TEST(DirectoryWalkerTest, StopAndCancellationEndTheWalkAtOnce) {
    const struct {
        int stopAfter, cancelAfter;
        WalkEnd end;
    } cases[] = {{1, -1, WalkEnd::stopped},
                 {3, -1, WalkEnd::stopped},
                 {-1, 0, WalkEnd::cancelled},
                 {-1, 3, WalkEnd::cancelled}};
    for (const auto& c : cases) {
        TestTree tree;
        tree.file("a/b/c/d");
        tree.file("a/b/e");
        tree.file("f");
        Recorder recorder(tree.root());
        recorder.stopAfter = c.stopAfter;
        recorder.cancelAfter = c.cancelAfter;
        EXPECT_EQ(walkTree(tree.root(), recorder), c.end);
        EXPECT_EQ(recorder.visits, std::max(c.stopAfter, c.cancelAfter));
    }
}

// In the child: a tmpfs and a bind mount of the same file system inside the walked folder.
std::string mountFindings(TestTree& tree) {
    test::ChildFindings f;
    tree.file("plain/file");
    tree.dir("tmp");
    test::mountTmpfs(tree.path("tmp"));
    tree.file("tmp/inside");
    tree.file("source/shown");
    tree.dir("bound");
    test::bindMount(tree.path("source"), tree.path("bound"));
    UniqueFd root = openDirectoryNoFollow(tree.root());
    const auto place = MountPlace::of(root.get());
    f.expect(place && place->mountId, "the root's mount id is readable");
    if (!place) return f.text;
    const struct {
        const char* label;
        bool opensFoldersFirst;
        bool withMountId;
        std::set<std::string> bound;  // what the bind mount's entries look like
    } cases[] = {
        {"device and mount id, opened first", true, true, {"bound!", "bound/shown!"}},
        {"device and mount id, described first", false, true, {"bound!", "bound/shown!"}},
        {"device only", true, false, {"bound", "bound/shown"}},
    };
    for (const auto& c : cases) {
        Recorder recorder(tree.root());
        WalkOptions options;
        options.opensFoldersFirst = c.opensFoldersFirst;
        options.mountPlace =
            MountPlace{place->device, c.withMountId ? place->mountId : std::nullopt};
        walkTree(tree.root(), recorder, options);
        std::set<std::string> expected = {"plain",        "plain/file", "source",
                                          "source/shown", "tmp!",       "tmp/inside!"};
        expected.insert(c.bound.begin(), c.bound.end());
        std::string seen;
        for (const auto& s : recorder.seen) seen += s + " ";
        f.expect(recorder.seen == expected, std::string(c.label) + ": saw " + seen);
    }
    return f.text;
}

TEST(DirectoryWalkerTest, ReportsEntriesOnAnotherMount) {
    TestTree tree;
    const auto report = test::runInPrivateMountNamespace([&] { return mountFindings(tree); });
    if (report.status == test::kMountNamespaceUnavailable) {
        GTEST_SKIP() << "no private mount namespace here (" << report.text << ")";
    }
    EXPECT_EQ(report.status, 0) << report.text;
}

}  // namespace
}  // namespace velmora

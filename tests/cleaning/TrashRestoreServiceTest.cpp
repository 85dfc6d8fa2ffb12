// Restoring from the Trash: the round trip, and every reason an item stays in the Trash.
#include "CleanerCore/cleaning/TrashRestoreService.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "cleaning/CleaningFixture.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;
using test::CleaningFixture;
using test::exists;
using test::named;
using test::reasons;

using TrashRestoreServiceTest = CleaningFixture;

TEST_F(TrashRestoreServiceTest, LeavesItemsInTheTrashWhenAnythingNoLongerMatches) {
    for (const char* name : {"deleted", "emptied", "replaced", "touched", "no-identity",
                             "out-of-scope", "forged", "fine"}) {
        tree.file(std::string("home/.cache/") + name + "/f", 10);
    }
    auto candidates = scan();
    auto trashed = clean(candidates).cleanedItems;
    ASSERT_EQ(trashed.size(), 8u);

    std::vector<CleanedItem> items;
    std::vector<std::string> expected;
    auto add = [&](CleanedItem item, std::string reason) {
        items.push_back(std::move(item));
        expected.push_back(std::move(reason));
    };

    CleanedItem deleted = named(trashed, "deleted");
    deleted.destinationURL.reset();
    add(deleted, "Could not restore because the trashed item is missing: " + cache + "/deleted");

    CleanedItem emptied = named(trashed, "emptied");
    fs::remove_all(emptied.destinationURL->path);
    add(emptied,
        "Could not restore because the trashed item is missing: " + emptied.destinationURL->path);

    CleanedItem replaced = named(trashed, "replaced");
    tree.file("home/.cache/replaced");
    add(replaced, "Could not restore because an item already exists at: " + cache + "/replaced");

    CleanedItem touched = named(trashed, "touched");
    std::ofstream(touched.destinationURL->path + "/f", std::ios::app) << "more";
    ::utimensat(AT_FDCWD, touched.destinationURL->path.c_str(), nullptr, AT_SYMLINK_NOFOLLOW);
    add(touched,
        "Could not restore because the trashed item changed: " + touched.destinationURL->path);

    CleanedItem anonymous = named(trashed, "no-identity");
    anonymous.restoreSourceIdentity.reset();
    add(anonymous, "Could not restore because the trashed item identity is unavailable: " +
                       anonymous.destinationURL->path);

    CleanedItem moved = named(trashed, "out-of-scope");
    moved.candidate.url = FileURL(home + "/Documents/out-of-scope");
    add(moved, "Path is outside the active scan scope: " + home + "/Documents/out-of-scope");

    // A history entry edited to point at a file outside every trash folder.
    CleanedItem forged = named(trashed, "forged");
    forged.destinationURL = FileURL(tree.file("home/Documents/precious"));
    forged.restoreSourceRootURL = FileURL::directory(home + "/Documents");
    add(forged, "Path is outside the active scan scope: " + home + "/Documents/precious");

    items.push_back(named(trashed, "fine"));
    auto result = restore(items);
    EXPECT_EQ(reasons(result), expected);
    ASSERT_EQ(result.restoredItems.size(), 1u);
    EXPECT_TRUE(exists(cache + "/fine/f"));
    EXPECT_TRUE(exists(home + "/Documents/precious"));
    EXPECT_TRUE(exists(touched.destinationURL->path));
}

// Once the data folder lives where the item was (XDG_DATA_HOME moved into the cache), putting
// the item back would land it in the Trash or the history's folder: it stays in the Trash.
TEST_F(TrashRestoreServiceTest, NothingIsRestoredIntoTheTrashOrVelmorasData) {
    tree.file("home/.cache/share/Velmora/old-log", 10);
    auto cleaned = clean(scan()).cleanedItems;
    ASSERT_EQ(cleaned.size(), 1u);

    TrashRestoreService service({home, Catalogue::linux, trash(), std::nullopt,
                                 ProtectedPlaces::forFolders(cache + "/share", home + "/.config")});
    auto result = service.restore(cleaned, locations, policy());
    EXPECT_TRUE(result.restoredItems.empty());
    EXPECT_EQ(reasons(result),
              std::vector<std::string>{"Refusing to clean protected user data path: " + cache +
                                       "/share"});
    EXPECT_TRUE(exists(cleaned[0].destinationURL->path));
    EXPECT_FALSE(exists(cache + "/share"));
}

}  // namespace
}  // namespace velmora

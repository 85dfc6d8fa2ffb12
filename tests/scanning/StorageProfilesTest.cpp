// The scan catalogues (macOS layout and Linux layout) and custom-folder validation, each built
// against a throw-away home folder.
#include <gtest/gtest.h>

#include <algorithm>

#include "CleanerCore/scanning/StorageProfiles.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using C = CleanupCategory;
using S = CleanupSafety;
using Strings = std::vector<std::string>;
using StorageProfiles::kOneDay;

class StorageProfilesTest : public ::testing::Test {
  protected:
    test::TestTree tree;
    std::string home = tree.dir("home");
    CancellationToken live;

    ProfileFolders mac() const { return ProfileFolders::defaults(home, Catalogue::macos); }
    ProfileFolders linux() const { return ProfileFolders::defaults(home, Catalogue::linux); }

    // Roots below home, and "category name [container id]", for locations [from, end), sorted
    // where the order is the file system's listing order.
    Strings roots(const std::vector<ScanLocation>& all, size_t from, bool sorted = false) const {
        Strings out;
        for (size_t i = from; i < all.size(); ++i) {
            out.push_back(all[i].rootURL.path.substr(home.size() + 1));
        }
        if (sorted) std::sort(out.begin(), out.end());
        return out;
    }
    static Strings names(const std::vector<ScanLocation>& all, size_t from) {
        Strings out;
        for (size_t i = from; i < all.size(); ++i) {
            const auto& ctx = all[i].appCacheContext;
            out.push_back(std::string(rawValue(all[i].category)) + " " + all[i].displayName +
                          (ctx ? " [" + ctx->containerIdentifier + "]" : ""));
        }
        std::sort(out.begin(), out.end());
        return out;
    }
    // Expanded and directly admitted locations are all offered the same way.
    static void expectForReview(const std::vector<ScanLocation>& all, size_t from, double age) {
        for (size_t i = from; i < all.size(); ++i) {
            SCOPED_TRACE(all[i].displayName);
            EXPECT_EQ(all[i].safety, S::manualReview);
            EXPECT_FALSE(all[i].isSelectedByDefault);
            EXPECT_EQ(all[i].minimumModificationAge, age);
            EXPECT_TRUE(all[i].includesHiddenFiles && all[i].includesPackageDescendants);
        }
    }

    // Every kind of container entry the expansion must pass over, plus the ones it keeps.
    void buildMacContainers() {
        for (const char* d : {"Containers/com.example.app/Data/Library/Caches",
                              "Containers/ spaced /Data/Library/Caches",
                              "Containers/com.apple.Safari/Data/Library/Caches",
                              "Containers/com.example.nocache/Data/Library",
                              "Group Containers/group.com.example.shared/Library/Caches",
                              "Group Containers/group.com.apple.notes/Library/Caches",
                              "Developer/CoreSimulator/Devices/DEV-1/data/Library/Caches"}) {
            tree.dir(std::string("home/Library/") + d);
        }
        tree.file("home/Library/Containers/com.example.file/Data/Library/Caches");
        tree.file("home/Library/Containers/plain-file");
        tree.dir("outside/linked/Data/Library/Caches");
        tree.symlink("home/Library/Containers/com.example.linked", tree.path("outside/linked"));
    }
};

TEST_F(StorageProfilesTest, MacAggressiveRewritesStandardAndExpandsRealContainersOnly) {
    buildMacContainers();
    const auto standard = StorageProfiles::standardLocations(mac());
    const auto all = StorageProfiles::aggressiveLocations(mac(), live);
    ASSERT_GT(all.size(), standard.size());
    for (size_t i = 0; i < standard.size(); ++i) {
        ScanLocation rewritten = standard[i];
        rewritten.isSelectedByDefault = false;
        rewritten.safety = S::caution;
        rewritten.minimumModificationAge = 0;
        rewritten.includesHiddenFiles = rewritten.includesPackageDescendants = true;
        EXPECT_EQ(all[i], rewritten) << i;
    }
    EXPECT_EQ(all[standard.size()].category, C::xcodeDeviceSupport);
    const size_t expanded = standard.size() + 1;
    EXPECT_EQ(roots(all, expanded, true),
              (Strings{"Library/Containers/ spaced /Data/Library/Caches",
                       "Library/Containers/com.example.app/Data/Library/Caches",
                       "Library/Developer/CoreSimulator/Devices/DEV-1/data/Library/Caches",
                       "Library/Group Containers/group.com.example.shared/Library/Caches"}));
    EXPECT_EQ(names(all, expanded),
              (Strings{"appContainerCaches App Container Cache:  spaced  [spaced]",
                       "appContainerCaches App Container Cache: com.example.app [com.example.app]",
                       "groupContainerCaches Group Container Cache: group.com.example.shared "
                       "[group.com.example.shared]",
                       "simulatorCaches Simulator Device Cache: DEV-1"}));
    expectForReview(all, expanded, 0);
}

TEST_F(StorageProfilesTest, CancellationBeforeExpansionKeepsWhatWasBuilt) {
    buildMacContainers();
    tree.dir("home/.npm/_cacache");
    CancellationToken cancelled;
    cancelled.requestCancellation();
    const auto cut = StorageProfiles::aggressiveLocations(mac(), cancelled);
    EXPECT_EQ(cut.size(), StorageProfiles::standardLocations(mac()).size() + 1);
    EXPECT_EQ(StorageProfiles::directLocations(mac(), cancelled), cut);
    EXPECT_TRUE(StorageProfiles::containerCacheLocations(
                    home + "/Library/Containers", "Data/Library/Caches", C::appContainerCaches,
                    "App Container Cache", Catalogue::macos, cancelled)
                    .empty());
}

TEST_F(StorageProfilesTest, MacDirectAdmitsOnlyRealFoldersInsideHome) {
    tree.dir("outside/cache/pip");
    tree.symlink("home/.cache", tree.path("outside/cache"));  // link leaving home
    tree.dir("outside/cargo/registry/cache");
    tree.symlink("home/.cargo", tree.path("outside/cargo"));  // ancestor link leaving home
    tree.dir("home/real-pnpm");
    tree.symlink("home/.pnpm-store", home + "/real-pnpm");  // the root itself is a link
    tree.file("home/.gradle/caches");                       // not a folder
    tree.dir("home/dot-yarn/berry/cache");
    tree.symlink("home/.yarn", home + "/dot-yarn");  // ancestor link that stays in home
    tree.dir("home/.npm/_cacache");
    tree.dir("home/Library/Caches/pip");
    tree.dir("home/Library/Developer/Xcode/Archives");

    const auto all = StorageProfiles::directLocations(mac(), live);
    const size_t direct = StorageProfiles::aggressiveLocations(mac(), live).size();
    EXPECT_EQ(roots(all, direct), (Strings{"Library/Developer/Xcode/Archives", "Library/Caches/pip",
                                           ".npm/_cacache", ".yarn/berry/cache"}));
    EXPECT_EQ(names(all, direct),
              (Strings{"buildArchives Xcode Archives", "packageManagerCaches Yarn Berry Cache",
                       "packageManagerCaches npm Cache", "packageManagerCaches pip Cache"}));
    expectForReview(all, direct, kOneDay);
}

TEST_F(StorageProfilesTest, LinuxCatalogueFollowsTheFreedesktopLayout) {
    tree.dir("home/.var/app/org.example.App/cache");
    tree.dir("home/.var/app/org.example.NoCache/data");
    tree.dir("home/snap/firefox/common/.cache");
    tree.file("home/snap/README");
    const auto aggressive = StorageProfiles::aggressiveLocations(linux(), live);
    EXPECT_EQ(roots(aggressive, 2),
              (Strings{".var/app/org.example.App/cache", "snap/firefox/common/.cache"}));
    EXPECT_EQ(names(aggressive, 2),
              (Strings{"appContainerCaches App Container Cache: org.example.App [org.example.App]",
                       "appContainerCaches Snap App Cache: firefox [firefox]"}));
    expectForReview(aggressive, 2, 0);

    tree.dir("home/.cache/pip");
    tree.dir("home/.npm/_cacache");
    tree.dir("home/.cargo/registry/cache");
    tree.dir("outside/m2/repository");
    tree.symlink("home/.m2", tree.path("outside/m2"));
    const auto direct = StorageProfiles::directLocations(linux(), live);
    EXPECT_EQ(std::vector<ScanLocation>(direct.begin(), direct.begin() + 4), aggressive);
    EXPECT_EQ(roots(direct, 4), (Strings{".cache/pip", ".npm/_cacache", ".cargo/registry/cache"}));
    expectForReview(direct, 4, kOneDay);
}

TEST_F(StorageProfilesTest, CustomFolderValidation) {
    using E = CustomScanFolderError::Kind;
    tree.dir("home/Projects/build");
    tree.dir("home/.ssh");
    tree.file("home/notes.txt");
    tree.symlink("home/projects-link", home + "/Projects");
    tree.symlink("home/root-link", "/");
    const std::string broad = "Selected folder is too broad or protected for cleanup scanning: ";
    const std::string notFolder = "Selected item is not an accessible folder: ";
    const std::tuple<Catalogue, std::string, std::optional<E>> cases[] = {
        {Catalogue::linux, home + "/Projects/build", std::nullopt},
        {Catalogue::linux, home + "/Projects/../Projects/", std::nullopt},
        {Catalogue::macos, home + "/.ssh", std::nullopt},
        {Catalogue::linux, "/", E::unsafeRoot},
        {Catalogue::macos, "/", E::unsafeRoot},
        {Catalogue::linux, home, E::unsafeRoot},
        {Catalogue::macos, home + "/", E::unsafeRoot},
        {Catalogue::linux, tree.root(), E::unsafeRoot},  // contains the home folder
        {Catalogue::linux, home + "/.ssh", E::unsafeRoot},
        {Catalogue::linux, home + "/projects-link", E::unsafeRoot},
        {Catalogue::linux, home + "/root-link/usr", E::unsafeRoot},
        {Catalogue::linux, "/usr", E::unsafeRoot},
        {Catalogue::linux, home + "/notes.txt", E::notDirectory},
        {Catalogue::linux, home + "/missing", E::notDirectory},
    };
    for (const auto& [catalogue, path, kind] : cases) {
        auto refusal = validateCustomScanFolder(path, home, catalogue);
        ASSERT_EQ(refusal.has_value(), kind.has_value()) << path;
        if (!kind) continue;
        EXPECT_EQ(refusal->kind, *kind) << path;
        EXPECT_EQ(refusal->description(),
                  (*kind == E::unsafeRoot ? broad : notFolder) + standardizePath(path));
    }
}

}  // namespace
}  // namespace velmora

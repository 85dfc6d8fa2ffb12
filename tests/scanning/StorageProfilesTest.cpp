// The scan catalogues (macOS layout and Linux layout) and custom-folder validation, each built
// against a throw-away home folder.
#include <gtest/gtest.h>

#include <unistd.h>

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

ScanRootRules rootRules(const std::string& home, Catalogue catalogue) {
    return ScanRootRules::make(
        home, catalogue, ProtectedPlaces::forFolders(home + "/.local/share", home + "/.config"),
        {home + "/Documents", home + "/Downloads"});
}

// A folder owned by another user (as root: chowned to nobody); empty when that is impossible.
std::string foreignFolder(test::TestTree& tree, const std::string& relative) {
    const std::string path = tree.dir(relative);
    if (::geteuid() != 0 || ::chown(path.c_str(), 65534, 65534) != 0) return {};
    return path;
}

TEST_F(StorageProfilesTest, CustomFolderValidation) {
    using E = CustomScanFolderError::Kind;
    tree.dir("home/Projects/build");
    tree.dir("home/.ssh");
    tree.dir("home/Documents/old-builds");
    tree.dir("home/.local/share/Trash/files");
    tree.dir("home/.local/share/Velmora");
    tree.dir("vol/.Trash-0/files");
    tree.dir("vol/.Trash/1000");
    tree.file("home/notes.txt");
    tree.symlink("home/projects-link", home + "/Projects");
    tree.symlink("home/root-link", "/");
    tree.symlink("home/doc-link", "/usr/share");
    const std::string foreign = foreignFolder(tree, "home/shared-by-nobody");
    const std::string broad = "Selected folder is too broad or protected for cleanup scanning: ";
    const std::string notFolder = "Selected item is not an accessible folder: ";
    std::vector<std::tuple<Catalogue, std::string, std::optional<E>>> cases = {
        {Catalogue::linux, home + "/Projects/build", std::nullopt},
        {Catalogue::linux, home + "/Projects/../Projects/", std::nullopt},
        {Catalogue::linux, home + "/Documents/old-builds", std::nullopt},
        {Catalogue::linux, tree.dir("scratch"), std::nullopt},  // the tree lies in /tmp
        {Catalogue::macos, home + "/.ssh", std::nullopt},
        {Catalogue::linux, "/", E::unsafeRoot},
        {Catalogue::macos, "/", E::unsafeRoot},
        {Catalogue::linux, home, E::unsafeRoot},
        {Catalogue::macos, home + "/", E::unsafeRoot},
        {Catalogue::linux, tree.root(), E::unsafeRoot},  // contains the home folder
        {Catalogue::linux, home + "/.ssh", E::unsafeRoot},
        {Catalogue::linux, home + "/projects-link", E::unsafeRoot},
        {Catalogue::linux, home + "/root-link/usr", E::unsafeRoot},
        {Catalogue::linux, home + "/doc-link/doc", E::unsafeRoot},
        {Catalogue::linux, "/usr", E::unsafeRoot},
        {Catalogue::linux, "/tmp", E::unsafeRoot},
        // System folders, below as well as themselves, under either catalogue.
        {Catalogue::linux, "/etc/ssl", E::unsafeRoot},
        {Catalogue::linux, "/var/lib/dpkg", E::unsafeRoot},
        {Catalogue::linux, "/usr/share/doc", E::unsafeRoot},
        {Catalogue::macos, "/usr/share/doc", E::unsafeRoot},
        // A user folder itself (its contents may be scanned).
        {Catalogue::linux, home + "/Documents", E::unsafeRoot},
        // The Trash, any volume Trash, and a folder that holds Velmora's history.
        {Catalogue::linux, home + "/.local/share/Trash", E::unsafeRoot},
        {Catalogue::linux, home + "/.local/share/Trash/files", E::unsafeRoot},
        {Catalogue::linux, home + "/.local/share", E::unsafeRoot},
        {Catalogue::macos, home + "/.local/share", E::unsafeRoot},
        {Catalogue::linux, tree.path("vol/.Trash-0"), E::unsafeRoot},
        {Catalogue::linux, tree.path("vol/.Trash/1000"), E::unsafeRoot},
        {Catalogue::linux, home + "/notes.txt", E::notDirectory},
        {Catalogue::linux, home + "/missing", E::notDirectory},
    };
    if (!foreign.empty()) cases.push_back({Catalogue::linux, foreign, E::unsafeRoot});
    for (const auto& [catalogue, path, kind] : cases) {
        auto refusal = validateCustomScanFolder(path, rootRules(home, catalogue));
        ASSERT_EQ(refusal.has_value(), kind.has_value()) << path;
        if (!kind) continue;
        EXPECT_EQ(refusal->kind, *kind) << path;
        EXPECT_EQ(refusal->description(),
                  (*kind == E::unsafeRoot ? broad : notFolder) + standardizePath(path));
    }
}

// Roots from the environment ($XDG_CACHE_HOME, ...) pass the custom-folder checks and say why
// they are refused.
TEST_F(StorageProfilesTest, RootChecksNameTheirReason) {
    using R = ScanRootRefusal;
    tree.dir("home/.cache");
    tree.dir("home/Documents");
    tree.dir("home/.local/share/Velmora");
    const std::string foreign = foreignFolder(tree, "home/foreign-cache");
    std::vector<std::pair<std::string, std::optional<R>>> cases = {
        {home + "/.cache", std::nullopt},
        {home + "/.cache/missing", std::nullopt},
        {home, R::tooBroad},
        {tree.root(), R::tooBroad},
        {"/", R::tooBroad},
        {"/usr/share/doc", R::systemFolder},
        {"/var/lib/dpkg", R::systemFolder},
        {"/root/.cache", R::systemFolder},
        {"/run/lock", R::systemFolder},
        {"/run/media/someone/usb/cache", std::nullopt},
        {"/usr", R::systemFolder},
        {home + "/Documents", R::userFolder},
        {home + "/.local/share", R::protectedData},
        {home + "/.local/share/Velmora", R::protectedData},
        {home + "/.ssh", R::protectedData},
    };
    if (!foreign.empty()) cases.push_back({foreign, R::notOwned});
    const ScanRootRules rules = rootRules(home, Catalogue::linux);
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(checkScanRoot(path, rules), expected) << path;
    }
    EXPECT_EQ(description(R::systemFolder),
              "This folder belongs to the operating system, so it is not scanned for cleanup.");
}

}  // namespace
}  // namespace velmora

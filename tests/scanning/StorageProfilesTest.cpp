// The scan catalogues (macOS layout and Linux layout) and custom-folder validation, each built
// against a throw-away home folder.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "CleanerCore/scanning/StorageProfiles.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using C = CleanupCategory;
using S = CleanupSafety;
using StorageProfiles::kOneDay;

struct Expected {
    std::string relativeRoot;  // below home
    C category;
    std::string displayName;
    bool selected;
    S safety;
    double minimumAge;
    bool hidden;
    bool packages;
};

void expectLocation(const ScanLocation& l, const std::string& home, const Expected& e) {
    SCOPED_TRACE(e.displayName);
    EXPECT_EQ(l.rootURL, FileURL::directory(home + "/" + e.relativeRoot));
    EXPECT_TRUE(l.rootURL.isDirectory);
    EXPECT_EQ(l.category, e.category);
    EXPECT_EQ(l.displayName, e.displayName);
    EXPECT_EQ(l.depth, ScanDepth::immediateChildren);
    EXPECT_EQ(l.isSelectedByDefault, e.selected);
    EXPECT_EQ(l.safety, e.safety);
    EXPECT_EQ(l.minimumModificationAge, e.minimumAge);
    EXPECT_EQ(l.includesHiddenFiles, e.hidden);
    EXPECT_EQ(l.includesPackageDescendants, e.packages);
}

void expectLocations(const std::vector<ScanLocation>& got, const std::string& home,
                     const std::vector<Expected>& want) {
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i) expectLocation(got[i], home, want[i]);
}

const std::vector<Expected> kMacStandard = {
    {"Library/Caches", C::userCaches, "~/Library/Caches", true, S::safe, kOneDay, false, false},
    {"Library/Logs", C::userLogs, "~/Library/Logs", true, S::safe, kOneDay, false, false},
    {"Library/Developer/Xcode/DerivedData", C::xcodeDerivedData, "Xcode DerivedData", false,
     S::caution, kOneDay, false, false},
    {"Library/Developer/CoreSimulator/Caches", C::simulatorCaches, "Simulator Caches", false,
     S::caution, kOneDay, false, false},
};

// The standard roots as aggressive mode rewrites them, then DeviceSupport.
const std::vector<Expected> kMacAggressiveFixed = {
    {"Library/Caches", C::userCaches, "~/Library/Caches", false, S::caution, 0, true, true},
    {"Library/Logs", C::userLogs, "~/Library/Logs", false, S::caution, 0, true, true},
    {"Library/Developer/Xcode/DerivedData", C::xcodeDerivedData, "Xcode DerivedData", false,
     S::caution, 0, true, true},
    {"Library/Developer/CoreSimulator/Caches", C::simulatorCaches, "Simulator Caches", false,
     S::caution, 0, true, true},
    {"Library/Developer/Xcode/iOS DeviceSupport", C::xcodeDeviceSupport, "Xcode iOS DeviceSupport",
     false, S::manualReview, kOneDay, true, true},
};

class StorageProfilesTest : public ::testing::Test {
  protected:
    test::TestTree tree;
    std::string home = tree.dir("home");
    CancellationToken live;

    ProfileFolders mac() const { return ProfileFolders::defaults(home, Catalogue::macos); }
    ProfileFolders linux() const { return ProfileFolders::defaults(home, Catalogue::linux); }

    // Every kind of container entry the expansion must pass over, plus the ones it keeps.
    void buildMacContainers() {
        tree.dir("home/Library/Containers/com.example.app/Data/Library/Caches");
        tree.dir("home/Library/Containers/ spaced /Data/Library/Caches");
        tree.dir("home/Library/Containers/com.apple.Safari/Data/Library/Caches");
        tree.file("home/Library/Containers/com.example.file/Data/Library/Caches");
        tree.dir("home/Library/Containers/com.example.nocache/Data/Library");
        tree.dir("outside/linked/Data/Library/Caches");
        tree.symlink("home/Library/Containers/com.example.linked", tree.path("outside/linked"));
        tree.file("home/Library/Containers/plain-file");
        tree.dir("home/Library/Group Containers/group.com.example.shared/Library/Caches");
        tree.dir("home/Library/Group Containers/group.com.apple.notes/Library/Caches");
        tree.dir("home/Library/Developer/CoreSimulator/Devices/DEV-1/data/Library/Caches");
    }
};

TEST_F(StorageProfilesTest, MacStandardIsExactlyFourLocationsWithoutContext) {
    // Nothing exists below home: missing roots stay in the catalogue for the scanner to report.
    auto standard = StorageProfiles::standardLocations(mac());
    expectLocations(standard, home, kMacStandard);
    for (const auto& l : standard) EXPECT_FALSE(l.appCacheContext);
    EXPECT_EQ(StorageProfiles::locations(CleanupScanMode::standard, mac(), true, live), standard);
}

TEST_F(StorageProfilesTest, DirectWithoutPermissionFallsBackToStandard) {
    buildMacContainers();
    tree.dir("home/.npm/_cacache");
    auto standard = StorageProfiles::standardLocations(mac());
    EXPECT_EQ(StorageProfiles::locations(CleanupScanMode::direct, mac(), false, live), standard);
    EXPECT_EQ(StorageProfiles::locations(CleanupScanMode::direct, mac(), true, live),
              StorageProfiles::directLocations(mac(), live));
    EXPECT_EQ(StorageProfiles::locations(CleanupScanMode::aggressive, mac(), false, live),
              StorageProfiles::aggressiveLocations(mac(), live));
}

TEST_F(StorageProfilesTest, MacAggressiveRewritesStandardAndExpandsRealContainersOnly) {
    buildMacContainers();
    auto all = StorageProfiles::aggressiveLocations(mac(), live);
    ASSERT_GE(all.size(), kMacAggressiveFixed.size());
    expectLocations({all.begin(), all.begin() + 5}, home, kMacAggressiveFixed);
    for (size_t i = 0; i < 5; ++i) EXPECT_FALSE(all[i].appCacheContext);

    // The expansion's order within one parent is the listing order; across parents it is fixed.
    std::vector<ScanLocation> expanded(all.begin() + 5, all.end());
    EXPECT_TRUE(std::is_sorted(
        expanded.begin(), expanded.end(), [](const ScanLocation& a, const ScanLocation& b) {
            auto rank = [](C c) {
                return c == C::appContainerCaches ? 0 : c == C::groupContainerCaches ? 1 : 2;
            };
            return rank(a.category) < rank(b.category);
        }));
    std::map<std::string, ScanLocation> byDisplayName;
    for (const auto& l : expanded) byDisplayName.emplace(l.displayName, l);
    ASSERT_EQ(byDisplayName.size(), 4u) << "expanded " << expanded.size();

    const std::vector<Expected> want = {
        {"Library/Containers/com.example.app/Data/Library/Caches", C::appContainerCaches,
         "App Container Cache: com.example.app", false, S::manualReview, 0, true, true},
        {"Library/Containers/ spaced /Data/Library/Caches", C::appContainerCaches,
         "App Container Cache:  spaced ", false, S::manualReview, 0, true, true},
        {"Library/Group Containers/group.com.example.shared/Library/Caches",
         C::groupContainerCaches, "Group Container Cache: group.com.example.shared", false,
         S::manualReview, 0, true, true},
        {"Library/Developer/CoreSimulator/Devices/DEV-1/data/Library/Caches", C::simulatorCaches,
         "Simulator Device Cache: DEV-1", false, S::manualReview, 0, true, true},
    };
    for (const auto& e : want) {
        auto it = byDisplayName.find(e.displayName);
        ASSERT_NE(it, byDisplayName.end()) << e.displayName;
        expectLocation(it->second, home, e);
    }
    const auto& app = byDisplayName.at("App Container Cache: com.example.app").appCacheContext;
    ASSERT_TRUE(app);
    EXPECT_EQ(app->containerKind, AppCacheContainerKind::appContainer);
    EXPECT_EQ(app->containerIdentifier, "com.example.app");
    const auto& spaced = byDisplayName.at("App Container Cache:  spaced ").appCacheContext;
    ASSERT_TRUE(spaced);
    EXPECT_EQ(spaced->containerIdentifier, "spaced");
    const auto& group =
        byDisplayName.at("Group Container Cache: group.com.example.shared").appCacheContext;
    ASSERT_TRUE(group);
    EXPECT_EQ(group->containerKind, AppCacheContainerKind::groupContainer);
    EXPECT_EQ(group->containerIdentifier, "group.com.example.shared");
    EXPECT_FALSE(byDisplayName.at("Simulator Device Cache: DEV-1").appCacheContext);
}

TEST_F(StorageProfilesTest, CancellationBeforeExpansionKeepsWhatWasBuilt) {
    buildMacContainers();
    tree.dir("home/.npm/_cacache");
    CancellationToken cancelled;
    cancelled.requestCancellation();
    expectLocations(StorageProfiles::aggressiveLocations(mac(), cancelled), home,
                    kMacAggressiveFixed);
    expectLocations(StorageProfiles::directLocations(mac(), cancelled), home, kMacAggressiveFixed);
    EXPECT_TRUE(StorageProfiles::containerCacheLocations(
                    home + "/Library/Containers", "Data/Library/Caches", C::appContainerCaches,
                    "App Container Cache", Catalogue::macos, cancelled)
                    .empty());
}

TEST_F(StorageProfilesTest, MacDirectAdmitsOnlyRealFoldersInsideHome) {
    tree.dir("outside/cache");
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

    auto all = StorageProfiles::directLocations(mac(), live);
    ASSERT_EQ(all.size(), kMacAggressiveFixed.size() + 4);
    expectLocations({all.end() - 4, all.end()}, home,
                    {
                        {"Library/Developer/Xcode/Archives", C::buildArchives, "Xcode Archives",
                         false, S::manualReview, kOneDay, true, true},
                        {"Library/Caches/pip", C::packageManagerCaches, "pip Cache", false,
                         S::manualReview, kOneDay, true, true},
                        {".npm/_cacache", C::packageManagerCaches, "npm Cache", false,
                         S::manualReview, kOneDay, true, true},
                        {".yarn/berry/cache", C::packageManagerCaches, "Yarn Berry Cache", false,
                         S::manualReview, kOneDay, true, true},
                    });
    for (auto it = all.end() - 4; it != all.end(); ++it) EXPECT_FALSE(it->appCacheContext);
}

TEST_F(StorageProfilesTest, LinuxCatalogueFollowsTheFreedesktopLayout) {
    expectLocations(StorageProfiles::standardLocations(linux()), home,
                    {
                        {".cache", C::userCaches, "~/.cache", true, S::safe, kOneDay, false, false},
                        {".local/share/xorg", C::userLogs, "~/.local/share/xorg", true, S::safe,
                         kOneDay, false, false},
                    });

    tree.dir("home/.var/app/org.example.App/cache");
    tree.dir("home/.var/app/org.example.NoCache/data");
    tree.dir("home/snap/firefox/common/.cache");
    tree.file("home/snap/README");
    auto aggressive = StorageProfiles::aggressiveLocations(linux(), live);
    ASSERT_EQ(aggressive.size(), 4u);
    expectLocations(
        aggressive, home,
        {
            {".cache", C::userCaches, "~/.cache", false, S::caution, 0, true, true},
            {".local/share/xorg", C::userLogs, "~/.local/share/xorg", false, S::caution, 0, true,
             true},
            {".var/app/org.example.App/cache", C::appContainerCaches,
             "App Container Cache: org.example.App", false, S::manualReview, 0, true, true},
            {"snap/firefox/common/.cache", C::appContainerCaches, "Snap App Cache: firefox", false,
             S::manualReview, 0, true, true},
        });
    ASSERT_TRUE(aggressive[2].appCacheContext);
    EXPECT_EQ(aggressive[2].appCacheContext->containerIdentifier, "org.example.App");

    tree.dir("home/.cache/pip");
    tree.dir("home/.npm/_cacache");
    tree.dir("home/.cargo/registry/cache");
    tree.dir("outside/m2");
    tree.symlink("home/.m2", tree.path("outside/m2"));
    auto direct = StorageProfiles::directLocations(linux(), live);
    ASSERT_EQ(direct.size(), aggressive.size() + 3);
    EXPECT_EQ(std::vector<ScanLocation>(direct.begin(), direct.begin() + 4), aggressive);
    expectLocations({direct.begin() + 4, direct.end()}, home,
                    {
                        {".cache/pip", C::packageManagerCaches, "pip Cache", false, S::manualReview,
                         kOneDay, true, true},
                        {".npm/_cacache", C::packageManagerCaches, "npm Cache", false,
                         S::manualReview, kOneDay, true, true},
                        {".cargo/registry/cache", C::packageManagerCaches, "Cargo Registry Cache",
                         false, S::manualReview, kOneDay, true, true},
                    });
}

TEST_F(StorageProfilesTest, LinuxCacheHomeOutsideHomeIsNamedByItsPath) {
    ProfileFolders folders = linux();
    folders.cacheHome = tree.dir("xdg-cache");
    auto standard = StorageProfiles::standardLocations(folders);
    ASSERT_EQ(standard.size(), 2u);
    EXPECT_EQ(standard[0].rootURL, FileURL::directory(folders.cacheHome));
    EXPECT_EQ(standard[0].displayName, folders.cacheHome);
}

TEST_F(StorageProfilesTest, SandboxedAndCustomFolderLocations) {
    ProfileFolders folders = mac();
    folders.temporaryFolder = tree.dir("tmp");
    expectLocations(
        StorageProfiles::sandboxedLocations(folders), home,
        {
            {"Library/Caches", C::appSandboxCaches, "App Caches", true, S::safe, 0, true, true},
            {"../tmp", C::temporaryFiles, "Temporary Files", false, S::caution, kOneDay, true,
             true},
        });
    expectLocation(
        StorageProfiles::customFolderLocation(home + "/Projects/", "Projects"), home,
        {"Projects", C::customFolder, "Projects", false, S::manualReview, kOneDay, false, false});
    EXPECT_EQ(StorageProfiles::customFolderDisplayName("/a/b/"), "b");
    EXPECT_EQ(StorageProfiles::customFolderDisplayName("/"), "/");
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
    struct Case {
        Catalogue catalogue;
        std::string path;
        std::optional<E> refusal;
        std::string refusedPath;
    };
    const Case cases[] = {
        {Catalogue::linux, home + "/Projects/build", std::nullopt, ""},
        {Catalogue::linux, home + "/Projects/../Projects/", std::nullopt, ""},
        {Catalogue::macos, home + "/.ssh", std::nullopt, ""},
        {Catalogue::linux, "/", E::unsafeRoot, "/"},
        {Catalogue::macos, "/", E::unsafeRoot, "/"},
        {Catalogue::linux, home, E::unsafeRoot, home},
        {Catalogue::macos, home + "/", E::unsafeRoot, home},
        {Catalogue::linux, tree.root(), E::unsafeRoot, tree.root()},  // contains the home folder
        {Catalogue::linux, home + "/.ssh", E::unsafeRoot, home + "/.ssh"},
        {Catalogue::linux, home + "/projects-link", E::unsafeRoot, home + "/projects-link"},
        {Catalogue::linux, home + "/root-link/usr", E::unsafeRoot, home + "/root-link/usr"},
        {Catalogue::linux, "/usr", E::unsafeRoot, "/usr"},
        {Catalogue::linux, home + "/notes.txt", E::notDirectory, home + "/notes.txt"},
        {Catalogue::linux, home + "/missing", E::notDirectory, home + "/missing"},
    };
    for (const auto& c : cases) {
        auto refusal = validateCustomScanFolder(c.path, home, c.catalogue);
        if (!c.refusal) {
            EXPECT_FALSE(refusal) << c.path << ": " << refusal->description();
            continue;
        }
        ASSERT_TRUE(refusal) << c.path;
        EXPECT_EQ(refusal->kind, *c.refusal) << c.path;
        EXPECT_EQ(refusal->description(),
                  (*c.refusal == E::unsafeRoot ? broad : notFolder) + c.refusedPath);
    }
}

}  // namespace
}  // namespace velmora

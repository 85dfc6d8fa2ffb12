// Containment, protected user data, the other-user rule, critical paths and the clean-time check.
#include <gtest/gtest.h>

#include <algorithm>

#include "CleanerCore/safety/PathRules.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using K = CleaningError::Kind;

TEST(PathRulesTest, ContainmentIsComponentWise) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"/Users/a/Library/CachesX", "/Users/a/Library/Caches", false},
        {"/Users/a/Library/Caches/", "/Users/a/Library/Caches", true},
        {"/Users/a/Library/Caches", "/Users/a/Library/Caches/", true},
        {"/a/b", "/a/bc", false},
        {"/a", "/a/b", false},
        {"/anything/at/all", "/", true},
        {"/", "/", true},
        {"/a/b/../c", "/a/c", true},
        {"/a//b/./c", "/a/b", true},
        {"/../../a/b", "/a", true},  // paths are standardized first
        {"a/b", "/a", true},
        {"/A/b", "/a", false},  // always case-sensitive
    };
    for (const auto& [path, root, within] : cases) {
        EXPECT_EQ(StoragePathContainment::pathIsWithin(path, root), within) << path << " " << root;
        EXPECT_EQ(StoragePathContainment::contains(FileURL(path), FileURL::directory(root)), within)
            << path << " in " << root;
    }
}

TEST(PathRulesTest, ProtectedUserDataByName) {
    // The macOS rule and the Trash names apply under both catalogues; the Linux rule adds its
    // own names.
    const std::vector<std::string> bothCatalogues(
        {"/Users/a/Library/Containers/com.apple.Safari/Data/Library/Caches",
         "/Users/a/Library/Containers/com.apple",
         "/Users/a/LIBRARY/Group Containers/Group.Com.Apple.notes/Library/Caches",
         "/Users/a/Library/Group Containers/com.apple.x/Library/Caches",
         "/Users/a/Library/Keychains/login.keychain-db",
         "/Users/a/Library/Mail",
         "/Users/a/Library/Messages/x",
         "/Users/a/Library/CloudStorage/Dropbox",
         "/Users/a/Library/File Provider/x",
         "/Users/a/Library/Mobile Documents",
         "/Users/a/Library/Mobile Documents/com~apple~CloudDocs",
         "/Users/a/Library/Application Support/CloudDocs/session",
         "/Users/a/Downloads/old.backup/x",
         "/Users/a/Pictures/Photos Library.photoslibrary",
         "/Users/a/VMs/disk.img",
         "/Users/a/Library/Caches/x/../../Keychains",
         "/media/usb/.Trash-1000",
         "/media/usb/.Trash-0/files/x",
         "/srv/disk/.Trash/1000/info",
         "/Users/a/.Trash/x",
         "/Volumes/usb/.Trashes/501",
         "/home/a/.cache/.trash-0"});
    const std::vector<std::string> linuxOnly(
        {"/home/a/.ssh/id_ed25519", "/home/a/.GnuPG", "/home/a/.local/share/keyrings/login.keyring",
         "/home/a/.local/share/Trash/files/x", "/home/a/.password-store",
         "/home/a/.mozilla/firefox/x.default/cache2", "/home/a/.thunderbird/p",
         "/home/a/Maildir/cur", "/home/a/vms/win.qcow2"});
    const std::vector<std::string> neither(
        {"/Users/a/Library/Containers/com.applex.app/Data/Library/Caches",
         "/Users/a/Library/Containers/com.example.app/Data/Library/Caches",
         "/Users/a/Library/Group Containers/group.com.example/Library/Caches",
         "/Users/a/Library/Mobile Documents/.Trash/x", "/Users/a/Library/Application Support",
         "/Users/a/Library/Application Support/Foo", "/Users/a/VMs/disk.img.txt",
         "/Users/a/Library", "/home/a/.cache/mozilla/firefox/x/cache2",
         "/home/a/.local/share/xorg/Xorg.0.log", "/home/a/.local/share", "/home/a/ssh",
         "/home/a/.cache/.Trash-x", "/home/a/.cache/.Trash-", "/home/a/.cache/my.Trash-0"});
    for (const auto& p : bothCatalogues) {
        EXPECT_TRUE(isProtectedUserDataPath(p, Catalogue::macos)) << p;
        EXPECT_TRUE(isProtectedUserDataPath(p, Catalogue::linux)) << p;
    }
    for (const auto& p : linuxOnly) {
        EXPECT_FALSE(isProtectedUserDataPath(p, Catalogue::macos)) << p;
        EXPECT_TRUE(isProtectedUserDataPath(p, Catalogue::linux)) << p;
    }
    for (const auto& p : neither) {
        EXPECT_FALSE(isProtectedUserDataPath(p, Catalogue::macos)) << p;
        EXPECT_FALSE(isProtectedUserDataPath(p, Catalogue::linux)) << p;
    }
}

TEST(PathRulesTest, OtherUserRule) {
    const auto* mac = &PathConventions::forCatalogue(Catalogue::macos);
    const auto* lin = &PathConventions::forCatalogue(Catalogue::linux);
    // conventions, path, home, case-insensitive, outside the current user's area
    const std::tuple<const PathConventions*, const char*, const char*, bool, bool> cases[] = {
        {mac, "/Users/b/Library/Caches/x", "/Users/a", false, true},
        {mac, "/Users/a/Library/Caches/x", "/Users/a", false, false},
        {mac, "/Users/a", "/Users/a", false, false},
        {mac, "/Users/ab/x", "/Users/a", false, true},
        {mac, "/Users", "/Users/a", false, true},
        {mac, "/Users/Shared/x", "/Users/a", false, true},
        {mac, "/Users/Shared", "/Users/a", false, true},
        {mac, "/users/shared/x", "/Users/a", true, true},
        {mac, "/users/shared/x", "/Users/a", false, false},  // not the users area when sensitive
        {mac, "/USERS/A/Library", "/Users/a", true, false},
        {mac, "/Users/Shared/a/x", "/Users/Shared/a", false, true},
        {mac, "/Users/a/x", "/var/home/a", false, true},
        {mac, "/tmp/x", "/Users/a", false, false},
        {lin, "/home/b/.cache/x", "/home/a", false, true},
        {lin, "/home/a/.cache/x", "/home/a", false, false},
        {lin, "/home", "/home/a", false, true},
        {lin, "/home/Shared/x", "/home/Shared", false, false},  // no shared folder on Linux
        {lin, "/Users/b/x", "/home/a", false, false},
        {lin, "/home/a/x", "/root", false, true},
    };
    for (const auto& [conventions, path, home, caseInsensitive, outside] : cases) {
        EXPECT_EQ(
            SafePathPolicy::isOutsideCurrentUserArea(path, home, caseInsensitive, *conventions),
            outside)
            << rawValue(conventions->catalogue) << " " << path << " home " << home;
    }
}

TEST(PathRulesTest, CriticalPathsAndTheirAncestorsAreRefused) {
    test::TestTree tree;
    auto mac = SafePathPolicy::make({}, tree.dir("home"), Catalogue::macos);
    auto lin = SafePathPolicy::make({}, tree.dir("home"), Catalogue::linux);
    for (const char* key : {"/", "/private", "/private/var", "/private/var/db", "/System", "/Users",
                            "/Users/Shared"}) {
        EXPECT_TRUE(mac.isCriticalKey(key)) << key;
    }
    for (const char* key :
         {"/System/Library", "/private/var/db/x", "/private/var/folders", "/Users/a", "/Systemx"}) {
        EXPECT_FALSE(mac.isCriticalKey(key)) << key;
    }
    for (const char* key : {"/", "/usr", "/var", "/var/log", "/home", "/etc"}) {
        EXPECT_TRUE(lin.isCriticalKey(key)) << key;
    }
    for (const char* key : {"/var/cache/x", "/home/a", "/usr/share/doc/x"}) {
        EXPECT_FALSE(lin.isCriticalKey(key)) << key;
    }
}

TEST(PathRulesTest, CleanPathRefusalsCarryTheirTexts) {
    test::TestTree tree;
    const std::string home = tree.dir("home");
    const std::string scope = tree.dir("home/.cache");
    tree.file("home/.cache/item");
    tree.dir("home/.cache/.ssh");
    tree.dir("home/.cache/Library/Keychains");
    tree.symlink("home/.cache/link", tree.dir("home/elsewhere"));

    auto linuxPolicy = SafePathPolicy::make({scope}, home, Catalogue::linux);
    auto macPolicy = SafePathPolicy::make({scope, "/"}, home, Catalogue::macos);
    const std::string outside = "Path is outside the active scan scope: ";
    const std::string critical = "Refusing to clean critical path: ";
    const std::string isProtected = "Refusing to clean protected user data path: ";
    // policy, path, expected refusal text ("" when allowed), kind
    const std::tuple<const SafePathPolicy*, std::string, std::string, std::optional<K>> cases[] = {
        {&linuxPolicy, scope + "/item", "", std::nullopt},
        {&linuxPolicy, scope + "/item/", "", std::nullopt},
        {&linuxPolicy, scope, "", std::nullopt},
        {&macPolicy, scope + "/.ssh", "", std::nullopt},
        {&linuxPolicy, home + "/elsewhere", outside + home + "/elsewhere", K::pathNotAllowed},
        {&linuxPolicy, scope + "/../elsewhere", outside + home + "/elsewhere", K::pathNotAllowed},
        {&linuxPolicy, home + "/.cacheX", outside + home + "/.cacheX", K::pathNotAllowed},
        {&macPolicy, "/Users/b/Library/Caches/x", outside + "/Users/b/Library/Caches/x",
         K::pathNotAllowed},
        {&linuxPolicy, scope + "/.ssh", isProtected + scope + "/.ssh", K::protectedUserData},
        {&macPolicy, scope + "/Library/Keychains", isProtected + scope + "/Library/Keychains",
         K::protectedUserData},
        {&linuxPolicy, scope + "/link", "Refusing to clean symbolic link: " + scope + "/link",
         K::symbolicLink},
        {&linuxPolicy, scope + "/missing",
         "Could not verify file attributes safely: " + scope + "/missing", K::unreadableAttributes},
        {&macPolicy, "/", critical + "/", K::criticalPath},
        {&macPolicy, "/private", critical + "/private", K::criticalPath},
        {&macPolicy, "/private/var/log", critical + "/private/var/log", K::criticalPath},
    };
    for (const auto& [policy, path, text, kind] : cases) {
        auto refusal = policy->checkCleanPath(path);
        ASSERT_EQ(refusal.has_value(), kind.has_value()) << path;
        if (!kind) continue;
        EXPECT_EQ(refusal->kind, *kind) << path;
        EXPECT_EQ(refusal->description(), text);
    }
}

// The Trash and Velmora's own folders, wherever the environment puts them, refuse the place
// itself, everything in it and every folder that contains it; both the path as given and the
// path with links resolved count.
TEST(PathRulesTest, ProtectedPlacesAreRefusedWithTheirContainersAndContents) {
    test::TestTree tree;
    const std::string home = tree.dir("home");
    // The data folder inside the cache, reached through a link: the cache then contains it.
    const std::string data = tree.dir("home/.cache/share");
    tree.dir("home/.cache/share/Trash/files/old");
    tree.dir("home/.cache/share/Velmora");
    tree.dir("home/.cache/other");
    tree.dir("home/.config/Velmora");
    tree.dir("home/.config/app");
    tree.symlink("home/data-link", data);
    const std::string cache = home + "/.cache";
    const auto places = ProtectedPlaces::forFolders(home + "/data-link", home + "/.config");
    auto policy = SafePathPolicy::make({home}, home, Catalogue::linux, places);
    const std::pair<std::string, bool> cases[] = {
        {cache + "/other", false},
        {home + "/.config/app", false},
        {cache, true},
        {cache + "/share", true},
        {cache + "/share/Trash", true},
        {cache + "/share/Trash/files/old", true},
        {cache + "/share/Velmora", true},
        {home + "/.config", true},
        {home + "/.config/Velmora", true},
    };
    for (const auto& [path, refused] : cases) {
        auto refusal = policy.checkCleanPath(path, SafePathPolicy::MissingItem::allowed);
        ASSERT_EQ(refusal.has_value(), refused) << path;
        if (refused) {
            EXPECT_EQ(refusal->kind, K::protectedUserData) << path;
        }
    }
    // A restore into the Trash is refused although nothing is there yet.
    auto restore = policy.checkCleanPath(cache + "/share/Trash/files/new",
                                         SafePathPolicy::MissingItem::allowed);
    ASSERT_TRUE(restore.has_value());
    EXPECT_EQ(restore->kind, K::protectedUserData);
}

}  // namespace
}  // namespace velmora

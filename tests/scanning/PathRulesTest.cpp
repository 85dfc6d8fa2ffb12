// Containment, protected user data, the other-user rule, critical paths and the clean-time check.
#include <gtest/gtest.h>

#include <algorithm>

#include "CleanerCore/scanning/PathRules.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using K = CleaningError::Kind;

TEST(PathRulesTest, ContainmentIsComponentWise) {
    struct Case {
        const char* path;
        const char* root;
        bool within;
    };
    const Case cases[] = {
        {"/Users/a/Library/CachesX", "/Users/a/Library/Caches", false},
        {"/Users/a/Library/Caches/", "/Users/a/Library/Caches", true},
        {"/Users/a/Library/Caches", "/Users/a/Library/Caches/", true},
        {"/Users/a/Library/Caches/x/y", "/Users/a/Library/Caches", true},
        {"/a/bc", "/a/b", false},
        {"/a/b", "/a/bc", false},
        {"/a", "/a/b", false},
        {"/anything/at/all", "/", true},
        {"/", "/", true},
        {"/a/b/../c", "/a/c", true},
        {"/a/b/../c", "/a/b", false},
        {"/a//b/./c", "/a/b", true},
        {"/A/b", "/a", false},  // always case-sensitive
    };
    for (const auto& c : cases) {
        EXPECT_EQ(StoragePathContainment::pathIsWithin(c.path, c.root), c.within)
            << c.path << " in " << c.root;
        EXPECT_EQ(StoragePathContainment::contains(FileURL(c.path), FileURL::directory(c.root)),
                  c.within)
            << c.path << " in " << c.root;
    }
}

TEST(PathRulesTest, ProtectedUserDataByName) {
    struct Case {
        const char* path;
        bool macos;  // protected under the macOS rule (and therefore under both catalogues)
        bool linux;
    };
    const Case cases[] = {
        {"/Users/a/Library/Containers/com.apple.Safari/Data/Library/Caches", true, true},
        {"/Users/a/Library/Containers/com.apple", true, true},
        {"/Users/a/Library/Containers/com.applex.app/Data/Library/Caches", false, false},
        {"/Users/a/Library/Containers/com.example.app/Data/Library/Caches", false, false},
        {"/Users/a/LIBRARY/Group Containers/Group.Com.Apple.notes/Library/Caches", true, true},
        {"/Users/a/Library/Group Containers/com.apple.x/Library/Caches", true, true},
        {"/Users/a/Library/Group Containers/group.com.example/Library/Caches", false, false},
        {"/Users/a/Library/Keychains/login.keychain-db", true, true},
        {"/Users/a/Library/Mail", true, true},
        {"/Users/a/Library/Messages/x", true, true},
        {"/Users/a/Library/CloudStorage/Dropbox", true, true},
        {"/Users/a/Library/File Provider/x", true, true},
        {"/Users/a/Library/Mobile Documents", true, true},
        {"/Users/a/Library/Mobile Documents/com~apple~CloudDocs", true, true},
        {"/Users/a/Library/Mobile Documents/.Trash/x", false, false},
        {"/Users/a/Library/Application Support/CloudDocs/session", true, true},
        {"/Users/a/Library/Application Support", false, false},
        {"/Users/a/Library/Application Support/Foo", false, false},
        {"/Users/a/Downloads/old.backup/x", true, true},
        {"/Users/a/Pictures/Photos Library.photoslibrary", true, true},
        {"/Users/a/VMs/disk.img", true, true},
        {"/Users/a/VMs/disk.img.txt", false, false},
        {"/Users/a/Library/Caches/x/../../Keychains", true, true},  // standardized first
        {"/Users/a/Library", false, false},
        {"/home/a/.ssh/id_ed25519", false, true},
        {"/home/a/.GnuPG", false, true},
        {"/home/a/.local/share/keyrings/login.keyring", false, true},
        {"/home/a/.local/share/Trash/files/x", false, true},
        {"/home/a/.password-store", false, true},
        {"/home/a/.mozilla/firefox/x.default/cache2", false, true},
        {"/home/a/.thunderbird/p", false, true},
        {"/home/a/Maildir/cur", false, true},
        {"/home/a/vms/win.qcow2", false, true},
        {"/home/a/.cache/mozilla/firefox/x/cache2", false, false},
        {"/home/a/.local/share/xorg/Xorg.0.log", false, false},
        {"/home/a/.local/share", false, false},
        {"/home/a/ssh", false, false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(isProtectedUserDataPath(c.path, Catalogue::macos), c.macos) << c.path;
        EXPECT_EQ(isProtectedUserDataPath(c.path, Catalogue::linux), c.linux) << c.path;
    }
}

TEST(PathRulesTest, OtherUserRule) {
    const auto& mac = PathConventions::forCatalogue(Catalogue::macos);
    const auto& lin = PathConventions::forCatalogue(Catalogue::linux);
    struct Case {
        const PathConventions* conventions;
        const char* path;
        const char* home;
        bool caseInsensitive;
        bool outside;
    };
    const Case cases[] = {
        {&mac, "/Users/b/Library/Caches/x", "/Users/a", false, true},
        {&mac, "/Users/a/Library/Caches/x", "/Users/a", false, false},
        {&mac, "/Users/a", "/Users/a", false, false},
        {&mac, "/Users/ab/x", "/Users/a", false, true},
        {&mac, "/Users", "/Users/a", false, true},
        {&mac, "/Users/Shared/x", "/Users/a", false, true},
        {&mac, "/Users/Shared", "/Users/a", false, true},
        {&mac, "/users/shared/x", "/Users/a", true, true},
        {&mac, "/users/shared/x", "/Users/a", false, false},  // not the users area when sensitive
        {&mac, "/USERS/A/Library", "/Users/a", true, false},
        {&mac, "/Users/Shared/a/x", "/Users/Shared/a", false, true},
        {&mac, "/Users/a/x", "/var/home/a", false, true},
        {&mac, "/tmp/x", "/Users/a", false, false},
        {&lin, "/home/b/.cache/x", "/home/a", false, true},
        {&lin, "/home/a/.cache/x", "/home/a", false, false},
        {&lin, "/home", "/home/a", false, true},
        {&lin, "/home/Shared/x", "/home/Shared", false, false},  // no shared folder on Linux
        {&lin, "/Users/b/x", "/home/a", false, false},
        {&lin, "/home/a/x", "/root", false, true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SafePathPolicy::isOutsideCurrentUserArea(c.path, c.home, c.caseInsensitive,
                                                           *c.conventions),
                  c.outside)
            << rawValue(c.conventions->catalogue) << " " << c.path << " home " << c.home;
    }
}

TEST(PathRulesTest, CriticalKeysAreSortedUniqueAndRefuseAncestors) {
    test::TestTree tree;
    for (Catalogue catalogue : {Catalogue::macos, Catalogue::linux}) {
        auto policy = SafePathPolicy::make({}, tree.dir("home"), catalogue);
        const auto& keys = policy.protectedPathKeys;
        EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
        EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end());
        EXPECT_NE(std::find(keys.begin(), keys.end(), "/"), keys.end());
        for (const auto& k : keys) {
            EXPECT_TRUE(k == "/" || !k.ends_with("/")) << k;
        }
    }
    auto mac = SafePathPolicy::make({}, tree.dir("home"), Catalogue::macos);
    const std::pair<const char*, bool> macCases[] = {
        {"/", true},
        {"/private", true},
        {"/private/var", true},
        {"/private/var/db", true},
        {"/System", true},
        {"/Users", true},
        {"/Users/Shared", true},
        {"/System/Library", false},
        {"/private/var/db/x", false},
        {"/private/var/folders", false},
        {"/Users/a", false},
        {"/Systemx", false},
    };
    for (const auto& [key, critical] : macCases) EXPECT_EQ(mac.isCriticalKey(key), critical) << key;

    auto lin = SafePathPolicy::make({}, tree.dir("home"), Catalogue::linux);
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
    struct Case {
        const SafePathPolicy* policy;
        std::string path;
        std::optional<K> refusal;
        std::string refusedPath;
        const char* text;
    };
    const Case cases[] = {
        {&linuxPolicy, scope + "/item", std::nullopt, "", ""},
        {&linuxPolicy, scope + "/item/", std::nullopt, "", ""},
        {&linuxPolicy, scope, std::nullopt, "", ""},
        {&linuxPolicy, home + "/elsewhere", K::pathNotAllowed, home + "/elsewhere",
         "Path is outside the active scan scope: "},
        {&linuxPolicy, scope + "/../elsewhere", K::pathNotAllowed, home + "/elsewhere",
         "Path is outside the active scan scope: "},
        {&linuxPolicy, home + "/.cacheX", K::pathNotAllowed, home + "/.cacheX",
         "Path is outside the active scan scope: "},
        {&linuxPolicy, scope + "/.ssh", K::protectedUserData, scope + "/.ssh",
         "Refusing to clean protected user data path: "},
        {&macPolicy, scope + "/Library/Keychains", K::protectedUserData,
         scope + "/Library/Keychains", "Refusing to clean protected user data path: "},
        {&macPolicy, scope + "/.ssh", std::nullopt, "", ""},
        {&linuxPolicy, scope + "/link", K::symbolicLink, scope + "/link",
         "Refusing to clean symbolic link: "},
        {&linuxPolicy, scope + "/missing", K::unreadableAttributes, scope + "/missing",
         "Could not verify file attributes safely: "},
        {&macPolicy, "/", K::criticalPath, "/", "Refusing to clean critical path: "},
        {&macPolicy, "/private", K::criticalPath, "/private", "Refusing to clean critical path: "},
        {&macPolicy, "/private/var/log", K::criticalPath, "/private/var/log",
         "Refusing to clean critical path: "},
        {&macPolicy, "/Users/b/Library/Caches/x", K::pathNotAllowed, "/Users/b/Library/Caches/x",
         "Path is outside the active scan scope: "},
    };
    for (const auto& c : cases) {
        auto refusal = c.policy->checkCleanPath(c.path);
        if (!c.refusal) {
            EXPECT_FALSE(refusal) << c.path << ": " << refusal->description();
            continue;
        }
        ASSERT_TRUE(refusal) << c.path;
        EXPECT_EQ(refusal->kind, *c.refusal) << c.path;
        EXPECT_EQ(refusal->description(), c.text + c.refusedPath);
    }
}

}  // namespace
}  // namespace velmora

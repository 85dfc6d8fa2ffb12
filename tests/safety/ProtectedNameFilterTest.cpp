#include "CleanerCore/safety/ProtectedNameFilter.h"

#include <gtest/gtest.h>

#include "CleanerCore/safety/PathRules.h"

namespace velmora {
namespace {

// The walk skips the full rule for names the pre-test rejects, so the pre-test must accept
// every name that turns an unprotected folder's child into a protected path.
TEST(ProtectedNameFilterTest, NeverRejectsANameThatCompletesAProtectedPath) {
    const std::vector<std::string> parents(
        {"/h", "/h/Library", "/h/x/LIBRARY", "/h/Library/Application Support",
         "/h/Library/Containers", "/h/Library/Group Containers", "/h/.local", "/h/.local/share",
         "/h/.kde/share/apps", "/h/.config", "/h/Library/Mobile Documents/.Trash"});
    const std::vector<std::string> macNames(
        {"Keychains", "mail", "Messages", "CloudStorage", "FileProvider", "File Provider",
         "Mobile Documents", "CloudDocs", "com.apple", "com.apple.Safari", "group.com.apple.notes",
         "COM.APPLE.x", "x.backup", ".backup", "Photos.photoslibrary", "a.MusicLibrary",
         "b.tvlibrary", "c.origin"});
    const std::vector<std::string> linuxNames(
        {".ssh", ".GnuPG", ".password-store", ".pki", ".mozilla", ".thunderbird", "Maildir",
         ".maildir", ".electrum", "keyrings", "Trash", "evolution", "kwalletd", "kwallet",
         "keepassxc", ".Trash", ".Trash-0", ".trash-1000"});
    const std::vector<std::string> otherNames(
        {"rootfs.img", "Disk.img", "vm.img", "other.img", "win.qcow2", "w.VDI", "w.vmdk", "w.vhd",
         "w.vhdx", "share", "apps", "Library", "Containers", "Caches", "f00012.bin", "", "."});
    for (Catalogue catalogue : {Catalogue::macos, Catalogue::linux}) {
        for (const auto& parent : parents) {
            if (isProtectedUserDataPath(parent, catalogue)) continue;
            for (const auto* names : {&macNames, &linuxNames, &otherNames}) {
                for (const auto& name : *names) {
                    const std::string child = parent + "/" + name;
                    if (isProtectedUserDataPath(child, catalogue)) {
                        EXPECT_TRUE(nameMayCompleteProtectedPath(name, catalogue))
                            << child << " (" << rawValue(catalogue) << ")";
                    }
                }
            }
        }
    }
    EXPECT_FALSE(nameMayCompleteProtectedPath("f00012.bin", Catalogue::linux));
    EXPECT_FALSE(nameMayCompleteProtectedPath(".ssh", Catalogue::macos));
}

}  // namespace
}  // namespace velmora

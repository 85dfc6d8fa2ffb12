#include "CleanerCore/scanning/ProtectedNameFilter.h"

#include <array>

namespace velmora {

namespace {

bool equalsIgnoringCase(std::string_view a, std::string_view lower) {
    if (a.size() != lower.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
        char c = a[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != lower[i]) return false;
    }
    return true;
}

bool hasPrefixIgnoringCase(std::string_view s, std::string_view lower) {
    return s.size() >= lower.size() && equalsIgnoringCase(s.substr(0, lower.size()), lower);
}
bool hasSuffixIgnoringCase(std::string_view s, std::string_view lower) {
    return s.size() >= lower.size() && equalsIgnoringCase(s.substr(s.size() - lower.size()), lower);
}

}  // namespace

bool nameMayCompleteProtectedPath(std::string_view name, Catalogue catalogue) {
    // Names that finish a match of the macOS rule: the component after "Library", after
    // "Library/Application Support", or after "Library/Containers" and "Library/Group Containers".
    static constexpr std::array<std::string_view, 16> kMacNames = {
        "keychains",    "mail",          "messages",         "cloudstorage",
        "fileprovider", "file provider", "mobile documents", "clouddocs",
        "rootfs.img",   "main.img",      "data.img",         "storage.img",
        "userdata.img", "system.img",    "disk.img",         "vm.img"};
    static constexpr std::array<std::string_view, 5> kMacSuffixes = {
        ".photoslibrary", ".musiclibrary", ".tvlibrary", ".backup", ".origin"};
    static constexpr std::array<std::string_view, 15> kLinuxNames = {
        ".ssh",         ".gnupg",    ".password-store", ".pki",      ".mozilla",
        ".thunderbird", "maildir",   ".maildir",        ".electrum", "keyrings",
        "trash",        "evolution", "kwalletd",        "kwallet",   "keepassxc"};
    static constexpr std::array<std::string_view, 5> kLinuxSuffixes = {".qcow2", ".vdi", ".vmdk",
                                                                       ".vhd", ".vhdx"};

    if (hasPrefixIgnoringCase(name, "com.apple") ||
        hasPrefixIgnoringCase(name, "group.com.apple")) {
        return true;
    }
    for (auto n : kMacNames) {
        if (equalsIgnoringCase(name, n)) return true;
    }
    for (auto s : kMacSuffixes) {
        if (hasSuffixIgnoringCase(name, s)) return true;
    }
    if (catalogue == Catalogue::linux) {
        for (auto n : kLinuxNames) {
            if (equalsIgnoringCase(name, n)) return true;
        }
        for (auto s : kLinuxSuffixes) {
            if (hasSuffixIgnoringCase(name, s)) return true;
        }
    }
    return false;
}

}  // namespace velmora

#include "CleanerCore/safety/ProtectedNameFilter.h"

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

    // Runs for every item a walk meets: length and first-letter tests reject almost every
    // name before any comparison of text.
    const char first = name.empty() ? '\0' : static_cast<char>(name[0] | 0x20);
    if ((first == 'c' || first == 'g') && (hasPrefixIgnoringCase(name, "com.apple") ||
                                           hasPrefixIgnoringCase(name, "group.com.apple"))) {
        return true;
    }
    for (auto n : kMacNames) {
        if (name.size() == n.size() && equalsIgnoringCase(name, n)) return true;
    }
    // Trash folders: ".Trash", ".Trash-<uid>", ".Trashes".
    if (first == '.' && hasPrefixIgnoringCase(name, ".trash")) return true;
    if (catalogue == Catalogue::linux) {
        for (auto n : kLinuxNames) {
            if (name.size() == n.size() && equalsIgnoringCase(name, n)) return true;
        }
    }
    // Every suffix is an extension: compare from the last dot only.
    const size_t dot = name.rfind('.');
    if (dot == std::string_view::npos) return false;
    const std::string_view extension = name.substr(dot);
    for (auto s : kMacSuffixes) {
        if (extension.size() == s.size() && equalsIgnoringCase(extension, s)) return true;
    }
    if (catalogue == Catalogue::linux) {
        for (auto s : kLinuxSuffixes) {
            if (extension.size() == s.size() && equalsIgnoringCase(extension, s)) return true;
        }
    }
    return false;
}

}  // namespace velmora

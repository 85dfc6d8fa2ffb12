#include "CleanerCore/safety/ProtectedNameFilter.h"

#include <array>

#include "CleanerCore/base/Text.h"

namespace velmora {

namespace {

bool hasPrefixIgnoringCase(std::string_view s, std::string_view lower) {
    return s.size() >= lower.size() && equalsLowercasedASCII(s.substr(0, lower.size()), lower);
}

// The names and extensions that can finish a match, in lower case.
constexpr std::array<std::string_view, 16> kMacNames = {
    "keychains",        "mail",       "messages",   "cloudstorage", "fileprovider", "file provider",
    "mobile documents", "clouddocs",  "rootfs.img", "main.img",     "data.img",     "storage.img",
    "userdata.img",     "system.img", "disk.img",   "vm.img"};
constexpr std::array<std::string_view, 5> kMacSuffixes = {".photoslibrary", ".musiclibrary",
                                                          ".tvlibrary", ".backup", ".origin"};
constexpr std::array<std::string_view, 15> kLinuxNames = {
    ".ssh",         ".gnupg",    ".password-store", ".pki",      ".mozilla",
    ".thunderbird", "maildir",   ".maildir",        ".electrum", "keyrings",
    "trash",        "evolution", "kwalletd",        "kwallet",   "keepassxc"};
constexpr std::array<std::string_view, 5> kLinuxSuffixes = {".qcow2", ".vdi", ".vmdk", ".vhd",
                                                            ".vhdx"};

struct Filters {
    CaseFoldedWordFilter macNames, linuxNames, macSuffixes, linuxSuffixes;
};

const Filters& filters() {
    static const Filters f = [] {
        Filters k;
        for (auto n : kMacNames) k.macNames.add(n);
        k.linuxNames = k.macNames;
        for (auto n : kLinuxNames) k.linuxNames.add(n);
        for (auto n : kMacSuffixes) k.macSuffixes.add(n);
        k.linuxSuffixes = k.macSuffixes;
        for (auto n : kLinuxSuffixes) k.linuxSuffixes.add(n);
        return k;
    }();
    return f;
}

template <size_t N>
bool equalsOneOf(std::string_view s, const std::array<std::string_view, N>& lowerNames) {
    for (auto n : lowerNames) {
        if (equalsLowercasedASCII(s, n)) return true;
    }
    return false;
}

}  // namespace

bool nameMayCompleteProtectedPath(std::string_view name, Catalogue catalogue) {
    // Runs for every item a walk meets, so it rejects almost every name after a prefix test and
    // one bit test each for the whole name and its extension.
    if (name.empty()) return false;
    const char first = asciiLowered(name[0]);
    // Prefixes: "com.apple...", "group.com.apple..." and the Trash folders ".Trash",
    // ".Trash-<uid>", ".Trashes".
    if ((first == 'c' && hasPrefixIgnoringCase(name, "com.apple")) ||
        (first == 'g' && hasPrefixIgnoringCase(name, "group.com.apple")) ||
        (first == '.' && hasPrefixIgnoringCase(name, ".trash"))) {
        return true;
    }
    const bool linux = catalogue == Catalogue::linux;
    const Filters& f = filters();
    if ((linux ? f.linuxNames : f.macNames).mayContain(name)) {
        if (equalsOneOf(name, kMacNames) || (linux && equalsOneOf(name, kLinuxNames))) return true;
    }
    // Every suffix is an extension: compare from the last dot only.
    const size_t dot = name.rfind('.');
    if (dot == std::string_view::npos) return false;
    const std::string_view extension = name.substr(dot);
    if (!(linux ? f.linuxSuffixes : f.macSuffixes).mayContain(extension)) return false;
    return equalsOneOf(extension, kMacSuffixes) ||
           (linux && equalsOneOf(extension, kLinuxSuffixes));
}

}  // namespace velmora

#include "CleanerCore/safety/ProtectedNameFilter.h"

#include <array>
#include <bitset>

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

unsigned char lowered(char c) {
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
}

// Length, first and last letter (case folded as the comparisons fold it) hashed into 4,096
// bits: a name whose key bit is clear equals none of the listed names, so the comparisons run for
// about one name in a hundred.
size_t keyOf(std::string_view s) {
    return (s.size() * 131 + lowered(s.front()) * 31 + lowered(s.back())) & 4095;
}

struct KeySets {
    std::bitset<4096> macNames, linuxNames, macSuffixes, linuxSuffixes;
};

const KeySets& keySets() {
    static const KeySets sets = [] {
        KeySets k;
        for (auto n : kMacNames) k.macNames.set(keyOf(n));
        k.linuxNames = k.macNames;
        for (auto n : kLinuxNames) k.linuxNames.set(keyOf(n));
        for (auto n : kMacSuffixes) k.macSuffixes.set(keyOf(n));
        k.linuxSuffixes = k.macSuffixes;
        for (auto n : kLinuxSuffixes) k.linuxSuffixes.set(keyOf(n));
        return k;
    }();
    return sets;
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
    const char first = static_cast<char>(lowered(name[0]));
    // Prefixes: "com.apple...", "group.com.apple..." and the Trash folders ".Trash",
    // ".Trash-<uid>", ".Trashes".
    if ((first == 'c' && hasPrefixIgnoringCase(name, "com.apple")) ||
        (first == 'g' && hasPrefixIgnoringCase(name, "group.com.apple")) ||
        (first == '.' && hasPrefixIgnoringCase(name, ".trash"))) {
        return true;
    }
    const bool linux = catalogue == Catalogue::linux;
    const KeySets& keys = keySets();
    if ((linux ? keys.linuxNames : keys.macNames).test(keyOf(name))) {
        if (equalsOneOf(name, kMacNames) || (linux && equalsOneOf(name, kLinuxNames))) return true;
    }
    // Every suffix is an extension: compare from the last dot only.
    const size_t dot = name.rfind('.');
    if (dot == std::string_view::npos) return false;
    const std::string_view extension = name.substr(dot);
    if (!(linux ? keys.linuxSuffixes : keys.macSuffixes).test(keyOf(extension))) return false;
    return equalsOneOf(extension, kMacSuffixes) ||
           (linux && equalsOneOf(extension, kLinuxSuffixes));
}

}  // namespace velmora

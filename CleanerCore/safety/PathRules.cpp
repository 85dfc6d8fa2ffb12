#include "CleanerCore/safety/PathRules.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <set>

#include "CleanerCore/base/Text.h"
#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

namespace {

bool startsWith(std::string_view s, std::string_view prefix) {
    return s.starts_with(prefix);
}
bool endsWith(std::string_view s, std::string_view suffix) {
    return s.ends_with(suffix);
}

std::vector<std::string> lowercasedComponents(std::string_view path) {
    std::string standardized = standardizePath(path);
    std::vector<std::string> parts;
    size_t i = 1;
    while (i < standardized.size()) {
        size_t j = standardized.find('/', i);
        if (j == std::string::npos) j = standardized.size();
        parts.push_back(asciiLowercased(std::string_view(standardized).substr(i, j - i)));
        i = j + 1;
    }
    return parts;
}

bool isAppleContainerName(std::string_view c) {
    return c == "com.apple" || startsWith(c, "com.apple.");
}
bool isAppleGroupContainerName(std::string_view c) {
    return c == "group.com.apple" || startsWith(c, "group.com.apple.") || isAppleContainerName(c);
}

bool macosRuleProtects(const std::vector<std::string>& c) {
    const size_t n = c.size();
    // 1. Apple's own containers.
    if (n >= 3) {
        for (size_t i = 0; i + 2 < n; ++i) {
            if (c[i] != "library") continue;
            if (c[i + 1] == "containers" && isAppleContainerName(c[i + 2])) return true;
            if (c[i + 1] == "group containers" && isAppleGroupContainerName(c[i + 2])) return true;
        }
    }
    // 2. Personal data under a Library folder.
    if (n >= 2) {
        for (size_t i = 0; i + 1 < n; ++i) {
            if (c[i] != "library") continue;
            const std::string& next = c[i + 1];
            if (next == "keychains" || next == "mail" || next == "messages" ||
                next == "cloudstorage" || next == "fileprovider" || next == "file provider") {
                return true;
            }
            if (next == "mobile documents") {
                if (i + 2 < n && c[i + 2] == ".trash") continue;
                return true;
            }
            if (next == "application support" && i + 2 < n &&
                (c[i + 2] == "clouddocs" || c[i + 2] == "fileprovider" ||
                 c[i + 2] == "file provider")) {
                return true;
            }
        }
    }
    // 3. Libraries, backups and disk images.
    static constexpr std::array<std::string_view, 5> kSuffixes = {
        ".photoslibrary", ".musiclibrary", ".tvlibrary", ".backup", ".origin"};
    static constexpr std::array<std::string_view, 8> kImages = {
        "rootfs.img",   "main.img",   "data.img", "storage.img",
        "userdata.img", "system.img", "disk.img", "vm.img"};
    for (const auto& comp : c) {
        for (auto s : kSuffixes) {
            if (endsWith(comp, s)) return true;
        }
        for (auto s : kImages) {
            if (comp == s) return true;
        }
    }
    return false;
}

// Trash folders by name, under every catalogue, because Velmora moves items into them and
// restores from them: the freedesktop volume Trash (".Trash", with one folder per user inside, or
// ".Trash-<uid>") and the macOS ones (".Trash" in the home folder, ".Trashes" on a volume). The
// cloud-document trash ("Mobile Documents/.Trash") stays unprotected, as the macOS rule wants.
bool trashRuleProtects(const std::vector<std::string>& c) {
    for (size_t i = 0; i < c.size(); ++i) {
        const std::string& comp = c[i];
        if (comp == ".trash") {
            if (i > 0 && c[i - 1] == "mobile documents") continue;
            return true;
        }
        if (comp == ".trashes") return true;
        if (comp.size() > 7 && comp.starts_with(".trash-") &&
            std::all_of(comp.begin() + 7, comp.end(),
                        [](char ch) { return ch >= '0' && ch <= '9'; })) {
            return true;
        }
    }
    return false;
}

// Virtual-machine disks: never proposed for cleanup, wherever they lie.
bool linuxDiskImageRuleProtects(const std::vector<std::string>& c) {
    static constexpr std::array<std::string_view, 5> kDiskImageSuffixes = {
        ".qcow2", ".vdi", ".vmdk", ".vhd", ".vhdx"};
    for (const auto& comp : c) {
        for (auto s : kDiskImageSuffixes) {
            if (endsWith(comp, s)) return true;
        }
    }
    return false;
}

// Linux personal data: keys, password stores, mail, browser and mail profiles and the Trash.
// Matched on lowercased components wherever they occur.
bool linuxPersonalDataRuleProtects(const std::vector<std::string>& c) {
    static constexpr std::array<std::string_view, 9> kNames = {
        ".ssh",         ".gnupg",  ".password-store", ".pki",     ".mozilla",
        ".thunderbird", "maildir", ".maildir",        ".electrum"};
    const size_t n = c.size();
    for (size_t i = 0; i < n; ++i) {
        const std::string& comp = c[i];
        for (auto name : kNames) {
            if (comp == name) return true;
        }
        // .local/share/{keyrings,Trash,evolution,kwalletd}, .kde/share/apps/kwallet
        if (comp == ".local" && i + 2 < n && c[i + 1] == "share") {
            const std::string& what = c[i + 2];
            if (what == "keyrings" || what == "trash" || what == "evolution" ||
                what == "kwalletd") {
                return true;
            }
        }
        if (comp == ".kde" && i + 3 < n && c[i + 1] == "share" && c[i + 2] == "apps" &&
            c[i + 3] == "kwallet") {
            return true;
        }
        if (comp == ".config" && i + 1 < n &&
            (c[i + 1] == "keepassxc" || c[i + 1] == "evolution")) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool isProtectedUserDataPath(std::string_view path, Catalogue catalogue) {
    auto components = lowercasedComponents(path);
    if (macosRuleProtects(components) || trashRuleProtects(components)) return true;
    return catalogue == Catalogue::linux &&
           (linuxPersonalDataRuleProtects(components) || linuxDiskImageRuleProtects(components));
}

bool isLinuxPersonalDataPath(std::string_view path) {
    const auto components = lowercasedComponents(path);
    return trashRuleProtects(components) || linuxPersonalDataRuleProtects(components);
}

SafePathPolicy SafePathPolicy::make(const std::vector<std::string>& allowedRootPaths,
                                    const std::string& homeFolder, Catalogue catalogue,
                                    ProtectedPlaces protectedPlaces) {
    SafePathPolicy policy;
    policy.catalogue = catalogue;
    policy.protectedPlaces = std::move(protectedPlaces);
    for (const auto& raw : allowedRootPaths) {
        std::string key = pathKey(raw);
        policy.allowedRoots.push_back({raw, key, volumeIsCaseInsensitive(key)});
    }
    std::set<std::string> keys;
    for (const auto& p : PathConventions::forCatalogue(catalogue).criticalPaths)
        keys.insert(pathKey(p));
    policy.protectedPathKeys.assign(keys.begin(), keys.end());
    policy.homePathKey = pathKey(homeFolder);
    policy.homeLexicalKey = lexicalPathKey(homeFolder);
    policy.usesCaseInsensitivePathComparison = volumeIsCaseInsensitive(policy.homePathKey);
    return policy;
}

bool SafePathPolicy::isOutsideCurrentUserArea(std::string_view p, std::string_view home,
                                              bool caseInsensitive, const PathConventions& conv) {
    std::string users = caseInsensitive ? asciiLowercased(conv.usersFolder) : conv.usersFolder;
    std::string pk = caseInsensitive ? asciiLowercased(p) : std::string(p);
    std::string hk = caseInsensitive ? asciiLowercased(home) : std::string(home);
    std::string usersSlash = users + "/";
    if (pk == users) return true;
    if (!startsWith(pk, usersSlash)) return false;
    if (conv.sharedFolder) {
        std::string shared =
            caseInsensitive ? asciiLowercased(*conv.sharedFolder) : *conv.sharedFolder;
        if (pk == shared || startsWith(pk, shared + "/")) return true;
        if (startsWith(hk, usersSlash) && (hk == shared || startsWith(hk, shared + "/")))
            return true;
    }
    if (startsWith(hk, usersSlash)) {
        if (pk == hk) return false;
        return !startsWith(pk, hk + "/");
    }
    return true;
}

bool SafePathPolicy::isCriticalKey(std::string_view key) const {
    for (const auto& critical : protectedPathKeys) {
        if (keyIsWithin(critical, key)) return true;
    }
    return false;
}

namespace {

// The protection rule and the link test, shared by the clean and trash checks.
std::optional<CleaningError> checkItem(const std::string& key, bool isProtected,
                                       SafePathPolicy::MissingItem missing) {
    using K = CleaningError::Kind;
    if (isProtected) return CleaningError{K::protectedUserData, key};
    auto st = lstatPath(key);
    if (!st) {
        if (errno == ENOENT && missing == SafePathPolicy::MissingItem::allowed) {
            return std::nullopt;
        }
        return CleaningError{K::unreadableAttributes, key};
    }
    if (S_ISLNK(st->st_mode)) return CleaningError{K::symbolicLink, key};
    return std::nullopt;
}

}  // namespace

std::optional<CleaningError> SafePathPolicy::checkAreaAndCriticality(const std::string& key) const {
    using K = CleaningError::Kind;
    const auto& conv = PathConventions::forCatalogue(catalogue);
    const bool ci = usesCaseInsensitivePathComparison;
    if (isOutsideCurrentUserArea(key, homePathKey, ci, conv) &&
        (homeLexicalKey.empty() || isOutsideCurrentUserArea(key, homeLexicalKey, ci, conv))) {
        return CleaningError{K::pathNotAllowed, key};
    }
    if (isCriticalKey(key)) return CleaningError{K::criticalPath, key};
    return std::nullopt;
}

std::optional<CleaningError> SafePathPolicy::checkPathIgnoringScope(const std::string& path,
                                                                    MissingItem missing) const {
    std::string key = lexicalPathKey(path);
    if (auto refusal = checkAreaAndCriticality(key)) return refusal;
    const bool isProtected = isProtectedUserDataPath(key, catalogue) ||
                             protectedPlaces.relationOf(key) != ProtectedPlaces::Relation::none;
    return checkItem(key, isProtected, missing);
}

std::optional<SafePathPolicy::RootMatch> SafePathPolicy::containingRoot(
    const std::string& key) const {
    for (const auto& root : allowedRoots) {
        const bool ci = root.usesCaseInsensitivePathComparison;
        const std::string k = ci ? asciiLowercased(key) : key;
        // The resolved form first; then the form the caller gave, so that an item named through
        // the user's own links (a linked /home or ~/.local) is still inside its root.
        for (const std::string& form : {root.resolvedPathKey, lexicalPathKey(root.rawPath)}) {
            if (keyIsWithin(k, ci ? asciiLowercased(form) : form)) return RootMatch{&root, form};
        }
    }
    return std::nullopt;
}

std::optional<CleaningError> SafePathPolicy::checkCleanPath(const std::string& path,
                                                            MissingItem missing) const {
    std::string key = lexicalPathKey(path);
    if (!containingRoot(key)) return CleaningError{CleaningError::Kind::pathNotAllowed, key};
    return checkPathIgnoringScope(key, missing);
}

std::optional<CleaningError> SafePathPolicy::checkCleanPathLexically(
    const std::string& path) const {
    using K = CleaningError::Kind;
    const std::string key = lexicalPathKey(path);
    if (!containingRoot(key)) return CleaningError{K::pathNotAllowed, key};
    if (auto refusal = checkAreaAndCriticality(key)) return refusal;
    if (isProtectedUserDataPath(key, catalogue) ||
        protectedPlaces.relationTo(key, {}) != ProtectedPlaces::Relation::none) {
        return CleaningError{K::protectedUserData, key};
    }
    return std::nullopt;
}

std::optional<CleaningError> SafePathPolicy::checkTrashedPath(const std::string& path) const {
    using K = CleaningError::Kind;
    std::string key = lexicalPathKey(path);
    const auto root = containingRoot(key);
    if (!root) return CleaningError{K::pathNotAllowed, key};
    if (auto refusal = checkAreaAndCriticality(key)) return refusal;
    const std::string below =
        key.size() > root->key.size() ? key.substr(root->key.size()) : std::string("/");
    return checkItem(key, isProtectedUserDataPath(below, catalogue), MissingItem::refused);
}

}  // namespace velmora

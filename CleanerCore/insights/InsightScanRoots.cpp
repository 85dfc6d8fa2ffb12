#include "CleanerCore/insights/InsightScanRoots.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <sstream>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/FileSystem.h"

namespace velmora {

namespace {

// Reads a small configuration file; an absent or unreadable file is nullopt.
std::optional<std::string> readSmallFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) {
        s.remove_suffix(1);
    }
    return s;
}

// The text between the quotes of `"..."`, with backslash escapes resolved.
std::optional<std::string> unquoted(std::string_view value) {
    if (value.size() < 2 || value.front() != '"' || value.back() != '"') return std::nullopt;
    value = value.substr(1, value.size() - 2);
    std::string out;
    for (size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            out += value[++i];
        } else if (value[i] == '"') {
            return std::nullopt;
        } else {
            out += value[i];
        }
    }
    return out;
}

}  // namespace

std::optional<std::string> xdgUserDirectory(std::string_view text, std::string_view key,
                                            std::string_view home) {
    std::optional<std::string> found;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('\n', start);
        if (end == std::string_view::npos) end = text.size();
        std::string_view line = trimmed(text.substr(start, end - start));
        start = end + 1;
        if (line.empty() || line.front() == '#') continue;
        const size_t eq = line.find('=');
        if (eq == std::string_view::npos || trimmed(line.substr(0, eq)) != key) continue;
        auto value = unquoted(trimmed(line.substr(eq + 1)));
        if (!value) {
            found.reset();
            continue;
        }
        // The last assignment wins, as when the file is sourced by a shell.
        if (value->starts_with("$HOME")) {
            const std::string rest = value->substr(5);
            if (!rest.empty() && rest.front() != '/') {
                found.reset();
                continue;
            }
            found = standardizePath(std::string(home) + rest);
        } else if (value->starts_with("/")) {
            found = standardizePath(*value);
        } else {
            found.reset();
        }
    }
    return found;
}

std::vector<InsightScanRoot> insightScanRoots(const std::string& home, Catalogue catalogue,
                                              const std::optional<std::string>& configHome) {
    const std::string h = standardizePath(home);
    std::vector<InsightScanRoot> roots;
    using Role = InsightScanRoot::Role;
    auto add = [&](const std::string& path, bool isDownloads, Role role = Role::userFolder) {
        const std::string p = standardizePath(path);
        for (const auto& r : roots) {
            if (r.path == p) return;
        }
        roots.push_back({p, isDownloads, role});
    };
    if (catalogue == Catalogue::macos) {
        static constexpr std::array<std::string_view, 8> kRoots = {"Downloads",
                                                                   "Desktop",
                                                                   "Documents",
                                                                   "Movies",
                                                                   "Pictures",
                                                                   "Music",
                                                                   "Library/Application Support",
                                                                   "Library/Developer"};
        for (size_t i = 0; i < kRoots.size(); ++i) add(h + "/" + std::string(kRoots[i]), i == 0);
        return roots;
    }
    struct UserFolder {
        std::string_view key, english;
    };
    static constexpr std::array<UserFolder, 6> kFolders = {{
        {"XDG_DOWNLOAD_DIR", "Downloads"},
        {"XDG_DESKTOP_DIR", "Desktop"},
        {"XDG_DOCUMENTS_DIR", "Documents"},
        {"XDG_VIDEOS_DIR", "Videos"},
        {"XDG_PICTURES_DIR", "Pictures"},
        {"XDG_MUSIC_DIR", "Music"},
    }};
    const auto text = readSmallFile(configHome.value_or(h + "/.config") + "/user-dirs.dirs");
    for (size_t i = 0; i < kFolders.size(); ++i) {
        std::string path = h + "/" + std::string(kFolders[i].english);
        if (text) {
            if (auto assigned = xdgUserDirectory(*text, kFolders[i].key, h)) path = *assigned;
        }
        // xdg-user-dirs switches a folder off by pointing it at the home folder itself.
        if (path == h) continue;
        add(path, i == 0);
    }
    add(h + "/.local/share", false, Role::mapOnly);
    add(h + "/.var/app", false, Role::mapOnly);
    // Everything else in the home gets a map item of its own, so that the map's total is the
    // home's: most of a Linux home's bytes lie in hidden folders (~/.cache, ~/.cargo, ...).
    std::vector<std::string> names;
    if (UniqueFd dir = openDirectoryFollowingLinks(h)) {
        forEachDirectoryEntry(dir.get(), [&](const char* name, unsigned char) {
            struct stat st {};
            if (::fstatat(dir.get(), name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode))
                names.emplace_back(name);
        });
    }
    std::sort(names.begin(), names.end());
    for (const auto& name : names) add(h + "/" + name, false, Role::mapOnly);
    add(h, false, Role::looseFiles);
    return roots;
}

}  // namespace velmora

#include "CleanerCore/platform/DesktopEntry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

constexpr size_t kMaximumEntryBytes = 256 * 1024;
constexpr size_t kMaximumNameBytes = 256;

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r'))
        s.remove_suffix(1);
    return s;
}

// Undoes the desktop-entry escapes (\s \n \t \r \\); a line break or tab in a name has no
// place in a list, so those make it a space.
std::string unescaped(std::string_view value) {
    std::string out;
    for (size_t i = 0; i < value.size(); ++i) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            const char next = value[++i];
            if (next == 's' || next == 'n' || next == 't' || next == 'r') {
                out += ' ';
            } else {
                out += next;
            }
        } else {
            out += value[i];
        }
    }
    return out;
}

// Well-formed UTF-8 without control characters (C0, DEL, C1).
bool isUsableName(std::string_view text) {
    for (size_t i = 0; i < text.size();) {
        const auto b = static_cast<unsigned char>(text[i]);
        if (b < 0x20 || b == 0x7F) return false;
        int length = b < 0x80             ? 1
                     : (b & 0xE0) == 0xC0 ? 2
                     : (b & 0xF0) == 0xE0 ? 3
                     : (b & 0xF8) == 0xF0 ? 4
                                          : 0;
        if (length == 0 || i + length > text.size()) return false;
        uint32_t cp = length == 1 ? b : b & (0xFF >> (length + 1));
        for (int k = 1; k < length; ++k) {
            const auto c = static_cast<unsigned char>(text[i + k]);
            if ((c & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (c & 0x3F);
        }
        static constexpr uint32_t minimum[] = {0, 0, 0x80, 0x800, 0x10000};
        if (cp < minimum[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
        if (cp >= 0x80 && cp <= 0x9F) return false;
        i += length;
    }
    return true;
}

// `text` cut to at most kMaximumNameBytes at a character boundary.
std::string capped(std::string text) {
    if (text.size() <= kMaximumNameBytes) return text;
    size_t end = kMaximumNameBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
    text.resize(end);
    return text;
}

// The Name[...] keys a locale accepts, best first.
std::vector<std::string> localeKeys(std::string_view locale) {
    std::string_view modifier;
    if (const size_t at = locale.find('@'); at != std::string_view::npos) {
        modifier = locale.substr(at + 1);
        locale = locale.substr(0, at);
    }
    if (const size_t dot = locale.find('.'); dot != std::string_view::npos)
        locale = locale.substr(0, dot);
    std::string_view lang = locale, country;
    if (const size_t us = locale.find('_'); us != std::string_view::npos) {
        lang = locale.substr(0, us);
        country = locale.substr(us + 1);
    }
    std::vector<std::string> keys;
    if (lang.empty()) return keys;
    const std::string l(lang), c(country), m(modifier);
    if (!c.empty() && !m.empty()) keys.push_back(l + "_" + c + "@" + m);
    if (!c.empty()) keys.push_back(l + "_" + c);
    if (!m.empty()) keys.push_back(l + "@" + m);
    keys.push_back(l);
    return keys;
}

std::optional<std::string> readSmallRegularFile(const std::string& path) {
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!fd) return std::nullopt;
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode) ||
        static_cast<uint64_t>(st.st_size) > kMaximumEntryBytes)
        return std::nullopt;
    std::string text;
    char buffer[8192];
    while (text.size() <= kMaximumEntryBytes) {
        const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::nullopt;
        if (n == 0) break;
        text.append(buffer, static_cast<size_t>(n));
    }
    if (text.size() > kMaximumEntryBytes) return std::nullopt;
    return text;
}

}  // namespace

std::optional<DesktopEntryInfo> parseDesktopEntry(std::string_view text, std::string id,
                                                  const std::vector<std::string>& locales) {
    // The wanted Name keys, best first: each locale's forms in order, then plain Name.
    std::vector<std::string> wanted;
    for (const auto& locale : locales) {
        for (auto& key : localeKeys(locale)) wanted.push_back("Name[" + key + "]");
    }
    wanted.push_back("Name");
    std::vector<std::optional<std::string>> found(wanted.size());

    DesktopEntryInfo info;
    info.id = std::move(id);
    bool inMainGroup = false, sawMainGroup = false;
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find('\n', at);
        if (end == std::string_view::npos) end = text.size();
        const std::string_view line = trimmed(text.substr(at, end - at));
        at = end + 1;
        if (line.empty() || line.front() == '#') continue;
        if (line.front() == '[') {
            // Only the first "[Desktop Entry]" group counts; a repeated one is ignored.
            inMainGroup = line == "[Desktop Entry]" && !sawMainGroup;
            sawMainGroup = sawMainGroup || inMainGroup;
            continue;
        }
        if (!inMainGroup) continue;
        const size_t equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view key = trimmed(line.substr(0, equals));
        const std::string_view value = trimmed(line.substr(equals + 1));
        if (key == "NoDisplay") info.noDisplay = value == "true";
        if (key == "Hidden") info.hidden = value == "true";
        if (!key.starts_with("Name")) continue;
        for (size_t i = 0; i < wanted.size(); ++i) {
            if (key != wanted[i] || found[i]) continue;  // the first occurrence of a key counts
            std::string name = unescaped(value);
            if (isUsableName(name) && !trimmed(name).empty()) found[i] = capped(std::move(name));
        }
    }
    if (!sawMainGroup) return std::nullopt;
    for (auto& name : found) {
        if (name) {
            info.name = std::move(name);
            break;
        }
    }
    return info;
}

std::vector<std::string> desktopEntryFolders(const std::string& dataHome) {
    std::vector<std::string> folders;
    if (!dataHome.empty()) folders.push_back(dataHome + "/applications");
    const char* dirs = std::getenv("XDG_DATA_DIRS");
    std::string_view list = dirs && *dirs ? dirs : "/usr/local/share:/usr/share";
    while (!list.empty()) {
        const size_t colon = list.find(':');
        const std::string_view dir = list.substr(0, colon);
        if (dir.starts_with('/')) {
            std::string folder(dir);
            while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
            folders.push_back(folder + "/applications");
        }
        if (colon == std::string_view::npos) break;
        list.remove_prefix(colon + 1);
    }
    return folders;
}

std::vector<std::string> messageLocales() {
    std::vector<std::string> locales;
    auto add = [&](std::string_view locale) {
        if (!locale.empty() && locale != "C" && locale != "POSIX" && !locale.starts_with("C."))
            locales.emplace_back(locale);
    };
    if (const char* language = std::getenv("LANGUAGE")) {
        std::string_view list = language;
        while (!list.empty()) {
            const size_t colon = list.find(':');
            add(list.substr(0, colon));
            if (colon == std::string_view::npos) break;
            list.remove_prefix(colon + 1);
        }
    }
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value && *value) {
            add(value);
            break;
        }
    }
    return locales;
}

std::optional<DesktopEntryInfo> findDesktopEntry(std::string_view id,
                                                 const std::vector<std::string>& folders,
                                                 const std::vector<std::string>& locales) {
    if (id.empty() || id.find('/') != std::string_view::npos || id == "." || id == "..")
        return std::nullopt;
    // The id itself, then with each "-" standing for a subfolder, first one first.
    std::vector<std::string> relatives{std::string(id) + ".desktop"};
    for (size_t dash = id.find('-'); dash != std::string_view::npos;
         dash = id.find('-', dash + 1)) {
        std::string relative(id);
        relative[dash] = '/';
        relatives.push_back(relative + ".desktop");
    }
    for (const auto& folder : folders) {
        for (const auto& relative : relatives) {
            if (auto text = readSmallRegularFile(folder + "/" + relative))
                return parseDesktopEntry(*text, std::string(id), locales);
        }
    }
    return std::nullopt;
}

std::optional<DesktopEntryInfo> readDesktopEntryFile(const std::string& path,
                                                     const std::vector<std::string>& locales) {
    const size_t slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    if (!path.starts_with('/') || !name.ends_with(".desktop") || name.size() <= 8)
        return std::nullopt;
    name.resize(name.size() - 8);
    auto text = readSmallRegularFile(path);
    if (!text) return std::nullopt;
    return parseDesktopEntry(*text, std::move(name), locales);
}

}  // namespace velmora

#include "CleanerCore/base/FileURL.h"

#include <algorithm>
#include <vector>

#include "CleanerCore/base/Text.h"

namespace velmora {

namespace {

// True when standardizing would return `path` unchanged: absolute, no empty, "." or ".."
// component, no trailing slash. Most paths a walk builds are already like that.
bool isStandardPath(std::string_view path) {
    if (path.empty() || path[0] != '/') return false;
    if (path.size() == 1) return true;
    size_t start = 1;
    for (;;) {
        const size_t end = std::min(path.find('/', start), path.size());
        const std::string_view part = path.substr(start, end - start);
        if (part.empty() || part == "." || part == "..") return false;
        if (end == path.size()) return true;
        start = end + 1;
    }
}

}  // namespace

std::string standardizePath(std::string_view path) {
    if (isStandardPath(path)) return std::string(path);
    std::vector<std::string_view> parts;
    size_t i = 0;
    while (i < path.size()) {
        while (i < path.size() && path[i] == '/') ++i;
        size_t j = i;
        while (j < path.size() && path[j] != '/') ++j;
        std::string_view part = path.substr(i, j - i);
        i = j;
        if (part.empty() || part == ".") continue;
        if (part == "..") {
            if (!parts.empty()) parts.pop_back();
            continue;
        }
        parts.push_back(part);
    }
    if (parts.empty()) return "/";
    std::string out;
    for (auto p : parts) {
        out += '/';
        out += p;
    }
    return out;
}

std::string lastPathComponent(std::string_view path) {
    if (path.empty() || path == "/") return "/";
    auto pos = path.rfind('/');
    return std::string(pos == std::string_view::npos ? path : path.substr(pos + 1));
}

std::string appendingPathComponent(std::string_view path, std::string_view component) {
    std::string joined(path);
    joined += '/';
    joined += component;
    return standardizePath(joined);
}

std::string deletingLastPathComponent(std::string_view path) {
    auto pos = path.rfind('/');
    if (pos == std::string_view::npos || pos == 0) return "/";
    return std::string(path.substr(0, pos));
}

std::string_view pathExtension(std::string_view path) {
    const size_t slash = path.rfind('/');
    const std::string_view name = slash == std::string_view::npos ? path : path.substr(slash + 1);
    const size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) return {};
    return name.substr(dot + 1);
}

std::string pathExtensionLowercased(std::string_view path) {
    return asciiLowercased(pathExtension(path));
}

FileURL::FileURL(std::string_view anyPath, bool directoryHint)
    : path(standardizePath(anyPath)),
      isDirectory(directoryHint || path == "/" || (anyPath.size() > 1 && anyPath.back() == '/')) {}

FileURL FileURL::appending(std::string_view component, bool directoryHint) const {
    return FileURL(appendingPathComponent(path, component), directoryHint);
}

namespace {

bool isUnreservedPathByte(unsigned char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
    switch (c) {
        case '-':
        case '.':
        case '_':
        case '~':
        case '/':
        case '!':
        case '$':
        case '&':
        case '\'':
        case '(':
        case ')':
        case '*':
        case '+':
        case ',':
        case ';':
        case '=':
        case ':':
        case '@':
            return true;
        default:
            return false;
    }
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::string FileURL::absoluteString() const {
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out = "file://";
    out.reserve(out.size() + path.size() + 1);
    for (unsigned char c : path) {
        if (isUnreservedPathByte(c)) {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 0xF];
        }
    }
    if (isDirectory && path != "/") out += '/';
    return out;
}

std::optional<FileURL> FileURL::fromAbsoluteString(std::string_view text) {
    constexpr std::string_view kScheme = "file://";
    if (text.size() < kScheme.size()) return std::nullopt;
    for (size_t i = 0; i < kScheme.size(); ++i) {
        char c = text[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != kScheme[i]) return std::nullopt;
    }
    std::string_view rest = text.substr(kScheme.size());
    if (rest.starts_with("localhost/")) rest.remove_prefix(9);
    if (rest.empty() || rest.front() != '/') return std::nullopt;
    std::string decoded;
    decoded.reserve(rest.size());
    for (size_t i = 0; i < rest.size(); ++i) {
        char c = rest[i];
        if (c == '?' || c == '#') return std::nullopt;
        if (c != '%') {
            decoded += c;
            continue;
        }
        if (i + 2 >= rest.size()) return std::nullopt;
        int hi = hexValue(rest[i + 1]);
        int lo = hexValue(rest[i + 2]);
        if (hi < 0 || lo < 0) return std::nullopt;
        char byte = static_cast<char>((hi << 4) | lo);
        if (byte == '\0') return std::nullopt;
        decoded += byte;
        i += 2;
    }
    bool dir = decoded.size() > 1 && decoded.back() == '/';
    return FileURL(decoded, dir);
}

}  // namespace velmora

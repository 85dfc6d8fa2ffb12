#include "VelmoraUI/dashboard/Formatting.h"

#include <fmt/format.h>

#include "CleanerCore/scanning/ModelJson.h"
#include "CleanerCore/scanning/PathRules.h"

namespace velmora {

std::string formatBytes(int64_t bytes) {
    if (bytes < 0) return "-" + formatBytes(bytes == INT64_MIN ? INT64_MAX : -bytes);
    if (bytes == 1) return "1 byte";
    if (bytes < 1000) return fmt::format("{} bytes", bytes);
    static constexpr const char* kUnits[] = {"kB", "MB", "GB", "TB", "PB", "EB"};
    double value = static_cast<double>(bytes) / 1000.0;
    int unit = 0;
    while (value >= 999.95 && unit < 5) {
        value /= 1000.0;
        ++unit;
    }
    if (unit >= 2 && value < 10) return fmt::format("{:.2f} {}", value, kUnits[unit]);
    return fmt::format("{:.1f} {}", value, kUnits[unit]);
}

std::string displayPath(std::string_view path, std::string_view home) {
    if (home.empty() || home == "/" || !StoragePathContainment::pathIsWithin(path, home)) {
        return std::string(path);
    }
    std::string key = lexicalPathKey(path);
    std::string homeKey = lexicalPathKey(home);
    if (key == homeKey) return "~";
    return "~" + key.substr(homeKey.size());
}

std::string printable(std::string_view text) {
    std::string valid = validUTF8(text);
    std::string out;
    out.reserve(valid.size());
    for (unsigned char c : valid) {
        if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else if (c == '\r') {
            out += "\\r";
        } else if (c < 0x20 || c == 0x7f) {
            out += fmt::format("\\x{:02x}", c);
        } else {
            out += static_cast<char>(c);
        }
    }
    // C1 controls (U+0080..U+009F, encoded C2 80..C2 9F) also steer terminals.
    std::string safe;
    safe.reserve(out.size());
    for (size_t i = 0; i < out.size(); ++i) {
        auto c = static_cast<unsigned char>(out[i]);
        auto next = i + 1 < out.size() ? static_cast<unsigned char>(out[i + 1]) : 0;
        if (c == 0xC2 && next >= 0x80 && next <= 0x9F) {
            safe += fmt::format("\\u{:04x}", next);
            ++i;
        } else {
            safe += static_cast<char>(c);
        }
    }
    return safe;
}

size_t displayWidth(std::string_view text) {
    size_t width = 0;
    for (size_t i = 0; i < text.size();) {
        auto c = static_cast<unsigned char>(text[i]);
        size_t len = c < 0x80 ? 1 : (c >> 5) == 0x6 ? 2 : (c >> 4) == 0xE ? 3 : 4;
        uint32_t cp = 0;
        if (len == 1) {
            cp = c;
        } else if (i + len <= text.size()) {
            cp = c & (0x3F >> (len - 1));
            for (size_t k = 1; k < len; ++k)
                cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        }
        // East Asian wide ranges (CJK, Hangul, full-width forms, emoji) take two columns.
        bool wide = (cp >= 0x1100 && cp <= 0x115F) || (cp >= 0x2E80 && cp <= 0xA4CF) ||
                    (cp >= 0xAC00 && cp <= 0xD7A3) || (cp >= 0xF900 && cp <= 0xFAFF) ||
                    (cp >= 0xFE30 && cp <= 0xFE4F) || (cp >= 0xFF00 && cp <= 0xFF60) ||
                    (cp >= 0xFFE0 && cp <= 0xFFE6) || (cp >= 0x1F300 && cp <= 0x1FAFF) ||
                    (cp >= 0x20000 && cp <= 0x3FFFD);
        width += wide ? 2 : 1;
        i += len;
    }
    return width;
}

}  // namespace velmora

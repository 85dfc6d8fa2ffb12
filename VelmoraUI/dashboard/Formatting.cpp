#include "VelmoraUI/dashboard/Formatting.h"

#include <fmt/format.h>

#include "CleanerCore/safety/PathRules.h"
#include "CleanerCore/scanning/ModelJson.h"

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

std::string countText(int64_t count, const char* one, const char* many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
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

std::string padRight(std::string_view text, size_t width) {
    const size_t w = displayWidth(text);
    return w >= width ? std::string(text) : std::string(text) + std::string(width - w, ' ');
}

std::string padLeft(std::string_view text, size_t width) {
    const size_t w = displayWidth(text);
    return w >= width ? std::string(text) : std::string(width - w, ' ') + std::string(text);
}

}  // namespace velmora

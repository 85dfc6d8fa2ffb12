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

namespace {

// The length of the valid UTF-8 sequence at the start of `text` (no overlong forms, no
// surrogates, nothing above U+10FFFF) and its code point; 0 when the first byte starts none.
size_t decodeUTF8(std::string_view text, uint32_t& codePoint) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char c = byte(0);
    size_t len = 0;
    uint32_t minimum = 0;
    if (c < 0x80) {
        codePoint = c;
        return 1;
    } else if ((c & 0xE0) == 0xC0) {
        len = 2, minimum = 0x80, codePoint = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
        len = 3, minimum = 0x800, codePoint = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
        len = 4, minimum = 0x10000, codePoint = c & 0x07;
    } else {
        return 0;
    }
    if (text.size() < len) return 0;
    for (size_t k = 1; k < len; ++k) {
        if ((byte(k) & 0xC0) != 0x80) return 0;
        codePoint = (codePoint << 6) | (byte(k) & 0x3F);
    }
    if (codePoint < minimum || codePoint > 0x10FFFF ||
        (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
        return 0;
    }
    return len;
}

// Characters that print as nothing or reorder what follows them, so that a name holding them
// looks like another name: C1 controls, the soft hyphen, zero-width characters, bidirectional
// marks, embeddings, overrides and isolates, line and paragraph separators, the byte-order mark
// and the interlinear annotation marks.
bool isInvisibleOrReordering(uint32_t cp) {
    return (cp >= 0x80 && cp <= 0x9F) || cp == 0xAD || cp == 0x061C || cp == 0x180E ||
           (cp >= 0x200B && cp <= 0x200F) || (cp >= 0x2028 && cp <= 0x202E) ||
           (cp >= 0x2060 && cp <= 0x206F) || cp == 0xFEFF || (cp >= 0xFFF9 && cp <= 0xFFFB);
}

}  // namespace

std::string printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        uint32_t cp = 0;
        const size_t len = decodeUTF8(text.substr(i), cp);
        if (len == 0) {  // a byte that is not part of valid UTF-8
            out += fmt::format("\\x{:02x}", static_cast<unsigned char>(text[i]));
            i += 1;
            continue;
        }
        if (cp == '\\') {
            out += "\\\\";
        } else if (cp == '\n') {
            out += "\\n";
        } else if (cp == '\t') {
            out += "\\t";
        } else if (cp == '\r') {
            out += "\\r";
        } else if (cp < 0x20 || cp == 0x7f) {
            out += fmt::format("\\x{:02x}", cp);
        } else if (isInvisibleOrReordering(cp)) {
            out += fmt::format("\\u{:04x}", cp);
        } else {
            out.append(text.substr(i, len));
        }
        i += len;
    }
    return out;
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

#include "CleanerCore/base/PrintableText.h"

#include <cstdint>
#include <cstdio>

namespace velmora {

namespace {

std::string hexEscape(const char* format, unsigned value) {
    char buffer[16];
    const int n = std::snprintf(buffer, sizeof buffer, format, value);
    return std::string(buffer, static_cast<size_t>(n));
}

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
            out += hexEscape("\\x%02x", static_cast<unsigned char>(text[i]));
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
            out += hexEscape("\\x%02x", cp);
        } else if (isInvisibleOrReordering(cp)) {
            out += hexEscape("\\u%04x", cp);
        } else {
            out.append(text.substr(i, len));
        }
        i += len;
    }
    return out;
}

}  // namespace velmora

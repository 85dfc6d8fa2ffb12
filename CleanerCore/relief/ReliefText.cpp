#include "CleanerCore/relief/ReliefText.h"

#include <cstdint>
#include <optional>

namespace velmora {

namespace {

constexpr char32_t kInvalid = 0xFFFFFFFF;

// The code point starting at `text[i]`, advancing `i`; kInvalid (advancing one byte) for a byte
// that does not begin a well-formed sequence.
char32_t decodeUTF8(std::string_view text, size_t& i) {
    const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char b0 = byte(i);
    if (b0 < 0x80) {
        ++i;
        return b0;
    }
    int length = 0;
    char32_t cp = 0;
    char32_t minimum = 0;
    if ((b0 & 0xE0) == 0xC0) {
        length = 2, cp = b0 & 0x1F, minimum = 0x80;
    } else if ((b0 & 0xF0) == 0xE0) {
        length = 3, cp = b0 & 0x0F, minimum = 0x800;
    } else if ((b0 & 0xF8) == 0xF0) {
        length = 4, cp = b0 & 0x07, minimum = 0x10000;
    } else {
        ++i;
        return kInvalid;
    }
    if (i + length > text.size()) {
        ++i;
        return kInvalid;
    }
    for (int k = 1; k < length; ++k) {
        const unsigned char b = byte(i + k);
        if ((b & 0xC0) != 0x80) {
            ++i;
            return kInvalid;
        }
        cp = (cp << 6) | (b & 0x3F);
    }
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        ++i;
        return kInvalid;
    }
    i += length;
    return cp;
}

bool isReliefWhitespace(char32_t c) {
    return c == ' ' || (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
}

char32_t folded(char32_t c) {
    if (c >= 'A' && c <= 'Z') return c + 32;
    if ((c >= 0xC0 && c <= 0xDE && c != 0xD7)) return c + 32;  // Latin-1 capitals
    if (c >= 0x100 && c <= 0x17F && c != 0x130 && c != 0x138 && c != 0x149 && c != 0x17F) {
        // Latin Extended-A alternates capital/small, with the parity flipping at U+0139.
        const bool capitalEven = c < 0x139 || c > 0x148;
        if (c >= 0x178) return c == 0x178 ? 0xFF : (c % 2 == 1 ? c + 1 : c);
        return capitalEven ? (c % 2 == 0 ? c + 1 : c) : (c % 2 == 1 ? c + 1 : c);
    }
    if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return c + 32;  // Greek
    if (c >= 0x410 && c <= 0x42F) return c + 32;                // Cyrillic
    if (c >= 0x400 && c <= 0x40F) return c + 80;
    return c;
}

// The letter without its accent for the Latin-1 letters (U+00C0...U+00FF, already folded to
// small letters), so "éclair" sorts beside "eclair" rather than after "zeta".
char32_t baseLetter(char32_t c) {
    static constexpr char kBase[] = "aaaaaaaceeeeiiiidnooooo\xf7ouuuuyty";
    if (c >= 0xE0 && c <= 0xFF && c != 0xF7) return static_cast<unsigned char>(kBase[c - 0xE0]);
    if (c == 0xDF) return 's';
    return c;
}

// Compares by `key` over the code points of both texts (invalid bytes above every code point).
template <typename Key>
int compareBy(std::string_view a, std::string_view b, Key key) {
    size_t i = 0, k = 0;
    while (i < a.size() && k < b.size()) {
        const size_t ai = i, bk = k;
        const char32_t ca = decodeUTF8(a, i);
        const char32_t cb = decodeUTF8(b, k);
        const uint64_t fa = ca == kInvalid ? 0x110000u + static_cast<unsigned char>(a[ai])
                                           : static_cast<uint64_t>(key(ca));
        const uint64_t fb = cb == kInvalid ? 0x110000u + static_cast<unsigned char>(b[bk])
                                           : static_cast<uint64_t>(key(cb));
        if (fa != fb) return fa < fb ? -1 : 1;
    }
    if (i < a.size()) return 1;
    if (k < b.size()) return -1;
    return 0;
}

}  // namespace

std::string trimmedReliefText(std::string_view text) {
    size_t begin = 0;
    while (begin < text.size()) {
        size_t next = begin;
        if (!isReliefWhitespace(decodeUTF8(text, next))) break;
        begin = next;
    }
    size_t end = begin;
    for (size_t i = begin; i < text.size();) {
        const char32_t c = decodeUTF8(text, i);
        if (!isReliefWhitespace(c)) end = i;
    }
    return std::string(text.substr(begin, end - begin));
}

int compareDisplayNamesCaseInsensitively(std::string_view a, std::string_view b) {
    // Letters first without accents, then with them; case never counts.
    if (const int c = compareBy(a, b, [](char32_t x) { return baseLetter(folded(x)); }); c != 0)
        return c;
    return compareBy(a, b, folded);
}

}  // namespace velmora

#include "CleanerCore/platform/UUID.h"

#include <array>
#include <cstdint>

#include "CleanerCore/platform/RandomBytes.h"

namespace velmora {

namespace {

bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

std::string makeUUIDString() {
    std::array<uint8_t, 16> b{};
    fillRandomBytes(b);
    b[6] = static_cast<unsigned char>((b[6] & 0x0F) | 0x40);  // version 4
    b[8] = static_cast<unsigned char>((b[8] & 0x3F) | 0x80);  // RFC 4122 variant
    static constexpr char kHex[] = "0123456789ABCDEF";
    std::string out;
    out.reserve(36);
    for (size_t i = 0; i < b.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) out += '-';
        out += kHex[b[i] >> 4];
        out += kHex[b[i] & 0xF];
    }
    return out;
}

std::optional<std::string> canonicalUUIDText(std::string_view text) {
    if (text.size() != 36) return std::nullopt;
    std::string out(text);
    for (size_t i = 0; i < out.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? out[i] != '-' : !isHexDigit(out[i])) return std::nullopt;
        if (out[i] >= 'a' && out[i] <= 'f') out[i] = static_cast<char>(out[i] - 'a' + 'A');
    }
    return out;
}

}  // namespace velmora

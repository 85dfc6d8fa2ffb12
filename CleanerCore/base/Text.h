#pragma once
// Byte-wise text helpers shared by the path rules, the catalogues and the JSON coding. ASCII
// only on purpose: names are raw bytes, and the rules they serve compare ASCII words.
#include <string>
#include <string_view>

namespace velmora {

/// `text` with A-Z lowered; other bytes unchanged.
inline std::string asciiLowercased(std::string_view text) {
    std::string out(text);
    for (auto& c : out) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return out;
}

/// True when `text` equals `lower` (which is in lower case) with A-Z in `text` lowered. Allocates
/// nothing, for tests that run on every name a walk meets.
inline bool equalsLowercasedASCII(std::string_view text, std::string_view lower) {
    if (text.size() != lower.size()) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != lower[i]) return false;
    }
    return true;
}

/// `text` without leading and trailing spaces, tabs, carriage returns and newlines.
inline std::string trimmedWhitespace(std::string_view text) {
    auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    size_t b = 0, e = text.size();
    while (b < e && isSpace(text[b])) ++b;
    while (e > b && isSpace(text[e - 1])) --e;
    return std::string(text.substr(b, e - b));
}

}  // namespace velmora

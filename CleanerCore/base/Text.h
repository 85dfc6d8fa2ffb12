#pragma once
// Byte-wise text helpers shared by the path rules, the catalogues and the JSON coding. ASCII
// only on purpose: names are raw bytes, and the rules they serve compare ASCII words.
#include <bitset>
#include <string>
#include <string_view>

namespace velmora {

/// `c` lowered when it is A-Z; any other byte unchanged.
inline char asciiLowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// `text` with A-Z lowered; other bytes unchanged.
inline std::string asciiLowercased(std::string_view text) {
    std::string out(text);
    for (auto& c : out) c = asciiLowered(c);
    return out;
}

/// True when `text` equals `lower` (which is in lower case) with A-Z in `text` lowered. Allocates
/// nothing, for tests that run on every name a walk meets.
inline bool equalsLowercasedASCII(std::string_view text, std::string_view lower) {
    if (text.size() != lower.size()) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (asciiLowered(text[i]) != lower[i]) return false;
    }
    return true;
}

/// A pre-test for "does `text` equal one of these lower-case words, ignoring A-Z case?" for
/// tests that run on every name a walk meets: false means certainly not, true means compare.
/// Words are keyed by length, first and last byte into 4,096 bits, so with a few dozen words
/// almost every other text is rejected by one bit test, without allocating.
class CaseFoldedWordFilter {
  public:
    void add(std::string_view lowerWord) {
        if (!lowerWord.empty()) bits_.set(key(lowerWord));
    }
    bool mayContain(std::string_view text) const { return !text.empty() && bits_.test(key(text)); }

  private:
    static size_t key(std::string_view s) {
        return (s.size() * 131 + static_cast<unsigned char>(asciiLowered(s.front())) * 31 +
                static_cast<unsigned char>(asciiLowered(s.back()))) &
               4095;
    }
    std::bitset<4096> bits_;
};

/// `text` without leading and trailing spaces, tabs, carriage returns and newlines.
inline std::string trimmedWhitespace(std::string_view text) {
    auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    size_t b = 0, e = text.size();
    while (b < e && isSpace(text[b])) ++b;
    while (e > b && isSpace(text[e - 1])) --e;
    return std::string(text.substr(b, e - b));
}

}  // namespace velmora

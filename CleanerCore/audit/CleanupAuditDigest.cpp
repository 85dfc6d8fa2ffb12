#include "CleanerCore/audit/CleanupAuditDigest.h"

#include <openssl/evp.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>

namespace velmora {

namespace {

std::string upperCased(std::string_view text) {
    std::string out(text);
    for (auto& c : out) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return out;
}

// "%.6f" as printf writes it in the "C" locale, whatever locale the process runs in (a desktop
// application sets the user's locale, which may use a decimal comma).
std::string sixDecimals(double value) {
    std::array<char, 400> buffer{};  // the widest finite double takes 316 characters
    const auto [end, ec] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                         std::chars_format::fixed, 6);
    if (ec != std::errc()) return "nan";  // unreachable: the buffer fits every double
    return std::string(buffer.data(), end);
}

}  // namespace

std::string canonicalText(const CleanupAuditEntry& e,
                          const std::optional<std::string>& previousDigest) {
    std::string t;
    auto line = [&t](std::string_view text) {
        t += text;
        t += '\n';
    };
    line(upperCased(e.id));
    line(sixDecimals(e.occurredAt));
    line(rawValue(e.operation));
    line(rawValue(e.source));
    line(e.mode ? rawValue(*e.mode) : "-");
    line(std::to_string(e.requestedItemCount));
    line(std::to_string(e.requestedBytes));
    line(std::to_string(e.succeededItemCount));
    line(std::to_string(e.failedItemCount));
    line(std::to_string(e.affectedBytes));
    line(e.wasCancelled ? "1" : "0");
    line(std::to_string(e.cleanedItems.size()));
    for (size_t i = 0; i < e.cleanedItems.size(); ++i) {
        const CleanedItem& item = e.cleanedItems[i];
        if (i > 0) t += '\x1E';
        t += item.candidate.url.path;
        t += '\x1F';
        t += std::to_string(item.candidate.sizeBytes);
        t += '\x1F';
        t += item.destinationURL ? item.destinationURL->path : "-";
    }
    t += '\n';
    t += previousDigest ? *previousDigest : "-";
    return t;
}

std::string sha256Hex(std::string_view data) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> md{};
    unsigned int length = 0;
    if (EVP_Digest(data.data(), data.size(), md.data(), &length, EVP_sha256(), nullptr) != 1 ||
        length != 32) {
        std::fputs("velmora: SHA-256 is unavailable in libcrypto\n", stderr);
        std::abort();
    }
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(64);
    for (unsigned int i = 0; i < length; ++i) {
        out += kHex[md[i] >> 4];
        out += kHex[md[i] & 0xF];
    }
    return out;
}

std::string entryDigest(const CleanupAuditEntry& entry,
                        const std::optional<std::string>& previousDigest) {
    return sha256Hex(canonicalText(entry, previousDigest));
}

}  // namespace velmora

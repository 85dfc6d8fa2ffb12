#include "CleanerCore/export/ExportRedactor.h"

#include <cctype>

#include "CleanerCore/platform/RandomBytes.h"

namespace velmora {

namespace {

constexpr size_t kTokenDigits = 16;

std::string token(const InstallationKey& key, const ExportSalt& salt, std::string_view kind,
                  std::string_view input) {
    // "velmora-export-v2/<kind>", a NUL, the salt and then the input: the label keeps these
    // HMACs apart from every other use of the key (the snapshot tokens among them), the kind
    // separates paths from texts, the NUL keeps a kind from running into the salt, and the salt
    // has a fixed length, so no two (salt, input) pairs give the same message.
    std::string message = "velmora-export-v2/";
    message += kind;
    message += '\0';
    message.append(reinterpret_cast<const char*>(salt.data()), salt.size());
    message += input;
    return "<" + std::string(kind) + ":" +
           hexString(keyedHash(key, message)).substr(0, kTokenDigits) + ">";
}

bool isIdentifierWord(std::string_view word) {
    if (word.empty()) return false;
    for (char c : word) {
        if (!std::isalnum(static_cast<unsigned char>(c))) return false;
    }
    return true;
}

}  // namespace

bool isUUIDText(std::string_view text) {
    if (text.size() != 36) return false;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? text[i] != '-' : !std::isxdigit(static_cast<unsigned char>(text[i])))
            return false;
    }
    return true;
}

ExportRedactor ExportRedactor::forNewExport(const InstallationKey& key) {
    ExportSalt salt;
    fillRandomBytes(salt);
    return ExportRedactor(key, salt);
}

std::string ExportRedactor::path(std::string_view standardizedPath) const {
    return token(key_, salt_, "path", standardizedPath);
}

std::string ExportRedactor::text(std::string_view text) const {
    if (text.empty()) return {};
    return token(key_, salt_, "text", text);
}

std::string ExportRedactor::identifier(std::string_view id) const {
    if (isUUIDText(id)) return std::string(id);
    if (id.starts_with('/')) return path(id);
    const size_t colon = id.find(':');
    if (colon != std::string_view::npos && isIdentifierWord(id.substr(0, colon)) &&
        id.substr(colon + 1).starts_with('/')) {
        return std::string(id.substr(0, colon + 1)) + path(id.substr(colon + 1));
    }
    return text(id);
}

}  // namespace velmora

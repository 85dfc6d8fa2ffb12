#include "CleanerCore/insights/InsightSecurity.h"

#include <algorithm>
#include <array>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/base/Text.h"

namespace velmora {

namespace {

struct ExtensionRow {
    std::string_view extension, detail;
    int severity;
};

constexpr std::array<ExtensionRow, 8> kTable = {{
    {"pkg", "Installer package", 4},
    {"dmg", "Disk image", 2},
    {"mobileconfig", "Configuration profile", 5},
    {"command", "Executable command script", 3},
    {"sh", "Shell script", 3},
    {"app", "Application bundle", 4},
    {"workflow", "Automation workflow", 3},
    {"webloc", "Web shortcut", 1},
}};

// What a Linux user downloads and runs (the `linux` catalogue, besides the table above).
constexpr std::array<ExtensionRow, 10> kLinuxTable = {{
    {"deb", "Debian software package", 4},
    {"rpm", "RPM software package", 4},
    {"run", "Self-extracting installer", 4},
    {"appimage", "AppImage application", 3},
    {"snap", "Snap package", 3},
    {"flatpakref", "Flatpak install link", 3},
    {"iso", "Disk image", 2},
    {"img", "Disk image", 2},
    {"exe", "Windows program", 1},
    {"msi", "Windows installer package", 1},
}};

constexpr std::array<std::string_view, 25> kExcludedExtensions = {
    "txt",  "md",  "markdown", "rst", "pdf",  "rtf", "doc", "docx", "odt",
    "html", "htm", "nfo",      "log", "json", "xml", "csv", "jpg",  "jpeg",
    "png",  "gif", "webp",     "svg", "srt",  "sub", "vtt"};

const ExtensionRow* rowFor(std::string_view extension, Catalogue catalogue) {
    for (const auto& row : kTable) {
        if (row.extension == extension) return &row;
    }
    if (catalogue == Catalogue::linux) {
        for (const auto& row : kLinuxTable) {
            if (row.extension == extension) return &row;
        }
    }
    return nullptr;
}

bool isWordByte(unsigned char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c >= 0x80;
}

bool hasSuspiciousWord(const std::string& lowercased) {
    size_t i = 0;
    while (i < lowercased.size()) {
        while (i < lowercased.size() && !isWordByte(static_cast<unsigned char>(lowercased[i]))) ++i;
        const size_t start = i;
        while (i < lowercased.size() && isWordByte(static_cast<unsigned char>(lowercased[i]))) ++i;
        const std::string_view word(lowercased.data() + start, i - start);
        if (word == "crack" || word == "keygen" || word == "patcher") return true;
    }
    return false;
}

const CaseFoldedWordFilter& listedExtensions() {
    static const CaseFoldedWordFilter filter = [] {
        CaseFoldedWordFilter f;
        for (const auto& row : kTable) f.add(row.extension);
        for (const auto& row : kLinuxTable) f.add(row.extension);
        for (auto extension : kExcludedExtensions) f.add(extension);
        return f;
    }();
    return filter;
}

}  // namespace

std::optional<std::string> securityDetail(std::string_view fileName, Catalogue catalogue) {
    // Runs for every file of the user folders: a short name is lowered in the string's own
    // buffer, and the word test runs only when one of the words occurs at all.
    const std::string lowered = asciiLowercased(fileName);
    const std::string_view extension = pathExtension(lowered);
    // Most extensions are in neither table: one bit test sends them to the word test.
    if (listedExtensions().mayContain(extension)) {
        if (const auto* row = rowFor(extension, catalogue)) return std::string(row->detail);
        if (std::find(kExcludedExtensions.begin(), kExcludedExtensions.end(), extension) !=
            kExcludedExtensions.end()) {
            return std::nullopt;
        }
    }
    const bool mayHoldWord = lowered.find("crack") != std::string::npos ||
                             lowered.find("keygen") != std::string::npos ||
                             lowered.find("patcher") != std::string::npos;
    if (mayHoldWord && hasSuspiciousWord(lowered)) return std::string(kSuspiciousFilenamePattern);
    return std::nullopt;
}

int securitySeverity(std::string_view fileName, Catalogue catalogue) {
    if (const auto* row = rowFor(pathExtensionLowercased(fileName), catalogue))
        return row->severity;
    return 1;
}

}  // namespace velmora

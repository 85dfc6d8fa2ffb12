#include "CleanerCore/export/RedactedJson.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

namespace {

enum class Role { enumeration, url, path, identifier, itemName, itemParent, text };

using namespace std::string_view_literals;

constexpr std::array kEnumerationKeys = {
    "category"sv,
    "safety"sv,
    "depth"sv,
    "containerKind"sv,
    "runningState"sv,
    "identitySource"sv,
    "kind"sv,
    "memoryPressure"sv,
    "thermalState"sv,
    "recommendationState"sv,
    "state"sv,
    "policyVersion"sv,
    "reasons"sv,
    "operation"sv,
    "source"sv,
    "mode"sv,
    "status"sv,
    // Not an enumeration, but only numbers: "<device>:<inode>", kept as those numbers are.
    "fileResourceIdentifier"sv,
};
constexpr std::array kURLKeys = {
    "url"sv,        "rootURL"sv,     "destinationURL"sv, "restoreSourceRootURL"sv,
    "currentURL"sv, "scannedRoots"sv};
constexpr std::array kPathKeys = {"samplePaths"sv, "keeperPath"sv};
constexpr std::array kIdentifierKeys = {"id"sv, "keeperID"sv, "groupID"sv};

template <size_t N>
bool among(const std::array<std::string_view, N>& keys, std::string_view key) {
    for (auto k : keys) {
        if (k == key) return true;
    }
    return false;
}

Role roleOf(std::string_view key) {
    if (among(kEnumerationKeys, key)) return Role::enumeration;
    if (among(kURLKeys, key)) return Role::url;
    if (among(kPathKeys, key)) return Role::path;
    if (among(kIdentifierKeys, key)) return Role::identifier;
    if (key == "displayName") return Role::itemName;
    if (key == "parentPath") return Role::itemParent;
    return Role::text;
}

// "" (the id is the path) or "word:" (a category or kind, then the path).
bool isPathIDPrefix(std::string_view prefix) {
    if (prefix.empty()) return true;
    if (prefix.size() < 2 || prefix.back() != ':') return false;
    return std::all_of(prefix.begin(), prefix.end() - 1,
                       [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; });
}

std::optional<std::string> pathOfURL(const nlohmann::json& value) {
    try {
        return value.get<FileURL>().path;
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

std::string parentOf(std::string_view path) {
    const size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return std::string(path);
    return slash == 0 ? "/" : std::string(path.substr(0, slash));
}

void redactValue(nlohmann::json& value, Role role, const std::optional<std::string>& itemPath,
                 const ExportRedactor& redactor);

void redactObject(nlohmann::json& object, const ExportRedactor& redactor) {
    std::optional<std::string> itemPath;
    if (auto url = object.find("url"); url != object.end() && url->is_string())
        itemPath = pathOfURL(*url);
    for (auto& [key, member] : object.items()) redactValue(member, roleOf(key), itemPath, redactor);
}

void redactValue(nlohmann::json& value, Role role, const std::optional<std::string>& itemPath,
                 const ExportRedactor& redactor) {
    if (value.is_object()) {
        redactObject(value, redactor);
        return;
    }
    if (value.is_array()) {
        for (auto& element : value) redactValue(element, role, itemPath, redactor);
        return;
    }
    if (!value.is_string()) return;
    const std::string text = value.get<std::string>();
    switch (role) {
        case Role::enumeration:
            return;
        case Role::url:
            if (auto path = pathOfURL(value)) {
                value = redactor.path(*path);
                return;
            }
            break;
        case Role::path:
            value = redactor.path(text);
            return;
        case Role::identifier:
            // An id written from a path that is not valid UTF-8 holds U+FFFD where the URL keeps
            // the bytes: it is tokenized from the item's own path, so that it matches the URL.
            if (itemPath) {
                const std::string shown = validUTF8(*itemPath);
                const std::string prefix = text.substr(0, text.size() - shown.size());
                if (text.ends_with(shown) && isPathIDPrefix(prefix)) {
                    value = prefix + redactor.path(*itemPath);
                    return;
                }
            }
            value = redactor.identifier(text);
            return;
        case Role::itemName:
            if (itemPath) {
                value = redactor.path(*itemPath);
                return;
            }
            break;
        case Role::itemParent:
            if (itemPath) {
                value = redactor.path(parentOf(*itemPath));
                return;
            }
            break;
        case Role::text:
            break;
    }
    value = redactor.text(text);
}

}  // namespace

void redactJSON(nlohmann::json& value, const ExportRedactor& redactor) {
    redactValue(value, Role::text, std::nullopt, redactor);
}

}  // namespace velmora

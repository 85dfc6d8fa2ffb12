#include "CleanerCore/scanning/ModelJson.h"

#include "CleanerCore/base/Text.h"

#include <fmt/format.h>

#include <limits>
#include <vector>

namespace velmora {

using nlohmann::json;

double decodeDate(const json& j) {
    if (!j.is_number()) throw json::type_error::create(302, "a date must be a number", &j);
    return j.get<double>();
}

namespace {

template <typename T>
void putOptional(json& j, const char* key, const std::optional<T>& v) {
    if (v) j[key] = *v;
}
template <typename T>
void getOptional(const json& j, const char* key, std::optional<T>& v) {
    auto it = j.find(key);
    if (it == j.end() || it->is_null()) {
        v.reset();
    } else {
        v = it->template get<T>();
    }
}
template <typename T>
void putOptional(json& j, const char* key, const SharedValue<T>& v) {
    if (v) j[key] = *v;
}
template <typename T>
void getOptional(const json& j, const char* key, SharedValue<T>& v) {
    std::optional<T> plain;
    getOptional(j, key, plain);
    v = std::move(plain);
}
void putOptionalText(json& j, const char* key, const std::optional<std::string>& v) {
    if (v) j[key] = validUTF8(*v);
}
void putOptionalText(json& j, const char* key, const SharedValue<std::string>& v) {
    if (v) j[key] = validUTF8(*v);
}

template <typename E, typename F>
E enumValue(const json& j, const char* key, F fromRaw) {
    return decodeEnum<E>(j.at(key), fromRaw, key);
}

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

// A text written lossily (validUTF8) comes back with U+FFFD where bytes were invalid.
bool mayBeLossy(const std::string& text) {
    return text.find(kReplacementCharacter) != std::string::npos;
}

// When one of `originals` renders to exactly `text`, the original is what was written.
void restoreLossyText(std::string& text, const std::vector<std::string>& originals) {
    for (const auto& original : originals) {
        if (original != text && validUTF8(original) == text) {
            text = original;
            return;
        }
    }
}

// The folders `path` lies in, itself included: a volume name may be a mount point.
std::vector<std::string> selfAndAncestors(const std::string& path) {
    std::vector<std::string> out{path};
    for (std::string p = path; p != "/";) {
        p = deletingLastPathComponent(p);
        out.push_back(p);
    }
    return out;
}

// The components of `path`, each also trimmed of surrounding white space (container names are
// taken trimmed from the folder entry).
std::vector<std::string> componentsAndTrimmed(const std::string& path) {
    std::vector<std::string> out;
    size_t i = 1;
    while (i < path.size()) {
        size_t end = path.find('/', i);
        if (end == std::string::npos) end = path.size();
        std::string component = path.substr(i, end - i);
        out.push_back(trimmedWhitespace(component));
        out.push_back(std::move(component));
        i = end + 1;
    }
    return out;
}

std::vector<std::string> suffixesOf(const std::string& text) {
    std::vector<std::string> out;
    for (size_t i = 0; i < text.size(); ++i) out.push_back(text.substr(i));
    return out;
}

}  // namespace

void to_json(json& j, const FileURL& u) {
    j = u.absoluteString();
}
void from_json(const json& j, FileURL& u) {
    const auto& text = j.get_ref<const std::string&>();
    auto parsed = FileURL::fromAbsoluteString(text);
    if (!parsed) {
        throw json::other_error::create(
            501, fmt::format("\"{}\" is not an absolute file URL", validUTF8(text)), &j);
    }
    u = std::move(*parsed);
}

void to_json(json& j, const AppCacheContext& c) {
    j = json::object();
    j["containerKind"] = rawValue(c.containerKind);
    j["containerIdentifier"] = validUTF8(c.containerIdentifier);
    putOptionalText(j, "possibleBundleIdentifier", c.possibleBundleIdentifier);
    putOptionalText(j, "matchedRunningBundleIdentifier", c.matchedRunningBundleIdentifier);
    putOptionalText(j, "matchedRunningDisplayName", c.matchedRunningDisplayName);
    j["runningState"] = rawValue(c.runningState);
    j["identitySource"] = rawValue(c.identitySource);
}
void from_json(const json& j, AppCacheContext& c) {
    c.containerKind = enumValue<AppCacheContainerKind>(j, "containerKind", containerKindFromRaw);
    c.containerIdentifier = j.at("containerIdentifier").get<std::string>();
    getOptional(j, "possibleBundleIdentifier", c.possibleBundleIdentifier);
    getOptional(j, "matchedRunningBundleIdentifier", c.matchedRunningBundleIdentifier);
    getOptional(j, "matchedRunningDisplayName", c.matchedRunningDisplayName);
    c.runningState = enumValue<AppCacheRunningState>(j, "runningState", runningStateFromRaw);
    c.identitySource =
        enumValue<AppCacheIdentitySource>(j, "identitySource", identitySourceFromRaw);
}

void to_json(json& j, const ScanLocation& l) {
    j = json::object();
    j["rootURL"] = l.rootURL;
    j["category"] = rawValue(l.category);
    j["displayName"] = validUTF8(l.displayName);
    j["depth"] = rawValue(l.depth);
    j["isSelectedByDefault"] = l.isSelectedByDefault;
    j["safety"] = rawValue(l.safety);
    j["minimumModificationAge"] = l.minimumModificationAge;
    j["includesHiddenFiles"] = l.includesHiddenFiles;
    j["includesPackageDescendants"] = l.includesPackageDescendants;
    putOptional(j, "appCacheContext", l.appCacheContext);
}
void from_json(const json& j, ScanLocation& l) {
    l.rootURL = j.at("rootURL").get<FileURL>();
    l.category = enumValue<CleanupCategory>(j, "category", categoryFromRaw);
    l.displayName = j.at("displayName").get<std::string>();
    l.depth = enumValue<ScanDepth>(j, "depth", scanDepthFromRaw);
    l.isSelectedByDefault = j.at("isSelectedByDefault").get<bool>();
    l.safety = enumValue<CleanupSafety>(j, "safety", safetyFromRaw);
    l.minimumModificationAge = j.at("minimumModificationAge").get<double>();
    l.includesHiddenFiles = j.at("includesHiddenFiles").get<bool>();
    l.includesPackageDescendants = j.at("includesPackageDescendants").get<bool>();
    getOptional(j, "appCacheContext", l.appCacheContext);
}

void to_json(json& j, const FileResourceIdentity& r) {
    j = json::object();
    putOptionalText(j, "fileResourceIdentifier", r.fileResourceIdentifier);
    putOptionalText(j, "volumeIdentifier", r.volumeIdentifier);
    putOptionalText(j, "volumeName", r.volumeName);
    putOptional(j, "isDirectory", r.isDirectory);
    putOptional(j, "fileSize", r.fileSize);
    putOptional(j, "totalFileAllocatedSize", r.totalFileAllocatedSize);
    putOptional(j, "systemFileNumber", r.systemFileNumber);
    putOptional(j, "systemNumber", r.systemNumber);
    putOptional(j, "creationDate", r.creationDate);
    putOptional(j, "modificationDate", r.modificationDate);
}
void from_json(const json& j, FileResourceIdentity& r) {
    if (!j.is_object()) throw json::type_error::create(302, "an identity must be an object", &j);
    getOptional(j, "fileResourceIdentifier", r.fileResourceIdentifier);
    getOptional(j, "volumeIdentifier", r.volumeIdentifier);
    getOptional(j, "volumeName", r.volumeName);
    getOptional(j, "isDirectory", r.isDirectory);
    getOptional(j, "fileSize", r.fileSize);
    getOptional(j, "totalFileAllocatedSize", r.totalFileAllocatedSize);
    getOptional(j, "systemFileNumber", r.systemFileNumber);
    getOptional(j, "systemNumber", r.systemNumber);
    if (j.contains("creationDate")) r.creationDate = decodeDate(j.at("creationDate"));
    if (j.contains("modificationDate")) r.modificationDate = decodeDate(j.at("modificationDate"));
}

void to_json(json& j, const CleanupCandidate& c) {
    j = json::object();
    j["id"] = validUTF8(c.id());
    j["url"] = c.url;
    j["displayName"] = validUTF8(c.displayName);
    j["category"] = rawValue(c.category);
    j["sizeBytes"] = c.sizeBytes;
    if (c.lastModified) j["lastModified"] = *c.lastModified;
    putOptional(j, "resourceIdentity", c.resourceIdentity);
    j["isSelectedByDefault"] = c.isSelectedByDefault;
    j["safety"] = rawValue(c.safety);
    j["requiresManualReviewBySource"] = c.requiresManualReviewBySource;
    putOptional(j, "appCacheContext", c.appCacheContext);
}
void from_json(const json& j, CleanupCandidate& c) {
    c.url = j.at("url").get<FileURL>();
    c.category = enumValue<CleanupCategory>(j, "category", categoryFromRaw);
    // The id is derived from category and path, so it must be theirs (for a path that is not
    // UTF-8, as written: with U+FFFD in place of the bytes that are not text).
    const json& idValue = j.at("id");
    const std::string& id = idValue.get_ref<const std::string&>();
    if (const std::string exactID = c.id(); id != exactID && id != validUTF8(exactID)) {
        throw json::other_error::create(
            501, "a candidate's \"id\" must be its category, a colon and its path", &idValue);
    }
    c.displayName = j.at("displayName").get<std::string>();
    // Texts written lossily from a non-UTF-8 path are restored from the lossless URL.
    std::string exactName = c.url.lastComponent();
    if (exactName != c.displayName && validUTF8(exactName) == c.displayName) {
        c.displayName = std::move(exactName);
    }
    // A byte count is a whole number within 64 bits; a fraction or a huge number would be
    // converted silently (and a huge floating-point value undefinedly) into some other size.
    const json& size = j.at("sizeBytes");
    if (!size.is_number_integer() ||
        (size.is_number_unsigned() &&
         size.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))) {
        throw json::type_error::create(302, "a size must be a whole number of bytes", &size);
    }
    c.sizeBytes = size.get<int64_t>();
    c.lastModified.reset();
    if (j.contains("lastModified")) c.lastModified = decodeDate(j.at("lastModified"));
    getOptional(j, "resourceIdentity", c.resourceIdentity);
    c.isSelectedByDefault = j.at("isSelectedByDefault").get<bool>();
    c.safety = enumValue<CleanupSafety>(j, "safety", safetyFromRaw);
    c.requiresManualReviewBySource = j.at("requiresManualReviewBySource").get<bool>();
    getOptional(j, "appCacheContext", c.appCacheContext);
    // Path-derived texts of the identity and the container context, likewise.
    if (c.resourceIdentity && c.resourceIdentity->volumeName &&
        mayBeLossy(*c.resourceIdentity->volumeName)) {
        std::string name = *c.resourceIdentity->volumeName;
        restoreLossyText(name, selfAndAncestors(c.url.path));
        c.resourceIdentity->volumeName = std::move(name);
    }
    if (c.appCacheContext) {
        AppCacheContext context = *c.appCacheContext;
        if (mayBeLossy(context.containerIdentifier)) {
            restoreLossyText(context.containerIdentifier, componentsAndTrimmed(c.url.path));
        }
        if (context.possibleBundleIdentifier && mayBeLossy(*context.possibleBundleIdentifier)) {
            restoreLossyText(*context.possibleBundleIdentifier,
                             suffixesOf(context.containerIdentifier));
        }
        if (!(context == *c.appCacheContext)) c.appCacheContext = std::move(context);
    }
}

void to_json(json& j, const SkippedItem& s) {
    j = json::object();
    j["url"] = s.url;
    j["reason"] = validUTF8(s.reason);
}
void from_json(const json& j, SkippedItem& s) {
    s.url = j.at("url").get<FileURL>();
    s.reason = j.at("reason").get<std::string>();
    // A refused root is skipped with the refusal text, which ends in the (lossless) path.
    const std::string rendered = validUTF8(s.url.path);
    if (rendered != s.url.path && s.reason.ends_with(rendered)) {
        s.reason.replace(s.reason.size() - rendered.size(), rendered.size(), s.url.path);
    }
}

void to_json(json& j, const ScanReport& r) {
    j = json::object();
    j["scannedAt"] = r.scannedAt;
    j["candidates"] = r.candidates;
    j["skippedItems"] = r.skippedItems;
    j["scannedRoots"] = r.scannedRoots;
    j["hasCompletedScan"] = r.hasCompletedScan;
}
void from_json(const json& j, ScanReport& r) {
    r.scannedAt = decodeDate(j.at("scannedAt"));
    r.candidates = j.at("candidates").get<std::vector<CleanupCandidate>>();
    r.skippedItems = j.at("skippedItems").get<std::vector<SkippedItem>>();
    r.scannedRoots = j.at("scannedRoots").get<std::vector<FileURL>>();
    r.hasCompletedScan = j.at("hasCompletedScan").get<bool>();
}

void to_json(json& j, const StorageScanProgress& p) {
    j = json::object();
    putOptional(j, "currentURL", p.currentURL);
    j["completedLocations"] = p.completedLocations;
    j["totalLocations"] = p.totalLocations;
    j["completedItems"] = p.completedItems;
    j["completedItemsInCurrentLocation"] = p.completedItemsInCurrentLocation;
    putOptional(j, "totalItemsInCurrentLocation", p.totalItemsInCurrentLocation);
    j["foundCandidates"] = p.foundCandidates;
    j["skippedItems"] = p.skippedItems;
    j["fractionCompleted"] = p.fractionCompleted;
}
void from_json(const json& j, StorageScanProgress& p) {
    std::optional<FileURL> url;
    getOptional(j, "currentURL", url);
    std::optional<int64_t> total;
    getOptional(j, "totalItemsInCurrentLocation", total);
    p = StorageScanProgress::make(
        std::move(url), j.at("completedLocations").get<int64_t>(),
        j.at("totalLocations").get<int64_t>(), j.at("completedItems").get<int64_t>(),
        j.at("completedItemsInCurrentLocation").get<int64_t>(), total,
        j.at("foundCandidates").get<int64_t>(), j.at("skippedItems").get<int64_t>(),
        j.at("fractionCompleted").get<double>());
}

std::string dumpJSON(const json& value, bool pretty) {
    return value.dump(pretty ? 2 : -1, ' ', false, json::error_handler_t::replace);
}
std::string dumpJSON(const nlohmann::ordered_json& value, bool pretty) {
    return value.dump(pretty ? 2 : -1, ' ', false,
                      nlohmann::ordered_json::error_handler_t::replace);
}

Result<ScanReport> decodeScanReport(std::string_view text) {
    try {
        auto j = json::parse(text.begin(), text.end());
        return j.get<ScanReport>();
    } catch (const json::exception& e) {
        return fail(fmt::format("The scan report could not be read: {}", e.what()));
    }
}

}  // namespace velmora

#include "CleanerCore/insights/InsightJson.h"

#include <fmt/format.h>

#include "CleanerCore/scanning/ModelJson.h"

namespace velmora {

using nlohmann::json;
using nlohmann::ordered_json;

namespace {

// When `exact` renders to `text` (lossy UTF-8), `exact` is what was written.
void restoreFrom(std::string& text, const std::string& exact) {
    if (exact != text && validUTF8(exact) == text) text = exact;
}

// A display path is the folder's path, or "~" followed by one of its "/"-led tails.
void restoreDisplayPath(std::string& text, const std::string& folder) {
    if (text.find("\xEF\xBF\xBD") == std::string::npos) return;
    restoreFrom(text, folder);
    for (size_t i = 0; i < folder.size() && text.starts_with('~'); ++i) {
        if (folder[i] != '/') continue;
        const std::string candidate = "~" + folder.substr(i);
        if (candidate != text && validUTF8(candidate) == text) {
            text = candidate;
            return;
        }
    }
}

// A value coded by the scan model's coders, as a document of type J (the ordered writer's
// nested scan-model records keep their own, sorted, key order).
template <typename J, typename T>
J scanModelValue(const T& value) {
    return J(json(value));
}

template <typename J>
void encode(J& j, const StorageMapItem& s) {
    j = J::object();
    j["id"] = validUTF8(s.id);
    j["url"] = scanModelValue<J>(s.url);
    j["displayName"] = validUTF8(s.displayName);
    j["sizeBytes"] = s.sizeBytes;
    j["itemCount"] = s.itemCount;
    j["isTruncated"] = s.isTruncated;
}

template <typename J>
void encode(J& j, const FileInsight& f) {
    j = J::object();
    j["id"] = validUTF8(f.id);
    j["url"] = scanModelValue<J>(f.url);
    j["displayName"] = validUTF8(f.displayName);
    j["parentPath"] = validUTF8(f.parentPath);
    j["sizeBytes"] = f.sizeBytes;
    if (f.lastModified) j["lastModified"] = *f.lastModified;
    if (f.resourceIdentity) j["resourceIdentity"] = scanModelValue<J>(*f.resourceIdentity);
    if (f.linkCount) j["linkCount"] = *f.linkCount;
    j["kind"] = rawValue(f.kind);
    j["detail"] = validUTF8(f.detail);
    j["safety"] = rawValue(f.safety);
}

template <typename J>
void encode(J& j, const DuplicateFileGroup& g) {
    j = J::object();
    j["id"] = validUTF8(g.id);
    j["sizeBytes"] = g.sizeBytes;
    J files = J::array();
    for (const auto& f : g.files) {
        J file;
        encode(file, f);
        files.push_back(std::move(file));
    }
    j["files"] = std::move(files);
}

template <typename J>
void encode(J& j, const DuplicateKeeperRecommendation& r) {
    j = J::object();
    j["groupID"] = validUTF8(r.groupID);
    j["keeperID"] = validUTF8(r.keeperID);
    j["keeperPath"] = validUTF8(r.keeperPath);
    j["duplicateCount"] = r.duplicateCount;
    J reasons = J::array();
    for (auto reason : r.reasons) reasons.push_back(rawValue(reason));
    j["reasons"] = std::move(reasons);
}

}  // namespace

void to_json(json& j, const StorageMapItem& s) {
    encode(j, s);
}
void to_json(ordered_json& j, const StorageMapItem& s) {
    encode(j, s);
}
void from_json(const json& j, StorageMapItem& s) {
    s.id = j.at("id").get<std::string>();
    s.url = j.at("url").get<FileURL>();
    s.displayName = j.at("displayName").get<std::string>();
    restoreFrom(s.id, s.url.path);
    restoreDisplayPath(s.displayName, s.url.path);
    s.sizeBytes = j.at("sizeBytes").get<int64_t>();
    s.itemCount = j.at("itemCount").get<int64_t>();
    s.isTruncated = j.at("isTruncated").get<bool>();
}

void to_json(json& j, const FileInsight& f) {
    encode(j, f);
}
void to_json(ordered_json& j, const FileInsight& f) {
    encode(j, f);
}
void from_json(const json& j, FileInsight& f) {
    f.url = j.at("url").get<FileURL>();
    f.kind = decodeEnum<FileInsightKind>(j.at("kind"), fileInsightKindFromRaw, "kind");
    f.id = j.at("id").get<std::string>();
    f.displayName = j.at("displayName").get<std::string>();
    f.parentPath = j.at("parentPath").get<std::string>();
    restoreFrom(f.id, fileInsightID(f.kind, f.url.path));
    restoreFrom(f.displayName, f.url.lastComponent());
    restoreDisplayPath(f.parentPath, deletingLastPathComponent(f.url.path));
    f.sizeBytes = j.at("sizeBytes").get<int64_t>();
    f.lastModified.reset();
    if (j.contains("lastModified")) f.lastModified = decodeDate(j.at("lastModified"));
    f.resourceIdentity.reset();
    if (j.contains("resourceIdentity")) {
        f.resourceIdentity = j.at("resourceIdentity").get<FileResourceIdentity>();
    }
    f.linkCount.reset();
    if (j.contains("linkCount")) f.linkCount = j.at("linkCount").get<int64_t>();
    f.detail = j.at("detail").get<std::string>();
    f.safety = decodeEnum<CleanupSafety>(j.at("safety"), safetyFromRaw, "safety");
}

void to_json(json& j, const DuplicateFileGroup& g) {
    encode(j, g);
}
void to_json(ordered_json& j, const DuplicateFileGroup& g) {
    encode(j, g);
}
void from_json(const json& j, DuplicateFileGroup& g) {
    g.id = j.at("id").get<std::string>();
    g.sizeBytes = j.at("sizeBytes").get<int64_t>();
    g.files = j.at("files").get<std::vector<FileInsight>>();
}

void to_json(json& j, const DuplicateKeeperRecommendation& r) {
    encode(j, r);
}
void to_json(ordered_json& j, const DuplicateKeeperRecommendation& r) {
    encode(j, r);
}
void from_json(const json& j, DuplicateKeeperRecommendation& r) {
    r.groupID = j.at("groupID").get<std::string>();
    r.keeperID = j.at("keeperID").get<std::string>();
    r.keeperPath = j.at("keeperPath").get<std::string>();
    r.duplicateCount = j.at("duplicateCount").get<int64_t>();
    r.reasons.clear();
    for (const auto& reason : j.at("reasons")) {
        r.reasons.push_back(decodeEnum<DuplicateKeeperRecommendationReason>(
            reason, keeperReasonFromRaw, "reasons"));
    }
}

}  // namespace velmora

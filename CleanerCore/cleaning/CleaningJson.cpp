#include "CleanerCore/cleaning/CleaningJson.h"

#include <fmt/format.h>

namespace velmora {

using nlohmann::json;

namespace {

// A reason ends in the path it concerns; a path that is not UTF-8 was written with U+FFFD and
// comes back exactly from the (lossless) URL of the item.
void restoreLossyReason(std::string& reason, const std::string& path) {
    const std::string rendered = validUTF8(path);
    if (rendered != path && reason.ends_with(rendered)) {
        reason.replace(reason.size() - rendered.size(), rendered.size(), path);
    }
}

// The volume name of an identity may be a mount point above the item.
void restoreLossyVolumeName(std::optional<FileResourceIdentity>& identity,
                            const std::string& path) {
    if (!identity || !identity->volumeName) return;
    const std::string& name = *identity->volumeName;
    for (std::string p = path;; p = deletingLastPathComponent(p)) {
        if (p != name && validUTF8(p) == name) {
            identity->volumeName = std::move(p);
            return;
        }
        if (p == "/") return;
    }
}

}  // namespace

void to_json(json& j, const CleaningMode& m) {
    j = rawValue(m);
}
void from_json(const json& j, CleaningMode& m) {
    auto v = cleaningModeFromRaw(j.get_ref<const std::string&>());
    if (!v) {
        throw json::other_error::create(
            501, fmt::format("unknown cleaning mode \"{}\"", validUTF8(j.get<std::string>())), &j);
    }
    m = *v;
}

void to_json(json& j, const CleanedItem& c) {
    j = json::object();
    j["candidate"] = c.candidate;
    if (c.destinationURL) j["destinationURL"] = *c.destinationURL;
    if (c.restoreSourceRootURL) j["restoreSourceRootURL"] = *c.restoreSourceRootURL;
    if (c.restoreSourceIdentity) j["restoreSourceIdentity"] = *c.restoreSourceIdentity;
}
void from_json(const json& j, CleanedItem& c) {
    c.candidate = j.at("candidate").get<CleanupCandidate>();
    c.destinationURL.reset();
    c.restoreSourceRootURL.reset();
    c.restoreSourceIdentity.reset();
    if (j.contains("destinationURL")) c.destinationURL = j.at("destinationURL").get<FileURL>();
    if (j.contains("restoreSourceRootURL")) {
        c.restoreSourceRootURL = j.at("restoreSourceRootURL").get<FileURL>();
    }
    if (j.contains("restoreSourceIdentity")) {
        c.restoreSourceIdentity = j.at("restoreSourceIdentity").get<FileResourceIdentity>();
        if (c.destinationURL)
            restoreLossyVolumeName(c.restoreSourceIdentity, c.destinationURL->path);
    }
}

void to_json(json& j, const FailedCleanItem& f) {
    j = json{{"candidate", f.candidate}, {"reason", validUTF8(f.reason)}};
}
void from_json(const json& j, FailedCleanItem& f) {
    f.candidate = j.at("candidate").get<CleanupCandidate>();
    f.reason = j.at("reason").get<std::string>();
    restoreLossyReason(f.reason, f.candidate.url.path);
}

void to_json(json& j, const CleanResult& r) {
    j = json{{"cleanedItems", r.cleanedItems},
             {"failedItems", r.failedItems},
             {"wasCancelled", r.wasCancelled}};
}
void from_json(const json& j, CleanResult& r) {
    r.cleanedItems = j.at("cleanedItems").get<std::vector<CleanedItem>>();
    r.failedItems = j.at("failedItems").get<std::vector<FailedCleanItem>>();
    r.wasCancelled = j.at("wasCancelled").get<bool>();
}

void to_json(json& j, const RestoredCleanedItem& r) {
    j = json{{"cleanedItem", r.cleanedItem}, {"restoredURL", r.restoredURL}};
}
void from_json(const json& j, RestoredCleanedItem& r) {
    r.cleanedItem = j.at("cleanedItem").get<CleanedItem>();
    r.restoredURL = j.at("restoredURL").get<FileURL>();
}

void to_json(json& j, const FailedRestoreItem& f) {
    j = json{{"cleanedItem", f.cleanedItem}, {"reason", validUTF8(f.reason)}};
}
void from_json(const json& j, FailedRestoreItem& f) {
    f.cleanedItem = j.at("cleanedItem").get<CleanedItem>();
    f.reason = j.at("reason").get<std::string>();
    restoreLossyReason(f.reason, f.cleanedItem.candidate.url.path);
    if (f.cleanedItem.destinationURL)
        restoreLossyReason(f.reason, f.cleanedItem.destinationURL->path);
}

void to_json(json& j, const RestoreResult& r) {
    j = json{{"restoredItems", r.restoredItems},
             {"failedItems", r.failedItems},
             {"wasCancelled", r.wasCancelled}};
}
void from_json(const json& j, RestoreResult& r) {
    r.restoredItems = j.at("restoredItems").get<std::vector<RestoredCleanedItem>>();
    r.failedItems = j.at("failedItems").get<std::vector<FailedRestoreItem>>();
    r.wasCancelled = j.at("wasCancelled").get<bool>();
}

}  // namespace velmora

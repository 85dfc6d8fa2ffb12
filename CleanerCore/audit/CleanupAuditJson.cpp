#include "CleanerCore/audit/CleanupAuditJson.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "CleanerCore/cleaning/CleaningJson.h"
#include "CleanerCore/platform/UUID.h"

namespace velmora {

using nlohmann::json;

namespace {

template <typename E, typename F>
E enumFrom(const json& j, std::string_view what, F fromRaw) {
    const auto& text = j.get_ref<const std::string&>();
    auto v = fromRaw(text);
    if (!v) {
        throw json::other_error::create(
            501, fmt::format("unknown {} \"{}\"", what, validUTF8(text)), &j);
    }
    return *v;
}

// A count or byte total: a JSON integer that fits in 64 signed bits (no fractions).
int64_t integerAt(const json& j, const char* key) {
    const json& v = j.at(key);
    if (!v.is_number_integer() ||
        (v.is_number_unsigned() &&
         v.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))) {
        throw json::type_error::create(302, fmt::format("\"{}\" must be an integer", key), &v);
    }
    return v.get<int64_t>();
}

std::vector<std::string> textsAt(const json& j, const char* key) {
    return j.at(key).get<std::vector<std::string>>();
}

// The paths carried losslessly by the entry's URLs.
std::vector<const std::string*> exactPaths(const CleanupAuditEntry& e) {
    std::vector<const std::string*> out;
    for (const auto& item : e.cleanedItems) {
        out.push_back(&item.candidate.url.path);
        if (item.destinationURL) out.push_back(&item.destinationURL->path);
    }
    return out;
}

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

void restoreLossyTexts(CleanupAuditEntry& e) {
    auto lossy = [](const std::string& t) { return t.find(kReplacementCharacter) != t.npos; };
    bool any = false;
    for (const auto& t : e.samplePaths) any = any || lossy(t);
    for (const auto& t : e.failureReasons) any = any || lossy(t);
    if (!any) return;
    std::vector<std::pair<std::string, const std::string*>> rendered;  // (rendering, exact)
    for (const std::string* p : exactPaths(e)) {
        std::string r = validUTF8(*p);
        if (r != *p) rendered.emplace_back(std::move(r), p);
    }
    for (auto& sample : e.samplePaths) {
        if (!lossy(sample)) continue;
        for (const auto& [r, exact] : rendered) {
            if (r == sample) {
                sample = *exact;
                break;
            }
        }
    }
    // A failure reason ends in the path it concerns.
    for (auto& reason : e.failureReasons) {
        if (!lossy(reason)) continue;
        for (const auto& [r, exact] : rendered) {
            if (reason.ends_with(r)) {
                reason.replace(reason.size() - r.size(), r.size(), *exact);
                break;
            }
        }
    }
}

bool allNumbersFinite(const json& j) {
    switch (j.type()) {
        case json::value_t::number_float:
            return std::isfinite(j.get<double>());
        case json::value_t::array:
        case json::value_t::object:
            for (const auto& v : j) {
                if (!allNumbersFinite(v)) return false;
            }
            return true;
        default:
            return true;
    }
}

}  // namespace

void to_json(json& j, const CleanupAuditOperation& o) {
    j = rawValue(o);
}
void from_json(const json& j, CleanupAuditOperation& o) {
    o = enumFrom<CleanupAuditOperation>(j, "operation", auditOperationFromRaw);
}
void to_json(json& j, const CleanupAuditSource& s) {
    j = rawValue(s);
}
void from_json(const json& j, CleanupAuditSource& s) {
    s = enumFrom<CleanupAuditSource>(j, "source", auditSourceFromRaw);
}

void to_json(json& j, const CleanupAuditChainLink& l) {
    j = json::object();
    j["entryDigest"] = validUTF8(l.entryDigest);
    if (l.previousEntryDigest) j["previousEntryDigest"] = validUTF8(*l.previousEntryDigest);
}
void from_json(const json& j, CleanupAuditChainLink& l) {
    if (!j.is_object()) throw json::type_error::create(302, "a chain link must be an object", &j);
    l.entryDigest = j.at("entryDigest").get<std::string>();
    l.previousEntryDigest.reset();
    if (auto it = j.find("previousEntryDigest"); it != j.end() && !it->is_null()) {
        l.previousEntryDigest = it->get<std::string>();
    }
}

void to_json(json& j, const CleanupAuditEntry& e) {
    j = json::object();
    auto id = canonicalUUIDText(e.id);
    j["id"] = id ? *id : validUTF8(e.id);
    j["occurredAt"] = e.occurredAt;
    j["operation"] = e.operation;
    j["source"] = e.source;
    if (e.mode) j["mode"] = *e.mode;
    j["requestedItemCount"] = e.requestedItemCount;
    j["requestedBytes"] = e.requestedBytes;
    j["succeededItemCount"] = e.succeededItemCount;
    j["failedItemCount"] = e.failedItemCount;
    j["affectedBytes"] = e.affectedBytes;
    j["wasCancelled"] = e.wasCancelled;
    json& samples = j["samplePaths"] = json::array();
    for (const auto& p : e.samplePaths) samples.push_back(validUTF8(p));
    json& reasons = j["failureReasons"] = json::array();
    for (const auto& r : e.failureReasons) reasons.push_back(validUTF8(r));
    j["cleanedItems"] = e.cleanedItems;
    if (e.chainLink) j["chainLink"] = *e.chainLink;
}

void from_json(const json& j, CleanupAuditEntry& e) {
    if (!j.is_object()) throw json::type_error::create(302, "an entry must be an object", &j);
    const json& idValue = j.at("id");
    auto id = canonicalUUIDText(idValue.get_ref<const std::string&>());
    if (!id) throw json::other_error::create(501, "\"id\" must be a UUID", &idValue);
    e.id = std::move(*id);
    const json& occurredAt = j.at("occurredAt");
    if (!occurredAt.is_number()) {
        throw json::type_error::create(302, "\"occurredAt\" must be a number", &occurredAt);
    }
    e.occurredAt = occurredAt.get<double>();
    e.operation = j.at("operation").get<CleanupAuditOperation>();
    e.source = j.at("source").get<CleanupAuditSource>();
    e.mode.reset();
    if (auto it = j.find("mode"); it != j.end() && !it->is_null()) {
        e.mode = it->get<CleaningMode>();
    }
    e.requestedItemCount = integerAt(j, "requestedItemCount");
    e.requestedBytes = integerAt(j, "requestedBytes");
    e.succeededItemCount = integerAt(j, "succeededItemCount");
    e.failedItemCount = integerAt(j, "failedItemCount");
    e.affectedBytes = integerAt(j, "affectedBytes");
    e.wasCancelled = j.at("wasCancelled").get<bool>();
    e.samplePaths = textsAt(j, "samplePaths");
    e.failureReasons = textsAt(j, "failureReasons");
    e.cleanedItems = j.at("cleanedItems").get<std::vector<CleanedItem>>();
    e.chainLink.reset();
    if (auto it = j.find("chainLink"); it != j.end() && !it->is_null()) {
        e.chainLink = it->get<CleanupAuditChainLink>();
    }
    restoreLossyTexts(e);
}

std::optional<std::string> encodeCleanupAuditHistoryElement(const CleanupAuditEntry& e) {
    if (!canonicalUUIDText(e.id)) return std::nullopt;
    json array = json::array();
    array.push_back(e);
    if (!allNumbersFinite(array)) return std::nullopt;
    std::string text = dumpJSON(array, true);  // "[\n" + element + "\n]"
    return text.substr(2, text.size() - 4);
}

size_t cleanedItemHistoryTextSize(const CleanedItem& item) {
    return dumpJSON(json(item), true).size() + 1;  // and its separator
}

bool cleanedItemsExceed(const std::vector<CleanedItem>& items, size_t bytes) {
    size_t total = 2;  // "[]"
    for (const auto& item : items) {
        total += cleanedItemHistoryTextSize(item);
        if (total > bytes) return true;
    }
    return false;
}

size_t joinedCleanupAuditHistorySize(const std::vector<std::string>& elements) {
    if (elements.empty()) return 2;
    size_t size = 4 + 2 * (elements.size() - 1);
    for (const auto& e : elements) size += e.size();
    return size;
}

std::string joinCleanupAuditHistoryElements(const std::vector<std::string>& elements) {
    if (elements.empty()) return "[]";
    std::string out;
    out.reserve(joinedCleanupAuditHistorySize(elements));
    out += "[\n";
    for (size_t i = 0; i < elements.size(); ++i) {
        if (i > 0) out += ",\n";
        out += elements[i];
    }
    out += "\n]";
    return out;
}

std::optional<std::string> encodeCleanupAuditHistory(
    const std::vector<CleanupAuditEntry>& entries) {
    std::vector<std::string> elements;
    elements.reserve(entries.size());
    for (const auto& e : entries) {
        auto element = encodeCleanupAuditHistoryElement(e);
        if (!element) return std::nullopt;
        elements.push_back(std::move(*element));
    }
    return joinCleanupAuditHistoryElements(elements);
}

}  // namespace velmora

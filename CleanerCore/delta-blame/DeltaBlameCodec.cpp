#include "CleanerCore/delta-blame/DeltaBlameCodec.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <stdexcept>

#include "CleanerCore/platform/UUID.h"

namespace velmora {

namespace {

using json = nlohmann::json;

// ---- encoding ----

// Dates within about 3,000 years of 1970 survive the conversion to milliseconds and back
// exactly; the codec neither writes nor reads any other.
constexpr double kMaximumMilliseconds = 1e14;

json dateJson(Date date) {
    const double ms = (date + kReferenceDateUnixOffset) * 1000.0;
    if (!std::isfinite(ms) || std::fabs(ms) > kMaximumMilliseconds)
        throw std::invalid_argument("a date is out of range");
    return deltaBlameMillisecondsSince1970(date);
}

template <typename Opaque>
json opaqueList(const std::vector<Opaque>& values) {
    json out = json::array();
    for (const auto& v : values) out.push_back(v.rawValue);
    return out;
}

json toJson(const DeltaBlameLimits& l) {
    return {{"maximumSnapshots", l.maximumSnapshots},
            {"maximumEncodedStoreBytes", l.maximumEncodedStoreBytes},
            {"maximumRoots", l.maximumRoots},
            {"maximumCategories", l.maximumCategories},
            {"maximumSourceObservations", l.maximumSourceObservations},
            {"maximumEvidenceEntries", l.maximumEvidenceEntries},
            {"maximumComparisonEntries", l.maximumComparisonEntries},
            {"maximumExpandedRows", l.maximumExpandedRows},
            {"maximumOpaqueValueLength", l.maximumOpaqueValueLength}};
}

json toJson(const DeltaBlameAggregateKey& k) {
    return {{"rootDescriptorID", k.rootDescriptorID.rawValue},
            {"categoryKey", k.categoryKey.rawValue}};
}

json toJson(const DeltaBlameObservation& o) {
    json j = {
        {"categoryKey", o.categoryKey.rawValue},           {"byteCount", o.byteCount},
        {"rootDescriptorID", o.rootDescriptorID.rawValue}, {"rootToken", o.rootToken.rawValue},
        {"identityTier", rawValue(o.identityTier)},        {"evidenceOrdinal", o.evidenceOrdinal}};
    if (o.resourceToken) j["resourceToken"] = o.resourceToken->rawValue;
    if (o.pathToken) j["pathToken"] = o.pathToken->rawValue;
    if (o.lastModified) j["lastModified"] = dateJson(*o.lastModified);
    if (o.creationDate) j["creationDate"] = dateJson(*o.creationDate);
    if (o.resourceType) j["resourceType"] = rawValue(*o.resourceType);
    return j;
}

json toJson(const DeltaBlameScanProvenance& p) {
    const auto& m = p.completionMetadata;
    json descriptors = json::array();
    for (const auto& d : m.rootDescriptors)
        descriptors.push_back({{"schemaVersion", d.schemaVersion},
                               {"id", d.id.rawValue},
                               {"rootToken", d.rootToken.rawValue},
                               {"fingerprint", d.fingerprint.rawValue},
                               {"multiplicityOrdinal", d.multiplicityOrdinal}});
    json outcomes = json::array();
    for (const auto& o : p.rootOutcomes)
        outcomes.push_back(
            {{"rootDescriptorID", o.rootDescriptorID.rawValue}, {"kind", rawValue(o.kind)}});
    return {{"completionMetadata",
             {{"scanRunID", m.scanRunID},
              {"schemaVersion", m.schemaVersion},
              {"rootDescriptors", std::move(descriptors)},
              {"scanModeIdentifier", m.scanModeIdentifier},
              {"policyRevision", m.policyRevision}}},
            {"policyFingerprint", p.policyFingerprint.rawValue},
            {"rootSetFingerprint",
             {{"schemaVersion", p.rootSetFingerprint.schemaVersion},
              {"components", opaqueList(p.rootSetFingerprint.components)}}},
            {"rootOutcomes", std::move(outcomes)},
            {"disposition", rawValue(p.disposition)}};
}

json toJson(const DeltaBlameSnapshotDraft& d) {
    json aggregates = json::array();
    for (const auto& a : d.aggregates)
        aggregates.push_back({{"key", toJson(a.key)},
                              {"byteCount", a.byteCount},
                              {"occurrenceCount", a.occurrenceCount}});
    json evidence = json::array();
    for (const auto& o : d.evidence) evidence.push_back(toJson(o));
    json residuals = json::array();
    for (const auto& r : d.residuals)
        residuals.push_back({{"key", toJson(r.key)},
                             {"totalBytes", r.totalBytes},
                             {"evidenceBytes", r.evidenceBytes},
                             {"residualBytes", r.residualBytes}});
    const auto& c = d.evidenceCoverage;
    json comparability = json::object();
    comparability[std::string(rawValue(d.comparability.kind))] =
        d.comparability.kind == DeltaBlameComparability::Kind::scopedComparable
            ? json{{"rootDescriptorIDs", opaqueList(d.comparability.rootDescriptorIDs)}}
            : json::object();
    return {
        {"snapshotID", d.snapshotID},
        {"capturedAt", dateJson(d.capturedAt)},
        {"schemaVersion", d.schemaVersion},
        {"provenance", toJson(d.provenance)},
        {"aggregates", std::move(aggregates)},
        {"evidence", std::move(evidence)},
        {"residuals", std::move(residuals)},
        {"evidenceCoverage",
         {{"kind", rawValue(c.kind)},
          {"sourceObservationCount", c.sourceObservationCount},
          {"evidenceObservationCount", c.evidenceObservationCount},
          {"totalBytes", c.totalBytes},
          {"evidenceBytes", c.evidenceBytes},
          {"residualBytes", c.residualBytes}}},
        {"comparableScope",
         {{"includedRootDescriptorIDs", opaqueList(d.comparableScope.includedRootDescriptorIDs)},
          {"excludedRootDescriptorIDs", opaqueList(d.comparableScope.excludedRootDescriptorIDs)}}},
        {"trust", rawValue(d.trust)},
        {"comparability", std::move(comparability)},
        {"rejectionReasons", opaqueList(d.rejectionReasons)}};
}

// ---- decoding ----

[[noreturn]] void reject(std::string_view key, std::string_view what) {
    throw std::invalid_argument(fmt::format("\"{}\": {}", key, what));
}

const json& member(const json& object, const char* key) {
    if (!object.is_object()) reject(key, "the enclosing value is not an object");
    auto it = object.find(key);
    if (it == object.end()) reject(key, "missing");
    return *it;
}

const json* optionalMember(const json& object, const char* key) {
    auto it = object.find(key);
    return it == object.end() || it->is_null() ? nullptr : &*it;
}

template <typename Int>
Int integerValue(const json& v, const char* key) {
    if (v.is_number_unsigned()) {
        const auto u = v.get<uint64_t>();
        if (u > static_cast<uint64_t>(std::numeric_limits<Int>::max())) reject(key, "out of range");
        return static_cast<Int>(u);
    }
    if (v.is_number_integer()) {
        const auto i = v.get<int64_t>();
        if constexpr (std::is_unsigned_v<Int>) {
            if (i < 0) reject(key, "negative");
        } else if (i < static_cast<int64_t>(std::numeric_limits<Int>::min()) ||
                   i > static_cast<int64_t>(std::numeric_limits<Int>::max())) {
            reject(key, "out of range");
        }
        return static_cast<Int>(i);
    }
    reject(key, "not an integer");
}

template <typename Int>
Int integer(const json& object, const char* key) {
    return integerValue<Int>(member(object, key), key);
}

std::string textValue(const json& v, const char* key) {
    if (!v.is_string()) reject(key, "not a string");
    return v.get<std::string>();
}

std::string text(const json& object, const char* key) {
    return textValue(member(object, key), key);
}

template <typename Opaque>
Opaque opaque(const json& object, const char* key) {
    return Opaque{text(object, key)};
}

template <typename Opaque>
std::vector<Opaque> opaqueListFrom(const json& object, const char* key) {
    const json& list = member(object, key);
    if (!list.is_array()) reject(key, "not an array");
    std::vector<Opaque> out;
    out.reserve(list.size());
    for (const auto& v : list) out.push_back(Opaque{textValue(v, key)});
    return out;
}

const json& array(const json& object, const char* key) {
    const json& list = member(object, key);
    if (!list.is_array()) reject(key, "not an array");
    return list;
}

Date dateValue(const json& v, const char* key) {
    if (!v.is_number_integer()) reject(key, "not a whole number of milliseconds");
    const auto ms = integerValue<int64_t>(v, key);
    if (std::fabs(static_cast<double>(ms)) > kMaximumMilliseconds) reject(key, "out of range");
    return deltaBlameDateFromMilliseconds(static_cast<double>(ms));
}

template <typename E>
E enumeration(const json& object, const char* key, std::optional<E> (*fromRaw)(std::string_view)) {
    auto value = fromRaw(text(object, key));
    if (!value) reject(key, "unknown case");
    return *value;
}

std::string uuid(const json& object, const char* key) {
    std::string raw = text(object, key);
    auto canonical = canonicalUUIDText(raw);
    if (!canonical || *canonical != raw) reject(key, "not a canonical UUID");
    return raw;
}

DeltaBlameLimits limitsFrom(const json& j) {
    DeltaBlameLimits l;
    l.maximumSnapshots = integer<int64_t>(j, "maximumSnapshots");
    l.maximumEncodedStoreBytes = integer<int64_t>(j, "maximumEncodedStoreBytes");
    l.maximumRoots = integer<int64_t>(j, "maximumRoots");
    l.maximumCategories = integer<int64_t>(j, "maximumCategories");
    l.maximumSourceObservations = integer<int64_t>(j, "maximumSourceObservations");
    l.maximumEvidenceEntries = integer<int64_t>(j, "maximumEvidenceEntries");
    l.maximumComparisonEntries = integer<int64_t>(j, "maximumComparisonEntries");
    l.maximumExpandedRows = integer<int64_t>(j, "maximumExpandedRows");
    l.maximumOpaqueValueLength = integer<int64_t>(j, "maximumOpaqueValueLength");
    return l;
}

DeltaBlameAggregateKey keyFrom(const json& j) {
    return {opaque<DeltaBlameRootDescriptorID>(j, "rootDescriptorID"),
            opaque<DeltaBlameCategoryKey>(j, "categoryKey")};
}

DeltaBlameObservation observationFrom(const json& j) {
    DeltaBlameObservation o;
    o.categoryKey = opaque<DeltaBlameCategoryKey>(j, "categoryKey");
    o.byteCount = integer<int64_t>(j, "byteCount");
    o.rootDescriptorID = opaque<DeltaBlameRootDescriptorID>(j, "rootDescriptorID");
    o.rootToken = opaque<DeltaBlameRootToken>(j, "rootToken");
    o.identityTier = enumeration(j, "identityTier", identityTierFromRaw);
    if (const json* v = optionalMember(j, "resourceToken"))
        o.resourceToken = DeltaBlameResourceToken{textValue(*v, "resourceToken")};
    if (const json* v = optionalMember(j, "pathToken"))
        o.pathToken = DeltaBlamePathToken{textValue(*v, "pathToken")};
    o.evidenceOrdinal = integer<uint64_t>(j, "evidenceOrdinal");
    if (const json* v = optionalMember(j, "lastModified"))
        o.lastModified = dateValue(*v, "lastModified");
    if (const json* v = optionalMember(j, "creationDate"))
        o.creationDate = dateValue(*v, "creationDate");
    if (const json* v = optionalMember(j, "resourceType")) {
        auto type = corroboratorFromRaw(textValue(*v, "resourceType"));
        if (!type) reject("resourceType", "unknown case");
        o.resourceType = *type;
    }
    return o;
}

DeltaBlameScanProvenance provenanceFrom(const json& j) {
    DeltaBlameScanProvenance p;
    const json& m = member(j, "completionMetadata");
    auto& meta = p.completionMetadata;
    meta.scanRunID = uuid(m, "scanRunID");
    meta.schemaVersion = integer<int>(m, "schemaVersion");
    for (const auto& d : array(m, "rootDescriptors")) {
        DeltaBlameNormalizedRootDescriptor r;
        r.schemaVersion = integer<int>(d, "schemaVersion");
        r.id = opaque<DeltaBlameRootDescriptorID>(d, "id");
        r.rootToken = opaque<DeltaBlameRootToken>(d, "rootToken");
        r.fingerprint = opaque<DeltaBlameFingerprint>(d, "fingerprint");
        r.multiplicityOrdinal = integer<uint32_t>(d, "multiplicityOrdinal");
        meta.rootDescriptors.push_back(std::move(r));
    }
    meta.scanModeIdentifier = text(m, "scanModeIdentifier");
    meta.policyRevision = text(m, "policyRevision");
    p.policyFingerprint = opaque<DeltaBlameFingerprint>(j, "policyFingerprint");
    const json& f = member(j, "rootSetFingerprint");
    p.rootSetFingerprint.schemaVersion = integer<int>(f, "schemaVersion");
    p.rootSetFingerprint.components = opaqueListFrom<DeltaBlameFingerprint>(f, "components");
    for (const auto& o : array(j, "rootOutcomes"))
        p.rootOutcomes.push_back({opaque<DeltaBlameRootDescriptorID>(o, "rootDescriptorID"),
                                  enumeration(o, "kind", rootOutcomeKindFromRaw)});
    p.disposition = enumeration(j, "disposition", dispositionFromRaw);
    return p;
}

DeltaBlameComparability comparabilityFrom(const json& j) {
    if (!j.is_object() || j.size() != 1) reject("comparability", "not a single-case object");
    auto kind = comparabilityKindFromRaw(j.begin().key());
    if (!kind) reject("comparability", "unknown case");
    DeltaBlameComparability c{*kind, {}};
    if (*kind == DeltaBlameComparability::Kind::scopedComparable)
        c.rootDescriptorIDs =
            opaqueListFrom<DeltaBlameRootDescriptorID>(j.begin().value(), "rootDescriptorIDs");
    return c;
}

DeltaBlameSnapshotDraft draftFrom(const json& j) {
    DeltaBlameSnapshotDraft d;
    d.snapshotID = uuid(j, "snapshotID");
    d.capturedAt = dateValue(member(j, "capturedAt"), "capturedAt");
    d.schemaVersion = integer<int>(j, "schemaVersion");
    d.provenance = provenanceFrom(member(j, "provenance"));
    for (const auto& a : array(j, "aggregates"))
        d.aggregates.push_back({keyFrom(member(a, "key")), integer<int64_t>(a, "byteCount"),
                                integer<int64_t>(a, "occurrenceCount")});
    const json& evidence = array(j, "evidence");
    d.evidence.reserve(evidence.size());
    for (const auto& o : evidence) d.evidence.push_back(observationFrom(o));
    for (const auto& r : array(j, "residuals"))
        d.residuals.push_back({keyFrom(member(r, "key")), integer<int64_t>(r, "totalBytes"),
                               integer<int64_t>(r, "evidenceBytes"),
                               integer<int64_t>(r, "residualBytes")});
    const json& c = member(j, "evidenceCoverage");
    auto& coverage = d.evidenceCoverage;
    coverage.kind = enumeration(c, "kind", coverageKindFromRaw);
    coverage.sourceObservationCount = integer<int64_t>(c, "sourceObservationCount");
    coverage.evidenceObservationCount = integer<int64_t>(c, "evidenceObservationCount");
    coverage.totalBytes = integer<int64_t>(c, "totalBytes");
    coverage.evidenceBytes = integer<int64_t>(c, "evidenceBytes");
    coverage.residualBytes = integer<int64_t>(c, "residualBytes");
    const json& s = member(j, "comparableScope");
    d.comparableScope.includedRootDescriptorIDs =
        opaqueListFrom<DeltaBlameRootDescriptorID>(s, "includedRootDescriptorIDs");
    d.comparableScope.excludedRootDescriptorIDs =
        opaqueListFrom<DeltaBlameRootDescriptorID>(s, "excludedRootDescriptorIDs");
    d.trust = enumeration(j, "trust", trustFromRaw);
    d.comparability = comparabilityFrom(member(j, "comparability"));
    d.rejectionReasons = opaqueListFrom<DeltaBlameRejectionReason>(j, "rejectionReasons");
    return d;
}

using CodecError = DeltaBlameTemporaryCodecError;

std::optional<CodecError> checkMaximum(int64_t maximum) {
    if (maximum < 1 || maximum > kDeltaBlameMaximumEncodedBytes)
        return CodecError{CodecError::Kind::invalidMaximumEncodedBytes, 0, maximum, {}};
    return std::nullopt;
}

}  // namespace

std::string DeltaBlameTemporaryCodecError::description() const {
    switch (kind) {
        case Kind::invalidMaximumEncodedBytes:
            return fmt::format("Invalid maximum encoded size {}", maximum);
        case Kind::encodedPayloadTooLarge:
            return fmt::format("Encoded snapshot of {} bytes is larger than {}", actual, maximum);
        case Kind::emptyPayload:
            return "Empty snapshot payload";
        case Kind::encodingFailed:
            return "Snapshot could not be encoded: " + detail;
        case Kind::decodingFailed:
            return "Snapshot could not be decoded: " + detail;
    }
    return {};
}

nlohmann::json deltaBlameEnvelopeToJson(const DeltaBlameSnapshotDraftEnvelope& envelope) {
    return {{"draft", toJson(envelope.draft)}, {"limits", toJson(envelope.limits)}};
}

DeltaBlameSnapshotDraftEnvelope deltaBlameEnvelopeFromJson(const nlohmann::json& json) {
    return {draftFrom(member(json, "draft")), limitsFrom(member(json, "limits"))};
}

Result<std::string, DeltaBlameTemporaryCodecError> DeltaBlameTemporaryCodec::encode(
    const DeltaBlameSnapshotDraftEnvelope& envelope, int64_t maximumBytes) {
    if (auto e = checkMaximum(maximumBytes)) return Failure{std::move(*e)};
    std::string bytes;
    try {
        bytes = deltaBlameEnvelopeToJson(envelope).dump();
    } catch (const std::exception& e) {
        return Failure{CodecError{CodecError::Kind::encodingFailed, 0, 0, e.what()}};
    }
    const auto size = static_cast<int64_t>(bytes.size());
    if (size > maximumBytes)
        return Failure{
            CodecError{CodecError::Kind::encodedPayloadTooLarge, size, maximumBytes, {}}};
    return bytes;
}

Result<DeltaBlameSnapshotDraftEnvelope, DeltaBlameTemporaryCodecError>
DeltaBlameTemporaryCodec::decode(std::string_view bytes, int64_t maximumBytes) {
    if (auto e = checkMaximum(maximumBytes)) return Failure{std::move(*e)};
    if (bytes.empty()) return Failure{CodecError{CodecError::Kind::emptyPayload, 0, 0, {}}};
    const auto size = static_cast<int64_t>(bytes.size());
    if (size > maximumBytes)
        return Failure{
            CodecError{CodecError::Kind::encodedPayloadTooLarge, size, maximumBytes, {}}};
    try {
        return deltaBlameEnvelopeFromJson(json::parse(bytes));
    } catch (const std::exception& e) {
        return Failure{CodecError{CodecError::Kind::decodingFailed, 0, 0, e.what()}};
    }
}

}  // namespace velmora

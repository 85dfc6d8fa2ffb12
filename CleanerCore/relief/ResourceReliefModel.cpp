#include "CleanerCore/relief/ResourceReliefModel.h"

#include <cmath>

#include "CleanerCore/base/JsonEnum.h"
#include "CleanerCore/base/Text.h"
#include "CleanerCore/base/UTF8.h"
#include "CleanerCore/relief/ReliefText.h"

namespace velmora {

std::optional<double> normalizedFraction(std::optional<double> value) {
    if (!value || !std::isfinite(*value)) return std::nullopt;
    if (*value < 0) return 0.0;
    if (*value > 1) return 1.0;
    return *value;
}

ResourceReliefUsageMetrics::ResourceReliefUsageMetrics(
    std::optional<double> cpuFractionOfTotalCapacity, std::optional<uint64_t> residentMemoryBytes,
    std::optional<double> memoryFractionOfPhysicalMemory)
    : cpu_(normalizedFraction(cpuFractionOfTotalCapacity)),
      residentBytes_(residentMemoryBytes),
      memory_(normalizedFraction(memoryFractionOfPhysicalMemory)) {}

ResourceReliefCandidateID ResourceReliefCandidateID::make(
    const std::optional<std::string>& bundleIdentifier, int32_t processIdentifier) {
    std::string kept;
    for (char c : asciiLowercased(trimmedReliefText(bundleIdentifier.value_or("")))) {
        const bool letterOrDigit = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
        if (letterOrDigit || c == '.' || c == '-' || c == '_') kept += c;
    }
    if (kept.empty()) kept = "pid";
    return {kept + ":" + std::to_string(processIdentifier)};
}

std::string_view rawValue(ResourceReliefProtectionReason reason) {
    switch (reason) {
        case ResourceReliefProtectionReason::currentApplication:
            return "currentApplication";
        case ResourceReliefProtectionReason::protectedSystemApplication:
            return "protectedSystemApplication";
        case ResourceReliefProtectionReason::missingUserFacingIdentity:
            return "missingUserFacingIdentity";
        case ResourceReliefProtectionReason::alreadyTerminated:
            return "alreadyTerminated";
        case ResourceReliefProtectionReason::notUserVisible:
            return "notUserVisible";
        case ResourceReliefProtectionReason::sandboxUnavailable:
            break;
    }
    return "sandboxUnavailable";
}

std::optional<ResourceReliefProtectionReason> protectionReasonFromRaw(std::string_view raw) {
    for (auto r : {ResourceReliefProtectionReason::currentApplication,
                   ResourceReliefProtectionReason::protectedSystemApplication,
                   ResourceReliefProtectionReason::missingUserFacingIdentity,
                   ResourceReliefProtectionReason::alreadyTerminated,
                   ResourceReliefProtectionReason::notUserVisible,
                   ResourceReliefProtectionReason::sandboxUnavailable}) {
        if (rawValue(r) == raw) return r;
    }
    return std::nullopt;
}

std::string_view rawValue(ResourceReliefCapability::Reason reason) {
    switch (reason) {
        case ResourceReliefCapability::Reason::supported:
            return "supported";
        case ResourceReliefCapability::Reason::appSandbox:
            return "appSandbox";
        case ResourceReliefCapability::Reason::unknown:
            break;
    }
    return "unknown";
}

std::string_view rawValue(ResourceReliefActionStatus status) {
    switch (status) {
        case ResourceReliefActionStatus::requestSent:
            return "requestSent";
        case ResourceReliefActionStatus::failedToSend:
            return "failedToSend";
        case ResourceReliefActionStatus::unavailableInSandbox:
            return "unavailableInSandbox";
        case ResourceReliefActionStatus::alreadyExited:
            return "alreadyExited";
        case ResourceReliefActionStatus::protected_:
            return "protected";
        case ResourceReliefActionStatus::staleCandidate:
            break;
    }
    return "staleCandidate";
}

std::optional<ResourceReliefActionStatus> actionStatusFromRaw(std::string_view raw) {
    for (auto s :
         {ResourceReliefActionStatus::requestSent, ResourceReliefActionStatus::failedToSend,
          ResourceReliefActionStatus::unavailableInSandbox,
          ResourceReliefActionStatus::alreadyExited, ResourceReliefActionStatus::protected_,
          ResourceReliefActionStatus::staleCandidate}) {
        if (rawValue(s) == raw) return s;
    }
    return std::nullopt;
}

std::string englishSentence(ResourceReliefActionStatus status, std::string_view displayName) {
    const std::string n(displayName);
    switch (status) {
        case ResourceReliefActionStatus::requestSent:
            return "Sent a normal quit request to " + n + ".";
        case ResourceReliefActionStatus::failedToSend:
            return "Could not send a quit request to " + n + ".";
        case ResourceReliefActionStatus::unavailableInSandbox:
            return "Sandbox limits prevent directly quitting " + n + ".";
        case ResourceReliefActionStatus::alreadyExited:
            return n + " already exited.";
        case ResourceReliefActionStatus::protected_:
            return n + " is protected by Velmora policy.";
        case ResourceReliefActionStatus::staleCandidate:
            break;
    }
    return n + " changed state, so the quit request was skipped.";
}

// ---- JSON ----

namespace {

template <typename T>
void putOptional(nlohmann::json& j, const char* key, const std::optional<T>& value) {
    if (value) j[key] = *value;
}

template <typename T>
std::optional<T> getOptional(const nlohmann::json& j, const char* key) {
    auto it = j.find(key);
    if (it == j.end() || it->is_null()) return std::nullopt;
    return it->template get<T>();
}

Date decodeDate(const nlohmann::json& value) {
    if (!value.is_number())
        throw nlohmann::json::type_error::create(302, "a date must be a number", &value);
    return value.get<double>();
}

std::optional<Date> getOptionalDate(const nlohmann::json& j, const char* key) {
    auto it = j.find(key);
    if (it == j.end() || it->is_null()) return std::nullopt;
    return decodeDate(*it);
}

std::optional<ResourceReliefCapability::Reason> capabilityReasonFromRaw(std::string_view raw) {
    for (auto r :
         {ResourceReliefCapability::Reason::supported, ResourceReliefCapability::Reason::appSandbox,
          ResourceReliefCapability::Reason::unknown}) {
        if (rawValue(r) == raw) return r;
    }
    return std::nullopt;
}

}  // namespace

void to_json(nlohmann::json& j, const ResourceReliefUsageMetrics& m) {
    j = nlohmann::json::object();
    putOptional(j, "cpuFractionOfTotalCapacity", m.cpuFractionOfTotalCapacity());
    putOptional(j, "residentMemoryBytes", m.residentMemoryBytes());
    putOptional(j, "memoryFractionOfPhysicalMemory", m.memoryFractionOfPhysicalMemory());
}

void from_json(const nlohmann::json& j, ResourceReliefUsageMetrics& m) {
    m = ResourceReliefUsageMetrics(getOptional<double>(j, "cpuFractionOfTotalCapacity"),
                                   getOptional<uint64_t>(j, "residentMemoryBytes"),
                                   getOptional<double>(j, "memoryFractionOfPhysicalMemory"));
}

void to_json(nlohmann::json& j, const ResourceReliefCandidateID& id) {
    j = nlohmann::json{{"rawValue", validUTF8(id.rawValue)}};
}

void from_json(const nlohmann::json& j, ResourceReliefCandidateID& id) {
    id.rawValue = j.at("rawValue").get<std::string>();
}

void to_json(nlohmann::json& j, const ResourceReliefEligibility& e) {
    j = nlohmann::json{{"isActionable", e.isActionable}};
    if (e.reason) j["reason"] = rawValue(*e.reason);
}

void from_json(const nlohmann::json& j, ResourceReliefEligibility& e) {
    e.isActionable = j.at("isActionable").get<bool>();
    e.reason.reset();
    if (auto it = j.find("reason"); it != j.end() && !it->is_null())
        e.reason =
            decodeEnum<ResourceReliefProtectionReason>(*it, protectionReasonFromRaw, "reason");
    if (e.isActionable == e.reason.has_value())
        throw nlohmann::json::other_error::create(
            501, "\"reason\" must be present exactly when \"isActionable\" is false", &j);
}

void to_json(nlohmann::json& j, const ResourceReliefCapability& c) {
    j = nlohmann::json{{"canRequestQuitOtherApplications", c.canRequestQuitOtherApplications},
                       {"reason", rawValue(c.reason)}};
}

void from_json(const nlohmann::json& j, ResourceReliefCapability& c) {
    c.canRequestQuitOtherApplications = j.at("canRequestQuitOtherApplications").get<bool>();
    c.reason = decodeEnum<ResourceReliefCapability::Reason>(j.at("reason"), capabilityReasonFromRaw,
                                                            "reason");
}

void to_json(nlohmann::json& j, const ResourceReliefCandidate& c) {
    j = nlohmann::json{{"id", c.id},
                       {"displayName", validUTF8(c.displayName)},
                       {"processIdentifier", c.processIdentifier},
                       {"isFrontmost", c.isFrontmost},
                       {"usage", c.usage},
                       {"eligibility", c.eligibility}};
    if (c.bundleIdentifier) j["bundleIdentifier"] = validUTF8(*c.bundleIdentifier);
    putOptional(j, "launchDate", c.launchDate);
}

void from_json(const nlohmann::json& j, ResourceReliefCandidate& c) {
    c.id = j.at("id").get<ResourceReliefCandidateID>();
    c.displayName = j.at("displayName").get<std::string>();
    c.bundleIdentifier = getOptional<std::string>(j, "bundleIdentifier");
    c.processIdentifier = j.at("processIdentifier").get<int32_t>();
    c.isFrontmost = j.at("isFrontmost").get<bool>();
    c.launchDate = getOptionalDate(j, "launchDate");
    c.usage = j.at("usage").get<ResourceReliefUsageMetrics>();
    c.eligibility = j.at("eligibility").get<ResourceReliefEligibility>();
}

void to_json(nlohmann::json& j, const ResourceReliefActionResult& r) {
    j = nlohmann::json{{"id", r.id},
                       {"candidateID", r.candidateID},
                       {"displayName", validUTF8(r.displayName)},
                       {"status", rawValue(r.status)},
                       {"occurredAt", r.occurredAt}};
}

void from_json(const nlohmann::json& j, ResourceReliefActionResult& r) {
    r.id = j.at("id").get<std::string>();
    r.candidateID = j.at("candidateID").get<ResourceReliefCandidateID>();
    r.displayName = j.at("displayName").get<std::string>();
    r.status =
        decodeEnum<ResourceReliefActionStatus>(j.at("status"), actionStatusFromRaw, "status");
    r.occurredAt = decodeDate(j.at("occurredAt"));
}

}  // namespace velmora

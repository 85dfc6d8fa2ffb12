#pragma once
// The records of resource relief: running applications with their CPU and memory use, whether
// the user may ask each to quit, and the outcome of each quit request. Plain values, pure,
// thread-safe; JSON keys are the field names and enumerations their raw texts.
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "CleanerCore/base/Date.h"

namespace velmora {

/// Use of the machine by one application. Built through the constructor, which normalizes both
/// fractions: absent or non-finite becomes absent, below 0 becomes 0, above 1 becomes 1. The
/// byte count is kept as given.
class ResourceReliefUsageMetrics {
  public:
    ResourceReliefUsageMetrics() = default;
    ResourceReliefUsageMetrics(std::optional<double> cpuFractionOfTotalCapacity,
                               std::optional<uint64_t> residentMemoryBytes,
                               std::optional<double> memoryFractionOfPhysicalMemory);

    /// Share of the whole machine's processor capacity over the sampling interval (1 = every
    /// processor busy).
    std::optional<double> cpuFractionOfTotalCapacity() const { return cpu_; }
    std::optional<uint64_t> residentMemoryBytes() const { return residentBytes_; }
    std::optional<double> memoryFractionOfPhysicalMemory() const { return memory_; }

    friend bool operator==(const ResourceReliefUsageMetrics&,
                           const ResourceReliefUsageMetrics&) = default;

  private:
    std::optional<double> cpu_;
    std::optional<uint64_t> residentBytes_;
    std::optional<double> memory_;
};

/// `value` clamped to 0...1; absent when absent or not finite.
std::optional<double> normalizedFraction(std::optional<double> value);

/// One running application at one moment, as the survey saw it.
struct ResourceReliefProcessSnapshot {
    std::optional<std::string> displayName;       ///< the application's localized name
    std::optional<std::string> bundleIdentifier;  ///< on Linux the desktop-file id
    int32_t processIdentifier = 0;                ///< the application's main process
    bool isFrontmost = false;
    bool isTerminated = false;
    bool isUserVisible = false;  ///< shown in the desktop's menus (a regular application)
    std::optional<Date> launchDate;
    ResourceReliefUsageMetrics usage;

    friend bool operator==(const ResourceReliefProcessSnapshot&,
                           const ResourceReliefProcessSnapshot&) = default;
};

/// Names one candidate: the cleaned, lower-cased identifier (or "pid"), ":", the process id.
struct ResourceReliefCandidateID {
    std::string rawValue;

    /// The identifier trimmed and lower-cased, with everything but ASCII letters, digits, ".",
    /// "-" and "_" dropped ("pid" when nothing is left), then ":" and `processIdentifier`.
    static ResourceReliefCandidateID make(const std::optional<std::string>& bundleIdentifier,
                                          int32_t processIdentifier);

    friend auto operator<=>(const ResourceReliefCandidateID&,
                            const ResourceReliefCandidateID&) = default;
};

enum class ResourceReliefProtectionReason {
    currentApplication,
    protectedSystemApplication,
    missingUserFacingIdentity,
    alreadyTerminated,
    notUserVisible,
    sandboxUnavailable,
};
std::string_view rawValue(ResourceReliefProtectionReason reason);
std::optional<ResourceReliefProtectionReason> protectionReasonFromRaw(std::string_view raw);

/// Whether a quit request may be sent; `reason` is set exactly when it may not.
struct ResourceReliefEligibility {
    bool isActionable = true;
    std::optional<ResourceReliefProtectionReason> reason;

    static ResourceReliefEligibility actionable() { return {}; }
    static ResourceReliefEligibility protectedBy(ResourceReliefProtectionReason r) {
        return {false, r};
    }
    friend bool operator==(const ResourceReliefEligibility&,
                           const ResourceReliefEligibility&) = default;
};

/// Whether this process can ask other applications to quit at all.
struct ResourceReliefCapability {
    enum class Reason { supported, appSandbox, unknown };
    bool canRequestQuitOtherApplications = false;
    Reason reason = Reason::unknown;

    static ResourceReliefCapability supported() { return {true, Reason::supported}; }
    static ResourceReliefCapability appSandbox() { return {false, Reason::appSandbox}; }
    static ResourceReliefCapability unknown() { return {false, Reason::unknown}; }
    friend bool operator==(const ResourceReliefCapability&,
                           const ResourceReliefCapability&) = default;
};
std::string_view rawValue(ResourceReliefCapability::Reason reason);

/// A snapshot as the panel lists it.
struct ResourceReliefCandidate {
    ResourceReliefCandidateID id;
    std::string displayName;
    std::optional<std::string> bundleIdentifier;
    int32_t processIdentifier = 0;
    bool isFrontmost = false;
    std::optional<Date> launchDate;
    ResourceReliefUsageMetrics usage;
    ResourceReliefEligibility eligibility;

    friend bool operator==(const ResourceReliefCandidate&,
                           const ResourceReliefCandidate&) = default;
};

enum class ResourceReliefActionStatus {
    requestSent,
    failedToSend,
    unavailableInSandbox,
    alreadyExited,
    protected_,  ///< raw value "protected"
    staleCandidate,
};
std::string_view rawValue(ResourceReliefActionStatus status);
std::optional<ResourceReliefActionStatus> actionStatusFromRaw(std::string_view raw);

/// The outcome of one quit request.
struct ResourceReliefActionResult {
    std::string id;  ///< a new UUID per result
    ResourceReliefCandidateID candidateID;
    std::string displayName;
    ResourceReliefActionStatus status = ResourceReliefActionStatus::failedToSend;
    Date occurredAt = 0;

    friend bool operator==(const ResourceReliefActionResult&,
                           const ResourceReliefActionResult&) = default;
};

/// The English sentence of a result, as stored and as other languages translate it.
std::string englishSentence(ResourceReliefActionStatus status, std::string_view displayName);

// JSON coding. Decoding throws nlohmann::json::exception on a wrong shape.
void to_json(nlohmann::json&, const ResourceReliefUsageMetrics&);
void from_json(const nlohmann::json&, ResourceReliefUsageMetrics&);
void to_json(nlohmann::json&, const ResourceReliefCandidateID&);
void from_json(const nlohmann::json&, ResourceReliefCandidateID&);
void to_json(nlohmann::json&, const ResourceReliefEligibility&);
void from_json(const nlohmann::json&, ResourceReliefEligibility&);
void to_json(nlohmann::json&, const ResourceReliefCapability&);
void from_json(const nlohmann::json&, ResourceReliefCapability&);
void to_json(nlohmann::json&, const ResourceReliefCandidate&);
void from_json(const nlohmann::json&, ResourceReliefCandidate&);
void to_json(nlohmann::json&, const ResourceReliefActionResult&);
void from_json(const nlohmann::json&, ResourceReliefActionResult&);

}  // namespace velmora

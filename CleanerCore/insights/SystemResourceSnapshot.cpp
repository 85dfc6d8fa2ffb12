#include "CleanerCore/insights/SystemResourceSnapshot.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <limits>
#include <utility>

namespace velmora {

namespace {

constexpr std::array<std::pair<MemoryPressure, std::string_view>, 4> kPressureNames{{
    {MemoryPressure::normal, "Normal"},
    {MemoryPressure::moderate, "Moderate"},
    {MemoryPressure::high, "High"},
    {MemoryPressure::unknown, "Unknown"},
}};
constexpr std::array<std::pair<ThermalState, std::string_view>, 5> kThermalNames{{
    {ThermalState::nominal, "Nominal"},
    {ThermalState::fair, "Fair"},
    {ThermalState::serious, "Serious"},
    {ThermalState::critical, "Critical"},
    {ThermalState::unknown, "Unknown"},
}};

template <typename E, size_t N>
std::string_view nameOf(const std::array<std::pair<E, std::string_view>, N>& names, E value) {
    for (const auto& [e, name] : names) {
        if (e == value) return name;
    }
    return "Unknown";
}

template <typename E, size_t N>
std::optional<E> valueOf(const std::array<std::pair<E, std::string_view>, N>& names,
                         std::string_view text) {
    for (const auto& [e, name] : names) {
        if (name == text) return e;
    }
    return std::nullopt;
}

}  // namespace

std::string_view rawValue(MemoryPressure p) {
    return nameOf(kPressureNames, p);
}
std::string_view rawValue(ThermalState t) {
    return nameOf(kThermalNames, t);
}
std::optional<MemoryPressure> memoryPressureFromRaw(std::string_view text) {
    return valueOf(kPressureNames, text);
}
std::optional<ThermalState> thermalStateFromRaw(std::string_view text) {
    return valueOf(kThermalNames, text);
}

uint64_t SystemResourceSnapshot::freeMemoryBytes() const {
    return usedMemoryBytes > physicalMemoryBytes ? 0 : physicalMemoryBytes - usedMemoryBytes;
}

MemoryPressure classifyMemoryPressure(uint64_t usedBytes, uint64_t physicalBytes) {
    if (physicalBytes == 0) return MemoryPressure::unknown;
    const double ratio = static_cast<double>(usedBytes) / static_cast<double>(physicalBytes);
    if (ratio >= 0.85) return MemoryPressure::high;
    if (ratio >= 0.7) return MemoryPressure::moderate;
    return MemoryPressure::normal;
}

ThermalState thermalStateFrom(std::optional<HostThermalState> state) {
    if (!state) return ThermalState::unknown;
    switch (*state) {
        case HostThermalState::nominal:
            return ThermalState::nominal;
        case HostThermalState::fair:
            return ThermalState::fair;
        case HostThermalState::serious:
            return ThermalState::serious;
        case HostThermalState::critical:
            return ThermalState::critical;
    }
    return ThermalState::unknown;
}

double normalizedLoadFromLoadAverage(double loadAverage, int activeProcessors) {
    const double share = loadAverage / static_cast<double>(std::max(activeProcessors, 1));
    // NaN compares false everywhere; it can only come from a caller, and counts as idle.
    if (!(share >= 0)) return 0;
    return std::min(share, 1.0);
}

SystemResourceSnapshot makeSystemResourceSnapshot(const HostReadings& r, Date capturedAt) {
    SystemResourceSnapshot s;
    s.physicalMemoryBytes = r.memory.physicalBytes.value_or(0);
    s.usedMemoryBytes = std::min(r.memory.usedBytes.value_or(0), s.physicalMemoryBytes);
    const double load = r.loadAverage.value_or(0);
    s.cpuLoadAverage = load > 0 ? load : 0;
    s.activeProcessorCount = std::max(r.processors.active.value_or(0), 1);
    if (r.cpuUsage && *r.cpuUsage >= 0 && *r.cpuUsage <= 1) {
        s.normalizedCPULoad = *r.cpuUsage;
    } else {
        s.normalizedCPULoad =
            normalizedLoadFromLoadAverage(s.cpuLoadAverage, s.activeProcessorCount);
    }
    s.memoryPressure = classifyMemoryPressure(s.usedMemoryBytes, s.physicalMemoryBytes);
    s.processorCount = r.processors.configured.value_or(s.activeProcessorCount);
    s.thermalState = thermalStateFrom(r.thermal.state);
    const double uptime = r.uptime.value_or(0);
    s.uptime = uptime > 0 ? uptime : 0;
    s.capturedAt = capturedAt;
    s.temperatureDetail = r.thermal.zonesAssessed > 0 ? kThermalZonesTemperatureDetail
                                                      : kNoThermalZonesTemperatureDetail;
    return s;
}

HostReadings readHostReadings(const std::string& root, CPUUsageSampler& sampler) {
    HostReadings r;
    r.memory = readMemoryStatistics(root);
    r.loadAverage = readLoadAverage(root);
    r.processors = readProcessorCounts(root);
    r.cpuUsage = sampler.sample(root);
    r.thermal = readThermalStatistics(root);
    r.uptime = readUptime(root);
    return r;
}

SystemResourceSnapshot SystemResourceSnapshot::capture() {
    return makeSystemResourceSnapshot(readHostReadings("/", CPUUsageSampler::shared()),
                                      currentDate());
}

// ---- JSON ----

namespace {

template <typename Json>
void encode(Json& j, const SystemResourceSnapshot& s) {
    j = Json::object();
    j["capturedAt"] = s.capturedAt;
    j["physicalMemoryBytes"] = s.physicalMemoryBytes;
    j["usedMemoryBytes"] = s.usedMemoryBytes;
    j["memoryPressure"] = rawValue(s.memoryPressure);
    j["cpuLoadAverage"] = s.cpuLoadAverage;
    j["normalizedCPULoad"] = s.normalizedCPULoad;
    j["processorCount"] = s.processorCount;
    j["activeProcessorCount"] = s.activeProcessorCount;
    j["thermalState"] = rawValue(s.thermalState);
    j["uptime"] = s.uptime;
    j["temperatureDetail"] = s.temperatureDetail;
}

template <typename Json>
[[noreturn]] void wrongValue(const Json& j, const char* key, const char* expected) {
    throw Json::other_error::create(501, fmt::format("\"{}\" must be {}", key, expected), &j);
}

template <typename Json>
double numberAt(const Json& j, const char* key) {
    const auto& v = j.at(key);
    if (!v.is_number()) wrongValue(v, key, "a number");
    return v.template get<double>();
}

template <typename Json>
uint64_t unsignedAt(const Json& j, const char* key) {
    const auto& v = j.at(key);
    if (!v.is_number_unsigned()) wrongValue(v, key, "a non-negative integer");
    return v.template get<uint64_t>();
}

template <typename Json>
int intAt(const Json& j, const char* key) {
    const auto& v = j.at(key);
    bool fits = false;
    if (v.is_number_unsigned()) {
        fits = v.template get<uint64_t>() <= uint64_t(std::numeric_limits<int>::max());
    } else if (v.is_number_integer()) {
        const auto n = v.template get<int64_t>();
        fits = n >= std::numeric_limits<int>::min() && n <= std::numeric_limits<int>::max();
    }
    if (!fits) wrongValue(v, key, "an integer");
    return static_cast<int>(v.template get<int64_t>());
}

template <typename Json, typename E>
E stateAt(const Json& j, const char* key, std::optional<E> (*fromRaw)(std::string_view)) {
    const auto& v = j.at(key);
    if (!v.is_string()) wrongValue(v, key, "a text");
    const auto& text = v.template get_ref<const std::string&>();
    auto value = fromRaw(text);
    if (!value) {
        throw Json::other_error::create(
            501, fmt::format("unknown value \"{}\" for \"{}\"", text, key), &v);
    }
    return *value;
}

template <typename Json>
void decode(const Json& j, SystemResourceSnapshot& s) {
    if (!j.is_object()) {
        throw Json::type_error::create(302, "a system resource snapshot must be an object", &j);
    }
    s.capturedAt = numberAt(j, "capturedAt");
    s.physicalMemoryBytes = unsignedAt(j, "physicalMemoryBytes");
    s.usedMemoryBytes = unsignedAt(j, "usedMemoryBytes");
    s.memoryPressure = stateAt(j, "memoryPressure", memoryPressureFromRaw);
    s.cpuLoadAverage = numberAt(j, "cpuLoadAverage");
    s.normalizedCPULoad = numberAt(j, "normalizedCPULoad");
    s.processorCount = intAt(j, "processorCount");
    s.activeProcessorCount = intAt(j, "activeProcessorCount");
    s.thermalState = stateAt(j, "thermalState", thermalStateFromRaw);
    s.uptime = numberAt(j, "uptime");
    s.temperatureDetail = j.at("temperatureDetail").template get<std::string>();
}

}  // namespace

void to_json(nlohmann::json& j, const SystemResourceSnapshot& s) {
    encode(j, s);
}
void from_json(const nlohmann::json& j, SystemResourceSnapshot& s) {
    decode(j, s);
}
void to_json(nlohmann::ordered_json& j, const SystemResourceSnapshot& s) {
    encode(j, s);
}
void from_json(const nlohmann::ordered_json& j, SystemResourceSnapshot& s) {
    decode(j, s);
}

std::string encodeSystemResourceSnapshot(const SystemResourceSnapshot& snapshot) {
    nlohmann::ordered_json j = snapshot;
    return j.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

Result<SystemResourceSnapshot> decodeSystemResourceSnapshot(std::string_view text) {
    try {
        return nlohmann::ordered_json::parse(text.begin(), text.end())
            .get<SystemResourceSnapshot>();
    } catch (const nlohmann::ordered_json::exception& e) {
        return fail(fmt::format("The system resource snapshot could not be read: {}", e.what()));
    }
}

}  // namespace velmora

size_t std::hash<velmora::SystemResourceSnapshot>::operator()(
    const velmora::SystemResourceSnapshot& s) const noexcept {
    size_t seed = 0;
    auto combine = [&seed](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        seed ^= std::hash<T>{}(value) + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
    };
    combine(s.capturedAt);
    combine(s.physicalMemoryBytes);
    combine(s.usedMemoryBytes);
    combine(s.memoryPressure);
    combine(s.cpuLoadAverage);
    combine(s.normalizedCPULoad);
    combine(s.processorCount);
    combine(s.activeProcessorCount);
    combine(s.thermalState);
    combine(s.uptime);
    combine(s.temperatureDetail);
    return seed;
}

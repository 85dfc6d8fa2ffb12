#pragma once
// A read-only picture of the machine's memory, processor and thermal state at one instant,
// taken at the start of every storage insight scan, refreshed by the insights views and written
// into exports. Uses public host statistics only (platform/HostStatistics.h) and never changes
// system state.
//
// The record is a plain value: comparable, hashable over every field, built memberwise (tests
// and previews may use any values). `capture` applies the rules below; nothing here throws
// except the nlohmann::json coders, which throw nlohmann::json::exception on a wrong shape (use
// `decodeSystemResourceSnapshot` for an error value). Thread-safe: captures may come from any
// thread; the processor sampler they share serializes itself.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/Result.h"
#include "CleanerCore/platform/HostStatistics.h"

namespace velmora {

enum class MemoryPressure { normal, moderate, high, unknown };
enum class ThermalState { nominal, fair, serious, critical, unknown };

/// "Normal", "Moderate", "High", "Unknown" / "Nominal", "Fair", "Serious", "Critical",
/// "Unknown"; the inverses give nullopt for any other text.
std::string_view rawValue(MemoryPressure);
std::string_view rawValue(ThermalState);
std::optional<MemoryPressure> memoryPressureFromRaw(std::string_view);
std::optional<ThermalState> thermalStateFromRaw(std::string_view);

/// The explanation written by the macOS build, where only a thermal pressure state is public.
inline constexpr std::string_view kMacTemperatureDetail =
    "Raw sensor temperatures require private/privileged SMC access. Velmora reports Apple's "
    "public thermal pressure state instead.";
/// The Linux explanations: where the state came from, or why it is unknown.
inline constexpr std::string_view kThermalZonesTemperatureDetail =
    "Velmora compares each of the kernel's thermal zones with its own trip points (fans, "
    "throttling, shutdown) and reports the most severe zone; it does not judge raw temperatures.";
inline constexpr std::string_view kNoThermalZonesTemperatureDetail =
    "This system exposes no kernel thermal zone with a temperature and trip points, so Velmora "
    "reports the thermal state as Unknown.";

struct SystemResourceSnapshot {
    Date capturedAt = 0;
    uint64_t physicalMemoryBytes = 0;
    uint64_t usedMemoryBytes = 0;  ///< captured values never exceed physicalMemoryBytes
    MemoryPressure memoryPressure = MemoryPressure::unknown;
    double cpuLoadAverage = 0;     ///< one-minute load average; captured values are >= 0
    double normalizedCPULoad = 0;  ///< busy fraction; captured values lie in 0...1
    int processorCount = 0;
    int activeProcessorCount = 1;  ///< captured values are >= 1
    ThermalState thermalState = ThermalState::unknown;
    double uptime = 0;  ///< seconds since boot
    std::string temperatureDetail;

    /// physicalMemoryBytes − usedMemoryBytes, or 0 when used exceeds physical.
    uint64_t freeMemoryBytes() const;

    /// A snapshot of this machine now, using the process-wide processor sampler. Never fails:
    /// unreadable figures degrade as `makeSystemResourceSnapshot` describes.
    static SystemResourceSnapshot capture();

    friend bool operator==(const SystemResourceSnapshot&, const SystemResourceSnapshot&) = default;
};

// ---- The rules, pure ----

/// "Unknown" when physical is 0; otherwise ratio = used ÷ physical: >= 0.85 "High", >= 0.7
/// "Moderate", below "Normal".
MemoryPressure classifyMemoryPressure(uint64_t usedBytes, uint64_t physicalBytes);
/// Absent (no zone could be judged) is "Unknown".
ThermalState thermalStateFrom(std::optional<HostThermalState> state);
/// loadAverage ÷ activeProcessors clamped to 0...1 (activeProcessors below 1 counts as 1).
double normalizedLoadFromLoadAverage(double loadAverage, int activeProcessors);

/// What one capture read from the host; absent values are reads that failed.
struct HostReadings {
    MemoryStatistics memory;
    std::optional<double> loadAverage;
    ProcessorCounts processors;
    std::optional<double> cpuUsage;  ///< the sampler's busy share since the previous capture
    ThermalStatistics thermal;
    std::optional<double> uptime;
};

/// Assembles a snapshot: memory 0 when unreadable and used capped at physical; load average 0
/// when unreadable, clamped below at 0; active processors at least 1; the sampler's value, else
/// the load average per active processor; processor count the configured processors, else the
/// active count; thermal state and its Linux explanation from the zones; uptime 0 when
/// unreadable.
SystemResourceSnapshot makeSystemResourceSnapshot(const HostReadings& readings, Date capturedAt);

/// Reads the host below `root` (a fake /proc and /sys tree in tests) and samples with `sampler`.
HostReadings readHostReadings(const std::string& root, CPUUsageSampler& sampler);

// ---- JSON ----
// Keys are the field names in declaration order (kept by ordered_json and by
// `encodeSystemResourceSnapshot`; a plain nlohmann::json sorts them), pressure and thermal state
// their raw texts, `capturedAt` seconds since 2001 (bit-identical on reading back). Decoding is
// strict: every key must be present with its type (unsigned integers for the byte counts,
// integers for the counts, a known raw text for the two states), otherwise it throws. Values are
// read as written, without the capture rules, so a snapshot reads back equal field for field.

void to_json(nlohmann::json&, const SystemResourceSnapshot&);
void from_json(const nlohmann::json&, SystemResourceSnapshot&);
void to_json(nlohmann::ordered_json&, const SystemResourceSnapshot&);
void from_json(const nlohmann::ordered_json&, SystemResourceSnapshot&);

/// Compact JSON text with the keys in declaration order.
std::string encodeSystemResourceSnapshot(const SystemResourceSnapshot& snapshot);
/// The snapshot in `text`; the error names what is missing or wrong.
Result<SystemResourceSnapshot> decodeSystemResourceSnapshot(std::string_view text);

}  // namespace velmora

template <>
struct std::hash<velmora::SystemResourceSnapshot> {
    size_t operator()(const velmora::SystemResourceSnapshot& s) const noexcept;
};

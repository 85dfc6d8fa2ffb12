#pragma once
// Public host statistics of a Linux machine: memory, processor ticks and counts, load average,
// thermal zones and uptime. Read only from /proc and /sys, never privileged, never changing
// anything.
//
// Every `parse...` function is pure: it takes the text of one kernel file and returns what it
// could read, nullopt for what is missing or damaged (it never throws and never crashes on
// garbage). Every `read...` function takes the folder that plays "/" (default the real root) so
// tests can point it at a fake /proc and /sys tree; an unreadable file is the same as a missing
// value. All functions are thread-safe; `CPUUsageSampler` serializes its own state.
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

// ---- Memory (/proc/meminfo) ----

struct MemoryStatistics {
    std::optional<uint64_t> physicalBytes;  ///< MemTotal
    /// Memory the system cannot hand out without swapping: MemTotal − MemAvailable; when
    /// MemAvailable is missing (kernels before 3.14) or damaged, MemTotal − (MemFree + Buffers +
    /// Cached + SReclaimable). Never above
    /// `physicalBytes`; absent when the fields it needs are absent.
    std::optional<uint64_t> usedBytes;
    friend bool operator==(const MemoryStatistics&, const MemoryStatistics&) = default;
};

/// Values in kB are converted to bytes; a value whose byte count overflows is absent.
MemoryStatistics parseMeminfo(std::string_view text);
MemoryStatistics readMemoryStatistics(const std::string& root = "/");

// ---- Processor ticks (/proc/stat) ----

/// Aggregate processor time of all processors since boot, in clock ticks.
struct CPUTicks {
    uint64_t user = 0;    ///< user (the kernel already counts guest time in it)
    uint64_t system = 0;  ///< system + irq + softirq
    uint64_t idle = 0;    ///< idle + iowait (waiting for a disk is idle processor time)
    uint64_t nice = 0;
    friend bool operator==(const CPUTicks&, const CPUTicks&) = default;
};

/// The aggregate "cpu " line. Needs the first four counters (user nice system idle); the later
/// ones (iowait irq softirq) count when present. Steal time is neither busy nor idle for this
/// machine and is left out.
std::optional<CPUTicks> parseCPUTicks(std::string_view procStat);
std::optional<CPUTicks> readCPUTicks(const std::string& root = "/");

/// The busy share of the ticks between two samples: busy = user + system + nice, total = busy +
/// idle; when total grew, max(busy − previous busy, 0) ÷ (total − previous total) clamped to
/// 0...1, else nullopt (no time passed, counters went backwards, or a sum overflowed).
std::optional<double> cpuBusyShare(const CPUTicks& previous, const CPUTicks& current);

/// Remembers the previous tick sample so each call reports the busy share since the last one.
/// The first call only stores its sample and reports nullopt. Thread-safe: the previous sample
/// is read and replaced under the sampler's lock.
class CPUUsageSampler {
  public:
    CPUUsageSampler() = default;
    CPUUsageSampler(const CPUUsageSampler&) = delete;
    CPUUsageSampler& operator=(const CPUUsageSampler&) = delete;

    /// The process-wide sampler, created on first use (thread-safe).
    static CPUUsageSampler& shared();

    /// Takes one sample from `root`/proc/stat. An unreadable sample gives nullopt and leaves the
    /// stored sample unchanged.
    std::optional<double> sample(const std::string& root = "/");
    /// The same with a sample already read (nullopt = the read failed).
    std::optional<double> record(const std::optional<CPUTicks>& current);

  private:
    std::mutex mutex_;
    std::optional<CPUTicks> previous_;
};

// ---- Load average (/proc/loadavg) ----

/// The one-minute load average (first field); nullopt when it is not a finite number.
std::optional<double> parseLoadAverage(std::string_view procLoadavg);
std::optional<double> readLoadAverage(const std::string& root = "/");

// ---- Processor counts (/sys/devices/system/cpu) ----

/// The number of processors in a kernel CPU list such as "0-3,6,8-9"; nullopt when damaged.
std::optional<int> parseCPUListCount(std::string_view list);
/// The number of per-processor "cpuN" lines of /proc/stat (the online processors).
std::optional<int> countCPULines(std::string_view procStat);

struct ProcessorCounts {
    std::optional<int> configured;  ///< `present`, else `possible`
    std::optional<int> active;      ///< `online`, else the cpuN lines of /proc/stat
    friend bool operator==(const ProcessorCounts&, const ProcessorCounts&) = default;
};
ProcessorCounts readProcessorCounts(const std::string& root = "/");

// ---- Thermal zones (/sys/class/thermal) ----

enum class HostThermalState { nominal, fair, serious, critical };

/// One zone's temperature and trip points, in millidegrees Celsius.
struct ThermalZoneReading {
    std::optional<int64_t> temperature;
    bool enabled = true;                  ///< `mode` is not "disabled"
    std::optional<int64_t> activeTrip;    ///< lowest "active" trip (fans engage)
    std::optional<int64_t> passiveTrip;   ///< lowest "passive" trip (processor throttling)
    std::optional<int64_t> hotTrip;       ///< lowest "hot" trip
    std::optional<int64_t> criticalTrip;  ///< lowest "critical" trip (emergency shutdown)
};

/// At or above a critical or hot trip: critical; at or above passive: serious (the kernel
/// throttles); at or above active: fair (cooling engaged); below every trip: nominal. nullopt when
/// the zone is disabled, has no temperature, or has no trip point to compare with (a bare
/// temperature says nothing about how hot is too hot for that sensor). Trips at or below 0 are
/// placeholders and ignored.
std::optional<HostThermalState> classifyThermalZone(const ThermalZoneReading& zone);

struct ThermalStatistics {
    /// The most severe state of all zones that could be classified; nullopt when none could.
    std::optional<HostThermalState> state;
    int zonesAssessed = 0;
};
ThermalStatistics readThermalStatistics(const std::string& root = "/");

// ---- Uptime (/proc/uptime) ----

/// Seconds since boot (first field); nullopt when it is not a finite, non-negative number.
std::optional<double> parseUptime(std::string_view procUptime);
std::optional<double> readUptime(const std::string& root = "/");

// ---- Files ----

/// The whole text of a kernel file below `root` (`relative` starts without "/"), read to the
/// end (proc files report size 0) and capped at 4 MiB; nullopt when it cannot be opened or read.
std::optional<std::string> readHostFile(const std::string& root, std::string_view relative);

}  // namespace velmora

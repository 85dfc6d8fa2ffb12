#include "CleanerCore/platform/HostStatistics.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

constexpr size_t kMaximumHostFileBytes = 4 * 1024 * 1024;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
    return s;
}

// The next blank-separated word of `s`, consumed from it; empty at the end.
std::string_view nextWord(std::string_view& s) {
    size_t b = 0;
    while (b < s.size() && isBlank(s[b])) ++b;
    size_t e = b;
    while (e < s.size() && !isBlank(s[e])) ++e;
    std::string_view word = s.substr(b, e - b);
    s.remove_prefix(e);
    return word;
}

// The lines of `text`, without their newline.
template <typename F>
void forEachLine(std::string_view text, F&& line) {
    while (!text.empty()) {
        size_t end = text.find('\n');
        if (end == std::string_view::npos) end = text.size();
        line(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// A whole word as a number of type T; nullopt when anything else is in it.
template <typename T>
std::optional<T> wholeNumber(std::string_view word) {
    T value{};
    auto [end, ec] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (word.empty() || ec != std::errc() || end != word.data() + word.size()) return std::nullopt;
    if constexpr (std::is_floating_point_v<T>) {
        if (!std::isfinite(value)) return std::nullopt;
    }
    return value;
}

std::optional<uint64_t> checkedAdd(std::optional<uint64_t> a, std::optional<uint64_t> b) {
    if (!a || !b || *a > std::numeric_limits<uint64_t>::max() - *b) return std::nullopt;
    return *a + *b;
}

std::string joinedPath(const std::string& root, std::string_view relative) {
    std::string path = root;
    if (path.empty() || path.back() != '/') path += '/';
    path += relative;
    return path;
}

}  // namespace

std::optional<std::string> readHostFile(const std::string& root, std::string_view relative) {
    const std::string path = joinedPath(root, relative);
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!fd) return std::nullopt;
    std::string text;
    char buffer[8192];
    while (text.size() < kMaximumHostFileBytes) {
        ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::nullopt;
        if (n == 0) break;
        text.append(buffer, static_cast<size_t>(n));
    }
    return text;
}

// ---- Memory ----

MemoryStatistics parseMeminfo(std::string_view text) {
    // Only the fields the figures need; the first occurrence of each counts.
    struct Field {
        std::string_view name;
        std::optional<uint64_t> bytes;
        bool seen = false;
    };
    Field fields[] = {{"MemTotal:", {}, false}, {"MemAvailable:", {}, false},
                      {"MemFree:", {}, false},  {"Buffers:", {}, false},
                      {"Cached:", {}, false},   {"SReclaimable:", {}, false}};
    forEachLine(text, [&](std::string_view line) {
        std::string_view rest = line;
        const std::string_view name = nextWord(rest);
        for (auto& field : fields) {
            if (field.seen || name != field.name) continue;
            field.seen = true;
            auto value = wholeNumber<uint64_t>(nextWord(rest));
            const std::string_view unit = nextWord(rest);
            if (!value || !nextWord(rest).empty()) return;
            if (unit == "kB") {
                if (*value > std::numeric_limits<uint64_t>::max() / 1024) return;
                field.bytes = *value * 1024;
            } else if (unit.empty()) {
                field.bytes = value;
            }
        }
    });
    const auto& [total, available, memFree, buffers, cached, reclaimable] = fields;

    MemoryStatistics out;
    out.physicalBytes = total.bytes;
    if (!total.bytes) return out;
    std::optional<uint64_t> obtainable = available.bytes;
    if (!available.bytes) {
        // Kernels before 3.14: free plus what the page cache would give back.
        obtainable = checkedAdd(checkedAdd(memFree.bytes, buffers.bytes), cached.bytes);
        if (reclaimable.bytes) obtainable = checkedAdd(obtainable, reclaimable.bytes);
    }
    if (obtainable) out.usedBytes = *total.bytes - std::min(*obtainable, *total.bytes);
    return out;
}

MemoryStatistics readMemoryStatistics(const std::string& root) {
    auto text = readHostFile(root, "proc/meminfo");
    return text ? parseMeminfo(*text) : MemoryStatistics{};
}

// ---- Processor ticks ----

std::optional<CPUTicks> parseCPUTicks(std::string_view procStat) {
    std::optional<CPUTicks> out;
    bool found = false;
    forEachLine(procStat, [&](std::string_view line) {
        std::string_view rest = line;
        if (found || nextWord(rest) != "cpu") return;
        found = true;
        // user nice system idle [iowait irq softirq steal guest guest_nice]
        std::optional<uint64_t> v[7];
        int count = 0;
        for (; count < 7; ++count) {
            const std::string_view word = nextWord(rest);
            if (word.empty()) break;
            v[count] = wholeNumber<uint64_t>(word);
            if (!v[count]) return;
        }
        if (count < 4) return;
        for (int i = count; i < 7; ++i) v[i] = 0;
        auto system = checkedAdd(checkedAdd(v[2], v[5]), v[6]);
        auto idle = checkedAdd(v[3], v[4]);
        if (!system || !idle) return;
        out = CPUTicks{*v[0], *system, *idle, *v[1]};
    });
    return out;
}

std::optional<CPUTicks> readCPUTicks(const std::string& root) {
    auto text = readHostFile(root, "proc/stat");
    return text ? parseCPUTicks(*text) : std::nullopt;
}

std::optional<double> cpuBusyShare(const CPUTicks& previous, const CPUTicks& current) {
    auto busy = checkedAdd(checkedAdd(current.user, current.system), current.nice);
    auto total = checkedAdd(busy, current.idle);
    auto previousBusy = checkedAdd(checkedAdd(previous.user, previous.system), previous.nice);
    auto previousTotal = checkedAdd(previousBusy, previous.idle);
    if (!total || !previousTotal || *total <= *previousTotal) return std::nullopt;
    const uint64_t busyDelta = *busy > *previousBusy ? *busy - *previousBusy : 0;
    const double usage =
        static_cast<double>(busyDelta) / static_cast<double>(*total - *previousTotal);
    return std::clamp(usage, 0.0, 1.0);
}

CPUUsageSampler& CPUUsageSampler::shared() {
    static CPUUsageSampler sampler;
    return sampler;
}

std::optional<double> CPUUsageSampler::sample(const std::string& root) {
    return record(readCPUTicks(root));
}

std::optional<double> CPUUsageSampler::record(const std::optional<CPUTicks>& current) {
    if (!current) return std::nullopt;
    std::lock_guard lock(mutex_);
    std::optional<double> usage;
    if (previous_) usage = cpuBusyShare(*previous_, *current);
    previous_ = current;
    return usage;
}

// ---- Load average ----

std::optional<double> parseLoadAverage(std::string_view procLoadavg) {
    return wholeNumber<double>(nextWord(procLoadavg));
}

std::optional<double> readLoadAverage(const std::string& root) {
    auto text = readHostFile(root, "proc/loadavg");
    return text ? parseLoadAverage(*text) : std::nullopt;
}

// ---- Processor counts ----

std::optional<int> parseCPUListCount(std::string_view list) {
    list = trimmed(list);
    if (list.empty()) return std::nullopt;
    constexpr uint64_t kMaximumProcessors = 1u << 20;
    uint64_t count = 0;
    while (true) {
        const size_t comma = list.find(',');
        const std::string_view range = list.substr(0, comma);
        const size_t dash = range.find('-');
        auto first = wholeNumber<uint64_t>(range.substr(0, dash));
        auto last =
            dash == std::string_view::npos ? first : wholeNumber<uint64_t>(range.substr(dash + 1));
        if (!first || !last || *last < *first || *last >= kMaximumProcessors) return std::nullopt;
        count += *last - *first + 1;
        if (count > kMaximumProcessors) return std::nullopt;
        if (comma == std::string_view::npos) break;
        list.remove_prefix(comma + 1);
    }
    return static_cast<int>(count);
}

std::optional<int> countCPULines(std::string_view procStat) {
    int count = 0;
    forEachLine(procStat, [&](std::string_view line) {
        std::string_view rest = line;
        const std::string_view name = nextWord(rest);
        if (name.size() > 3 && name.starts_with("cpu") && wholeNumber<unsigned>(name.substr(3))) {
            ++count;
        }
    });
    return count > 0 ? std::optional<int>(count) : std::nullopt;
}

ProcessorCounts readProcessorCounts(const std::string& root) {
    auto listCount = [&](std::string_view relative) -> std::optional<int> {
        auto text = readHostFile(root, relative);
        return text ? parseCPUListCount(*text) : std::nullopt;
    };
    ProcessorCounts out;
    out.configured = listCount("sys/devices/system/cpu/present");
    if (!out.configured) out.configured = listCount("sys/devices/system/cpu/possible");
    out.active = listCount("sys/devices/system/cpu/online");
    if (!out.active) {
        auto stat = readHostFile(root, "proc/stat");
        if (stat) out.active = countCPULines(*stat);
    }
    return out;
}

// ---- Thermal zones ----

std::optional<HostThermalState> classifyThermalZone(const ThermalZoneReading& zone) {
    if (!zone.enabled || !zone.temperature) return std::nullopt;
    const int64_t t = *zone.temperature;
    auto reached = [t](const std::optional<int64_t>& trip) {
        return trip && *trip > 0 && t >= *trip;
    };
    auto usable = [](const std::optional<int64_t>& trip) { return trip && *trip > 0; };
    if (!usable(zone.activeTrip) && !usable(zone.passiveTrip) && !usable(zone.hotTrip) &&
        !usable(zone.criticalTrip)) {
        return std::nullopt;
    }
    if (reached(zone.criticalTrip) || reached(zone.hotTrip)) return HostThermalState::critical;
    if (reached(zone.passiveTrip)) return HostThermalState::serious;
    if (reached(zone.activeTrip)) return HostThermalState::fair;
    return HostThermalState::nominal;
}

namespace {

std::optional<int64_t> readMillidegrees(const std::string& root, const std::string& relative) {
    auto text = readHostFile(root, relative);
    return text ? wholeNumber<int64_t>(trimmed(*text)) : std::nullopt;
}

// Keeps the lowest usable trip of a kind: the earliest point at which the kernel acts.
void keepLowest(std::optional<int64_t>& slot, int64_t value) {
    if (value > 0 && (!slot || value < *slot)) slot = value;
}

ThermalZoneReading readZone(const std::string& root, const std::string& zone) {
    ThermalZoneReading reading;
    reading.temperature = readMillidegrees(root, zone + "/temp");
    if (auto mode = readHostFile(root, zone + "/mode")) {
        reading.enabled = trimmed(*mode) != "disabled";
    }
    // Trip points are numbered from 0 without gaps.
    for (int i = 0; i < 64; ++i) {
        const std::string prefix = zone + "/trip_point_" + std::to_string(i) + "_";
        auto type = readHostFile(root, prefix + "type");
        if (!type) break;
        auto temperature = readMillidegrees(root, prefix + "temp");
        if (!temperature) continue;
        const std::string_view kind = trimmed(*type);
        if (kind == "active") keepLowest(reading.activeTrip, *temperature);
        if (kind == "passive") keepLowest(reading.passiveTrip, *temperature);
        if (kind == "hot") keepLowest(reading.hotTrip, *temperature);
        if (kind == "critical") keepLowest(reading.criticalTrip, *temperature);
    }
    return reading;
}

}  // namespace

ThermalStatistics readThermalStatistics(const std::string& root) {
    ThermalStatistics out;
    const std::string folder = joinedPath(root, "sys/class/thermal");
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), ::closedir);
    if (!dir) return out;
    std::vector<std::string> zones;
    while (const dirent* entry = ::readdir(dir.get())) {
        const std::string_view name = entry->d_name;
        if (name.starts_with("thermal_zone") && wholeNumber<unsigned>(name.substr(12))) {
            zones.emplace_back(name);
        }
    }
    for (const auto& zone : zones) {
        auto state = classifyThermalZone(readZone(root, "sys/class/thermal/" + zone));
        if (!state) continue;
        ++out.zonesAssessed;
        if (!out.state || *state > *out.state) out.state = state;
    }
    return out;
}

// ---- Uptime ----

std::optional<double> parseUptime(std::string_view procUptime) {
    auto seconds = wholeNumber<double>(nextWord(procUptime));
    if (seconds && *seconds < 0) return std::nullopt;
    return seconds;
}

std::optional<double> readUptime(const std::string& root) {
    auto text = readHostFile(root, "proc/uptime");
    return text ? parseUptime(*text) : std::nullopt;
}

}  // namespace velmora

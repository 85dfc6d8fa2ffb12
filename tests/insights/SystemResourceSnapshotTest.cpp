// The system resource snapshot: its classification rules at their boundaries, the kernel-file
// parsers on real and damaged texts, the processor sampler's first and later samples, the
// thermal-zone mapping on a fake /sys tree, and the JSON coding.
#include "CleanerCore/insights/SystemResourceSnapshot.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;
using test::writeFile;

constexpr uint64_t GiB = 1024ull * 1024 * 1024;

// ---- Rules ----

TEST(SystemResourceRulesTest, MemoryPressureThresholds) {
    const std::tuple<uint64_t, uint64_t, MemoryPressure> cases[] = {
        {7 * GiB, 8 * GiB, MemoryPressure::high},  // 0.875
        {85, 100, MemoryPressure::high},          {8 * GiB, 8 * GiB, MemoryPressure::high},
        {84, 100, MemoryPressure::moderate},      {7, 10, MemoryPressure::moderate},  // exactly 0.7
        {69, 100, MemoryPressure::normal},        {0, 8 * GiB, MemoryPressure::normal},
        {0, 0, MemoryPressure::unknown},          {5, 0, MemoryPressure::unknown},
    };
    for (const auto& [used, physical, expected] : cases) {
        EXPECT_EQ(classifyMemoryPressure(used, physical), expected) << used << "/" << physical;
    }
}

TEST(SystemResourceRulesTest, LoadAverageFallbackIsClampedPerActiveProcessor) {
    const std::tuple<double, int, double> cases[] = {
        {12, 8, 1.0}, {2, 4, 0.5}, {0.5, 0, 0.5}, {0.5, -3, 0.5}, {-1, 4, 0.0}, {0, 1, 0.0},
    };
    for (const auto& [load, active, expected] : cases) {
        EXPECT_DOUBLE_EQ(normalizedLoadFromLoadAverage(load, active), expected)
            << load << " on " << active;
    }
}

// Failed reads degrade to zeros and the fallbacks: the load average per active processor when
// the sampler has no value, the active count when the configured one is unreadable, used memory
// capped at physical, at least one active processor.
TEST(SystemResourceRulesTest, AssemblyDegradesFailedReadsAndAppliesTheFallbacks) {
    const HostReadings full{{16 * GiB, 12 * GiB},        3.0,   {8, 4}, 0.25,
                            {HostThermalState::fair, 2}, 1234.5};
    const std::string zones(kThermalZonesTemperatureDetail);
    using P = MemoryPressure;
    const std::vector<std::tuple<const char*, HostReadings, SystemResourceSnapshot>> cases = {
        {"all read",
         full,
         {7, 16 * GiB, 12 * GiB, P::moderate, 3, 0.25, 8, 4, ThermalState::fair, 1234.5, zones}},
        {"no sample, no configured count",
         {full.memory, 12, {std::nullopt, 8}, std::nullopt, full.thermal, 1234.5},
         {7, 16 * GiB, 12 * GiB, P::moderate, 12, 1, 8, 8, ThermalState::fair, 1234.5, zones}},
        {"odd values",
         {{8 * GiB, 9 * GiB}, -2, {0, 0}, std::nullopt, full.thermal, 1234.5},
         {7, 8 * GiB, 8 * GiB, P::high, 0, 0, 0, 1, ThermalState::fair, 1234.5, zones}},
        {"nothing readable",
         {},
         {7, 0, 0, P::unknown, 0, 0, 1, 1, ThermalState::unknown, 0,
          std::string(kNoThermalZonesTemperatureDetail)}},
    };
    for (const auto& [name, readings, expected] : cases) {
        EXPECT_EQ(makeSystemResourceSnapshot(readings, 7), expected) << name;
    }
    EXPECT_EQ(makeSystemResourceSnapshot(full, 7).freeMemoryBytes(), 4 * GiB);
    // A record built memberwise may hold used > physical; free memory is then 0.
    SystemResourceSnapshot built;
    built.physicalMemoryBytes = 1;
    built.usedMemoryBytes = 2;
    EXPECT_EQ(built.freeMemoryBytes(), 0u);
}

// ---- Parsers ----

constexpr const char* kMeminfo =
    "MemTotal:       16318412 kB\n"
    "MemFree:         1034520 kB\n"
    "MemAvailable:    9876544 kB\n"
    "Buffers:          402932 kB\n"
    "Cached:          7560200 kB\n"
    "SwapCached:            0 kB\n"
    "SReclaimable:     512000 kB\n"
    "HugePages_Total:       0\n";

TEST(HostStatisticsParserTest, Meminfo) {
    const uint64_t total = 16318412ull * 1024;
    const std::string withoutAvailable = [] {
        std::string s = kMeminfo;
        s.erase(s.find("MemAvailable"), s.find("Buffers") - s.find("MemAvailable"));
        return s;
    }();
    const uint64_t estimated = total - (1034520ull + 402932 + 7560200 + 512000) * 1024;
    const std::pair<std::string, MemoryStatistics> cases[] = {
        {kMeminfo, {total, total - 9876544ull * 1024}},
        {withoutAvailable, {total, estimated}},
        {"MemTotal: 100 kB\nMemAvailable: lots kB\nMemFree: 10 kB\nBuffers: 0 kB\nCached: 20 kB\n",
         {102400, 70 * 1024}},  // damaged MemAvailable: the estimate
        {"MemTotal: 100 kB\nMemAvailable: 400 kB\n", {102400, 0}},
        {"MemTotal: 100 kB\n", {102400, std::nullopt}},
        {"MemAvailable: 10 kB\n", {}},
        {"MemTotal: 18446744073709551615 kB\nMemAvailable: 1 kB\n", {}},  // overflows bytes
        {"MemTotal: -5 kB\n", {}},
        {"MemTotal 100 kB\n", {}},
        {"MemTotal: 100 kB trailing\n", {}},
        {"MemTotal:", {}},
        {"", {}},
        {std::string("\0\xff\n:::\n", 7), {}},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(parseMeminfo(text), expected) << text;
    }
}

TEST(HostStatisticsParserTest, CPUTicks) {
    const std::pair<std::string, std::optional<CPUTicks>> cases[] = {
        // user nice system idle iowait irq softirq steal guest guest_nice
        {"cpu  100 5 30 800 20 3 2 7 0 0\ncpu0 50 2 15 400 10 1 1 3 0 0\nintr 1 2 3\n",
         CPUTicks{100, 35, 820, 5}},
        {"cpu 1 2 3 4\n", CPUTicks{1, 3, 4, 2}},
        {"intr 5\ncpu 1 2 3 4 5\n", CPUTicks{1, 3, 9, 2}},
        {"cpu 1 2 3\n", std::nullopt},
        {"cpu 1 2 x 4\n", std::nullopt},
        {"cpu0 1 2 3 4\n", std::nullopt},
        {"cpu 18446744073709551615 0 0 0 1 0 0\n", CPUTicks{18446744073709551615ull, 0, 1, 0}},
        {"cpu 0 0 18446744073709551615 0 0 1 0\n", std::nullopt},  // system sum overflows
        {"", std::nullopt},
        {"garbage", std::nullopt},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(parseCPUTicks(text), expected) << text;
    }
}

TEST(HostStatisticsParserTest, SmallFiles) {
    EXPECT_EQ(parseLoadAverage("0.52 0.58 0.59 1/1024 12345\n"), 0.52);
    EXPECT_EQ(parseLoadAverage("12 1 1 1/2 3"), 12.0);
    for (const char* bad : {"", "\n", "x 0.5", "nan 1 1", "inf"}) {
        EXPECT_EQ(parseLoadAverage(bad), std::nullopt) << bad;
    }
    EXPECT_EQ(parseUptime("35.12 120.50\n"), 35.12);
    for (const char* bad : {"", "-3 1", "up 1", "1e400"}) {
        EXPECT_EQ(parseUptime(bad), std::nullopt) << bad;
    }
    const std::pair<const char*, std::optional<int>> lists[] = {
        {"0-7\n", 8},
        {"0\n", 1},
        {"0-3,6,8-9\n", 7},
        {"", std::nullopt},
        {"3-1", std::nullopt},
        {"0-", std::nullopt},
        {"0,,1", std::nullopt},
        {"a-b", std::nullopt},
        {"0-99999999999", std::nullopt},
    };
    for (const auto& [text, expected] : lists) {
        EXPECT_EQ(parseCPUListCount(text), expected) << text;
    }
    EXPECT_EQ(countCPULines("cpu 1 2 3 4\ncpu0 1\ncpu1 1\ncpufreq 1\nintr 3\n"), 2);
    EXPECT_EQ(countCPULines("cpu 1 2 3 4\n"), std::nullopt);
}

// ---- Processor sampler ----

TEST(CPUUsageSamplerTest, BusyShareBetweenTwoSamples) {
    const std::tuple<CPUTicks, CPUTicks, std::optional<double>> cases[] = {
        // {user, system, idle, nice}: nice time is busy time.
        {{100, 50, 800, 50}, {120, 55, 870, 55}, 0.3},
        {{0, 0, 0, 0}, {10, 10, 20, 0}, 0.5},
        {{0, 0, 0, 0}, {10, 0, 0, 0}, 1.0},
        {{10, 0, 0, 0}, {5, 0, 10, 0}, 0.0},  // busy fell while idle grew: 0, not negative
        {{5, 5, 5, 5}, {5, 5, 5, 5}, std::nullopt},
        {{5, 5, 5, 5}, {1, 1, 1, 1}, std::nullopt},
        {{0, 0, 0, 0}, {UINT64_MAX, 1, 0, 0}, std::nullopt},  // the sum overflows
    };
    for (const auto& [previous, current, expected] : cases) {
        EXPECT_EQ(cpuBusyShare(previous, current), expected);
    }
}

// ---- Processor counts and thermal zones ----

TEST(HostStatisticsTreeTest, ProcessorCountsPreferSysfsThenFallBack) {
    TestTree tree;
    EXPECT_EQ(readProcessorCounts(tree.root()), ProcessorCounts{});
    writeFile(tree, "proc/stat", "cpu 1 1 1 1\ncpu0 1 1 1 1\ncpu1 1 1 1 1\ncpu2 1 1 1 1\n");
    writeFile(tree, "sys/devices/system/cpu/possible", "0-63\n");
    EXPECT_EQ(readProcessorCounts(tree.root()), (ProcessorCounts{64, 3}));
    writeFile(tree, "sys/devices/system/cpu/present", "0-7\n");
    writeFile(tree, "sys/devices/system/cpu/online", "0-5\n");
    EXPECT_EQ(readProcessorCounts(tree.root()), (ProcessorCounts{8, 6}));
}

TEST(HostStatisticsTreeTest, ThermalZoneClassification) {
    auto zone = [](std::optional<int64_t> t, std::optional<int64_t> active,
                   std::optional<int64_t> passive, std::optional<int64_t> critical) {
        return ThermalZoneReading{t, true, active, passive, std::nullopt, critical};
    };
    using S = HostThermalState;
    const std::pair<ThermalZoneReading, std::optional<S>> cases[] = {
        {zone(40000, 60000, 80000, 100000), S::nominal},
        {zone(60000, 60000, 80000, 100000), S::fair},
        {zone(80000, 60000, 80000, 100000), S::serious},
        {zone(100000, 60000, 80000, 100000), S::critical},
        {zone(95000, std::nullopt, std::nullopt, 90000), S::critical},
        {zone(95000, std::nullopt, std::nullopt, std::nullopt), std::nullopt},  // no trips
        {zone(95000, 0, -1, std::nullopt), std::nullopt},  // placeholder trips only
        {zone(std::nullopt, 60000, 80000, 100000), std::nullopt},
        {ThermalZoneReading{50000, true, std::nullopt, std::nullopt, 45000, 90000}, S::critical},
        {ThermalZoneReading{99000, false, 1, 1, 1, 1}, std::nullopt},  // disabled
    };
    for (const auto& [reading, expected] : cases) {
        EXPECT_EQ(classifyThermalZone(reading), expected) << reading.temperature.value_or(-1);
    }
}

TEST(HostStatisticsTreeTest, ThermalStateIsTheWorstZoneOfAFakeSysTree) {
    TestTree tree;
    EXPECT_EQ(readThermalStatistics(tree.root()).state, std::nullopt);  // no thermal folder
    auto addZone = [&](const std::string& name, const std::string& temp,
                       const std::vector<std::pair<std::string, std::string>>& trips) {
        const std::string zone = "sys/class/thermal/" + name + "/";
        writeFile(tree, zone + "temp", temp);
        for (size_t i = 0; i < trips.size(); ++i) {
            const std::string trip = zone + "trip_point_" + std::to_string(i) + "_";
            writeFile(tree, trip + "type", trips[i].first + "\n");
            writeFile(tree, trip + "temp", trips[i].second + "\n");
        }
    };
    addZone("thermal_zone0", "45000\n", {{"critical", "105000"}, {"passive", "95000"}});
    addZone("thermal_zone1", "garbage\n", {{"critical", "1"}});  // unreadable sensor
    addZone("thermal_zone2", "70000\n", {});                     // no trip points
    tree.dir("sys/class/thermal/cooling_device0");
    auto stats = readThermalStatistics(tree.root());
    EXPECT_EQ(stats.state, HostThermalState::nominal);
    EXPECT_EQ(stats.zonesAssessed, 1);

    // Two "active" trips: the lower one is where the fans start.
    addZone("thermal_zone3", "62000\n",
            {{"active", "70000"}, {"active", "60000"}, {"critical", "bad"}, {"hot", "99000"}});
    stats = readThermalStatistics(tree.root());
    EXPECT_EQ(stats.state, HostThermalState::fair);
    EXPECT_EQ(stats.zonesAssessed, 2);

    addZone("thermal_zone4", "96000\n", {{"passive", "95000"}});
    EXPECT_EQ(readThermalStatistics(tree.root()).state, HostThermalState::serious);
    writeFile(tree, "sys/class/thermal/thermal_zone4/mode", "disabled\n");
    EXPECT_EQ(readThermalStatistics(tree.root()).state, HostThermalState::fair);
}

TEST(HostStatisticsTreeTest, CaptureFromAFakeHost) {
    TestTree tree;
    writeFile(tree, "proc/meminfo", kMeminfo);
    writeFile(tree, "proc/loadavg", "6.00 1.00 1.00 2/300 999\n");
    writeFile(tree, "proc/uptime", "5000.25 9000.00\n");
    writeFile(tree, "proc/stat", "cpu 100 0 100 800 0 0 0\ncpu0 1 1 1 1\ncpu1 1 1 1 1\n");
    CPUUsageSampler sampler;
    auto capture = [&] {
        return makeSystemResourceSnapshot(readHostReadings(tree.root(), sampler), 1);
    };
    const uint64_t total = 16318412ull * 1024;
    // First capture: no sample yet, so 6 ÷ 2 processors, clamped.
    EXPECT_EQ(capture(),
              (SystemResourceSnapshot{1, total, total - 9876544ull * 1024, MemoryPressure::normal,
                                      6, 1, 2, 2, ThermalState::unknown, 5000.25,
                                      std::string(kNoThermalZonesTemperatureDetail)}));
    // Identical ticks: still the fallback; then the busy share since the previous capture.
    EXPECT_DOUBLE_EQ(capture().normalizedCPULoad, 1.0);
    writeFile(tree, "proc/stat", "cpu 110 0 100 890 0 0 0\ncpu0 1 1 1 1\ncpu1 1 1 1 1\n");
    EXPECT_DOUBLE_EQ(capture().normalizedCPULoad, 0.1);
    // An unreadable /proc/stat keeps the reference sample: the fallback, then the share again.
    ::unlink(tree.path("proc/stat").c_str());
    EXPECT_DOUBLE_EQ(capture().normalizedCPULoad, 1.0);
    writeFile(tree, "proc/stat", "cpu 130 0 100 970 0 0 0\n");
    EXPECT_DOUBLE_EQ(*sampler.sample(tree.root()), 0.2);
    // Counters that went backwards give no value but become the new reference.
    writeFile(tree, "proc/stat", "cpu 1 1 1 1\n");
    EXPECT_EQ(sampler.sample(tree.root()), std::nullopt);
    writeFile(tree, "proc/stat", "cpu 1 1 1 5\n");
    EXPECT_DOUBLE_EQ(*sampler.sample(tree.root()), 0.0);
}

TEST(HostStatisticsTreeTest, CaptureOfThisMachineKeepsItsInvariants) {
    for (int i = 0; i < 2; ++i) {  // the second capture has a processor sample
        auto s = SystemResourceSnapshot::capture();
        EXPECT_GT(s.physicalMemoryBytes, 0u);
        EXPECT_LE(s.usedMemoryBytes, s.physicalMemoryBytes);
        EXPECT_GE(s.activeProcessorCount, 1);
        EXPECT_GE(s.cpuLoadAverage, 0);
        EXPECT_GE(s.normalizedCPULoad, 0);
        EXPECT_LE(s.normalizedCPULoad, 1);
        EXPECT_GT(s.uptime, 0);
        EXPECT_NEAR(s.capturedAt, currentDate(), 60);
    }
}

// ---- JSON ----

SystemResourceSnapshot sample() {
    const Date at = dateFromUnixSeconds(1700000000.123456789);
    return {at,
            8 * GiB,
            7 * GiB,
            MemoryPressure::high,
            0.52,
            0.1 + 0.2,
            12,
            8,
            ThermalState::serious,
            12345.678,
            std::string(kMacTemperatureDetail)};
}

TEST(SystemResourceSnapshotJsonTest, RoundTripsBitIdentical) {
    const auto s = sample();
    const std::string text = encodeSystemResourceSnapshot(s);
    EXPECT_NE(text.find("\"memoryPressure\":\"High\""), std::string::npos);
    EXPECT_NE(text.find("\"thermalState\":\"Serious\""), std::string::npos);

    auto back = decodeSystemResourceSnapshot(text);
    ASSERT_TRUE(back) << back.error();
    EXPECT_EQ(*back, s);
    const std::hash<SystemResourceSnapshot> hash;
    EXPECT_EQ(hash(*back), hash(s));
    nlohmann::json sorted = s;  // the plain json type as other records embed it
    EXPECT_EQ(sorted.get<SystemResourceSnapshot>(), s);
    for (auto state : {ThermalState::nominal, ThermalState::fair, ThermalState::critical,
                       ThermalState::unknown}) {
        auto other = s;
        other.thermalState = state;
        other.memoryPressure = MemoryPressure::unknown;
        EXPECT_EQ(*decodeSystemResourceSnapshot(encodeSystemResourceSnapshot(other)), other);
        EXPECT_NE(hash(other), hash(s));
    }
}

TEST(SystemResourceSnapshotJsonTest, RejectsMissingKeysAndWrongValues) {
    const nlohmann::json good = sample();
    const std::pair<const char*, nlohmann::json> changes[] = {
        {"physicalMemoryBytes", -1},       {"usedMemoryBytes", 1.5},
        {"memoryPressure", "Elevated"},    {"thermalState", 3},
        {"processorCount", 4294967296ull}, {"activeProcessorCount", "8"},
        {"capturedAt", "yesterday"},       {"uptime", nullptr},
    };
    for (const auto& [key, value] : changes) {
        auto changed = good;
        changed[key] = value;
        auto decoded = decodeSystemResourceSnapshot(changed.dump());
        EXPECT_FALSE(decoded) << key;
    }
    for (const auto& [key, value] : good.items()) {
        auto missing = good;
        missing.erase(key);
        auto decoded = decodeSystemResourceSnapshot(missing.dump());
        ASSERT_FALSE(decoded) << key;
        EXPECT_NE(decoded.error().find(key), std::string::npos) << decoded.error();
    }
    for (const char* text : {"", "[]", "null", "{\"capturedAt\":", "\xff"}) {
        EXPECT_FALSE(decodeSystemResourceSnapshot(text)) << text;
    }
}

}  // namespace
}  // namespace velmora

// The metric history: normalization on every path in, the 900-second restore window, and the
// debounced writes against a hand-driven clock.
#include "VelmoraUI/state/SystemMetricHistory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "VelmoraUI/state/PreferenceFile.h"
#include "support/FakeTime.h"
#include "support/TestTree.h"

namespace velmora {
namespace {

using test::TestTree;

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr uint64_t kSecond = 1'000'000'000;
constexpr Date kNow = 800'000'000;

SystemResourceSnapshot snapshot(Date at, double cpu, uint64_t used, uint64_t physical,
                                ThermalState thermal) {
    SystemResourceSnapshot s;
    s.capturedAt = at;
    s.normalizedCPULoad = cpu;
    s.usedMemoryBytes = used;
    s.physicalMemoryBytes = physical;
    s.thermalState = thermal;
    return s;
}

struct StoreFixture {
    TestTree tree;
    PreferenceFile file = openPreferenceFileAt(tree.path("config/Velmora.conf"));
    SystemMetricHistoryStore store{*file.settings};

    void put(const std::string& json) {
        ASSERT_TRUE(storePreference(*file.settings, kSystemMetricHistoryKey,
                                    QByteArray::fromStdString(json)));
    }
    bool stored() const {
        return preferenceData(*file.settings, kSystemMetricHistoryKey).has_value();
    }
};

TEST(SystemMetricHistoryTest, ConstructionNormalizesValuesAndKeepsTheNewest24) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const SystemMetricHistory h({1.5, -0.5, nan, kInf, -kInf, 0.25}, {}, {}, std::nullopt, kNow);
    EXPECT_EQ(h.cpuLoad(), (std::vector<double>{1, 0, 0, 1, 0, 0.25}));
    EXPECT_EQ(h.lastUpdatedAt(), kNow) << "values without a date are dated now";
    EXPECT_EQ(SystemMetricHistory({}, {}, {}, std::nullopt, kNow).lastUpdatedAt(), std::nullopt);

    SystemMetricHistory grown;
    for (int i = 0; i < 30; ++i) {
        grown = grown.appending(
            snapshot(kNow + i, i / 100.0, static_cast<uint64_t>(i), 100, ThermalState::fair));
    }
    ASSERT_EQ(grown.cpuLoad().size(), 24u);
    ASSERT_EQ(grown.memoryUsage().size(), 24u);
    ASSERT_EQ(grown.thermalPressure().size(), 24u);
    EXPECT_DOUBLE_EQ(grown.cpuLoad().front(), 0.06) << "the oldest six were dropped";
    EXPECT_DOUBLE_EQ(grown.memoryUsage().back(), 0.29);
    EXPECT_EQ(grown.lastUpdatedAt(), kNow + 29);
}

TEST(SystemMetricHistoryTest, SnapshotFieldsMapIntoTheSeries) {
    const SystemMetricHistory empty;
    const auto memoryUnknown = empty.appending(snapshot(kNow, 0.5, 7, 0, ThermalState::unknown));
    EXPECT_EQ(memoryUnknown.memoryUsage(), std::vector<double>{0});
    EXPECT_EQ(memoryUnknown.cpuLoad(), std::vector<double>{0.5});

    // The thermal scale rises strictly from nominal to critical.
    const ThermalState order[] = {ThermalState::nominal, ThermalState::fair, ThermalState::serious,
                                  ThermalState::critical};
    EXPECT_EQ(thermalPressureValue(order[0]), 0);
    EXPECT_EQ(thermalPressureValue(order[3]), 1);
    for (int i = 1; i < 4; ++i) {
        EXPECT_LT(thermalPressureValue(order[i - 1]), thermalPressureValue(order[i]));
    }
}

TEST(SystemMetricHistoryTest, SaveThenLoadRoundTripsBitForBit) {
    StoreFixture f;
    const SystemMetricHistory h({0.1, 0.7}, {0.3}, {1.0 / 3.0}, kNow - 0.123456789, kNow);
    f.store.save(h);
    EXPECT_EQ(f.store.load(kNow), h);
}

TEST(SystemMetricHistoryTest, LoadDropsWhatIsNotWorthRestoringAndRemovesTheKey) {
    struct Case {
        const char* name;
        std::string json;
        bool kept;
    };
    auto dated = [](Date at) {
        return R"({"cpuLoad":[0.5],"memoryUsage":[],"thermalPressure":[],"lastUpdatedAt":)" +
               nlohmann::json(at).dump() + "}";
    };
    const Case cases[] = {
        {"exactly 900 s old", dated(kNow - 900), true},
        {"just written", dated(kNow), true},
        {"901 s old", dated(kNow - 901), false},
        {"1 s in the future", dated(kNow + 1), false},
        {"undated values", R"({"cpuLoad":[0.5],"memoryUsage":[],"thermalPressure":[]})", false},
        {"undated and empty", R"({"cpuLoad":[],"memoryUsage":[],"thermalPressure":[]})", false},
        {"not JSON", "{\"cpuLoad\":[0.5", false},
        {"a series missing", R"({"cpuLoad":[0.5],"memoryUsage":[],"lastUpdatedAt":0})", false},
        {"a text value", R"({"cpuLoad":["0.5"],"memoryUsage":[],"thermalPressure":[]})", false},
        {"a text date",
         R"({"cpuLoad":[],"memoryUsage":[],"thermalPressure":[],)"
         R"("lastUpdatedAt":"now"})",
         false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        StoreFixture f;
        f.put(c.json);
        const SystemMetricHistory loaded = f.store.load(kNow);
        EXPECT_EQ(loaded.isEmpty(), !c.kept);
        EXPECT_EQ(f.stored(), c.kept);
    }
}

TEST(SystemMetricHistoryTest, StoredValuesAreNormalizedOnLoad) {
    StoreFixture f;
    f.put(R"({"cpuLoad":[1.5,-2,1e300],"memoryUsage":[0.5],"thermalPressure":[],)"
          R"("lastUpdatedAt":)" +
          nlohmann::json(kNow).dump() + "}");
    const SystemMetricHistory loaded = f.store.load(kNow);
    EXPECT_EQ(loaded.cpuLoad(), (std::vector<double>{1, 0, 1}));
    EXPECT_EQ(loaded.memoryUsage(), std::vector<double>{0.5});
}

// The scheduler: writes are counted, time moves only when the test says so.
class PersistenceSchedulerTest : public ::testing::Test {
  protected:
    static constexpr uint64_t kDebounce = 2 * kSecond;
    static constexpr uint64_t kMaximumDeferral = 10 * kSecond;

    std::shared_ptr<test::FakeClock> clock = std::make_shared<test::FakeClock>();
    test::FakeScheduler timers{clock};
    std::vector<std::pair<uint64_t, SystemMetricHistory>> writes;  // (when, what)
    SystemMetricHistoryPersistenceScheduler scheduler{
        [this](const SystemMetricHistory& h) { writes.emplace_back(clock->now, h); }, kDebounce,
        kMaximumDeferral, *clock, timers};

    static SystemMetricHistory history(int n) {
        return SystemMetricHistory({n / 100.0}, {}, {}, kNow + n, kNow);
    }
};

TEST_F(PersistenceSchedulerTest, ABurstIsWrittenOnceAfterTheDebounceWithTheLastHistory) {
    for (int i = 0; i < 10; ++i) {
        timers.advanceTo(clock->now + kSecond / 10);
        scheduler.schedule(history(i));
    }
    const uint64_t last = clock->now;
    timers.advanceTo(last + kDebounce - 1);
    EXPECT_TRUE(writes.empty());
    timers.advanceTo(last + 60 * kSecond);
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].first, last + kDebounce);
    EXPECT_EQ(writes[0].second, history(9));
}

TEST_F(PersistenceSchedulerTest, ASteadyStreamIsWrittenAtLeastOncePerMaximumDeferral) {
    // An update every second never lets the 2-second debounce run out.
    for (int i = 0; i < 45; ++i) {
        scheduler.schedule(history(i));
        timers.advanceTo(clock->now + kSecond);
    }
    ASSERT_GE(writes.size(), 4u);
    uint64_t previous = 0;
    for (const auto& [when, h] : writes) {
        EXPECT_LE(when - previous, kMaximumDeferral + kSecond);
        previous = when;
    }
    EXPECT_LE(clock->now - previous, kMaximumDeferral + kSecond);
}

TEST_F(PersistenceSchedulerTest, FlushWritesTheWaitingHistoryAtOnceAndCancelsThePendingWrite) {
    scheduler.schedule(history(1));
    scheduler.flush();
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].second, history(1));
    timers.advanceTo(60 * kSecond);
    scheduler.flush();
    EXPECT_EQ(writes.size(), 1u) << "nothing was waiting any more";
}

TEST(PersistenceSchedulerLifetimeTest, ATimerFiringAfterTheSchedulerIsGoneDoesNothing) {
    auto clock = std::make_shared<test::FakeClock>();
    test::FakeScheduler timers{clock};
    int writes = 0;
    {
        SystemMetricHistoryPersistenceScheduler scheduler([&](const auto&) { ++writes; }, kSecond,
                                                          10 * kSecond, *clock, timers);
        scheduler.schedule(SystemMetricHistory({0.5}, {}, {}, kNow));
    }
    timers.advanceTo(5 * kSecond);
    EXPECT_EQ(writes, 0);
}

}  // namespace
}  // namespace velmora

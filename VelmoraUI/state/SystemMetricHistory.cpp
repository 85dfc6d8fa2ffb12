#include "VelmoraUI/state/SystemMetricHistory.h"

#include <cmath>
#include <mutex>
#include <nlohmann/json.hpp>

#include "VelmoraUI/state/PreferenceFile.h"

namespace velmora {

namespace {

std::vector<double> normalizedSeries(std::vector<double> values) {
    constexpr auto keep = static_cast<std::ptrdiff_t>(SystemMetricHistory::kMaximumValues);
    if (values.size() > SystemMetricHistory::kMaximumValues) {
        values.erase(values.begin(), values.end() - keep);
    }
    for (double& v : values) v = normalizedMetricValue(v);
    return values;
}

std::vector<double> appended(std::vector<double> values, double value) {
    values.push_back(value);
    return values;
}

struct DecodedHistory {
    SystemMetricHistory history;
    bool dated = false;
};

Result<DecodedHistory> decodeDated(std::string_view text) {
    const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
    if (json.is_discarded()) return fail("the stored metric history is not JSON");
    if (!json.is_object()) return fail("the stored metric history is not a JSON object");
    std::vector<double> series[3];
    static constexpr const char* kKeys[] = {"cpuLoad", "memoryUsage", "thermalPressure"};
    for (size_t i = 0; i < 3; ++i) {
        const auto it = json.find(kKeys[i]);
        if (it == json.end() || !it->is_array()) {
            return fail(std::string("the stored metric history has no array \"") + kKeys[i] + "\"");
        }
        for (const auto& value : *it) {
            if (!value.is_number()) {
                return fail(std::string("the stored metric history has a value in \"") + kKeys[i] +
                            "\" that is not a number");
            }
            series[i].push_back(value.get<double>());
        }
    }
    std::optional<Date> lastUpdatedAt;
    if (const auto it = json.find("lastUpdatedAt"); it != json.end()) {
        if (!it->is_number())
            return fail("the stored metric history has a date that is not a number");
        lastUpdatedAt = it->get<double>();
    }
    const bool dated = lastUpdatedAt.has_value();
    return DecodedHistory{SystemMetricHistory(std::move(series[0]), std::move(series[1]),
                                              std::move(series[2]), lastUpdatedAt),
                          dated};
}

}  // namespace

double normalizedMetricValue(double value) {
    if (std::isnan(value)) return 0;
    // Clamping maps the infinities to the bounds as well.
    return std::clamp(value, 0.0, 1.0);
}

double thermalPressureValue(ThermalState state) {
    switch (state) {
        case ThermalState::nominal:
            return 0;
        case ThermalState::fair:
            return 1.0 / 3.0;
        case ThermalState::serious:
            return 2.0 / 3.0;
        case ThermalState::critical:
            return 1;
        case ThermalState::unknown:
            return 0;
    }
    return 0;
}

SystemMetricHistory::SystemMetricHistory(std::vector<double> cpuLoad,
                                         std::vector<double> memoryUsage,
                                         std::vector<double> thermalPressure,
                                         std::optional<Date> lastUpdatedAt, Date now)
    : cpuLoad_(normalizedSeries(std::move(cpuLoad))),
      memoryUsage_(normalizedSeries(std::move(memoryUsage))),
      thermalPressure_(normalizedSeries(std::move(thermalPressure))),
      lastUpdatedAt_(lastUpdatedAt) {
    if (!lastUpdatedAt_ && !isEmpty()) lastUpdatedAt_ = now;
}

bool SystemMetricHistory::isEmpty() const {
    return cpuLoad_.empty() && memoryUsage_.empty() && thermalPressure_.empty();
}

SystemMetricHistory SystemMetricHistory::appending(const SystemResourceSnapshot& snapshot) const {
    const double memory = snapshot.physicalMemoryBytes == 0
                              ? 0
                              : static_cast<double>(snapshot.usedMemoryBytes) /
                                    static_cast<double>(snapshot.physicalMemoryBytes);
    return SystemMetricHistory(
        appended(cpuLoad_, snapshot.normalizedCPULoad), appended(memoryUsage_, memory),
        appended(thermalPressure_, thermalPressureValue(snapshot.thermalState)),
        snapshot.capturedAt);
}

std::string encodeSystemMetricHistory(const SystemMetricHistory& history) {
    nlohmann::ordered_json json;
    json["cpuLoad"] = history.cpuLoad();
    json["memoryUsage"] = history.memoryUsage();
    json["thermalPressure"] = history.thermalPressure();
    if (history.lastUpdatedAt()) json["lastUpdatedAt"] = *history.lastUpdatedAt();
    return json.dump();
}

Result<SystemMetricHistory> decodeSystemMetricHistory(std::string_view text) {
    auto decoded = decodeDated(text);
    if (!decoded) return fail(decoded.error());
    return std::move(decoded->history);
}

SystemMetricHistory SystemMetricHistoryStore::load(Date now) const {
    const auto blob = preferenceData(*settings_, storageKey_);
    if (!blob) return {};
    const auto decoded = decodeDated(std::string_view(blob->constData(), blob->size()));
    // Undated values may be of any age, so they are dropped like stale ones rather than being
    // dated now.
    if (decoded && decoded->dated) {
        const double age = now - *decoded->history.lastUpdatedAt();
        if (age >= 0 && age <= kMaximumAgeSeconds) return decoded->history;
    }
    removePreference(*settings_, storageKey_);
    return {};
}

void SystemMetricHistoryStore::save(const SystemMetricHistory& history) const {
    const std::string text = encodeSystemMetricHistory(history);
    storePreference(*settings_, storageKey_,
                    QByteArray(text.data(), static_cast<qsizetype>(text.size())));
}

// ---- Scheduled saving ----
// A scheduled task cannot be withdrawn from the Scheduler, so cancelling bumps `generation`:
// a task that wakes up with an older generation does nothing. Tasks hold the state weakly, so
// one that fires after the scheduler is gone does nothing either.

struct SystemMetricHistoryPersistenceScheduler::State {
    State(Writer w, uint64_t d, uint64_t m, MonotonicClock& c, Scheduler& s)
        : write(std::move(w)), debounce(d), maximumDeferral(m), clock(c), scheduler(s) {}

    Writer write;
    uint64_t debounce;
    uint64_t maximumDeferral;
    MonotonicClock& clock;
    Scheduler& scheduler;

    std::mutex mutex;
    std::optional<SystemMetricHistory> waiting;
    bool pending = false;
    uint64_t generation = 0;
    uint64_t firstUnsavedChange = 0;  ///< meaningful while `pending`

    // Called with the lock held: one write at a time.
    void writeWaiting() {
        ++generation;
        pending = false;
        if (waiting) {
            const SystemMetricHistory history = std::move(*waiting);
            waiting.reset();
            write(history);
        }
    }
};

SystemMetricHistoryPersistenceScheduler::SystemMetricHistoryPersistenceScheduler(
    Writer write, uint64_t debounceNanoseconds, uint64_t maximumDeferredSaveNanoseconds,
    MonotonicClock& clock, Scheduler& scheduler)
    : state_(new State{std::move(write), debounceNanoseconds, maximumDeferredSaveNanoseconds, clock,
                       scheduler}) {}

SystemMetricHistoryPersistenceScheduler::~SystemMetricHistoryPersistenceScheduler() {
    // A task already running holds its own reference and the lock; wait for it to finish.
    std::lock_guard lock(state_->mutex);
    ++state_->generation;
    state_->pending = false;
}

void SystemMetricHistoryPersistenceScheduler::schedule(SystemMetricHistory history) {
    State& s = *state_;
    std::lock_guard lock(s.mutex);
    s.waiting = std::move(history);
    const uint64_t now = s.clock.nowNanoseconds();
    if (s.pending && now - s.firstUnsavedChange >= s.maximumDeferral) {
        s.writeWaiting();
        return;
    }
    if (!s.pending) s.firstUnsavedChange = now;
    s.pending = true;
    const uint64_t generation = ++s.generation;
    s.scheduler.schedule(s.debounce, [weak = std::weak_ptr<State>(state_), generation] {
        const auto state = weak.lock();
        if (!state) return;
        std::lock_guard held(state->mutex);
        if (state->pending && state->generation == generation) state->writeWaiting();
    });
}

void SystemMetricHistoryPersistenceScheduler::flush() {
    std::lock_guard lock(state_->mutex);
    state_->writeWaiting();
}

}  // namespace velmora

#pragma once
// The recent CPU load, memory use and thermal pressure behind the system panel's sparklines:
// three short series fed by successive system snapshots, kept in the preference file so that a
// quick relaunch continues the line, and written through a debounce so that frequent sampling
// does not become frequent writes.
#include <QSettings>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/Result.h"
#include "CleanerCore/base/Scheduling.h"
#include "CleanerCore/insights/SystemResourceSnapshot.h"

namespace velmora {

/// A value record whose every construction path normalizes: each value is clamped to [0, 1]
/// (+infinity becomes 1, -infinity and NaN become 0), each series keeps only its 24 most recent
/// values, and `lastUpdatedAt` is the given instant, else `now` when any series has a value,
/// else absent. The default value is the empty history.
class SystemMetricHistory {
  public:
    static constexpr size_t kMaximumValues = 24;

    SystemMetricHistory() = default;
    SystemMetricHistory(std::vector<double> cpuLoad, std::vector<double> memoryUsage,
                        std::vector<double> thermalPressure, std::optional<Date> lastUpdatedAt,
                        Date now = currentDate());

    /// Oldest first, each value in [0, 1].
    const std::vector<double>& cpuLoad() const { return cpuLoad_; }
    const std::vector<double>& memoryUsage() const { return memoryUsage_; }
    const std::vector<double>& thermalPressure() const { return thermalPressure_; }
    const std::optional<Date>& lastUpdatedAt() const { return lastUpdatedAt_; }
    bool isEmpty() const;

    /// One more value at the end of each series, dated at the snapshot's capture:
    /// - CPU: `normalizedCPULoad`, the processor busy fraction;
    /// - memory: `usedMemoryBytes` ÷ `physicalMemoryBytes` (0 when physical memory is unknown);
    /// - thermal: `thermalPressureValue(thermalState)`.
    SystemMetricHistory appending(const SystemResourceSnapshot& snapshot) const;

    friend bool operator==(const SystemMetricHistory&, const SystemMetricHistory&) = default;

  private:
    std::vector<double> cpuLoad_;
    std::vector<double> memoryUsage_;
    std::vector<double> thermalPressure_;
    std::optional<Date> lastUpdatedAt_;
};

/// The thermal state as a number, monotone from nominal to critical: nominal 0, fair 1/3,
/// serious 2/3, critical 1. Unknown is 0: the line shows no pressure it cannot vouch for.
double thermalPressureValue(ThermalState state);

/// A value as the series hold it: finite values clamped to [0, 1], +inf 1, -inf and NaN 0.
double normalizedMetricValue(double value);

// ---- JSON ----
// An object with "cpuLoad", "memoryUsage", "thermalPressure" (arrays of numbers) and
// "lastUpdatedAt" (seconds since 2001-01-01, omitted when absent). Decoding requires the three
// arrays and normalizes through the constructor; a present but non-numeric date is an error.

std::string encodeSystemMetricHistory(const SystemMetricHistory& history);
Result<SystemMetricHistory> decodeSystemMetricHistory(std::string_view text);

inline constexpr std::string_view kSystemMetricHistoryKey = "velmora.systemMetricHistory.v1";

/// The history in the preference file. Main thread only (it shares the QSettings).
class SystemMetricHistoryStore {
  public:
    /// A history is worth restoring only after a quick relaunch; an older line would mislead.
    static constexpr double kMaximumAgeSeconds = 900;

    explicit SystemMetricHistoryStore(QSettings& settings,
                                      std::string storageKey = std::string(kSystemMetricHistoryKey))
        : settings_(&settings), storageKey_(std::move(storageKey)) {}

    /// The stored history, or the empty one. Damaged, undated, stale (older than 900 seconds
    /// at `now`) and future-dated data are dropped silently and the key is removed.
    SystemMetricHistory load(Date now) const;
    /// Writes the history; write failures are not reported (the line is only a convenience).
    void save(const SystemMetricHistory& history) const;

    const std::string& storageKey() const { return storageKey_; }

  private:
    QSettings* settings_;
    std::string storageKey_;
};

/// Coalesces save requests: a burst of updates is written once, `debounceNanoseconds` after
/// the last of them, and a steady stream is still written at least once per
/// `maximumDeferredSaveNanoseconds` (measured on the monotonic clock from the first unsaved
/// change). Its methods are serialized by a lock; `write` runs on the scheduler's thread, so
/// with a store give it a scheduler that runs on the store's (main) thread. Destroying it drops
/// any waiting history without writing; call `flush` first to keep it.
class SystemMetricHistoryPersistenceScheduler {
  public:
    using Writer = std::function<void(const SystemMetricHistory&)>;

    SystemMetricHistoryPersistenceScheduler(Writer write, uint64_t debounceNanoseconds,
                                            uint64_t maximumDeferredSaveNanoseconds,
                                            MonotonicClock& clock, Scheduler& scheduler);
    ~SystemMetricHistoryPersistenceScheduler();
    SystemMetricHistoryPersistenceScheduler(const SystemMetricHistoryPersistenceScheduler&) =
        delete;
    SystemMetricHistoryPersistenceScheduler& operator=(
        const SystemMetricHistoryPersistenceScheduler&) = delete;

    /// Asks for `history` to be written, replacing any history still waiting.
    void schedule(SystemMetricHistory history);
    /// Cancels the pending write and writes the waiting history now, if there is one.
    void flush();

  private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace velmora

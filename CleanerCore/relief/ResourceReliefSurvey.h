#pragma once
// The running applications of the current user on Linux, as resource relief lists them.
//
// An application is a group of this user's processes started from one desktop entry: the
// processes that name the entry through GIO_LAUNCHED_DESKTOP_FILE (with their own pid in
// GIO_LAUNCHED_DESKTOP_FILE_PID), a Flatpak id, or a systemd application scope, and that share
// the scope they run in. Processes without a desktop entry are not applications and are left
// out. The group's main process is its oldest; its usage is the sum of its processes.
//
// A survey samples every process twice, `sampleIntervalNanoseconds` apart: the wait is the
// injected sleeper's (a test's returns at once) and the interval is measured on the injected
// monotonic clock. A process that exits between the samples or whose id was taken by a new
// process (another start time) counts no more; a group whose main process is gone is reported
// terminated. Unreadable files leave the process out. Nothing is kept between surveys.
//
// Thread-safe: every call reads afresh; the clock and sleeper must be thread-safe too.
#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/base/Scheduling.h"
#include "CleanerCore/platform/ProcessTable.h"
#include "CleanerCore/relief/ResourceReliefModel.h"

namespace velmora {

struct ResourceReliefSurveySettings {
    std::string root = "/";  ///< the folder that plays "/" for /proc
    uid_t userID = 0;        ///< only this user's processes are applications
    pid_t selfProcessIdentifier = 0;
    std::vector<std::string> entryFolders;  ///< where desktop entries are found by id
    std::vector<std::string> locales;       ///< for the entries' localized names
    uint64_t sampleIntervalNanoseconds = 350'000'000;
    /// The machine's facts; read from `root` when absent.
    std::optional<ProcessHostFacts> hostFacts;

    /// This process, this user, the real /proc, the entry folders below `dataHome` and
    /// $XDG_DATA_DIRS, and the message locales of the environment.
    static ResourceReliefSurveySettings forCurrentProcess(const std::string& dataHome);
};

class ResourceReliefSurvey {
  public:
    using Sleeper = std::function<void(uint64_t nanoseconds)>;

    ResourceReliefSurvey(ResourceReliefSurveySettings settings, MonotonicClock& clock,
                         Sleeper sleep);

    /// Every application of the user with its usage over one sampling interval, ordered by
    /// main process id.
    std::vector<ResourceReliefProcessSnapshot> survey() const;

    /// One sample of the process `pid`: its application's name, identifier and visibility, its
    /// launch date and its own memory (no CPU share). A snapshot without name or identifier
    /// when it belongs to no application; nothing when no process of this user has that id.
    std::optional<ResourceReliefProcessSnapshot> revalidate(pid_t pid) const;

    /// The identifier of the application this process belongs to, if any: never offered.
    std::optional<std::string> ownApplicationID() const;

    /// Sends the ordinary quit request (SIGTERM) to the snapshot's process when it still is
    /// the process the snapshot describes (same launch date); true when it was sent. Acts on
    /// the real processes: only meaningful with the root "/".
    bool requestQuit(const ResourceReliefProcessSnapshot& snapshot) const;

  private:
    struct Identity;
    struct EntryCache;
    std::optional<Identity> identify(pid_t pid, EntryCache& cache) const;
    std::optional<Date> launchDate(const ProcessHostFacts& facts, uint64_t startTicks) const;
    ProcessHostFacts facts() const;

    ResourceReliefSurveySettings settings_;
    MonotonicClock& clock_;
    Sleeper sleep_;
};

/// Inside a sandbox this program cannot signal the host's processes.
ResourceReliefCapability reliefCapability(bool isSandboxed);

}  // namespace velmora

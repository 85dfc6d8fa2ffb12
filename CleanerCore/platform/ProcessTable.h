#pragma once
// The process table of a Linux machine as resource relief reads it: per process its owner,
// start time, processor time and resident pages from /proc/PID, and the desktop application
// it belongs to (the systemd application scope in /proc/PID/cgroup, the GIO launch variables or
// the Flatpak id in /proc/PID/environ). Also the quit request: SIGTERM, never SIGKILL.
//
// Every `parse...` function is pure and never fails on garbage (it returns nullopt). Every
// `read...` function takes the folder that plays "/" so tests can point it at a fake /proc
// tree; a process that vanished or whose files cannot be read gives nullopt. Thread-safe.
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// The fields of /proc/PID/stat that relief needs, in the kernel's units.
struct ProcessStat {
    uint64_t startTimeTicks = 0;  ///< since boot, in clock ticks
    uint64_t cpuTicks = 0;        ///< utime + stime
    uint64_t residentPages = 0;
    friend bool operator==(const ProcessStat&, const ProcessStat&) = default;
};

/// The command name in parentheses may hold spaces and parentheses itself: the fields are read
/// after the last ")".
std::optional<ProcessStat> parseProcessStat(std::string_view text);

/// The real user id: the first number of the "Uid:" line of /proc/PID/status.
std::optional<uid_t> parseStatusUserID(std::string_view status);

/// The systemd unit of a desktop application, from /proc/PID/cgroup: the last component of the
/// unified hierarchy's path when it is `app-[LAUNCHER-]ID-N.scope` or
/// `app-[LAUNCHER-]ID@N.service`, with systemd's "\xNN" escapes undone.
struct ApplicationScope {
    std::string applicationID;  ///< the desktop-file id, without ".desktop"
    std::string unit;           ///< the whole unit name: one instance of the application
    friend bool operator==(const ApplicationScope&, const ApplicationScope&) = default;
};
std::optional<ApplicationScope> parseApplicationScope(std::string_view cgroup);

/// What the launcher left in a process's environment (/proc/PID/environ, NUL-separated).
struct LaunchEnvironment {
    /// GIO_LAUNCHED_DESKTOP_FILE, only when GIO_LAUNCHED_DESKTOP_FILE_PID names `pid` itself
    /// (children inherit the variables but were not launched from the entry).
    std::optional<std::string> launchedDesktopFile;
    std::optional<std::string> flatpakID;  ///< FLATPAK_ID
    friend bool operator==(const LaunchEnvironment&, const LaunchEnvironment&) = default;
};
LaunchEnvironment parseLaunchEnvironment(std::string_view environ, pid_t pid);

/// The "btime" line of /proc/stat: the boot time in Unix seconds.
std::optional<uint64_t> parseBootTime(std::string_view procStat);

/// The process ids of `root`/proc, in no particular order.
std::vector<pid_t> listProcessIDs(const std::string& root = "/");
std::optional<uid_t> readProcessUserID(const std::string& root, pid_t pid);
std::optional<ProcessStat> readProcessStat(const std::string& root, pid_t pid);
std::optional<ApplicationScope> readApplicationScope(const std::string& root, pid_t pid);
/// Empty when the environment cannot be read (another user's process, a kernel thread).
LaunchEnvironment readLaunchEnvironment(const std::string& root, pid_t pid);

/// What the surveys need to know about the machine.
struct ProcessHostFacts {
    std::optional<uint64_t> bootTimeUnixSeconds;
    uint64_t clockTicksPerSecond = 100;
    uint64_t pageSize = 4096;
    std::optional<uint64_t> physicalMemoryBytes;
    int processorCount = 1;  ///< at least 1
};
ProcessHostFacts readProcessHostFacts(const std::string& root = "/");

enum class QuitRequestOutcome {
    sent,           ///< SIGTERM delivered
    refused,        ///< pid 1 or below, or a process of another user
    noSuchProcess,  ///< gone, or a different process now holds the id
    failed,         ///< the system would not deliver it
};

/// Sends SIGTERM — the ordinary request to end — to `pid` when it still is the process that
/// started at `expectedStartTimeTicks` and belongs to this user; never SIGKILL. The process is
/// pinned through a pidfd before the checks, so the signal cannot reach a process that took the
/// id over in between. Reads the real /proc.
QuitRequestOutcome sendQuitRequest(pid_t pid, uint64_t expectedStartTimeTicks);

}  // namespace velmora

#include "CleanerCore/platform/ProcessTable.h"

#include <dirent.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <memory>

#include "CleanerCore/platform/HostStatistics.h"
#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

std::optional<uint64_t> parseUnsigned(std::string_view text) {
    uint64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty())
        return std::nullopt;
    return value;
}

std::string_view nextField(std::string_view& rest) {
    size_t b = rest.find_first_not_of(" \t\n");
    if (b == std::string_view::npos) {
        rest = {};
        return {};
    }
    size_t e = rest.find_first_of(" \t\n", b);
    if (e == std::string_view::npos) e = rest.size();
    std::string_view field = rest.substr(b, e - b);
    rest.remove_prefix(e);
    return field;
}

std::string procPath(pid_t pid, std::string_view file) {
    return "proc/" + std::to_string(pid) + "/" + std::string(file);
}

// systemd escapes bytes of a unit name as "\xNN"; anything malformed stays as written.
std::string unescapedUnitText(std::string_view text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 3 < text.size() && text[i + 1] == 'x') {
            unsigned value = 0;
            auto [end, error] =
                std::from_chars(text.data() + i + 2, text.data() + i + 4, value, 16);
            if (error == std::errc() && end == text.data() + i + 4) {
                out += static_cast<char>(value);
                i += 3;
                continue;
            }
        }
        out += text[i];
    }
    return out;
}

// Launchers that put their name between "app-" and the application id.
bool isKnownLauncher(std::string_view word) {
    for (std::string_view l : {"gnome", "kde", "flatpak", "xfce", "cinnamon", "mate", "budgie",
                               "lxqt", "snap", "sway", "niri", "cosmic", "dbus"}) {
        if (word == l) return true;
    }
    return false;
}

}  // namespace

std::optional<ProcessStat> parseProcessStat(std::string_view text) {
    const size_t close = text.rfind(')');
    if (close == std::string_view::npos) return std::nullopt;
    std::string_view rest = text.substr(close + 1);
    // Fields after the name, counted from 3 (state): utime 14, stime 15, starttime 22, rss 24.
    std::optional<uint64_t> utime, stime, start, rss;
    for (int field = 3; field <= 24; ++field) {
        const std::string_view word = nextField(rest);
        if (word.empty()) return std::nullopt;
        if (field == 14) utime = parseUnsigned(word);
        if (field == 15) stime = parseUnsigned(word);
        if (field == 22) start = parseUnsigned(word);
        if (field == 24) {
            // rss is signed in the kernel's format; a negative value means none resident.
            rss = word.starts_with('-') ? std::optional<uint64_t>(0) : parseUnsigned(word);
        }
    }
    if (!utime || !stime || !start || !rss) return std::nullopt;
    if (*utime > UINT64_MAX - *stime) return std::nullopt;
    return ProcessStat{*start, *utime + *stime, *rss};
}

std::optional<uid_t> parseStatusUserID(std::string_view status) {
    size_t at = 0;
    while (at < status.size()) {
        size_t end = status.find('\n', at);
        if (end == std::string_view::npos) end = status.size();
        std::string_view line = status.substr(at, end - at);
        if (line.starts_with("Uid:")) {
            line.remove_prefix(4);
            auto value = parseUnsigned(nextField(line));
            if (!value || *value > UINT32_MAX - 1) return std::nullopt;
            return static_cast<uid_t>(*value);
        }
        at = end + 1;
    }
    return std::nullopt;
}

std::optional<ApplicationScope> parseApplicationScope(std::string_view cgroup) {
    // The unified hierarchy's line is "0::/path"; it is the one systemd places units in.
    std::string_view path;
    size_t at = 0;
    while (at < cgroup.size()) {
        size_t end = cgroup.find('\n', at);
        if (end == std::string_view::npos) end = cgroup.size();
        std::string_view line = cgroup.substr(at, end - at);
        if (line.starts_with("0::")) path = line.substr(3);
        at = end + 1;
    }
    const size_t slash = path.rfind('/');
    std::string_view unit = slash == std::string_view::npos ? path : path.substr(slash + 1);
    if (!unit.starts_with("app-")) return std::nullopt;
    std::string_view body = unit.substr(4);
    if (body.ends_with(".scope")) {
        body.remove_suffix(6);
        const size_t dash = body.rfind('-');
        if (dash == std::string_view::npos || dash + 1 == body.size()) return std::nullopt;
        body = body.substr(0, dash);
    } else if (body.ends_with(".service")) {
        body.remove_suffix(8);
        if (const size_t atSign = body.find('@'); atSign != std::string_view::npos)
            body = body.substr(0, atSign);
    } else {
        return std::nullopt;
    }
    if (const size_t dash = body.find('-');
        dash != std::string_view::npos && isKnownLauncher(body.substr(0, dash)))
        body.remove_prefix(dash + 1);
    std::string id = unescapedUnitText(body);
    if (id.empty() || id.find('/') != std::string::npos || id.find('\0') != std::string::npos)
        return std::nullopt;
    return ApplicationScope{std::move(id), std::string(unit)};
}

LaunchEnvironment parseLaunchEnvironment(std::string_view environ, pid_t pid) {
    std::optional<std::string_view> file, filePid, flatpak;
    size_t at = 0;
    while (at < environ.size()) {
        size_t end = environ.find('\0', at);
        if (end == std::string_view::npos) end = environ.size();
        const std::string_view entry = environ.substr(at, end - at);
        auto take = [&](std::string_view name, std::optional<std::string_view>& to) {
            if (!to && entry.starts_with(name) && entry.size() > name.size() &&
                entry[name.size()] == '=')
                to = entry.substr(name.size() + 1);
        };
        take("GIO_LAUNCHED_DESKTOP_FILE", file);
        take("GIO_LAUNCHED_DESKTOP_FILE_PID", filePid);
        take("FLATPAK_ID", flatpak);
        at = end + 1;
    }
    LaunchEnvironment out;
    if (file && filePid && !file->empty()) {
        auto value = parseUnsigned(*filePid);
        if (value && *value == static_cast<uint64_t>(pid)) out.launchedDesktopFile = *file;
    }
    if (flatpak && !flatpak->empty()) out.flatpakID = *flatpak;
    return out;
}

std::optional<uint64_t> parseBootTime(std::string_view procStat) {
    size_t at = 0;
    while (at < procStat.size()) {
        size_t end = procStat.find('\n', at);
        if (end == std::string_view::npos) end = procStat.size();
        std::string_view line = procStat.substr(at, end - at);
        if (line.starts_with("btime ")) {
            line.remove_prefix(6);
            return parseUnsigned(nextField(line));
        }
        at = end + 1;
    }
    return std::nullopt;
}

std::vector<pid_t> listProcessIDs(const std::string& root) {
    std::vector<pid_t> pids;
    const std::string folder = (root.ends_with('/') ? root : root + "/") + "proc";
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), ::closedir);
    if (!dir) return pids;
    while (const dirent* entry = ::readdir(dir.get())) {
        auto value = parseUnsigned(entry->d_name);
        if (value && *value > 0 && *value <= INT32_MAX) pids.push_back(static_cast<pid_t>(*value));
    }
    return pids;
}

std::optional<uid_t> readProcessUserID(const std::string& root, pid_t pid) {
    auto text = readHostFile(root, procPath(pid, "status"));
    return text ? parseStatusUserID(*text) : std::nullopt;
}

std::optional<ProcessStat> readProcessStat(const std::string& root, pid_t pid) {
    auto text = readHostFile(root, procPath(pid, "stat"));
    return text ? parseProcessStat(*text) : std::nullopt;
}

std::optional<ApplicationScope> readApplicationScope(const std::string& root, pid_t pid) {
    auto text = readHostFile(root, procPath(pid, "cgroup"));
    return text ? parseApplicationScope(*text) : std::nullopt;
}

LaunchEnvironment readLaunchEnvironment(const std::string& root, pid_t pid) {
    auto text = readHostFile(root, procPath(pid, "environ"));
    return text ? parseLaunchEnvironment(*text, pid) : LaunchEnvironment{};
}

ProcessHostFacts readProcessHostFacts(const std::string& root) {
    ProcessHostFacts facts;
    if (auto stat = readHostFile(root, "proc/stat")) {
        facts.bootTimeUnixSeconds = parseBootTime(*stat);
        if (auto n = countCPULines(*stat); n && *n > 0) facts.processorCount = *n;
    }
    if (const long ticks = ::sysconf(_SC_CLK_TCK); ticks > 0)
        facts.clockTicksPerSecond = static_cast<uint64_t>(ticks);
    if (const long page = ::sysconf(_SC_PAGESIZE); page > 0)
        facts.pageSize = static_cast<uint64_t>(page);
    facts.physicalMemoryBytes = readMemoryStatistics(root).physicalBytes;
    return facts;
}

QuitRequestOutcome sendQuitRequest(pid_t pid, uint64_t expectedStartTimeTicks) {
    if (pid <= 1) return QuitRequestOutcome::refused;
    // Pin the process first: a pidfd keeps naming this process even if it exits and its id is
    // reused, so the checks below are about the process the signal goes to.
    UniqueFd pinned(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    if (!pinned && errno == ESRCH) return QuitRequestOutcome::noSuchProcess;
    const auto uid = readProcessUserID("/", pid);
    const auto stat = readProcessStat("/", pid);
    if (!uid || !stat) return QuitRequestOutcome::noSuchProcess;
    if (*uid != ::getuid()) return QuitRequestOutcome::refused;
    if (stat->startTimeTicks != expectedStartTimeTicks) return QuitRequestOutcome::noSuchProcess;
    const long sent = pinned ? ::syscall(SYS_pidfd_send_signal, pinned.get(), SIGTERM, nullptr, 0)
                             : ::kill(pid, SIGTERM);  // kernels before 5.3 have no pidfd
    if (sent == 0) return QuitRequestOutcome::sent;
    return errno == ESRCH ? QuitRequestOutcome::noSuchProcess : QuitRequestOutcome::failed;
}

}  // namespace velmora

#include "CleanerCore/relief/ResourceReliefSurvey.h"

#include <unistd.h>

#include <algorithm>
#include <map>
#include <utility>

#include "CleanerCore/platform/DesktopEntry.h"

namespace velmora {

struct ResourceReliefSurvey::Identity {
    std::string applicationID;
    std::string instance;  ///< the scope unit; empty outside one
    DesktopEntryInfo entry;
};

// Entries read during one call, by id and by file path, so a hundred processes of one
// application read its entry once. Dropped when the call ends.
struct ResourceReliefSurvey::EntryCache {
    std::map<std::string, std::optional<DesktopEntryInfo>, std::less<>> byID;
    std::map<std::string, std::optional<DesktopEntryInfo>, std::less<>> byPath;
};

ResourceReliefSurveySettings ResourceReliefSurveySettings::forCurrentProcess(
    const std::string& dataHome) {
    ResourceReliefSurveySettings s;
    s.userID = ::getuid();
    s.selfProcessIdentifier = ::getpid();
    s.entryFolders = desktopEntryFolders(dataHome);
    s.locales = messageLocales();
    return s;
}

ResourceReliefSurvey::ResourceReliefSurvey(ResourceReliefSurveySettings settings,
                                           MonotonicClock& clock, Sleeper sleep)
    : settings_(std::move(settings)), clock_(clock), sleep_(std::move(sleep)) {}

ProcessHostFacts ResourceReliefSurvey::facts() const {
    return settings_.hostFacts ? *settings_.hostFacts : readProcessHostFacts(settings_.root);
}

std::optional<Date> ResourceReliefSurvey::launchDate(const ProcessHostFacts& facts,
                                                     uint64_t startTicks) const {
    if (!facts.bootTimeUnixSeconds) return std::nullopt;
    const uint64_t ticks = std::max<uint64_t>(facts.clockTicksPerSecond, 1);
    // Whole seconds and the fraction apart, so the same start time always gives the same date.
    const double seconds = static_cast<double>(*facts.bootTimeUnixSeconds + startTicks / ticks) +
                           static_cast<double>(startTicks % ticks) / static_cast<double>(ticks);
    return dateFromUnixSeconds(seconds);
}

std::optional<ResourceReliefSurvey::Identity> ResourceReliefSurvey::identify(
    pid_t pid, EntryCache& cache) const {
    const auto scope = readApplicationScope(settings_.root, pid);
    const LaunchEnvironment launch = readLaunchEnvironment(settings_.root, pid);
    auto byID = [&](const std::string& id) -> const std::optional<DesktopEntryInfo>& {
        auto it = cache.byID.find(id);
        if (it == cache.byID.end())
            it = cache.byID
                     .emplace(id, findDesktopEntry(id, settings_.entryFolders, settings_.locales))
                     .first;
        return it->second;
    };
    Identity identity;
    identity.instance = scope ? scope->unit : std::string();
    // The launch variables name this very process; the scope is inherited by every child, so
    // it comes last.
    if (launch.launchedDesktopFile) {
        auto it = cache.byPath.find(*launch.launchedDesktopFile);
        if (it == cache.byPath.end())
            it = cache.byPath
                     .emplace(*launch.launchedDesktopFile,
                              readDesktopEntryFile(*launch.launchedDesktopFile, settings_.locales))
                     .first;
        if (it->second) {
            identity.entry = *it->second;
            identity.applicationID = identity.entry.id;
            return identity;
        }
    }
    for (const auto* id : {launch.flatpakID ? &*launch.flatpakID : nullptr,
                           scope ? &scope->applicationID : nullptr}) {
        if (!id) continue;
        if (const auto& entry = byID(*id)) {
            identity.entry = *entry;
            identity.applicationID = *id;
            return identity;
        }
    }
    return std::nullopt;
}

std::vector<ResourceReliefProcessSnapshot> ResourceReliefSurvey::survey() const {
    const ProcessHostFacts host = facts();
    EntryCache cache;
    struct Process {
        pid_t pid;
        ProcessStat first;
        std::optional<ProcessStat> second;  ///< absent: gone or replaced by the second sample
    };
    struct Group {
        Identity identity;
        std::vector<Process> processes;
    };
    std::map<std::pair<std::string, std::string>, Group> groups;

    for (const pid_t pid : listProcessIDs(settings_.root)) {
        const auto uid = readProcessUserID(settings_.root, pid);
        if (!uid || *uid != settings_.userID) continue;
        const auto stat = readProcessStat(settings_.root, pid);
        if (!stat) continue;
        auto identity = identify(pid, cache);
        if (!identity) continue;
        auto key = std::make_pair(identity->applicationID, identity->instance);
        auto [it, added] = groups.try_emplace(std::move(key));
        if (added) it->second.identity = std::move(*identity);
        it->second.processes.push_back({pid, *stat, std::nullopt});
    }
    const uint64_t firstTime = clock_.nowNanoseconds();
    if (sleep_) sleep_(settings_.sampleIntervalNanoseconds);
    const uint64_t secondTime = clock_.nowNanoseconds();
    for (auto& [key, group] : groups) {
        for (auto& p : group.processes) {
            auto stat = readProcessStat(settings_.root, p.pid);
            if (stat && stat->startTimeTicks == p.first.startTimeTicks) p.second = stat;
        }
    }

    std::vector<ResourceReliefProcessSnapshot> snapshots;
    snapshots.reserve(groups.size());
    const uint64_t ticksPerSecond = std::max<uint64_t>(host.clockTicksPerSecond, 1);
    const double elapsed = secondTime > firstTime ? static_cast<double>(secondTime - firstTime) : 0;
    for (auto& [key, group] : groups) {
        const Process& main = *std::min_element(
            group.processes.begin(), group.processes.end(), [](const Process& a, const Process& b) {
                return std::pair(a.first.startTimeTicks, a.pid) <
                       std::pair(b.first.startTimeTicks, b.pid);
            });
        uint64_t ticks = 0, pages = 0;
        bool anyPair = false, wentBack = false, anyAlive = false;
        for (const auto& p : group.processes) {
            if (!p.second) continue;
            anyAlive = true;
            pages += p.second->residentPages;
            if (p.second->cpuTicks < p.first.cpuTicks) {
                wentBack = true;
            } else {
                ticks += p.second->cpuTicks - p.first.cpuTicks;
                anyPair = true;
            }
        }
        std::optional<double> cpu;
        const double capacity = elapsed * static_cast<double>(std::max(host.processorCount, 1));
        if (anyPair && !wentBack && capacity > 0) {
            const double busyNanoseconds =
                static_cast<double>(ticks) * 1e9 / static_cast<double>(ticksPerSecond);
            cpu = busyNanoseconds / capacity;
        }
        std::optional<uint64_t> resident;
        std::optional<double> memory;
        if (anyAlive) {
            resident = pages * host.pageSize;
            if (host.physicalMemoryBytes && *host.physicalMemoryBytes > 0)
                memory = static_cast<double>(std::min(*resident, *host.physicalMemoryBytes)) /
                         static_cast<double>(*host.physicalMemoryBytes);
        }
        ResourceReliefProcessSnapshot s;
        s.displayName = group.identity.entry.name;
        s.bundleIdentifier = group.identity.applicationID;
        s.processIdentifier = main.pid;
        s.isTerminated = !main.second;
        s.isUserVisible = !group.identity.entry.noDisplay && !group.identity.entry.hidden;
        s.launchDate = launchDate(host, main.first.startTimeTicks);
        s.usage = ResourceReliefUsageMetrics(cpu, resident, memory);
        snapshots.push_back(std::move(s));
    }
    std::sort(snapshots.begin(), snapshots.end(), [](const auto& a, const auto& b) {
        return a.processIdentifier < b.processIdentifier;
    });
    return snapshots;
}

std::optional<ResourceReliefProcessSnapshot> ResourceReliefSurvey::revalidate(pid_t pid) const {
    const auto uid = readProcessUserID(settings_.root, pid);
    if (!uid || *uid != settings_.userID) return std::nullopt;
    const auto stat = readProcessStat(settings_.root, pid);
    if (!stat) return std::nullopt;
    const ProcessHostFacts host = facts();
    EntryCache cache;
    ResourceReliefProcessSnapshot s;
    s.processIdentifier = pid;
    if (auto identity = identify(pid, cache)) {
        s.displayName = identity->entry.name;
        s.bundleIdentifier = identity->applicationID;
        s.isUserVisible = !identity->entry.noDisplay && !identity->entry.hidden;
    }
    s.launchDate = launchDate(host, stat->startTimeTicks);
    const uint64_t resident = stat->residentPages * host.pageSize;
    std::optional<double> memory;
    if (host.physicalMemoryBytes && *host.physicalMemoryBytes > 0)
        memory = static_cast<double>(std::min(resident, *host.physicalMemoryBytes)) /
                 static_cast<double>(*host.physicalMemoryBytes);
    s.usage = ResourceReliefUsageMetrics(std::nullopt, resident, memory);
    return s;
}

std::optional<std::string> ResourceReliefSurvey::ownApplicationID() const {
    EntryCache cache;
    auto identity = identify(settings_.selfProcessIdentifier, cache);
    if (!identity) return std::nullopt;
    return identity->applicationID;
}

bool ResourceReliefSurvey::requestQuit(const ResourceReliefProcessSnapshot& snapshot) const {
    const auto stat = readProcessStat(settings_.root, snapshot.processIdentifier);
    if (!stat || launchDate(facts(), stat->startTimeTicks) != snapshot.launchDate) return false;
    return sendQuitRequest(snapshot.processIdentifier, stat->startTimeTicks) ==
           QuitRequestOutcome::sent;
}

ResourceReliefCapability reliefCapability(bool isSandboxed) {
    return isSandboxed ? ResourceReliefCapability::appSandbox()
                       : ResourceReliefCapability::supported();
}

}  // namespace velmora

#include "CleanerCore/relief/ResourceReliefPolicy.h"

#include <algorithm>

#include "CleanerCore/base/Text.h"

namespace velmora {

namespace {

std::string normalizedIdentifier(const std::optional<std::string>& identifier) {
    return asciiLowercased(trimmedReliefText(identifier.value_or("")));
}

bool isProtected(const std::set<std::string>& protectedSet, const std::string& lowered) {
    for (const auto& entry : protectedSet) {
        const std::string e = asciiLowercased(entry);
        if (!e.empty() && e.back() == '*') {
            if (lowered.starts_with(std::string_view(e).substr(0, e.size() - 1))) return true;
        } else if (e == lowered) {
            return true;
        }
    }
    return false;
}

using Metric = std::optional<double> (ResourceReliefUsageMetrics::*)() const;

std::vector<ResourceReliefCandidate> ranked(std::vector<ResourceReliefCandidate> list,
                                            Metric metric,
                                            const DisplayNameComparator& compareNames) {
    auto before = [&](const ResourceReliefCandidate& a, const ResourceReliefCandidate& b) {
        const auto ma = (a.usage.*metric)();
        const auto mb = (b.usage.*metric)();
        if (ma.has_value() != mb.has_value()) return ma.has_value();
        if (ma && *ma != *mb) return *ma > *mb;
        if (a.isFrontmost != b.isFrontmost) return a.isFrontmost;
        if (const int c = compareNames(a.displayName, b.displayName); c != 0) return c < 0;
        const auto ia = a.bundleIdentifier ? std::string_view(*a.bundleIdentifier) : "";
        const auto ib = b.bundleIdentifier ? std::string_view(*b.bundleIdentifier) : "";
        if (ia != ib) return ia < ib;
        return a.processIdentifier < b.processIdentifier;
    };
    std::stable_sort(list.begin(), list.end(), before);
    return list;
}

}  // namespace

std::set<std::string> ResourceReliefPolicy::defaultProtectedBundleIdentifiers() {
    return {// The platform shell and settings applications of macOS.
            "com.apple.finder", "com.apple.systempreferences", "com.apple.systemsettings",
            "com.apple.dock", "com.apple.loginwindow", "com.apple.windowmanager",
            "com.apple.controlcenter", "com.apple.notificationcenterui", "com.apple.systemuiserver",
            // Desktop shells and panels.
            "org.gnome.shell", "gnome-shell", "org.kde.plasmashell", "plasmashell", "cinnamon",
            "org.cinnamon.cinnamon", "xfce4-panel", "xfdesktop", "mate-panel", "lxqt-panel",
            "budgie-panel",
            // Window managers and compositors.
            "org.kde.kwin", "kwin_x11", "kwin_wayland", "org.gnome.mutter", "mutter", "xfwm4",
            "marco", "muffin", "openbox",
            // Sessions, lock screens and settings.
            "gnome-session", "org.gnome.sessionmanager", "org.kde.ksmserver", "ksmserver",
            "xfce4-session", "lxqt-session", "mate-session", "org.gnome.settings",
            "gnome-control-center", "org.kde.systemsettings", "systemsettings",
            "xfce-settings-manager", "xfce4-settings-manager", "cinnamon-settings",
            "mate-control-center", "lxqt-config", "org.gnome.screensaver", "org.kde.kscreenlocker",
            // File managers that also draw the desktop.
            "org.gnome.nautilus", "nautilus", "org.kde.dolphin", "dolphin", "thunar",
            "org.xfce.thunar", "nemo", "caja", "pcmanfm", "pcmanfm-qt",
            // Portals that sandboxed applications talk to.
            "xdg-desktop-portal*", "org.freedesktop.impl.portal.*"};
}

std::optional<std::string> reliefDisplayName(const ResourceReliefProcessSnapshot& snapshot) {
    if (snapshot.displayName) {
        std::string name = trimmedReliefText(*snapshot.displayName);
        if (!name.empty()) return name;
    }
    if (snapshot.bundleIdentifier) {
        std::string identifier = trimmedReliefText(*snapshot.bundleIdentifier);
        if (!identifier.empty()) return identifier;
    }
    return std::nullopt;
}

ResourceReliefEligibility ResourceReliefPolicy::eligibility(
    const ResourceReliefProcessSnapshot& snapshot) const {
    using R = ResourceReliefProtectionReason;
    const std::string identifier = normalizedIdentifier(snapshot.bundleIdentifier);
    if (snapshot.processIdentifier == currentProcessIdentifier)
        return ResourceReliefEligibility::protectedBy(R::currentApplication);
    if (!identifier.empty() && identifier == normalizedIdentifier(currentBundleIdentifier))
        return ResourceReliefEligibility::protectedBy(R::currentApplication);
    if (snapshot.isTerminated) return ResourceReliefEligibility::protectedBy(R::alreadyTerminated);
    if (!snapshot.isUserVisible) return ResourceReliefEligibility::protectedBy(R::notUserVisible);
    if (identifier.empty() && !reliefDisplayName(snapshot))
        return ResourceReliefEligibility::protectedBy(R::missingUserFacingIdentity);
    if (!identifier.empty() && isProtected(protectedBundleIdentifiers, identifier))
        return ResourceReliefEligibility::protectedBy(R::protectedSystemApplication);
    if (!capability.canRequestQuitOtherApplications)
        return ResourceReliefEligibility::protectedBy(R::sandboxUnavailable);
    return ResourceReliefEligibility::actionable();
}

std::optional<ResourceReliefCandidate> ResourceReliefPolicy::candidate(
    const ResourceReliefProcessSnapshot& snapshot) const {
    auto name = reliefDisplayName(snapshot);
    if (!name) return std::nullopt;
    ResourceReliefCandidate c;
    c.id = ResourceReliefCandidateID::make(snapshot.bundleIdentifier, snapshot.processIdentifier);
    c.displayName = std::move(*name);
    c.bundleIdentifier = snapshot.bundleIdentifier;
    c.processIdentifier = snapshot.processIdentifier;
    c.isFrontmost = snapshot.isFrontmost;
    c.launchDate = snapshot.launchDate;
    c.usage = snapshot.usage;
    c.eligibility = eligibility(snapshot);
    return c;
}

std::vector<ResourceReliefCandidate> ResourceReliefPolicy::candidates(
    const std::vector<ResourceReliefProcessSnapshot>& snapshots) const {
    std::vector<ResourceReliefCandidate> out;
    out.reserve(snapshots.size());
    for (const auto& s : snapshots) {
        if (auto c = candidate(s)) out.push_back(std::move(*c));
    }
    return out;
}

bool ResourceReliefPolicy::isSameProcess(const ResourceReliefProcessSnapshot& snapshot,
                                         const ResourceReliefCandidate& candidate) {
    if (snapshot.processIdentifier != candidate.processIdentifier) return false;
    if (normalizedIdentifier(snapshot.bundleIdentifier) !=
        normalizedIdentifier(candidate.bundleIdentifier))
        return false;
    const auto name = reliefDisplayName(snapshot);
    if (!name || *name != candidate.displayName) return false;
    return snapshot.launchDate == candidate.launchDate;
}

std::vector<ResourceReliefCandidate> rankedByCPU(std::vector<ResourceReliefCandidate> candidates,
                                                 const DisplayNameComparator& compareNames) {
    return ranked(std::move(candidates), &ResourceReliefUsageMetrics::cpuFractionOfTotalCapacity,
                  compareNames);
}

std::vector<ResourceReliefCandidate> rankedByMemory(std::vector<ResourceReliefCandidate> candidates,
                                                    const DisplayNameComparator& compareNames) {
    return ranked(std::move(candidates),
                  &ResourceReliefUsageMetrics::memoryFractionOfPhysicalMemory, compareNames);
}

}  // namespace velmora

#include "CleanerCore/scanning/CleanupModel.h"

#include <algorithm>
#include <cmath>

namespace velmora {
namespace {

// One table per enumeration: index = enumerator value, text = raw string.
template <typename E, size_t N>
std::optional<E> fromRaw(const std::array<std::string_view, N>& names, std::string_view raw) {
    for (size_t i = 0; i < N; ++i) {
        if (names[i] == raw) return static_cast<E>(i);
    }
    return std::nullopt;
}

constexpr std::array<std::string_view, 2> kDepthNames = {"immediateChildren", "directoryItself"};
constexpr std::array<std::string_view, 3> kModeNames = {"standard", "aggressive", "direct"};
constexpr std::array<std::string_view, 3> kSafetyNames = {"safe", "caution", "manualReview"};
constexpr std::array<std::string_view, 3> kSafetyDisplay = {"Safe", "Caution", "Manual Review"};
constexpr std::array<std::string_view, 13> kCategoryNames = {
    "userCaches",           "userLogs",           "xcodeDerivedData",
    "simulatorCaches",      "appSandboxCaches",   "appContainerCaches",
    "groupContainerCaches", "xcodeDeviceSupport", "developerToolCaches",
    "packageManagerCaches", "buildArchives",      "temporaryFiles",
    "customFolder"};
constexpr std::array<std::string_view, 13> kCategoryDisplay = {"User Caches",
                                                               "User Logs",
                                                               "Xcode DerivedData",
                                                               "Simulator Caches",
                                                               "This App's Caches",
                                                               "App Container Caches",
                                                               "Group Container Caches",
                                                               "Xcode DeviceSupport",
                                                               "Developer Tool Caches",
                                                               "Package Manager Caches",
                                                               "Build Archives",
                                                               "Temporary Files",
                                                               "Custom Folder"};
constexpr std::array<std::string_view, 13> kCategoryDescriptions = {
    "Regenerable files stored by macOS apps in the current user's Library/Caches folder.",
    "Diagnostic logs in the current user's Library/Logs folder. Useful for debugging, but often "
    "safe to archive or remove.",
    "Xcode DerivedData stores project indexes and build artifacts that Xcode can rebuild; removing "
    "them may make the next indexing pass or build slower.",
    "Regenerable iOS Simulator cache files under CoreSimulator. Quit running simulators before "
    "reviewing or moving them to Trash.",
    "Only cache files owned by this app's sandbox. This is the main cleanup scope available on "
    "iOS.",
    "Caches inside sandboxed macOS app containers. Review carefully because apps may recreate "
    "them while running.",
    "Caches inside shared app group containers. Review carefully because multiple apps may depend "
    "on the same container.",
    "DeviceSupport files used by Xcode for physical-device debugging. They can often be "
    "regenerated or re-downloaded, but removal may slow the next device debugging setup.",
    "Caches and intermediate files from developer tools. Review paths carefully because active "
    "projects and running tools may still rely on them.",
    "Package-manager caches that can often be downloaded again. Review offline or pinned "
    "dependency needs before cleaning.",
    "Build archives and exported artifacts. They may be needed for symbolication, release "
    "history, or re-distribution.",
    "Temporary files that are not expected to persist between launches.",
    "A user-selected folder. Review contents carefully before cleaning."};
constexpr std::array<std::string_view, 2> kContainerKindNames = {"appContainer", "groupContainer"};
constexpr std::array<std::string_view, 3> kRunningStateNames = {"running", "notRunning", "unknown"};
constexpr std::array<std::string_view, 4> kIdentitySourceNames = {
    "appContainerPath", "groupContainerPossibleMatch", "runningAppExactMatch", "unknown"};

template <typename E>
size_t idx(E e) {
    return static_cast<size_t>(e);
}

}  // namespace

const std::array<CleanupCategory, kCleanupCategoryCount>& allCleanupCategories() {
    static const auto all = [] {
        std::array<CleanupCategory, kCleanupCategoryCount> a{};
        for (int i = 0; i < kCleanupCategoryCount; ++i) a[i] = static_cast<CleanupCategory>(i);
        return a;
    }();
    return all;
}

std::string_view rawValue(ScanDepth v) {
    return kDepthNames[idx(v)];
}
std::string_view rawValue(CleanupScanMode v) {
    return kModeNames[idx(v)];
}
std::string_view rawValue(CleanupSafety v) {
    return kSafetyNames[idx(v)];
}
std::string_view rawValue(CleanupCategory v) {
    return kCategoryNames[idx(v)];
}
std::string_view rawValue(AppCacheContainerKind v) {
    return kContainerKindNames[idx(v)];
}
std::string_view rawValue(AppCacheRunningState v) {
    return kRunningStateNames[idx(v)];
}
std::string_view rawValue(AppCacheIdentitySource v) {
    return kIdentitySourceNames[idx(v)];
}

std::optional<ScanDepth> scanDepthFromRaw(std::string_view r) {
    return fromRaw<ScanDepth>(kDepthNames, r);
}
std::optional<CleanupScanMode> scanModeFromRaw(std::string_view r) {
    return fromRaw<CleanupScanMode>(kModeNames, r);
}
std::optional<CleanupSafety> safetyFromRaw(std::string_view r) {
    return fromRaw<CleanupSafety>(kSafetyNames, r);
}
std::optional<CleanupCategory> categoryFromRaw(std::string_view r) {
    return fromRaw<CleanupCategory>(kCategoryNames, r);
}
std::optional<AppCacheContainerKind> containerKindFromRaw(std::string_view r) {
    return fromRaw<AppCacheContainerKind>(kContainerKindNames, r);
}
std::optional<AppCacheRunningState> runningStateFromRaw(std::string_view r) {
    return fromRaw<AppCacheRunningState>(kRunningStateNames, r);
}
std::optional<AppCacheIdentitySource> identitySourceFromRaw(std::string_view r) {
    return fromRaw<AppCacheIdentitySource>(kIdentitySourceNames, r);
}

std::string_view displayName(CleanupSafety v) {
    return kSafetyDisplay[idx(v)];
}
std::string_view displayName(CleanupCategory v) {
    return kCategoryDisplay[idx(v)];
}
std::string_view categoryDescription(CleanupCategory v) {
    return kCategoryDescriptions[idx(v)];
}

std::string CleanupCandidate::id() const {
    return candidateID(category, url.path);
}

std::string candidateID(CleanupCategory category, std::string_view standardizedPath) {
    std::string id(rawValue(category));
    id += ':';
    id += standardizedPath;
    return id;
}

void sortCandidatesForReport(std::vector<CleanupCandidate>& candidates) {
    // Sorted as positions, then moved into place cycle by cycle: a stable sort of the records
    // themselves would take a second buffer of them (hundreds of megabytes for a million).
    std::vector<size_t> order(candidates.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&candidates](size_t a, size_t b) {
        const CleanupCandidate& x = candidates[a];
        const CleanupCandidate& y = candidates[b];
        if (x.safety != y.safety) return x.safety < y.safety;
        return x.sizeBytes > y.sizeBytes;
    });
    // order[k] is the position whose candidate belongs at k; a finished slot is marked k.
    for (size_t start = 0; start < order.size(); ++start) {
        if (order[start] == start) continue;
        CleanupCandidate held = std::move(candidates[start]);
        size_t at = start;
        while (order[at] != start) {
            const size_t from = order[at];
            candidates[at] = std::move(candidates[from]);
            order[at] = at;
            at = from;
        }
        candidates[at] = std::move(held);
        order[at] = at;
    }
}

StorageScanProgress StorageScanProgress::make(std::optional<FileURL> currentURL,
                                              int64_t completedLocations, int64_t totalLocations,
                                              int64_t completedItems,
                                              int64_t completedItemsInCurrentLocation,
                                              std::optional<int64_t> totalItemsInCurrentLocation,
                                              int64_t foundCandidates, int64_t skippedItems,
                                              double fractionCompleted) {
    auto floor0 = [](int64_t v) { return v < 0 ? int64_t{0} : v; };
    StorageScanProgress p;
    p.currentURL = std::move(currentURL);
    p.completedLocations = floor0(completedLocations);
    p.totalLocations = floor0(totalLocations);
    p.completedItems = floor0(completedItems);
    p.completedItemsInCurrentLocation = floor0(completedItemsInCurrentLocation);
    if (totalItemsInCurrentLocation)
        p.totalItemsInCurrentLocation = floor0(*totalItemsInCurrentLocation);
    p.foundCandidates = floor0(foundCandidates);
    p.skippedItems = floor0(skippedItems);
    p.fractionCompleted =
        std::isnan(fractionCompleted) ? 0.0 : std::clamp(fractionCompleted, 0.0, 1.0);
    return p;
}

}  // namespace velmora

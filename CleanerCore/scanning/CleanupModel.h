#pragma once
// The records that carry a cleanup scan from its configuration to its result. Plain values:
// copyable, comparable, no behaviour beyond normalization. JSON coding lives in ModelJson.h.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/FileResourceIdentity.h"
#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/base/SharedValue.h"

namespace velmora {

enum class ScanDepth { immediateChildren, directoryItself };
enum class CleanupScanMode { standard, aggressive, direct };
enum class CleanupSafety { safe, caution, manualReview };

/// Thirteen categories; the declaration order is the order used wherever categories are listed.
enum class CleanupCategory {
    userCaches,
    userLogs,
    xcodeDerivedData,
    simulatorCaches,
    appSandboxCaches,
    appContainerCaches,
    groupContainerCaches,
    xcodeDeviceSupport,
    developerToolCaches,
    packageManagerCaches,
    buildArchives,
    temporaryFiles,
    customFolder,
};
inline constexpr int kCleanupCategoryCount = 13;
const std::array<CleanupCategory, kCleanupCategoryCount>& allCleanupCategories();

enum class AppCacheContainerKind { appContainer, groupContainer };
enum class AppCacheRunningState { running, notRunning, unknown };
enum class AppCacheIdentitySource {
    appContainerPath,
    groupContainerPossibleMatch,
    runningAppExactMatch,
    unknown,
};

// Raw strings (the case names) and their inverse; the inverse is nullopt for unknown text.
std::string_view rawValue(ScanDepth);
std::string_view rawValue(CleanupScanMode);
std::string_view rawValue(CleanupSafety);
std::string_view rawValue(CleanupCategory);
std::string_view rawValue(AppCacheContainerKind);
std::string_view rawValue(AppCacheRunningState);
std::string_view rawValue(AppCacheIdentitySource);
std::optional<ScanDepth> scanDepthFromRaw(std::string_view);
std::optional<CleanupScanMode> scanModeFromRaw(std::string_view);
std::optional<CleanupSafety> safetyFromRaw(std::string_view);
std::optional<CleanupCategory> categoryFromRaw(std::string_view);
std::optional<AppCacheContainerKind> containerKindFromRaw(std::string_view);
std::optional<AppCacheRunningState> runningStateFromRaw(std::string_view);
std::optional<AppCacheIdentitySource> identitySourceFromRaw(std::string_view);

// English copy; the desktop application shows localized copy where one exists.
std::string_view displayName(CleanupSafety);
std::string_view displayName(CleanupCategory);
std::string_view categoryDescription(CleanupCategory);

struct AppCacheContext {
    AppCacheContainerKind containerKind = AppCacheContainerKind::appContainer;
    std::string containerIdentifier;
    std::optional<std::string> possibleBundleIdentifier;
    std::optional<std::string> matchedRunningBundleIdentifier;
    std::optional<std::string> matchedRunningDisplayName;
    AppCacheRunningState runningState = AppCacheRunningState::unknown;
    AppCacheIdentitySource identitySource = AppCacheIdentitySource::unknown;
    friend bool operator==(const AppCacheContext&, const AppCacheContext&) = default;
};

struct ScanLocation {
    FileURL rootURL;
    CleanupCategory category = CleanupCategory::userCaches;
    std::string displayName;
    ScanDepth depth = ScanDepth::immediateChildren;
    bool isSelectedByDefault = false;
    CleanupSafety safety = CleanupSafety::safe;
    double minimumModificationAge = 0;  ///< seconds; 0 disables the age rule
    bool includesHiddenFiles = false;
    bool includesPackageDescendants = false;
    SharedValue<AppCacheContext> appCacheContext;  ///< shared by every candidate found here
    friend bool operator==(const ScanLocation&, const ScanLocation&) = default;
};

struct CleanupCandidate {
    FileURL url;
    std::string displayName;
    CleanupCategory category = CleanupCategory::userCaches;
    int64_t sizeBytes = 0;
    std::optional<Date> lastModified;
    std::optional<FileResourceIdentity> resourceIdentity;
    bool isSelectedByDefault = false;
    CleanupSafety safety = CleanupSafety::safe;
    bool requiresManualReviewBySource = false;
    SharedValue<AppCacheContext> appCacheContext;  ///< the location's, shared with it

    /// Category raw string + ":" + standardized path. Derived rather than stored: it would
    /// repeat the path in every record.
    std::string id() const;
    friend bool operator==(const CleanupCandidate&, const CleanupCandidate&) = default;
};

/// The id every selection, ignore list and history record keys on.
std::string candidateID(CleanupCategory category, std::string_view standardizedPath);

struct SkippedItem {
    FileURL url;
    std::string reason;
    friend bool operator==(const SkippedItem&, const SkippedItem&) = default;
};

struct ScanReport {
    Date scannedAt = 0;
    std::vector<CleanupCandidate> candidates;
    std::vector<SkippedItem> skippedItems;
    std::vector<FileURL> scannedRoots;
    bool hasCompletedScan = false;
    friend bool operator==(const ScanReport&, const ScanReport&) = default;
};

/// Sorts by safety (safe, caution, manualReview), then size descending; stable.
void sortCandidatesForReport(std::vector<CleanupCandidate>& candidates);

/// A progress sample. Construct through `make`, which normalizes as every sample must be.
struct StorageScanProgress {
    std::optional<FileURL> currentURL;
    int64_t completedLocations = 0;
    int64_t totalLocations = 0;
    int64_t completedItems = 0;
    int64_t completedItemsInCurrentLocation = 0;
    std::optional<int64_t> totalItemsInCurrentLocation;
    int64_t foundCandidates = 0;
    int64_t skippedItems = 0;
    double fractionCompleted = 0;

    /// Counts below 0 become 0; the fraction is clamped to 0...1 (NaN becomes 0).
    static StorageScanProgress make(std::optional<FileURL> currentURL, int64_t completedLocations,
                                    int64_t totalLocations, int64_t completedItems,
                                    int64_t completedItemsInCurrentLocation,
                                    std::optional<int64_t> totalItemsInCurrentLocation,
                                    int64_t foundCandidates, int64_t skippedItems,
                                    double fractionCompleted);
    friend bool operator==(const StorageScanProgress&, const StorageScanProgress&) = default;
};

}  // namespace velmora

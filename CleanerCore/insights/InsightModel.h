#pragma once
// The records of the storage insight scan that are shared by the scanner, duplicate detection
// and the keeper recommendation. Plain values: copyable, comparable, no behaviour beyond the
// derived values they document. JSON coding lives in InsightJson.h.
//
// Pure functions, thread-safe, no file-system access.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

enum class FileInsightKind { largeFile, download, duplicate, securitySignal };

enum class DuplicateKeeperRecommendationReason {
    preferredLocation,          ///< the keeper lies in a better-ranked location than another copy
    olderModificationDate,      ///< within its location rank the keeper is older than another copy
    deterministicPathTieBreak,  ///< another copy had the same rank and date; the path decided
};

// Raw strings (the case names) and their inverse; the inverse is nullopt for unknown text.
std::string_view rawValue(FileInsightKind);
std::string_view rawValue(DuplicateKeeperRecommendationReason);
std::optional<FileInsightKind> fileInsightKindFromRaw(std::string_view);
std::optional<DuplicateKeeperRecommendationReason> keeperReasonFromRaw(std::string_view);

/// "largeFile:", "download:", "duplicate:" or "securitySignal:".
std::string_view idPrefix(FileInsightKind);
/// The id of a finding: the kind's prefix followed by the standardized path.
std::string fileInsightID(FileInsightKind kind, std::string_view standardizedPath);

/// The insight report's display form (unlike the terminal's `displayPath`, it has a second home
/// to try and treats "/" as a home like any other) of `path` relative to the scanned home `home`
/// (both standardized): "~" for
/// the home itself, "~/" + the rest below it. Any other path is abbreviated the same way against
/// `platformHome` (the user's own home, which differs from `home` when another folder is
/// scanned) when given, and is otherwise returned unchanged.
std::string insightDisplayPath(std::string_view path, std::string_view home,
                               std::optional<std::string_view> platformHome = std::nullopt);

/// "Duplicate set · N copies" (N is the number of files in the group).
std::string duplicateSetDetail(size_t copies);

/// One scanned root: the data behind the heatmap, flame graph and treemap.
struct StorageMapItem {
    std::string id;  ///< the root's standardized path
    FileURL url;
    std::string displayName;  ///< the root's display path
    int64_t sizeBytes = 0;    ///< allocated sizes of the regular files counted under the root
    int64_t itemCount = 0;    ///< regular files counted under the root
    bool isTruncated = false;
    friend bool operator==(const StorageMapItem&, const StorageMapItem&) = default;
};

/// One file finding.
struct FileInsight {
    std::string id;  ///< fileInsightID(kind, url.path)
    FileURL url;
    std::string displayName;  ///< the last path component
    std::string parentPath;   ///< display path of the containing folder
    int64_t sizeBytes = 0;    ///< never negative
    std::optional<Date> lastModified;
    std::optional<FileResourceIdentity> resourceIdentity;
    std::optional<int64_t> linkCount;  ///< the file's hard-link count
    FileInsightKind kind = FileInsightKind::largeFile;
    std::string detail;
    CleanupSafety safety = CleanupSafety::caution;
    friend bool operator==(const FileInsight&, const FileInsight&) = default;
};

/// Files with identical content (two or more), each of kind `duplicate`.
struct DuplicateFileGroup {
    std::string id;         ///< unique within a report
    int64_t sizeBytes = 0;  ///< the size of one copy
    std::vector<FileInsight> files;
    friend bool operator==(const DuplicateFileGroup&, const DuplicateFileGroup&) = default;

    /// True when a member has a known link count above 1 (it shares its blocks with another path).
    bool hasHardLinkedMembers() const;
    /// The number of members with a known link count of 2 or more.
    int64_t hardLinkedMemberCount() const;
    /// What deleting all copies but one could recover: only members whose link count is unknown
    /// or 1 count (deleting one name of a hard-linked file frees nothing), less one copy to keep;
    /// never negative. Saturates at INT64_MAX.
    int64_t estimatedReclaimableBytes() const;
};

struct DuplicateKeeperRecommendation {
    std::string groupID;
    std::string keeperID;
    std::string keeperPath;      ///< standardized path of the recommended file
    int64_t duplicateCount = 0;  ///< the other files of the group (the copies that could go)
    std::vector<DuplicateKeeperRecommendationReason> reasons;  ///< in declaration order
    friend bool operator==(const DuplicateKeeperRecommendation&,
                           const DuplicateKeeperRecommendation&) = default;
};

}  // namespace velmora

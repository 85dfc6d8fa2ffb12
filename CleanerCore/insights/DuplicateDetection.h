#pragma once
// Finds files with identical content among the regular files an insight scan collected, in
// three stages, each working only on what the previous one left in groups of two or more:
//
//   1. group the candidates (size at least `minimumDuplicateFileBytes`) by exact size;
//   2. sampled SHA-256 fingerprint (up to three 64 KiB samples, see ContentDigest.h), bounded by
//      `maximumDuplicateFingerprintFiles` and `maximumDuplicateFingerprintBytes`;
//   3. full-content SHA-256 in 1 MiB chunks, bounded by `maximumDuplicateHashFiles`,
//      `maximumDuplicateFullHashBytesPerFile` and `maximumDuplicateHashBytes`. The files of a
//      fingerprint group are read side by side (up to 32 at once), and bytes they share are
//      hashed once (see fullContentDigests): every file still gets its own exact digest, and
//      the budgets charge every file's bytes, but duplicates cost one SHA-256 pass per group.
//
// Paths with the same device and inode are one file (hard links): only the first in size-then-
// path order is a candidate, so such names are never read twice nor reported as copies of each
// other (deleting one of them frees nothing).
//
// Budgets are granted in a fixed order before any file is read: size groups by size descending,
// files by path; at stage 3 the fingerprint groups in that same order. A file that does not fit
// a budget is skipped with "Duplicate fingerprint budget exceeded" or "Duplicate hash budget
// exceeded"; a file that fits but whose every partner was refused is skipped with the same
// reason (it cannot be compared) and is not read. A file that cannot be opened or read is skipped
// with the system's error description; one that is no longer the collected regular file (other
// device, inode, size or date, a link or something else in its place, or rewritten while read)
// is skipped with "File changed during the scan". None of these fail the detection.
//
// Output is deterministic and the same for any number of workers: groups ordered by size
// descending then by their first path, files in a group by path, skipped items by stage and, in
// a stage, in the budget order. Group ids are "sha256:<hex digest>:<size>".
//
// Threading: `detectDuplicates` blocks; it reads independent files (stage 2) and groups
// (stage 3) on `workerCount` threads, each with two 1 MiB buffers, so memory stays flat and may be
// called from any thread. Cancellation is tested before every sample and chunk; a cancelled run
// returns no groups.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Cancellation.h"
#include "CleanerCore/insights/InsightModel.h"
#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

inline constexpr std::string_view kDuplicateFingerprintBudgetExceeded =
    "Duplicate fingerprint budget exceeded";
inline constexpr std::string_view kDuplicateHashBudgetExceeded = "Duplicate hash budget exceeded";
inline constexpr std::string_view kProtectedUserDataPath = "Protected user data path";
inline constexpr std::string_view kFileChangedDuringScan = "File changed during the scan";

/// A regular file as the insight walk collected it.
struct CollectedFile {
    std::string path;       ///< standardized absolute path
    int64_t sizeBytes = 0;  ///< logical size (file size)
    uint64_t device = 0;
    uint64_t inode = 0;
    std::optional<Date> modificationDate;
    std::optional<int64_t> linkCount;
    std::optional<FileResourceIdentity> resourceIdentity;  ///< copied into the finding
};

/// The duplicate fields of the insight scanner's configuration, with their defaults.
struct DuplicateBudgets {
    int64_t minimumDuplicateFileBytes = 20'971'520;
    int64_t maximumDuplicateHashFiles = 500;
    int64_t maximumDuplicateFullHashBytesPerFile = 536'870'912;
    int64_t maximumDuplicateHashBytes = 1'073'741'824;
    int64_t maximumDuplicateFingerprintFiles = 2'000;
    int64_t maximumDuplicateFingerprintBytes = 268'435'456;

    /// Every value raised to its floor: 1 byte, 1 file, 1 MiB per file, 1 MiB in total, 1 file,
    /// 1 byte (in field order). Silent, as the scanner's configuration clamps.
    DuplicateBudgets clamped() const;
    friend bool operator==(const DuplicateBudgets&, const DuplicateBudgets&) = default;
};

struct DuplicateDetectionOptions {
    DuplicateBudgets budgets;                 ///< clamped on use
    std::string homePath;                     ///< standardized; display paths are relative to it
    std::optional<std::string> platformHome;  ///< see displayPath
    /// When set, a candidate for which it answers true is skipped with "Protected user data
    /// path" and never read. Called on the calling thread only.
    std::function<bool(std::string_view standardizedPath)> isProtectedUserDataPath;
    /// 0: one per core, at most 4 (reading is I/O bound beyond that).
    size_t workerCount = 0;
    const CancellationToken* cancellation = nullptr;  ///< optional; must outlive the call
};

/// A budget that can keep a file from being compared (a field of DuplicateBudgets).
enum class DuplicateBudget {
    fingerprintFiles,  ///< maximumDuplicateFingerprintFiles
    fingerprintBytes,  ///< maximumDuplicateFingerprintBytes
    hashFiles,         ///< maximumDuplicateHashFiles
    hashBytesPerFile,  ///< maximumDuplicateFullHashBytesPerFile
    hashBytes,         ///< maximumDuplicateHashBytes
};

struct DuplicateDetectionResult {
    std::vector<DuplicateFileGroup> groups;
    std::vector<SkippedItem> skippedItems;
    bool budgetExceeded = false;  ///< some file was skipped for a budget: the report is truncated
    /// Each budget that refused a file, once, in declaration order: what to raise to compare
    /// the files skipped for a budget.
    std::vector<DuplicateBudget> exceededBudgets;
    bool wasCancelled = false;
    friend bool operator==(const DuplicateDetectionResult&,
                           const DuplicateDetectionResult&) = default;
};

DuplicateDetectionResult detectDuplicates(const std::vector<CollectedFile>& files,
                                          const DuplicateDetectionOptions& options);

}  // namespace velmora

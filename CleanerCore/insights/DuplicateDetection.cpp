#include "CleanerCore/insights/DuplicateDetection.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <thread>
#include <unordered_set>

#include "CleanerCore/base/WorkerPool.h"
#include "CleanerCore/insights/ContentDigest.h"

namespace velmora {

DuplicateBudgets DuplicateBudgets::clamped() const {
    constexpr int64_t kMiB = 1'048'576;
    DuplicateBudgets b = *this;
    b.minimumDuplicateFileBytes = std::max<int64_t>(b.minimumDuplicateFileBytes, 1);
    b.maximumDuplicateHashFiles = std::max<int64_t>(b.maximumDuplicateHashFiles, 1);
    b.maximumDuplicateFullHashBytesPerFile =
        std::max<int64_t>(b.maximumDuplicateFullHashBytesPerFile, kMiB);
    b.maximumDuplicateHashBytes = std::max<int64_t>(b.maximumDuplicateHashBytes, kMiB);
    b.maximumDuplicateFingerprintFiles = std::max<int64_t>(b.maximumDuplicateFingerprintFiles, 1);
    b.maximumDuplicateFingerprintBytes = std::max<int64_t>(b.maximumDuplicateFingerprintBytes, 1);
    return b;
}

namespace {

// Indices into the sorted candidate list; every group holds files of one size, in path order.
using Group = std::vector<size_t>;

size_t effectiveWorkerCount(size_t requested) {
    if (requested > 0) return requested;
    return std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 4);
}

ExpectedFile expectedFile(const CollectedFile& f) {
    return {f.path, f.device, f.inode, f.sizeBytes, f.modificationDate};
}

// Grants a budget in group order. `fits(file)` says whether one more file fits (and charges
// it). Files refused, and admitted files left without an admitted partner, go to `refused`.
template <typename Fits>
std::vector<Group> admit(const std::vector<Group>& groups, Fits fits,
                         std::vector<size_t>& refused) {
    std::vector<Group> admitted;
    for (const auto& group : groups) {
        Group kept;
        for (size_t file : group) {
            if (fits(file)) {
                kept.push_back(file);
            } else {
                refused.push_back(file);
            }
        }
        if (kept.size() >= 2) {
            admitted.push_back(std::move(kept));
        } else {
            refused.insert(refused.end(), kept.begin(), kept.end());
        }
    }
    return admitted;
}

using DigestOutcome = std::optional<Result<FileDigest, DigestFailure>>;

struct StageOutcome {
    std::vector<Group> groups;  ///< files whose digests matched, two or more, in group order
    std::vector<Sha256Digest> digests;  ///< the digest shared by each group
    std::vector<int64_t> linkCounts;    ///< per candidate, as the last successful read saw it
    bool cancelled = false;
};

// Files of a fingerprint group read side by side by one task in stage 3 (each one an open
// descriptor while the task runs).
constexpr size_t kFilesReadTogether = 32;

// Digests every file of `groups` on the workers, `perTask` files of one group per task, then
// splits each group by digest (buckets in order of their first file). Failures become skipped
// items, in group order. `digest(fileIndices, buffers)` returns one outcome per index.
template <typename Digest>
StageOutcome digestAndSplit(const std::vector<Group>& groups,
                            const std::vector<CollectedFile>& files, size_t workers, size_t perTask,
                            std::vector<int64_t> linkCounts, std::vector<SkippedItem>& skipped,
                            const Digest& digest) {
    struct Task {
        size_t group, begin, end, firstOutcome;
    };
    std::vector<Task> tasks;
    size_t outcomeCount = 0;
    for (size_t g = 0; g < groups.size(); ++g) {
        for (size_t b = 0; b < groups[g].size(); b += perTask) {
            const size_t e = std::min(groups[g].size(), b + perTask);
            tasks.push_back({g, b, e, outcomeCount + b});
        }
        outcomeCount += groups[g].size();
    }
    std::vector<DigestOutcome> outcomes(outcomeCount);
    std::vector<DigestBuffers> buffers(std::min(workers, std::max<size_t>(tasks.size(), 1)));
    runOnWorkers(tasks.size(), buffers.size(), [&](size_t t, size_t worker) {
        const Task& task = tasks[t];
        std::vector<size_t> which(groups[task.group].begin() + static_cast<ptrdiff_t>(task.begin),
                                  groups[task.group].begin() + static_cast<ptrdiff_t>(task.end));
        auto results = digest(which, buffers[worker]);
        for (size_t k = 0; k < results.size(); ++k)
            outcomes[task.firstOutcome + k] = std::move(results[k]);
    });

    StageOutcome out;
    out.linkCounts = std::move(linkCounts);
    size_t t = 0;
    for (const auto& group : groups) {
        std::map<Sha256Digest, size_t> bucketOf;
        std::vector<Group> buckets;
        std::vector<Sha256Digest> bucketDigests;
        for (size_t file : group) {
            const auto& outcome = *outcomes[t++];
            if (!outcome) {
                const DigestFailure& failure = outcome.error();
                if (failure.kind == DigestFailure::Kind::cancelled) {
                    out.cancelled = true;
                } else if (failure.kind == DigestFailure::Kind::changed) {
                    skipped.push_back(
                        {FileURL(files[file].path), std::string(kFileChangedDuringScan)});
                } else {
                    skipped.push_back(
                        {FileURL(files[file].path), std::strerror(failure.errorNumber)});
                }
                continue;
            }
            out.linkCounts[file] = outcome->linkCount;
            auto [it, inserted] = bucketOf.try_emplace(outcome->digest, buckets.size());
            if (inserted) {
                buckets.emplace_back();
                bucketDigests.push_back(outcome->digest);
            }
            buckets[it->second].push_back(file);
        }
        for (size_t b = 0; b < buckets.size(); ++b) {
            if (buckets[b].size() < 2) continue;
            out.groups.push_back(std::move(buckets[b]));
            out.digests.push_back(bucketDigests[b]);
        }
    }
    return out;
}

FileInsight duplicateInsight(const CollectedFile& f, int64_t linkCount, size_t copies,
                             const DuplicateDetectionOptions& options) {
    FileInsight insight;
    insight.id = fileInsightID(FileInsightKind::duplicate, f.path);
    insight.url = FileURL(f.path);
    insight.displayName = lastPathComponent(f.path);
    std::optional<std::string_view> platformHome;
    if (options.platformHome) platformHome = *options.platformHome;
    insight.parentPath =
        insightDisplayPath(deletingLastPathComponent(f.path), options.homePath, platformHome);
    insight.sizeBytes = std::max<int64_t>(f.sizeBytes, 0);
    insight.lastModified = f.modificationDate;
    insight.resourceIdentity = f.resourceIdentity;
    insight.linkCount = linkCount;
    insight.kind = FileInsightKind::duplicate;
    insight.detail = duplicateSetDetail(copies);
    // The user decides which copies go; none is safe to remove without looking.
    insight.safety = CleanupSafety::caution;
    return insight;
}

}  // namespace

DuplicateDetectionResult detectDuplicates(const std::vector<CollectedFile>& input,
                                          const DuplicateDetectionOptions& options) {
    const DuplicateBudgets budgets = options.budgets.clamped();
    const size_t workers = effectiveWorkerCount(options.workerCount);
    DuplicateDetectionResult result;
    auto skip = [&](const std::vector<CollectedFile>& files, const std::vector<size_t>& which,
                    std::string_view reason) {
        for (size_t i : which)
            result.skippedItems.push_back({FileURL(files[i].path), std::string(reason)});
        if (!which.empty()) result.budgetExceeded = true;
    };

    // Stage 1: candidates (each path once) by size descending, then path; groups of one size.
    std::vector<CollectedFile> files;
    {
        std::unordered_set<std::string> seen;
        for (const auto& f : input) {
            if (f.sizeBytes < budgets.minimumDuplicateFileBytes) continue;
            if (!seen.insert(f.path).second) continue;
            files.push_back(f);
        }
    }
    std::sort(files.begin(), files.end(), [](const CollectedFile& a, const CollectedFile& b) {
        return a.sizeBytes != b.sizeBytes ? a.sizeBytes > b.sizeBytes : a.path < b.path;
    });
    {
        // One inode is one file, whatever names lead to it; the first name in this order stands
        // for it. (A record without an inode cannot be matched and is kept.)
        std::set<std::pair<uint64_t, uint64_t>> inodes;
        std::erase_if(files, [&](const CollectedFile& f) {
            return f.inode != 0 && !inodes.emplace(f.device, f.inode).second;
        });
    }
    std::vector<Group> sizeGroups;
    for (size_t i = 0; i < files.size(); ++i) {
        if (options.isProtectedUserDataPath && options.isProtectedUserDataPath(files[i].path)) {
            result.skippedItems.push_back(
                {FileURL(files[i].path), std::string(kProtectedUserDataPath)});
            continue;
        }
        if (sizeGroups.empty() ||
            files[sizeGroups.back().front()].sizeBytes != files[i].sizeBytes) {
            sizeGroups.emplace_back();
        }
        sizeGroups.back().push_back(i);
    }
    std::erase_if(sizeGroups, [](const Group& g) { return g.size() < 2; });

    auto cancelled = [&] {
        return options.cancellation && options.cancellation->isCancellationRequested();
    };
    if (cancelled()) {
        result.wasCancelled = true;
        return result;
    }

    std::set<DuplicateBudget> exceeded;
    auto refuse = [&](DuplicateBudget b) {
        exceeded.insert(b);
        return false;
    };

    // Stage 2: sampled fingerprints within the fingerprint budgets.
    std::vector<size_t> refused;
    int64_t fingerprintFiles = 0, fingerprintBytes = 0;
    auto fingerprintGroups = admit(
        sizeGroups,
        [&](size_t i) {
            const int64_t bytes = fingerprintReadBytes(files[i].sizeBytes);
            if (fingerprintFiles >= budgets.maximumDuplicateFingerprintFiles)
                return refuse(DuplicateBudget::fingerprintFiles);
            if (bytes > budgets.maximumDuplicateFingerprintBytes - fingerprintBytes)
                return refuse(DuplicateBudget::fingerprintBytes);
            ++fingerprintFiles;
            fingerprintBytes += bytes;
            return true;
        },
        refused);
    skip(files, refused, kDuplicateFingerprintBudgetExceeded);
    auto fingerprinted = digestAndSplit(
        fingerprintGroups, files, workers, 1, std::vector<int64_t>(files.size(), 1),
        result.skippedItems, [&](const std::vector<size_t>& which, DigestBuffers&) {
            std::vector<Result<FileDigest, DigestFailure>> out;
            for (size_t i : which)
                out.push_back(sampledFingerprint(expectedFile(files[i]), options.cancellation));
            return out;
        });
    if (fingerprinted.cancelled || cancelled()) {
        result.wasCancelled = true;
        return result;
    }

    // Stage 3: full digests within the hash budgets.
    refused.clear();
    int64_t hashFiles = 0, hashBytes = 0;
    auto hashGroups = admit(
        fingerprinted.groups,
        [&](size_t i) {
            const int64_t bytes = files[i].sizeBytes;
            if (bytes > budgets.maximumDuplicateFullHashBytesPerFile)
                return refuse(DuplicateBudget::hashBytesPerFile);
            if (hashFiles >= budgets.maximumDuplicateHashFiles)
                return refuse(DuplicateBudget::hashFiles);
            if (bytes > budgets.maximumDuplicateHashBytes - hashBytes)
                return refuse(DuplicateBudget::hashBytes);
            ++hashFiles;
            hashBytes += bytes;
            return true;
        },
        refused);
    skip(files, refused, kDuplicateHashBudgetExceeded);
    result.exceededBudgets.assign(exceeded.begin(), exceeded.end());
    // Files of a group are read together, so content they share is hashed once.
    auto confirmed = digestAndSplit(
        hashGroups, files, workers, kFilesReadTogether, std::move(fingerprinted.linkCounts),
        result.skippedItems, [&](const std::vector<size_t>& which, DigestBuffers& buffers) {
            std::vector<ExpectedFile> expected;
            for (size_t i : which) expected.push_back(expectedFile(files[i]));
            return fullContentDigests(expected, buffers, options.cancellation);
        });
    if (confirmed.cancelled || cancelled()) {
        result.wasCancelled = true;
        return result;
    }

    std::vector<size_t> order(confirmed.groups.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        const auto& fa = files[confirmed.groups[a].front()];
        const auto& fb = files[confirmed.groups[b].front()];
        return fa.sizeBytes != fb.sizeBytes ? fa.sizeBytes > fb.sizeBytes : fa.path < fb.path;
    });
    for (size_t k : order) {
        const Group& group = confirmed.groups[k];
        DuplicateFileGroup g;
        g.sizeBytes = files[group.front()].sizeBytes;
        g.id = "sha256:" + hexText(confirmed.digests[k]) + ":" + std::to_string(g.sizeBytes);
        for (size_t i : group) {
            g.files.push_back(
                duplicateInsight(files[i], confirmed.linkCounts[i], group.size(), options));
        }
        result.groups.push_back(std::move(g));
    }
    return result;
}

}  // namespace velmora

#pragma once
// The cleanup history file: a JSON array of CleanupAuditEntry, newest first, pretty-printed with
// sorted keys (CleanupAuditJson.h), at `<XDG data home>/Velmora/cleanup-audit-log.json`.
//
// Every call is one complete cycle (lock, read, decode, normalize, write back); the store keeps
// no state besides its path, so any number of instances may exist.
//
// Loading, in order:
//   - a missing file (or missing folder) is an empty history; nothing is created;
//   - a file larger than 1,048,576 bytes (by its size, or by reading one byte more) is moved
//     aside with the reason "oversized"; one that cannot be opened or read (including a link or
//     anything but a regular file) with "unreadable"; the history then starts empty;
//   - a file that does not decode strictly is moved aside with "undecodable" and the entries the
//     tolerant decode kept are used (CleanupAuditDecoding.h); when the tolerant decode fails too,
//     nothing is kept;
//   - the list is normalized (sorted newest first: later `occurredAt` first, equal dates by the
//     greater upper-case id first; then the newest max(limit, 100) kept) and written back when
//     that changes the file's bytes.
// A backup is a rename within the folder to `<file name>.<reason>-<unix seconds>-<UUID>`; a
// failed rename is ignored, but then nothing is written over the damaged file.
// Open failures that say nothing about the file (out of descriptors or memory) leave the file
// alone: the call returns what it has and writes nothing.
//
// Appending links the new entry to the entry right after it in the sorted list (its
// `previousEntryDigest` is that entry's `entryDigest`, absent when that entry has no link or
// there is none), computes its digest, keeps the newest max(limit, 100) entries and writes the
// file. Beyond the count, the written file never exceeds the 1 MiB read cap, since the next read
// would set it aside: the oldest entries are dropped until it fits, and a new entry that cannot
// fit even alone keeps no item detail (`cleanedItems` emptied before its digest is computed).
//
// Concurrency: every cycle holds, in this order, one process-wide mutex (the serial queue
// "Velmora.CleanupAuditStore" shared by all instances) and an exclusive flock on the lock file
// `<file>.lock` beside the history, so cycles of different processes never interleave. When the
// lock cannot be taken (folder missing or read-only, lock file unusable) the cycle only reads:
// nothing is moved aside and nothing is written. Calls block; run them off the interface thread.
//
// After each append that reached the disk, the new newest entry's id and digest are recorded as
// the history's head beside it (CleanupAuditMarkers.h), still under the lock.
//
// Errors: failures to create the folder or write the file leave the old file byte-identical
// (AtomicFileWrite.h) and the append still returns the list it built; `record...` and
// `readRecentEntries` also say whether the file was written, and what was wrong with a file that
// had to be set aside. An entry that cannot be encoded (id not a UUID, a date not finite) makes
// the append return an empty list and change nothing.
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"
#include "CleanerCore/base/FileURL.h"
#include "CleanerCore/platform/AtomicFileWrite.h"
#include "CleanerCore/platform/Environment.h"

namespace velmora {

/// An append, and whether the history file on disk now holds the new entry.
struct CleanupAuditAppendResult {
    std::vector<CleanupAuditEntry> entries;  ///< what `append` returns
    bool written = false;
};

/// The newest entries, and what happened to a file that could not be used as it was.
struct CleanupAuditReadResult {
    std::vector<CleanupAuditEntry> entries;
    /// "oversized", "unreadable" or "undecodable" when the file was found damaged (and, when
    /// `backupPath` is set, moved there); "unavailable" when it could not be opened for a reason
    /// that says nothing about the file (out of descriptors or memory). Absent when the file was
    /// read as it is, or is missing.
    std::optional<std::string> damage;
    std::optional<std::string> backupPath;
};

class CleanupAuditStore {
  public:
    static constexpr int64_t kDefaultLimit = 100;
    static constexpr int64_t kMinimumRetention = 100;
    static constexpr int64_t kMaximumFileBytes = 1'048'576;

    explicit CleanupAuditStore(std::string filePath);

    /// `<xdgDataHome>/Velmora/cleanup-audit-log.json`, or the same under the temporary folder
    /// when no data folder is known.
    static std::string defaultFilePath(const UserEnvironment& environment);

    const std::string& filePath() const { return filePath_; }
    FileURL fileURL() const { return FileURL(filePath_); }
    /// The file whose flock guards every cycle: the history's path + ".lock".
    std::string lockFilePath() const { return filePath_ + ".lock"; }

    /// Records `entry` (its `chainLink` is replaced) and returns the kept entries, newest first,
    /// at most `limit`. Creates the folder (mode 0700, with intermediate folders) when missing.
    /// A limit below 1 records nothing and returns an empty list.
    std::vector<CleanupAuditEntry> append(CleanupAuditEntry entry,
                                          int64_t limit = kDefaultLimit) const;

    /// As `append`, but `occurredAt` is set to the current time while the history is locked, so
    /// that appends of several processes land in the order they are recorded. It is the time the
    /// operation finished even when a stored entry is dated later (a clock that ran ahead): the
    /// new entry is then sorted and linked below that one, as every append sorts and links, and
    /// that entry's own link no longer matches its successor, which verification reports.
    std::vector<CleanupAuditEntry> appendAtCurrentTime(CleanupAuditEntry entry,
                                                       int64_t limit = kDefaultLimit) const;

    /// `appendAtCurrentTime`, also telling whether the entry reached the disk.
    CleanupAuditAppendResult recordAtCurrentTime(CleanupAuditEntry entry,
                                                 int64_t limit = kDefaultLimit) const;

    /// The newest entries, at most `limit` (a limit below 1 gives an empty list).
    std::vector<CleanupAuditEntry> recentEntries(int64_t limit = kDefaultLimit) const;

    /// `recentEntries`, also telling whether the file had to be set aside and where it went.
    CleanupAuditReadResult readRecentEntries(int64_t limit = kDefaultLimit) const;

  private:
    enum class Timing { asGiven, stampedWhileLocked };
    CleanupAuditAppendResult appendEntry(CleanupAuditEntry entry, int64_t limit,
                                         Timing timing) const;

    std::string filePath_;
};

}  // namespace velmora

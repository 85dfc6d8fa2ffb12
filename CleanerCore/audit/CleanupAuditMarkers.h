#pragma once
// Two small files beside the history that tell what the history file alone cannot.
//
// The head, `cleanup-audit-head.json` ({"entryID": ..., "entryDigest": ...}): the id and digest
// of the newest entry the last successful append wrote. The digest chain links every entry to
// the one before it, so removing the newest entries (or the whole file) leaves a chain that
// still verifies; comparing the history with the head recorded outside it catches that.
// Appends write it under the history's lock, after the history itself; a head that could not be
// written is only stale (it names an older entry that is still present), never a false alarm.
//
// The unrecorded-cleanup marker, `cleanup-audit-unrecorded.json` ({"entryID": ...,
// "startedAt": ...}): written before a cleanup moves anything and removed once its entry is in
// the history. While it names an entry the history does not hold, "the newest cleanup" in the
// history is not the newest cleanup the user ran, so `restore --last` must not guess.
//
// Both are written atomically (AtomicFileWrite.h) and read without following links or blocking,
// only when they are small regular files. Each is synced once, where it matters: the marker's
// name before anything moves (a marker whose content a crash lost cannot be read, which keeps
// `restore --last` from guessing just as well), the head's content (a lost replacement leaves
// the previous, still true head). Errors are values; nothing here throws.
#include <optional>
#include <string>

#include "CleanerCore/base/Date.h"

namespace velmora {

struct CleanupAuditHead {
    std::string entryID;
    std::string entryDigest;
    friend bool operator==(const CleanupAuditHead&, const CleanupAuditHead&) = default;
};

/// `cleanup-audit-head.json` in the folder of `historyPath`.
std::string cleanupAuditHeadPath(const std::string& historyPath);
/// The recorded head; nullopt when there is none or it cannot be read as one.
std::optional<CleanupAuditHead> readCleanupAuditHead(const std::string& historyPath);
/// True when the head file now holds `head`.
bool writeCleanupAuditHead(const std::string& historyPath, const CleanupAuditHead& head);

struct UnrecordedCleanup {
    std::string entryID;
    Date startedAt = 0;
};

enum class UnrecordedCleanupState {
    none,        ///< no marker: the newest cleanup in the history is the newest one run
    named,       ///< a marker names a cleanup (it may since have been recorded)
    unreadable,  ///< something is at the marker's place but it cannot be read as a marker
};

struct UnrecordedCleanupMarker {
    UnrecordedCleanupState state = UnrecordedCleanupState::none;
    std::optional<UnrecordedCleanup> cleanup;  ///< set when `state` is `named`
};

/// `cleanup-audit-unrecorded.json` in the folder of `historyPath`.
std::string unrecordedCleanupMarkerPath(const std::string& historyPath);
/// Writes the marker (creating the folder with mode 0700 when missing). True on success.
bool markCleanupUnrecorded(const std::string& historyPath, const UnrecordedCleanup& cleanup);
UnrecordedCleanupMarker readUnrecordedCleanupMarker(const std::string& historyPath);
/// Removes the marker when it names `entryID` (a newer cleanup's marker stays). True when no
/// marker for `entryID` remains.
bool clearUnrecordedCleanupMarker(const std::string& historyPath, const std::string& entryID);

}  // namespace velmora

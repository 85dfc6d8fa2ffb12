#pragma once
// The kept delta-blame snapshots: `<XDG data home>/Velmora/delta-blame-snapshots.json`, one JSON
// document {"keyCheck": <token>, "schemaVersion": 1, "snapshots": [<envelope>, ...]}, oldest
// first, each envelope in the codec's form (DeltaBlameCodec.h).
//
// Bounds: at most `maximumSnapshots` snapshots, and the whole file at most
// `maximumEncodedStoreBytes` (the store's limits). A save appends (replacing a snapshot with the
// same id) and drops the oldest until both hold; a snapshot that cannot fit even alone is
// refused and nothing changes. Every write is atomic (AtomicFileWrite.h).
//
// `keyCheck` is a token under the installation key (DeltaBlameIdentity.h): tokens made under
// another key can never match this key's, so a file whose check differs (the key was replaced,
// say because its file was damaged) is of no use for comparisons.
//
// The file has the header through "[" on its first line, one snapshot per line and "]}" on the
// last. A save carries the snapshots of a file in exactly that layout, under this key, over as
// they are, without decoding them: decoding twenty snapshots costs many times the scan a
// snapshot is saved after. Any other file (another layout, another key, a cut line) is loaded
// as below first. A snapshot damaged inside its line is therefore caught by the next load, which
// drops it and sets the file aside.
//
// Loading, in order:
//   - a missing file is an empty store; nothing is created;
//   - a file larger than `maximumEncodedStoreBytes`, one that cannot be read (a link, a folder,
//     a FIFO), one that is not the document above (not JSON, wrong types, truncated) and one
//     under another key are set aside and the store starts anew;
//   - a snapshot that does not decode, or does not validate against its own limits
//     (DeltaBlameValidation.h), is dropped; the others are kept, and the file as it was is set
//     aside so nothing is lost;
//   - beyond the bounds (a file written with larger limits), the oldest are dropped.
// Setting aside is a rename within the folder to `<file name>.<reason>-<unix seconds>-<UUID>`;
// when the rename fails nothing is written over the file. Every issue comes with an English
// sentence the caller can show (`notice`).
//
// Concurrency: every call holds a process-wide mutex and an exclusive flock on `<file>.lock`;
// without the lock a call only reads. Calls block; run them off the interface thread. The
// installation key is never written, nor any text derived from it other than the check token.
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "CleanerCore/delta-blame/DeltaBlameCodec.h"
#include "CleanerCore/delta-blame/DeltaBlameIdentity.h"
#include "CleanerCore/delta-blame/DeltaBlameModel.h"
#include "CleanerCore/platform/AtomicFileWrite.h"

namespace velmora {

enum class DeltaBlameStoreIssue {
    oversized,         ///< set aside, started anew
    unreadable,        ///< set aside, started anew
    undecodable,       ///< set aside, started anew
    otherKey,          ///< set aside, started anew
    invalidSnapshots,  ///< set aside, the valid snapshots kept
    unavailable,       ///< could not be read for a reason that says nothing about the file
};
std::string_view rawValue(DeltaBlameStoreIssue);

struct DeltaBlameStoreState {
    std::vector<DeltaBlameSnapshotDraftEnvelope> snapshots;  ///< oldest first
    std::optional<DeltaBlameStoreIssue> issue;
    std::optional<std::string> backupPath;
    int64_t droppedSnapshots = 0;  ///< with invalidSnapshots
    /// The English sentence for `issue`; empty when there is none.
    std::string notice() const;
};

struct DeltaBlameStoreSaveResult {
    /// What happened to the file on the way (issue, backup). A save does not decode what it
    /// keeps, so `state.snapshots` is empty: `load` them when they are needed.
    DeltaBlameStoreState state;
    int64_t keptSnapshots = 0;  ///< how many the store holds now (or still, when nothing changed)
    /// Why the snapshot was refused: it does not validate, or cannot be encoded or fit alone.
    std::optional<std::variant<DeltaBlameValidationError, DeltaBlameTemporaryCodecError>> refused;
    std::optional<AtomicWriteFailure> writeFailure;
    bool written = false;
};

class DeltaBlameSnapshotStore {
  public:
    DeltaBlameSnapshotStore(std::string filePath, DeltaBlameIdentityHMACProvider provider,
                            DeltaBlameLimits limits = {});

    /// `<dataHome>/Velmora/delta-blame-snapshots.json`.
    static std::string defaultFilePath(const std::string& dataHome);

    const std::string& filePath() const { return filePath_; }
    /// The key's tokens this store's snapshots are made with.
    const DeltaBlameIdentityHMACProvider& provider() const { return provider_; }

    DeltaBlameStoreState load() const;
    /// Validates `envelope` against its limits and keeps it as the newest snapshot. Creates the
    /// folder (0700) when missing.
    DeltaBlameStoreSaveResult save(const DeltaBlameSnapshotDraftEnvelope& envelope) const;

  private:
    std::string filePath_;
    DeltaBlameIdentityHMACProvider provider_;
    DeltaBlameLimits limits_;
};

}  // namespace velmora

#pragma once
// Replacing a file atomically, and creating the folders it lives in. Linux implementation.
//
// writeFileAtomically(path, data):
//   1. opens the parent folder (links in the folder path are followed: the user may keep the
//      data folder elsewhere);
//   2. creates a temporary file beside the target, ".<name>.tmp-<UUID>", with O_CREAT|O_EXCL|
//      O_NOFOLLOW and mode 0600;
//   3. writes all of `data`, fsyncs and closes it;
//   4. renames it over `path` (relative to the folder descriptor) and fsyncs the folder.
// Until step 4's rename the old file is untouched; any failure before it removes the temporary
// file, so the old content stays byte-identical and nothing is left behind. A failure of the
// final folder sync is reported, but the new content is then already in place.
//
// The calls go through CleanerCore/platform/SystemCalls.h. Thread-safe. Concurrent writers of the
// same path must be serialized by the caller (the last rename wins). Errors are values.
#include <sys/types.h>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

enum class AtomicWriteStep {
    openFolder,
    createTemporary,
    write,
    syncFile,
    closeFile,
    rename,
    syncFolder,
};

struct AtomicWriteFailure {
    AtomicWriteStep step = AtomicWriteStep::openFolder;
    int errorNumber = 0;
    friend bool operator==(const AtomicWriteFailure&, const AtomicWriteFailure&) = default;
};

/// Which of the two `fsync`s a write makes. Both by default: after a crash the file holds the
/// old or the new content, and a completed write survives. Small files beside the history that
/// are safe when their content is lost (the reader treats an unreadable file as the cautious
/// case) or when the replacement is lost (an older content is still true) skip one:
enum class AtomicWriteSync {
    contentAndFolder,
    /// No `fsync` of the content: once the call returns, the new name survives a crash, but
    /// its content may be lost (an empty or short file).
    folderOnly,
    /// No `fsync` of the folder: a crash may bring back the old file, never a damaged one.
    contentOnly,
};

/// Replaces the file at `path` with `data` (mode 0600). nullopt when the file now holds `data`.
[[nodiscard]] std::optional<AtomicWriteFailure> writeFileAtomically(
    const std::string& path, std::string_view data,
    AtomicWriteSync sync = AtomicWriteSync::contentAndFolder);

/// Creates `folder` and its missing ancestors with `mode`. True when `folder` is (now) a
/// directory, possibly reached through links.
bool createFolders(const std::string& folder, mode_t mode);

}  // namespace velmora

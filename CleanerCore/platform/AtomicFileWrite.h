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

/// Replaces the file at `path` with `data` (mode 0600). nullopt when the file now holds `data`.
[[nodiscard]] std::optional<AtomicWriteFailure> writeFileAtomically(const std::string& path,
                                                                    std::string_view data);

/// Creates `folder` and its missing ancestors with `mode`. True when `folder` is (now) a
/// directory, possibly reached through links.
bool createFolders(const std::string& folder, mode_t mode);

}  // namespace velmora

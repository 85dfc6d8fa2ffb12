#pragma once
// The Linux form of a kept folder grant: the folder's standardized path and its identity
// (device, inode and, where the file system records it, birth time) when it was chosen, as opaque
// bytes. Resolving it looks at whatever is at that path now: the same directory resolves cleanly;
// another object (the folder was deleted and re-created, replaced by another folder or by a
// symbolic link) makes the bookmark stale, so nothing is cleaned in a folder the person never
// chose. Reads the file system; thread-safe.
#include <QByteArray>
#include <string>

#include "CleanerCore/base/Result.h"

namespace velmora {

/// A bookmark of the directory at `path` (never following a final symbolic link); an error
/// sentence when nothing or no directory is there.
Result<QByteArray> makeFolderBookmark(const std::string& path);

struct ResolvedFolderBookmark {
    std::string path;
    /// The object at `path` is not the one the bookmark was made of.
    bool isStale = false;
};

/// Where the bookmark leads now; an error sentence when it cannot be read or its path holds
/// nothing any more.
Result<ResolvedFolderBookmark> resolveFolderBookmark(const QByteArray& bookmark);

}  // namespace velmora

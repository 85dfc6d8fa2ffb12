#pragma once
// Reading a small persisted file (a history, a snapshot store) whole, within a size cap, and
// setting a damaged one aside. Linux implementation; errors are values; thread-safe.
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

enum class CappedReadState {
    missing,      ///< nothing at the path (or a component is not a folder)
    data,         ///< `data` holds the whole file
    oversized,    ///< larger than the cap
    unreadable,   ///< not a regular file (a folder, a FIFO, a device, a link), or reading failed
    unavailable,  ///< the process could not read it now (no descriptors, no memory): not the
                  ///< file's fault, so it must not be set aside for it
};

struct CappedRead {
    CappedReadState state = CappedReadState::missing;
    std::string data;
};

/// Reads the regular file at `path` without following a link and without blocking on a FIFO;
/// a file that grows past `cap` while it is read is oversized.
CappedRead readFileCapped(const std::string& path, size_t cap);

/// Moves the file at `path` aside in its folder, to "<path>.<reason>-<time>-<UUID>". The new
/// path, or nullopt when it could not be moved.
std::optional<std::string> setFileAside(const std::string& path, std::string_view reason);

}  // namespace velmora

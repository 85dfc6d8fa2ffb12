#pragma once
// Showing a file in the desktop's file manager: the freedesktop FileManager1 interface on the
// session bus selects the item in its folder; without that service the containing folder is
// opened with the desktop's default handler. Nothing is changed on disk.
#include <string>

namespace velmora::desktop {

/// Reveals `path` (absolute). Returns false when neither way could be started.
bool revealInFileManager(const std::string& path);

}  // namespace velmora::desktop

#pragma once
// Whole-file reads and writes and folder listings for checks and set-up.
#include <cstdint>
#include <string>
#include <vector>

namespace velmora::test {

class TestTree;

/// The bytes of the file at `path` (empty when it cannot be read).
std::string readFile(const std::string& path);
/// Replaces the file at `path` with `content`, creating its parent folders.
void writeFile(const std::string& path, const std::string& content);
/// As above for `relative` in `tree`; returns the absolute path.
std::string writeFile(TestTree& tree, const std::string& relative, const std::string& content);
/// Whether something (a link included) is at `path`.
bool exists(const std::string& path);
/// The names in `folder`, sorted; none when it cannot be listed.
std::vector<std::string> namesIn(const std::string& folder);
/// What the item at `path` takes on disk (its blocks, not its length), as the scans count it;
/// -1 when it cannot be read.
int64_t allocatedBytes(const std::string& path);

}  // namespace velmora::test

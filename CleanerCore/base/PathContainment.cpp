#include "CleanerCore/base/PathContainment.h"

namespace velmora {

bool keyIsWithin(std::string_view key, std::string_view root) {
    if (key == root) return true;
    if (root == "/") return key.starts_with("/");
    return key.size() > root.size() && key.starts_with(root) && key[root.size()] == '/';
}

namespace StoragePathContainment {
bool pathIsWithin(std::string_view path, std::string_view root) {
    return keyIsWithin(lexicalPathKey(path), lexicalPathKey(root));
}
bool contains(const FileURL& item, const FileURL& root) {
    return pathIsWithin(item.path, root.path);
}
}  // namespace StoragePathContainment

std::string lexicalPathKey(std::string_view path) {
    return standardizePath(path);
}

}  // namespace velmora

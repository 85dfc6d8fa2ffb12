#pragma once
// Storage trees written out by hand for the layout and widget tests.
#include <string>
#include <vector>

#include "CleanerCore/insights/StorageTree.h"

namespace velmora::test {

inline StorageTree::Spec fileSpec(std::string name, int64_t size) {
    return {std::move(name), size, 1, StorageTree::Kind::file, false, {}};
}
inline StorageTree::Spec folderSpec(std::string name, std::vector<StorageTree::Spec> children) {
    return {std::move(name), 0, 0, StorageTree::Kind::folder, false, std::move(children)};
}

/// The first node of `tree` called `name`; kNoNode when there is none.
inline StorageTree::Index nodeNamed(const StorageTree& tree, const std::string& name) {
    for (size_t i = 0; i < tree.nodeCount(); ++i) {
        const auto index = static_cast<StorageTree::Index>(i);
        if (tree.node(index).name == name) return index;
    }
    return StorageTree::kNoNode;
}

}  // namespace velmora::test

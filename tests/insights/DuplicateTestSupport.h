#pragma once
// Files with chosen content in a TestTree, and the record the insight walk would collect for
// each (lstat at collection time).
#include <sys/stat.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "CleanerCore/insights/DuplicateDetection.h"
#include "support/Files.h"
#include "support/TestTree.h"

namespace velmora::test {

/// `size` bytes of a repeatable pattern that differs with `seed`.
inline std::string patternContent(size_t size, unsigned seed) {
    std::string out(size, '\0');
    uint32_t x = 2463534242u ^ (seed * 2654435761u);
    for (auto& c : out) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        c = static_cast<char>(x & 0xFF);
    }
    return out;
}

inline CollectedFile collect(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) throw std::runtime_error("cannot stat " + path);
    CollectedFile f;
    f.path = standardizePath(path);
    f.sizeBytes = st.st_size;
    f.device = st.st_dev;
    f.inode = st.st_ino;
    f.modificationDate = dateFromTimespec(st.st_mtim);
    f.linkCount = static_cast<int64_t>(st.st_nlink);
    return f;
}

inline std::vector<CollectedFile> collectAll(const std::vector<std::string>& paths) {
    std::vector<CollectedFile> out;
    for (const auto& p : paths) out.push_back(collect(p));
    return out;
}

/// Options that reach every small file: floor 1 byte, default budgets otherwise.
inline DuplicateDetectionOptions smallFileOptions(const TestTree& tree, size_t workers = 1) {
    DuplicateDetectionOptions o;
    o.budgets.minimumDuplicateFileBytes = 1;
    o.homePath = standardizePath(tree.root());
    o.workerCount = workers;
    return o;
}

/// The paths of each group, in order.
inline std::vector<std::vector<std::string>> groupPaths(const DuplicateDetectionResult& r) {
    std::vector<std::vector<std::string>> out;
    for (const auto& g : r.groups) {
        out.emplace_back();
        for (const auto& f : g.files) out.back().push_back(f.url.path);
    }
    return out;
}

}  // namespace velmora::test

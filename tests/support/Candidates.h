#pragma once
// Candidates and scan reports built by hand for the tests of what consumes a scan (snapshots,
// exports, reappearance, review).
#include <optional>
#include <string>

#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora::test {

/// The candidate for the folder at `path`: `category`, `size` bytes, named after its last
/// component, last modified at a date with a fraction of a second (so that date coding is
/// exercised). With `resource`, a folder identity whose "device:inode" is `resource`.
inline CleanupCandidate candidateAt(const std::string& path, CleanupCategory category, int64_t size,
                                    std::optional<std::string> resource = {}) {
    CleanupCandidate c;
    c.url = FileURL::directory(path);
    c.displayName = c.url.lastComponent();
    c.category = category;
    c.sizeBytes = size;
    c.lastModified = 700'000'000.1234567;
    if (resource) {
        FileResourceIdentity identity;
        identity.fileResourceIdentifier = *resource;
        identity.isDirectory = true;
        identity.creationDate = 690'000'000.5;
        c.resourceIdentity = identity;
    }
    return c;
}

}  // namespace velmora::test

#pragma once
// Totals over a list of candidates that count every byte once. A candidate's size includes
// everything inside it, so a listed candidate that lies inside another listed one (direct mode
// offers ~/.cache/pip and the entries of ~/.cache/pip) adds nothing of its own; the same path
// listed twice (under two categories) counts once; and a later candidate that is the same file
// as an earlier one (same device and inode: a further hard link) adds nothing either.
//
// Pure computations over the records; thread-safe.
#include <cstdint>
#include <string>
#include <vector>

#include "CleanerCore/scanning/CleanupModel.h"

namespace velmora {

/// For each entry, whether its bytes are already part of another entry's size (see above).
/// The first of several equal paths or links keeps its bytes; an outer item always does.
std::vector<bool> bytesCountedElsewhere(const std::vector<const CleanupCandidate*>& candidates);

/// The sum of `sizeBytes` with every byte once, saturating at the largest 64-bit value;
/// negative sizes count as 0.
int64_t distinctBytes(const std::vector<const CleanupCandidate*>& candidates);

/// distinctBytes over candidates given one at a time, for a caller that does not keep them:
/// only what the count needs of each (path, file number, size) is held, about a fifth of a
/// candidate. Not thread-safe.
class DistinctBytesCounter {
  public:
    void reserve(size_t count) { items_.reserve(count); }
    void add(const CleanupCandidate& candidate);
    /// distinctBytes of everything added so far, in the order added.
    int64_t total() const;

    struct Item {
        std::string key;  ///< lexical path key; empty for a record without a path
        uint64_t device = 0, inode = 0;
        bool hasFile = false;
        int64_t size = 0;
    };

  private:
    std::vector<Item> items_;
};

}  // namespace velmora

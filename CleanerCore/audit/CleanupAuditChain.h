#pragma once
// Verification of the digest chain of a history, in stored order (newest first).
//
// Each linked entry must hash (with the previous digest stored in its own link) to its own
// `entryDigest`, and when it names a previous digest and an older entry follows it, that older
// entry must carry exactly that digest. An entry without `previousEntryDigest` starts a chain; an
// entry without any link is counted as unverifiable and skipped.
//
// What an intact result means: no entry was edited in its digested fields and no entry was
// removed from between two others since they were written. What it does not mean: the chain is
// not a signature, so a history rewritten in full with fresh digests verifies as intact; entries
// dropped from the old end (retention) are not noticed; `samplePaths` and `failureReasons` are
// outside the digest.
//
// Pure function, thread-safe.
#include <vector>

#include "CleanerCore/audit/CleanupAuditModel.h"

namespace velmora {

CleanupAuditChainReport verifyChain(const std::vector<CleanupAuditEntry>& newestFirst);

}  // namespace velmora

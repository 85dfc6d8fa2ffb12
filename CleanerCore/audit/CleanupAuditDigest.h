#pragma once
// The canonical text of a history entry and its SHA-256 digest, which links each entry to the one
// recorded before it.
//
// The canonical text is fourteen lines joined by "\n" (no trailing line feed):
//   id (upper-case UUID text) / occurredAt ("%.6f" seconds since 2001) / operation / source /
//   mode or "-" / requestedItemCount / requestedBytes / succeededItemCount / failedItemCount /
//   affectedBytes / wasCancelled ("1" or "0") / number of cleanedItems / the cleaned items /
//   previous digest or "-".
// Each cleaned item is "<candidate path>\x1F<sizeBytes>\x1F<destination path or ->", the items
// joined by "\x1E" in list order. Paths are the standardized raw bytes of the URLs (which need not
// be UTF-8), so the digest survives the lossy JSON rendering of such names.
//
// `samplePaths`, `failureReasons` and the candidates' other fields are deliberately left out:
// they are display detail, and changing them does not break the chain.
//
// Pure functions, thread-safe. The digest uses OpenSSL's EVP SHA-256; a failure of the library
// to hash a memory buffer is unrecoverable and aborts.
#include <optional>
#include <string>

#include "CleanerCore/audit/CleanupAuditModel.h"

namespace velmora {

/// The fourteen-line canonical text of `entry` linked after `previousDigest`. The entry's own
/// `chainLink` is ignored.
std::string canonicalText(const CleanupAuditEntry& entry,
                          const std::optional<std::string>& previousDigest);

/// SHA-256 of `data` as 64 lowercase hexadecimal digits.
std::string sha256Hex(std::string_view data);

/// `sha256Hex(canonicalText(entry, previousDigest))`.
std::string entryDigest(const CleanupAuditEntry& entry,
                        const std::optional<std::string>& previousDigest);

}  // namespace velmora

#pragma once
// SHA-256 digests of a file's content for duplicate detection: the sampled fingerprint and the
// full-content digest. Both read the exact file that was collected, or nothing:
//
// - the file is opened with O_NOFOLLOW (a symbolic link swapped in for it is refused, never
//   followed) and O_NONBLOCK (a FIFO swapped in cannot stall the reader);
// - the open descriptor must be a regular file with the collected device, inode and size, and
//   the collected modification date when one was recorded; after reading, size and date are
//   checked again, so a file rewritten while it was read is reported changed, not digested.
//   (Folders above the file are not opened through anchors: whatever path leads to the file,
//   only the collected object is ever read.)
//
// Memory stays flat: samples are at most 64 KiB and full digests stream through two caller-
// owned 1 MiB buffers. Cancellation is tested before every sample and before every chunk.
//
// Thread-safe: one call per file, any number of calls at once (each with its own buffer).
// Errors are values.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "CleanerCore/base/Cancellation.h"
#include "CleanerCore/base/Date.h"
#include "CleanerCore/base/Result.h"

namespace velmora {

using Sha256Digest = std::array<unsigned char, 32>;

/// Lowercase hexadecimal text of a digest (64 characters).
std::string hexText(const Sha256Digest& digest);

/// What a file must still be when it is read: what the walk recorded.
struct ExpectedFile {
    std::string path;  ///< standardized absolute path
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t sizeBytes = 0;
    std::optional<Date> modificationDate;
};

struct DigestFailure {
    enum class Kind {
        cancelled,   ///< cancellation was requested before a sample or chunk
        changed,     ///< not the collected regular file any more (or it changed while read)
        unreadable,  ///< open or read failed; `errorNumber` says why
    };
    Kind kind = Kind::unreadable;
    int errorNumber = 0;
};

/// A successful digest plus the hard-link count the open file had.
struct FileDigest {
    Sha256Digest digest{};
    int64_t linkCount = 1;
};

/// The bytes a sampled fingerprint reads at one offset: L = min(size, 65,536).
int64_t fingerprintSampleLength(int64_t sizeBytes);
/// The distinct sample offsets {0, (size - L) / 2, size - L} in ascending order.
std::vector<int64_t> fingerprintSampleOffsets(int64_t sizeBytes);
/// The bytes a fingerprint of a file of this size reads (the budget charge).
int64_t fingerprintReadBytes(int64_t sizeBytes);

/// The sampled fingerprint: SHA-256 over "size:<size>", then for each sample
/// "offset:<offset>:bytes:<bytes actually read>" followed by those bytes.
Result<FileDigest, DigestFailure> sampledFingerprint(const ExpectedFile& file,
                                                     const CancellationToken* cancellation);

inline constexpr size_t kFullDigestChunkBytes = 1'048'576;

/// Per-thread memory for full digests: chunks are `chunk.size()` bytes (kFullDigestChunkBytes in
/// production; must not be empty); `probe` is resized to match.
struct DigestBuffers {
    std::vector<unsigned char> chunk;
    std::vector<unsigned char> probe;
};

/// SHA-256 of the whole content of each file, read in chunks of `buffers.chunk.size()` bytes;
/// element i is the outcome for files[i]. All files must have the same `sizeBytes` (a
/// programming error otherwise: aborts).
///
/// The files are read side by side, and while their bytes agree one running SHA-256 serves
/// them all: identical bytes give identical digests, so content shared by n files is hashed
/// once and compared n - 1 times. Where a file's chunk differs, it continues on its own copy of
/// the digest state (and re-reads that one chunk). Each outcome is exactly what a separate
/// digest of that file would give. Every file is open at once: callers bound the count.
std::vector<Result<FileDigest, DigestFailure>> fullContentDigests(
    const std::vector<ExpectedFile>& files, DigestBuffers& buffers,
    const CancellationToken* cancellation);

/// One file's full-content digest (fullContentDigests of one file).
Result<FileDigest, DigestFailure> fullContentDigest(const ExpectedFile& file,
                                                    DigestBuffers& buffers,
                                                    const CancellationToken* cancellation);

}  // namespace velmora

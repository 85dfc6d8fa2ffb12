#include "CleanerCore/insights/ContentDigest.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

constexpr int64_t kSampleBytes = 65'536;

// The SHA-256 implementation, fetched once: an implicit fetch on every initialization costs a
// provider lookup per file. Never freed (it lives as long as the process).
const EVP_MD* sha256Algorithm() {
    static const EVP_MD* const md = [] {
        const EVP_MD* fetched = EVP_MD_fetch(nullptr, "SHA256", nullptr);
        return fetched ? fetched : EVP_sha256();
    }();
    return md;
}

[[noreturn]] void digestUnavailable() {
    std::fputs("velmora: SHA-256 is unavailable in libcrypto\n", stderr);
    std::abort();
}

// One running SHA-256 computation. Failing to compute SHA-256 means libcrypto is broken; like
// the history digest, that is not a per-file error.
class Sha256 {
  public:
    Sha256() : ctx_(EVP_MD_CTX_new()) {
        if (!ctx_ || EVP_DigestInit_ex(ctx_.get(), sha256Algorithm(), nullptr) != 1) {
            digestUnavailable();
        }
    }
    void update(const void* data, size_t size) {
        if (size > 0 && EVP_DigestUpdate(ctx_.get(), data, size) != 1) digestUnavailable();
    }
    void update(const std::string& text) { update(text.data(), text.size()); }
    /// Becomes a copy of `other`'s running state.
    void copyFrom(const Sha256& other) {
        if (EVP_MD_CTX_copy_ex(ctx_.get(), other.ctx_.get()) != 1) digestUnavailable();
    }
    Sha256Digest finish() {
        Sha256Digest out{};
        unsigned int length = 0;
        if (EVP_DigestFinal_ex(ctx_.get(), out.data(), &length) != 1 || length != out.size()) {
            digestUnavailable();
        }
        return out;
    }

  private:
    struct Free {
        void operator()(EVP_MD_CTX* c) const { EVP_MD_CTX_free(c); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> ctx_;
};

bool cancelled(const CancellationToken* token) {
    return token && token->isCancellationRequested();
}

Failure<DigestFailure> failed(DigestFailure::Kind kind, int errorNumber = 0) {
    return {DigestFailure{kind, errorNumber}};
}

bool sameContentState(const struct stat& st, const ExpectedFile& file) {
    if (st.st_size != file.sizeBytes) return false;
    return !file.modificationDate || dateFromTimespec(st.st_mtim) == *file.modificationDate;
}

// Opens the collected file, or says why it cannot be the one collected.
Result<UniqueFd, DigestFailure> openExpected(const ExpectedFile& file, struct stat& st) {
    UniqueFd fd(
        ::open(file.path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd) {
        // ELOOP: a symbolic link now stands where the file was. ENOENT: it is gone. Both mean
        // the collected file is no longer at its path.
        if (errno == ELOOP || errno == ENOENT) return failed(DigestFailure::Kind::changed);
        return failed(DigestFailure::Kind::unreadable, errno);
    }
    if (::fstat(fd.get(), &st) != 0) return failed(DigestFailure::Kind::unreadable, errno);
    if (!S_ISREG(st.st_mode) || static_cast<uint64_t>(st.st_dev) != file.device ||
        static_cast<uint64_t>(st.st_ino) != file.inode || !sameContentState(st, file)) {
        return failed(DigestFailure::Kind::changed);
    }
    return fd;
}

// Reads up to `size` bytes at `offset`, retrying short reads until end of file.
Result<size_t, DigestFailure> readAt(int fd, unsigned char* into, size_t size, int64_t offset) {
    size_t done = 0;
    while (done < size) {
        ssize_t n = ::pread(fd, into + done, size - done, static_cast<off_t>(offset + done));
        if (n < 0) {
            if (errno == EINTR) continue;
            return failed(DigestFailure::Kind::unreadable, errno);
        }
        if (n == 0) break;
        done += static_cast<size_t>(n);
    }
    return done;
}

// After reading: still the same size and date, so what was digested is one state of the file.
Result<int64_t, DigestFailure> linkCountIfUnchanged(int fd, const ExpectedFile& file) {
    struct stat st {};
    if (::fstat(fd, &st) != 0) return failed(DigestFailure::Kind::unreadable, errno);
    if (!sameContentState(st, file)) return failed(DigestFailure::Kind::changed);
    return static_cast<int64_t>(st.st_nlink);
}

}  // namespace

std::string hexText(const Sha256Digest& digest) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(digest.size() * 2);
    for (unsigned char b : digest) {
        out += kHex[b >> 4];
        out += kHex[b & 0xF];
    }
    return out;
}

int64_t fingerprintSampleLength(int64_t sizeBytes) {
    return std::clamp<int64_t>(sizeBytes, 0, kSampleBytes);
}

std::vector<int64_t> fingerprintSampleOffsets(int64_t sizeBytes) {
    const int64_t size = std::max<int64_t>(sizeBytes, 0);
    const int64_t length = fingerprintSampleLength(size);
    std::vector<int64_t> offsets{0, (size - length) / 2, size - length};
    std::sort(offsets.begin(), offsets.end());
    offsets.erase(std::unique(offsets.begin(), offsets.end()), offsets.end());
    return offsets;
}

int64_t fingerprintReadBytes(int64_t sizeBytes) {
    return fingerprintSampleLength(sizeBytes) *
           static_cast<int64_t>(fingerprintSampleOffsets(sizeBytes).size());
}

Result<FileDigest, DigestFailure> sampledFingerprint(const ExpectedFile& file,
                                                     const CancellationToken* cancellation) {
    if (cancelled(cancellation)) return failed(DigestFailure::Kind::cancelled);
    struct stat st {};
    auto fd = openExpected(file, st);
    if (!fd) return Failure{fd.error()};

    const auto length = static_cast<size_t>(fingerprintSampleLength(file.sizeBytes));
    std::vector<unsigned char> sample(length);
    Sha256 sha;
    sha.update("size:" + std::to_string(file.sizeBytes));
    for (int64_t offset : fingerprintSampleOffsets(file.sizeBytes)) {
        if (cancelled(cancellation)) return failed(DigestFailure::Kind::cancelled);
        auto read = readAt(fd->get(), sample.data(), length, offset);
        if (!read) return Failure{read.error()};
        sha.update("offset:" + std::to_string(offset) + ":bytes:" + std::to_string(*read));
        sha.update(sample.data(), *read);
    }
    auto links = linkCountIfUnchanged(fd->get(), file);
    if (!links) return Failure{links.error()};
    return FileDigest{sha.finish(), *links};
}

namespace {

// Files of one size whose bytes agreed up to `offset`, with the digest state of those bytes.
struct AgreeingRun {
    std::vector<size_t> members;  ///< indices into the caller's files
    Sha256 sha;
    int64_t offset = 0;
};

}  // namespace

std::vector<Result<FileDigest, DigestFailure>> fullContentDigests(
    const std::vector<ExpectedFile>& files, DigestBuffers& buffers,
    const CancellationToken* cancellation) {
    using Outcome = Result<FileDigest, DigestFailure>;
    std::vector<std::optional<Outcome>> outcomes(files.size());
    if (files.empty()) return {};
    const int64_t size = files.front().sizeBytes;
    for (const auto& f : files) {
        if (f.sizeBytes != size) {
            std::fputs("velmora: fullContentDigests needs files of one size\n", stderr);
            std::abort();
        }
    }
    if (buffers.chunk.empty()) buffers.chunk.resize(kFullDigestChunkBytes);
    buffers.probe.resize(buffers.chunk.size());
    const auto chunkBytes = static_cast<int64_t>(buffers.chunk.size());

    std::vector<UniqueFd> fds(files.size());
    std::vector<AgreeingRun> runs(1);
    for (size_t i = 0; i < files.size(); ++i) {
        if (cancelled(cancellation)) {
            outcomes[i] = failed(DigestFailure::Kind::cancelled);
            continue;
        }
        struct stat st {};
        auto fd = openExpected(files[i], st);
        if (!fd) {
            outcomes[i] = Failure{fd.error()};
            continue;
        }
        // Only advice: the kernel reads ahead further for a file read front to back once.
        (void)::posix_fadvise(fd->get(), 0, 0, POSIX_FADV_SEQUENTIAL);
        fds[i] = std::move(*fd);
        runs.front().members.push_back(i);
    }

    Sha256 before;  // a run's state ahead of the current chunk, for the files that leave it
    while (!runs.empty()) {
        AgreeingRun run = std::move(runs.back());
        runs.pop_back();
        while (!run.members.empty() && run.offset < size) {
            if (cancelled(cancellation)) {
                for (size_t i : run.members) outcomes[i] = failed(DigestFailure::Kind::cancelled);
                run.members.clear();
                break;
            }
            const auto want = static_cast<size_t>(std::min(chunkBytes, size - run.offset));
            // Reads the chunk of file i into `into`; a short read means the file shrank.
            auto readChunk = [&](size_t i, unsigned char* into) {
                auto n = readAt(fds[i].get(), into, want, run.offset);
                if (!n) {
                    outcomes[i] = Failure{n.error()};
                } else if (*n != want) {
                    outcomes[i] = failed(DigestFailure::Kind::changed);
                }
                return n && *n == want;
            };
            std::vector<size_t> agreeing, differing;
            size_t next = 0;
            // The first readable file sets the chunk everyone else is compared with.
            while (next < run.members.size() && !readChunk(run.members[next], buffers.chunk.data()))
                ++next;
            if (next == run.members.size()) {
                run.members.clear();
                break;
            }
            agreeing.push_back(run.members[next++]);
            if (next < run.members.size()) before.copyFrom(run.sha);  // others may part here
            run.sha.update(buffers.chunk.data(), want);
            for (; next < run.members.size(); ++next) {
                const size_t i = run.members[next];
                if (!readChunk(i, buffers.probe.data())) continue;
                const bool same =
                    std::memcmp(buffers.probe.data(), buffers.chunk.data(), want) == 0;
                (same ? agreeing : differing).push_back(i);
            }
            if (!differing.empty()) {
                AgreeingRun split{std::move(differing), Sha256(), run.offset};
                split.sha.copyFrom(before);
                runs.push_back(std::move(split));
            }
            run.members = std::move(agreeing);
            run.offset += static_cast<int64_t>(want);
        }
        if (run.members.empty()) continue;
        const Sha256Digest digest = run.sha.finish();
        for (size_t i : run.members) {
            // A file that grew while it was read fails this check: it was not the content
            // that was collected.
            auto links = linkCountIfUnchanged(fds[i].get(), files[i]);
            if (links) {
                outcomes[i] = FileDigest{digest, *links};
            } else {
                outcomes[i] = Failure{links.error()};
            }
        }
    }

    std::vector<Outcome> out;
    out.reserve(files.size());
    for (auto& o : outcomes) out.push_back(std::move(*o));
    return out;
}

Result<FileDigest, DigestFailure> fullContentDigest(const ExpectedFile& file,
                                                    DigestBuffers& buffers,
                                                    const CancellationToken* cancellation) {
    return std::move(fullContentDigests({file}, buffers, cancellation).front());
}

}  // namespace velmora

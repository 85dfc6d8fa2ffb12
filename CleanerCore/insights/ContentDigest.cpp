#include "CleanerCore/insights/ContentDigest.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
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

Result<FileDigest, DigestFailure> fullContentDigest(const ExpectedFile& file,
                                                    std::vector<unsigned char>& buffer,
                                                    const CancellationToken* cancellation) {
    if (cancelled(cancellation)) return failed(DigestFailure::Kind::cancelled);
    struct stat st {};
    auto fd = openExpected(file, st);
    if (!fd) return Failure{fd.error()};
    // Only advice: the kernel reads ahead further for a file read front to back once.
    (void)::posix_fadvise(fd->get(), 0, 0, POSIX_FADV_SEQUENTIAL);

    Sha256 sha;
    int64_t total = 0;
    for (;;) {
        if (cancelled(cancellation)) return failed(DigestFailure::Kind::cancelled);
        ssize_t n = ::read(fd->get(), buffer.data(), buffer.size());
        if (n < 0) {
            if (errno == EINTR) continue;
            return failed(DigestFailure::Kind::unreadable, errno);
        }
        if (n == 0) break;
        sha.update(buffer.data(), static_cast<size_t>(n));
        total += n;
        // Grown while being read: not the content that was collected.
        if (total > file.sizeBytes) return failed(DigestFailure::Kind::changed);
    }
    if (total != file.sizeBytes) return failed(DigestFailure::Kind::changed);
    auto links = linkCountIfUnchanged(fd->get(), file);
    if (!links) return Failure{links.error()};
    return FileDigest{sha.finish(), *links};
}

}  // namespace velmora

#include "CleanerCore/platform/InstallationKey.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "CleanerCore/platform/AtomicFileWrite.h"
#include "CleanerCore/platform/UUID.h"
#include "CleanerCore/platform/UniqueFd.h"

namespace velmora {

namespace {

std::string parentOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

InstallationKey freshKey() {
    InstallationKey key;
    if (RAND_bytes(key.bytes.data(), static_cast<int>(key.bytes.size())) != 1) {
        // Without a random source no key can be trusted; this is not a per-item failure.
        std::fputs("velmora: no source of random numbers is available\n", stderr);
        std::abort();
    }
    return key;
}

enum class Read { ok, missing, damaged, unusable };

// Reads the key without following a link; a regular file of exactly 32 bytes is a key.
Read readKey(const std::string& path, InstallationKey& key) {
    UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
    if (!fd) return errno == ENOENT ? Read::missing : Read::unusable;
    struct stat st {};
    if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) return Read::unusable;
    uint8_t buffer[33];
    size_t got = 0;
    while (got < sizeof buffer) {
        const ssize_t n = ::read(fd.get(), buffer + got, sizeof buffer - got);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return Read::unusable;
        if (n == 0) break;
        got += static_cast<size_t>(n);
    }
    if (got != key.bytes.size()) {
        OPENSSL_cleanse(buffer, sizeof buffer);
        return Read::damaged;
    }
    std::copy(buffer, buffer + got, key.bytes.begin());
    OPENSSL_cleanse(buffer, sizeof buffer);
    return Read::ok;
}

// Writes `key` completely under a temporary name, then links it to `path`: false with EEXIST
// in errno when a key was already there.
bool createKey(const std::string& path, const InstallationKey& key) {
    const std::string temporary = parentOf(path) + "/.delta-blame.key.tmp-" + makeUUIDString();
    UniqueFd fd(
        ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd) return false;
    const bool written = ::write(fd.get(), key.bytes.data(), key.bytes.size()) ==
                             static_cast<ssize_t>(key.bytes.size()) &&
                         ::fsync(fd.get()) == 0;
    fd.reset();
    const bool linked = written && ::link(temporary.c_str(), path.c_str()) == 0;
    const int error = errno;
    ::unlink(temporary.c_str());
    errno = linked ? 0 : (written ? error : EIO);
    return linked;
}

}  // namespace

std::string installationKeyPath(const std::string& dataHome) {
    return dataHome + "/Velmora/delta-blame.key";
}

std::optional<InstallationKeyOutcome> loadOrCreateInstallationKey(const std::string& path) {
    InstallationKeyOutcome out;
    switch (readKey(path, out.key)) {
        case Read::ok:
            return out;
        case Read::unusable:
            return std::nullopt;
        case Read::damaged: {
            out.key = freshKey();
            std::string data(out.key.bytes.begin(), out.key.bytes.end());
            const bool replaced = !writeFileAtomically(path, data).has_value();
            OPENSSL_cleanse(data.data(), data.size());
            if (!replaced) return std::nullopt;
            out.event = InstallationKeyEvent::replacedDamaged;
            return out;
        }
        case Read::missing:
            break;
    }
    if (!createFolders(parentOf(path), 0700)) return std::nullopt;
    out.key = freshKey();
    if (createKey(path, out.key)) {
        out.event = InstallationKeyEvent::created;
        return out;
    }
    if (errno != EEXIST) return std::nullopt;
    // Another process created it first: its key is the installation's.
    if (readKey(path, out.key) != Read::ok) return std::nullopt;
    out.event = InstallationKeyEvent::loaded;
    return out;
}

std::array<uint8_t, 32> keyedHash(const InstallationKey& key, std::string_view message) {
    std::array<uint8_t, 32> out{};
    unsigned int length = 0;
    if (!HMAC(EVP_sha256(), key.bytes.data(), static_cast<int>(key.bytes.size()),
              reinterpret_cast<const unsigned char*>(message.data()), message.size(), out.data(),
              &length) ||
        length != out.size()) {
        std::fputs("velmora: HMAC-SHA-256 is not available\n", stderr);
        std::abort();
    }
    return out;
}

std::string hexString(const std::array<uint8_t, 32>& bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (uint8_t b : bytes) {
        out += kDigits[b >> 4];
        out += kDigits[b & 15];
    }
    return out;
}

}  // namespace velmora

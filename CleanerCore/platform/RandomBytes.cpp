#include "CleanerCore/platform/RandomBytes.h"

#include <openssl/rand.h>
#include <sys/random.h>

#include <cstdio>
#include <cstdlib>

namespace velmora {

void fillRandomBytes(std::span<uint8_t> bytes) {
    if (bytes.empty() || RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1) return;
    size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::getrandom(bytes.data() + done, bytes.size() - done, 0);
        if (n <= 0) {
            std::fputs("velmora: no source of random numbers is available\n", stderr);
            std::abort();
        }
        done += static_cast<size_t>(n);
    }
}

}  // namespace velmora

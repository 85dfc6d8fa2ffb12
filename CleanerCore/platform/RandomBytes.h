#pragma once
// Bytes from the system's cryptographic random source: OpenSSL's CSPRNG, falling back to
// getrandom(2). When the system offers no randomness at all the process aborts (nothing that
// asks for secret bytes can sensibly continue without them). Thread-safe.
#include <cstdint>
#include <span>

namespace velmora {

/// Fills `bytes` with fresh random bytes.
void fillRandomBytes(std::span<uint8_t> bytes);

}  // namespace velmora

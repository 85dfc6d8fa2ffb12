#pragma once
// The installation's secret key and the keyed hash made with it: the tokens of privacy-preserving
// snapshots and of redacted exports are HMAC-SHA-256 values under this key, so they reveal
// nothing to anyone without it and stay the same from run to run on this installation.
//
// The key is 32 random bytes (OpenSSL's random source) in `$XDG_DATA_HOME/Velmora/
// delta-blame.key`, mode 0600. It is created once: written completely under a temporary name and
// then linked into place, which fails when another process got there first (whose key is then
// read), so no reader ever sees half a key. It is never printed, exported or copied into a
// snapshot, and no error text names its bytes.
//
// Errors are values. Thread-safe (no shared state); two processes creating the key at once
// end up with the same key.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

using InstallationKeyBytes = std::array<uint8_t, 32>;

struct InstallationKey {
    InstallationKeyBytes bytes{};
};

enum class InstallationKeyEvent {
    loaded,
    created,
    /// The file did not hold exactly 32 bytes: a new key replaced it, and what was keyed under
    /// the old one can no longer be compared.
    replacedDamaged,
};

struct InstallationKeyOutcome {
    InstallationKey key;
    InstallationKeyEvent event = InstallationKeyEvent::loaded;
};

/// `$dataHome/Velmora/delta-blame.key`.
std::string installationKeyPath(const std::string& dataHome);

/// Loads the key at `path`, creating it (and its folder, 0700) when there is none, replacing it
/// when it is damaged. nullopt when no key can be read or kept: the path is not a regular file
/// (a folder, a FIFO, a link), or the folder cannot be written.
std::optional<InstallationKeyOutcome> loadOrCreateInstallationKey(const std::string& path);

/// HMAC-SHA-256 of `message` under `key`.
std::array<uint8_t, 32> keyedHash(const InstallationKey& key, std::string_view message);

/// Lower-case hexadecimal of `bytes`.
std::string hexString(const std::array<uint8_t, 32>& bytes);

}  // namespace velmora

#pragma once
// Keyed one-way tokens for delta-blame snapshots, so two scans can be matched item by item and
// root by root without keeping a path, a file name or a file number.
//
// A token is HMAC-SHA-256 under the installation's 32-byte key over a domain-separated message:
// fields, each an 8-byte big-endian length then its bytes, the first field being the label of
// the token's kind. Equal inputs under the same key give equal tokens; the labels keep a path
// token and a resource token of the same bytes apart, and the length prefixes keep ("ab") under
// label L apart from ("b") under label L + "a". Text form: "hmac-sha256-v1:" + 64 lower-case
// hexadecimal digits.
//
//   path token      label ...relative-path, the item's path relative to its scan root
//   resource token  label ...resource, "<device>:<inode>" (the file type travels beside it as
//                   corroborator, so a reused inode that now names another kind of object is
//                   not taken for the same item)
//   root token      label ...root, the root's standardized path, its multiplicity ordinal
//   fingerprint     label ...root-fingerprint, the root's standardized path
//   policy          label ...policy, scan mode and policy revision
//
// The key never leaves the provider: it is not written into any token, snapshot or error text.
// Immutable values; thread-safe.
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "CleanerCore/base/Result.h"
#include "CleanerCore/delta-blame/DeltaBlameModel.h"
#include "CleanerCore/platform/InstallationKey.h"

namespace velmora {

inline constexpr std::string_view kDeltaBlameTokenPrefix = "hmac-sha256-v1:";
/// Prefix plus 64 hexadecimal digits.
inline constexpr size_t kDeltaBlameTokenLength = 15 + 64;

namespace DeltaBlameLabel {
inline constexpr std::string_view kRelativePath = "velmora.delta-blame.identity.v1.relative-path";
inline constexpr std::string_view kResource = "velmora.delta-blame.identity.v1.resource";
inline constexpr std::string_view kRoot = "velmora.delta-blame.identity.v1.root";
inline constexpr std::string_view kRootFingerprint =
    "velmora.delta-blame.identity.v1.root-fingerprint";
inline constexpr std::string_view kPolicy = "velmora.delta-blame.identity.v1.policy";
/// The store's check that its snapshots were keyed under the key in use.
inline constexpr std::string_view kStoreKeyCheck = "velmora.delta-blame.identity.v1.store-key";
}  // namespace DeltaBlameLabel

struct DeltaBlameIdentityError {
    enum class Kind { invalidKeyLength };
    Kind kind = Kind::invalidKeyLength;
    size_t actual = 0;  ///< the key's length
    std::string description() const;
    friend bool operator==(const DeltaBlameIdentityError&,
                           const DeltaBlameIdentityError&) = default;
};

/// The message of fields: each an 8-byte big-endian unsigned length followed by its bytes.
std::string deltaBlameMessage(const std::vector<std::string_view>& fields);

/// Computes HMAC-SHA-256 under one installation key.
class DeltaBlameIdentityHMACProvider {
  public:
    /// `keyBytes` must be exactly 32 bytes, else `invalidKeyLength`.
    static Result<DeltaBlameIdentityHMACProvider, DeltaBlameIdentityError> make(
        std::string_view keyBytes);
    explicit DeltaBlameIdentityHMACProvider(const InstallationKey& key);

    std::array<uint8_t, 32> authenticationCode(std::string_view message) const;

    /// The token text of the message of `fields`, the first of which is the label.
    std::string token(const std::vector<std::string_view>& fields) const;

    DeltaBlamePathToken pathToken(std::string_view relativePath) const;
    DeltaBlameResourceToken resourceToken(std::string_view stableResourceIdentity) const;
    DeltaBlameFingerprint policyFingerprint(std::string_view scanModeIdentifier,
                                            std::string_view policyRevision) const;
    /// The key check a store keeps beside its snapshots.
    std::string storeKeyCheck() const;

  private:
    // SHA-256 already fed with the key's inner and outer pad blocks, so a token costs two
    // digests of its own bytes and no key schedule (keyedHash's result, about twice as fast).
    // Shared, never changed after construction.
    struct Pads;
    std::shared_ptr<const Pads> pads_;
};

/// True when `text` has the form the token builder produces: the prefix, then exactly 64
/// lower-case hexadecimal digits.
bool isValidDeltaBlameToken(std::string_view text);

/// The descriptors of `rootPaths` in their order (paths are standardized first). Roots that
/// normalize to the same path share a fingerprint and get multiplicity ordinals 0, 1, ...; their
/// ids ("root-" + the first 16 digits of the root token) are stable for the same root and key.
std::vector<DeltaBlameNormalizedRootDescriptor> makeDeltaBlameRootDescriptors(
    const DeltaBlameIdentityHMACProvider& provider, const std::vector<std::string>& rootPaths);

/// The fingerprint of a set of roots: their fingerprints in descriptor order.
DeltaBlameRootSetFingerprint makeDeltaBlameRootSetFingerprint(
    const std::vector<DeltaBlameNormalizedRootDescriptor>& descriptors);

}  // namespace velmora

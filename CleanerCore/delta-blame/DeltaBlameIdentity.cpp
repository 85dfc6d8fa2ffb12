#include "CleanerCore/delta-blame/DeltaBlameIdentity.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "CleanerCore/base/FileURL.h"

namespace velmora {

std::string DeltaBlameIdentityError::description() const {
    switch (kind) {
        case Kind::invalidKeyLength:
            return fmt::format("The identity key has {} bytes instead of 32", actual);
    }
    return {};
}

std::string deltaBlameMessage(const std::vector<std::string_view>& fields) {
    size_t size = 0;
    for (auto f : fields) size += 8 + f.size();
    std::string message;
    message.reserve(size);
    for (auto f : fields) {
        const auto length = static_cast<uint64_t>(f.size());
        for (int shift = 56; shift >= 0; shift -= 8)
            message.push_back(static_cast<char>((length >> shift) & 0xFF));
        message.append(f);
    }
    return message;
}

Result<DeltaBlameIdentityHMACProvider, DeltaBlameIdentityError>
DeltaBlameIdentityHMACProvider::make(std::string_view keyBytes) {
    InstallationKey key;
    if (keyBytes.size() != key.bytes.size())
        return Failure{DeltaBlameIdentityError{DeltaBlameIdentityError::Kind::invalidKeyLength,
                                               keyBytes.size()}};
    std::copy(keyBytes.begin(), keyBytes.end(), key.bytes.begin());
    return DeltaBlameIdentityHMACProvider(key);
}

std::array<uint8_t, 32> DeltaBlameIdentityHMACProvider::authenticationCode(
    std::string_view message) const {
    return keyedHash(key_, message);
}

std::string DeltaBlameIdentityHMACProvider::token(
    const std::vector<std::string_view>& fields) const {
    return std::string(kDeltaBlameTokenPrefix) +
           hexString(authenticationCode(deltaBlameMessage(fields)));
}

DeltaBlamePathToken DeltaBlameIdentityHMACProvider::pathToken(std::string_view relativePath) const {
    return {token({DeltaBlameLabel::kRelativePath, relativePath})};
}

DeltaBlameResourceToken DeltaBlameIdentityHMACProvider::resourceToken(
    std::string_view stableResourceIdentity) const {
    return {token({DeltaBlameLabel::kResource, stableResourceIdentity})};
}

DeltaBlameFingerprint DeltaBlameIdentityHMACProvider::policyFingerprint(
    std::string_view scanModeIdentifier, std::string_view policyRevision) const {
    return {token({DeltaBlameLabel::kPolicy, scanModeIdentifier, policyRevision})};
}

std::string DeltaBlameIdentityHMACProvider::storeKeyCheck() const {
    return token({DeltaBlameLabel::kStoreKeyCheck});
}

bool isValidDeltaBlameToken(std::string_view text) {
    if (text.size() != kDeltaBlameTokenLength || !text.starts_with(kDeltaBlameTokenPrefix))
        return false;
    return std::all_of(text.begin() + kDeltaBlameTokenPrefix.size(), text.end(),
                       [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

std::vector<DeltaBlameNormalizedRootDescriptor> makeDeltaBlameRootDescriptors(
    const DeltaBlameIdentityHMACProvider& provider, const std::vector<std::string>& rootPaths) {
    std::vector<DeltaBlameNormalizedRootDescriptor> out;
    out.reserve(rootPaths.size());
    std::map<std::string, uint32_t> seen;
    for (const auto& raw : rootPaths) {
        const std::string path = standardizePath(raw);
        const uint32_t multiplicity = seen[path]++;
        std::string ordinal(4, '\0');
        for (int i = 0; i < 4; ++i)
            ordinal[static_cast<size_t>(i)] =
                static_cast<char>((multiplicity >> (24 - 8 * i)) & 0xFF);
        DeltaBlameNormalizedRootDescriptor d;
        d.rootToken = {provider.token({DeltaBlameLabel::kRoot, path, ordinal})};
        d.fingerprint = {provider.token({DeltaBlameLabel::kRootFingerprint, path})};
        d.id = {"root-" + d.rootToken.rawValue.substr(kDeltaBlameTokenPrefix.size(), 16)};
        d.multiplicityOrdinal = multiplicity;
        out.push_back(std::move(d));
    }
    return out;
}

DeltaBlameRootSetFingerprint makeDeltaBlameRootSetFingerprint(
    const std::vector<DeltaBlameNormalizedRootDescriptor>& descriptors) {
    DeltaBlameRootSetFingerprint out;
    out.components.reserve(descriptors.size());
    for (const auto& d : descriptors) out.components.push_back(d.fingerprint);
    return out;
}

}  // namespace velmora

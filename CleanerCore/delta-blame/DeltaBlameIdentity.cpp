#include "CleanerCore/delta-blame/DeltaBlameIdentity.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
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

namespace {

[[noreturn]] void digestUnavailable() {
    std::fputs("velmora: SHA-256 is not available\n", stderr);
    std::abort();
}

struct DigestContextDeleter {
    void operator()(EVP_MD_CTX* ctx) const { EVP_MD_CTX_free(ctx); }
};
using DigestContext = std::unique_ptr<EVP_MD_CTX, DigestContextDeleter>;

DigestContext newDigestContext() {
    DigestContext ctx(EVP_MD_CTX_new());
    if (!ctx) digestUnavailable();
    return ctx;
}

// One working context per thread, reused for every token.
EVP_MD_CTX* scratchContext() {
    thread_local DigestContext scratch = newDigestContext();
    return scratch.get();
}

}  // namespace

struct DeltaBlameIdentityHMACProvider::Pads {
    DigestContext inner = newDigestContext();
    DigestContext outer = newDigestContext();
};

DeltaBlameIdentityHMACProvider::DeltaBlameIdentityHMACProvider(const InstallationKey& key) {
    // HMAC (RFC 2104) with a key shorter than SHA-256's 64-byte block: the key, zero-padded,
    // XOR 0x36 starts the inner digest and XOR 0x5c the outer one.
    auto pads = std::make_shared<Pads>();
    std::array<unsigned char, 64> inner{}, outer{};
    for (size_t i = 0; i < inner.size(); ++i) {
        const unsigned char k = i < key.bytes.size() ? key.bytes[i] : 0;
        inner[i] = k ^ 0x36;
        outer[i] = k ^ 0x5c;
    }
    if (!EVP_DigestInit_ex(pads->inner.get(), EVP_sha256(), nullptr) ||
        !EVP_DigestUpdate(pads->inner.get(), inner.data(), inner.size()) ||
        !EVP_DigestInit_ex(pads->outer.get(), EVP_sha256(), nullptr) ||
        !EVP_DigestUpdate(pads->outer.get(), outer.data(), outer.size()))
        digestUnavailable();
    pads_ = std::move(pads);
}

std::array<uint8_t, 32> DeltaBlameIdentityHMACProvider::authenticationCode(
    std::string_view message) const {
    EVP_MD_CTX* ctx = scratchContext();
    std::array<uint8_t, 32> innerDigest{}, out{};
    unsigned int length = 0;
    if (!EVP_MD_CTX_copy_ex(ctx, pads_->inner.get()) ||
        !EVP_DigestUpdate(ctx, message.data(), message.size()) ||
        !EVP_DigestFinal_ex(ctx, innerDigest.data(), &length) || length != 32 ||
        !EVP_MD_CTX_copy_ex(ctx, pads_->outer.get()) ||
        !EVP_DigestUpdate(ctx, innerDigest.data(), innerDigest.size()) ||
        !EVP_DigestFinal_ex(ctx, out.data(), &length) || length != 32)
        digestUnavailable();
    return out;
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

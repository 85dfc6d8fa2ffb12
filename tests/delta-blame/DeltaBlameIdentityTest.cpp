// Keyed tokens: determinism under one key, separation by key and by label, unambiguous
// messages, the HMAC itself, the token form, and root descriptors.
#include <gtest/gtest.h>

#include "CleanerCore/delta-blame/DeltaBlameIdentity.h"
#include "delta-blame/DeltaBlameTestSupport.h"

namespace velmora {
namespace {

using test::providerFilledWith;

TEST(DeltaBlameIdentityTest, TokenIsTheKeyedHmacOfTheLengthPrefixedMessage) {
    const auto a = providerFilledWith('a');
    EXPECT_EQ(a.pathToken("pip/wheels"), a.pathToken("pip/wheels"));
    EXPECT_NE(a.pathToken("pip/wheels"), providerFilledWith('b').pathToken("pip/wheels"));
    EXPECT_NE(a.pathToken("2049:11").rawValue, a.resourceToken("2049:11").rawValue);
    EXPECT_TRUE(isValidDeltaBlameToken(a.pathToken("").rawValue));

    const std::string label(DeltaBlameLabel::kRelativePath);
    const std::string message = deltaBlameMessage({label, "ab"});
    ASSERT_EQ(message.size(), 8 + label.size() + 8 + 2);
    EXPECT_EQ(message.substr(0, 8), std::string("\0\0\0\0\0\0\0", 7) + char(label.size()));
    EXPECT_EQ(a.pathToken("ab").rawValue,
              std::string(kDeltaBlameTokenPrefix) + hexString(a.authenticationCode(message)));
    // ("ab" under L) and ("b" under L + "a") concatenate alike but are different messages.
    EXPECT_NE(a.token({"L", "ab"}), a.token({"La", "b"}));

    // The provider's own HMAC (prepared pads, shared by copies) agrees with OpenSSL's.
    InstallationKey key;
    for (size_t i = 0; i < key.bytes.size(); ++i) key.bytes[i] = static_cast<uint8_t>(i * 7);
    const DeltaBlameIdentityHMACProvider provider(key);
    const auto copy = provider;
    for (const std::string& m :
         {std::string(), std::string("x"), std::string(64, 'm'), std::string(1000, '\0')}) {
        EXPECT_EQ(provider.authenticationCode(m), keyedHash(key, m)) << m.size();
        EXPECT_EQ(copy.authenticationCode(m), keyedHash(key, m)) << m.size();
    }
}

TEST(DeltaBlameIdentityTest, ProviderWantsExactly32KeyBytes) {
    for (size_t length : {0u, 16u, 31u, 33u, 64u}) {
        auto made = DeltaBlameIdentityHMACProvider::make(std::string(length, 'k'));
        ASSERT_FALSE(made) << length;
        EXPECT_EQ(made.error().kind, DeltaBlameIdentityError::Kind::invalidKeyLength);
        EXPECT_EQ(made.error().actual, length);
    }
    EXPECT_TRUE(DeltaBlameIdentityHMACProvider::make(std::string(32, '\0')));
}

TEST(DeltaBlameIdentityTest, TokenValidatorAcceptsOnlyTheBuiltForm) {
    const std::string hex64(64, 'a');
    const struct {
        std::string text;
        bool valid;
    } cases[] = {
        {"hmac-sha256-v1:" + hex64, true},
        {"hmac-sha256-v1:0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef", true},
        {"HMAC-SHA256-V1:" + hex64, false},
        {"hmac-sha256-v1:" + std::string(63, 'a'), false},
        {"hmac-sha256-v1:" + std::string(65, 'a'), false},
        {"hmac-sha256-v1:" + std::string(64, 'A'), false},
        {"hmac-sha256-v1:" + std::string(63, 'a') + "g", false},
        {"hmac-sha256-v2:" + hex64, false},
        {hex64, false},
        {"", false},
    };
    for (const auto& c : cases) EXPECT_EQ(isValidDeltaBlameToken(c.text), c.valid) << c.text;
}

TEST(DeltaBlameIdentityTest, RootDescriptorsAreStableAndTellRepeatedRootsApart) {
    const auto p = providerFilledWith('r');
    const auto first =
        makeDeltaBlameRootDescriptors(p, {"/home/u/.cache/", "/tmp", "/home/u/.cache"});
    const auto again = makeDeltaBlameRootDescriptors(p, {"/home/u/./.cache"});
    ASSERT_EQ(first.size(), 3u);
    EXPECT_EQ(first[0], again[0]);  // same root, same key: same descriptor
    EXPECT_EQ(first[0].fingerprint, first[2].fingerprint);
    EXPECT_NE(first[0].rootToken, first[2].rootToken);
    EXPECT_NE(first[0].id, first[2].id);
    EXPECT_EQ(first[0].multiplicityOrdinal, 0u);
    EXPECT_EQ(first[2].multiplicityOrdinal, 1u);
    EXPECT_EQ(first[1].multiplicityOrdinal, 0u);
    EXPECT_NE(makeDeltaBlameRootDescriptors(providerFilledWith('s'), {"/tmp"})[0].fingerprint,
              first[1].fingerprint);

    const auto set = makeDeltaBlameRootSetFingerprint(first);
    EXPECT_EQ(set.components,
              (std::vector{first[0].fingerprint, first[1].fingerprint, first[2].fingerprint}));
}

}  // namespace
}  // namespace velmora

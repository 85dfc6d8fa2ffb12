// The codec: size bounds and their errors, byte-stable sorted output, millisecond dates,
// unescaped slashes, and strict decoding.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "CleanerCore/delta-blame/DeltaBlameCodec.h"
#include "delta-blame/DeltaBlameTestSupport.h"

namespace velmora {
namespace {

using CK = DeltaBlameTemporaryCodecError::Kind;
constexpr int64_t kMax = kDeltaBlameMaximumEncodedBytes;

// The maximum is checked before anything else, then emptiness, then the size.
TEST(DeltaBlameCodecTest, BoundsAndTheirErrors) {
    const auto envelope = test::sampleEnvelope();
    const auto bytes = *DeltaBlameTemporaryCodec::encode(envelope, kMax);
    const auto size = static_cast<int64_t>(bytes.size());
    using E = DeltaBlameTemporaryCodecError;
    const struct {
        bool encodes;
        std::string input;  // for decoding
        int64_t maximum;
        std::optional<E> expected;
    } cases[] = {
        {true, "", 0, E{CK::invalidMaximumEncodedBytes, 0, 0, {}}},
        {true, "", -5, E{CK::invalidMaximumEncodedBytes, 0, -5, {}}},
        {true, "", kMax + 1, E{CK::invalidMaximumEncodedBytes, 0, kMax + 1, {}}},
        {false, "", 0, E{CK::invalidMaximumEncodedBytes, 0, 0, {}}},
        {false, "", kMax + 1, E{CK::invalidMaximumEncodedBytes, 0, kMax + 1, {}}},
        {true, "", size - 1, E{CK::encodedPayloadTooLarge, size, size - 1, {}}},
        {true, "", size, std::nullopt},
        {false, bytes, size - 1, E{CK::encodedPayloadTooLarge, size, size - 1, {}}},
        {false, "", kMax, E{CK::emptyPayload, 0, 0, {}}},
    };
    const auto errorOf = [](const auto& result) {
        return result ? std::nullopt : std::optional(result.error());
    };
    for (const auto& c : cases) {
        const std::optional<E> found =
            c.encodes ? errorOf(DeltaBlameTemporaryCodec::encode(envelope, c.maximum))
                      : errorOf(DeltaBlameTemporaryCodec::decode(c.input, c.maximum));
        EXPECT_EQ(found, c.expected) << (c.encodes ? "encode " : "decode ") << c.maximum;
    }
}

TEST(DeltaBlameCodecTest, StableSortedBytesWithMillisecondDatesThatReadBackExactly) {
    DeltaBlameLimits bounded;
    bounded.maximumEvidenceEntries = 2;  // residuals and a bounded coverage too
    for (const auto& envelope : {test::sampleEnvelope(bounded), test::sampleEnvelope()}) {
        const auto bytes = *DeltaBlameTemporaryCodec::encode(envelope, kMax);
        EXPECT_EQ(*DeltaBlameTemporaryCodec::encode(envelope, kMax), bytes);
        auto decoded = DeltaBlameTemporaryCodec::decode(bytes, kMax);
        ASSERT_TRUE(decoded) << decoded.error().description();
        EXPECT_EQ(*decoded, envelope);
        EXPECT_EQ(*DeltaBlameTemporaryCodec::encode(*decoded, kMax), bytes);
    }

    const auto bytes = *DeltaBlameTemporaryCodec::encode(test::sampleEnvelope(), kMax);
    EXPECT_EQ(bytes.rfind("{\"draft\":{\"aggregates\":", 0), 0u) << bytes.substr(0, 40);
    EXPECT_LT(bytes.find("\"draft\""), bytes.find("\"limits\""));
    EXPECT_NE(bytes.find("\"policyRevision\":\"cleanup-policy/3\""), std::string::npos);
    EXPECT_EQ(bytes.find("\\/"), std::string::npos);
    const auto json = nlohmann::json::parse(bytes);
    // 700000200.25 s after 2001 is 1678307400250 ms after 1970.
    EXPECT_EQ(json["draft"]["capturedAt"], 1'678'307'400'250);
    EXPECT_TRUE(json["draft"]["capturedAt"].is_number_integer());
    EXPECT_EQ(json["draft"]["evidence"][0]["lastModified"], 1'678'307'200'123);
    EXPECT_EQ(json["draft"]["comparability"], nlohmann::json::parse(R"({"comparable":{}})"));
    EXPECT_FALSE(json["draft"]["evidence"][3].contains("resourceToken"));
}

TEST(DeltaBlameCodecTest, HostileInputIsADecodingError) {
    const auto good =
        nlohmann::json::parse(*DeltaBlameTemporaryCodec::encode(test::sampleEnvelope(), kMax));
    auto edited = [&](auto change) {
        auto j = good;
        change(j);
        return j.dump();
    };
    const struct {
        const char* name;
        std::string bytes;
    } cases[] = {
        {"not JSON", "{\"draft\":"},
        {"array", "[]"},
        {"missing limits", edited([](auto& j) { j.erase("limits"); })},
        {"string byte count",
         edited([](auto& j) { j["draft"]["aggregates"][0]["byteCount"] = "5"; })},
        {"fractional count",
         edited([](auto& j) { j["draft"]["aggregates"][0]["byteCount"] = 1.5; })},
        {"negative ordinal",
         edited([](auto& j) { j["draft"]["evidence"][0]["evidenceOrdinal"] = -1; })},
        {"huge multiplicity", edited([](auto& j) {
             j["draft"]["provenance"]["completionMetadata"]["rootDescriptors"][0]
              ["multiplicityOrdinal"] = 1ull << 40;
         })},
        {"unknown tier",
         edited([](auto& j) { j["draft"]["evidence"][0]["identityTier"] = "strong"; })},
        {"two-case comparability", edited([](auto& j) {
             j["draft"]["comparability"]["incomplete"] = nlohmann::json::object();
         })},
        {"lower-case UUID", edited([](auto& j) {
             j["draft"]["snapshotID"] = "7f3c2a10-5b6d-4e8f-9a0b-1c2d3e4f5a6b";
         })},
        {"fractional date", edited([](auto& j) { j["draft"]["capturedAt"] = 1.5; })},
        {"date beyond the range",
         edited([](auto& j) { j["draft"]["capturedAt"] = int64_t{1'000'000'000'000'000}; })},
        {"date as text", edited([](auto& j) { j["draft"]["capturedAt"] = "2024-01-01"; })},
        {"token as number", edited([](auto& j) { j["draft"]["evidence"][0]["pathToken"] = 7; })},
    };
    for (const auto& c : cases) {
        auto decoded = DeltaBlameTemporaryCodec::decode(c.bytes, kMax);
        ASSERT_FALSE(decoded) << c.name;
        EXPECT_EQ(decoded.error().kind, CK::decodingFailed) << c.name;
    }
}

TEST(DeltaBlameCodecTest, UnencodableValuesAreEncodingErrors) {
    auto envelope = test::sampleEnvelope();
    envelope.draft.capturedAt = std::numeric_limits<double>::infinity();
    auto encoded = DeltaBlameTemporaryCodec::encode(envelope, kMax);
    ASSERT_FALSE(encoded);
    EXPECT_EQ(encoded.error().kind, CK::encodingFailed);
    envelope = test::sampleEnvelope();
    envelope.draft.provenance.completionMetadata.policyRevision = "\xff\xfe";
    encoded = DeltaBlameTemporaryCodec::encode(envelope, kMax);
    ASSERT_FALSE(encoded);
    EXPECT_EQ(encoded.error().kind, CK::encodingFailed);
}

}  // namespace
}  // namespace velmora

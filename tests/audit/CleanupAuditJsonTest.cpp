// The history file's coding: what an entry must survive on disk, what strict decoding refuses,
// and how much a damaged file may cost the tolerant decoder.
#include <gtest/gtest.h>

#include <bit>

#include "CleanerCore/audit/CleanupAuditDecoding.h"
#include "CleanerCore/audit/CleanupAuditDigest.h"
#include "CleanerCore/audit/CleanupAuditJson.h"
#include "CleanerCore/scanning/ModelJson.h"
#include "audit/AuditTestSupport.h"

namespace velmora {
namespace {

using nlohmann::json;
using test::cleanedItemAt;
using test::entryAt;

std::vector<CleanupAuditEntry> decodeOrFail(const std::string& text) {
    auto decoded = decodeCleanupAuditHistory(text);
    EXPECT_TRUE(decoded.ok()) << (decoded.ok() ? "" : decoded.error());
    if (!decoded.ok()) return {};
    EXPECT_TRUE(decoded->wasStrict);
    return decoded->entries;
}

// Dates must read back bit for bit (-0.0 and the smallest subnormal included), paths byte for
// byte.
TEST(CleanupAuditJsonTest, EntriesRoundTripFieldForFieldWithHostilePathsAndExactDates) {
    const std::string names[] = {"plain", "\xff\xfe", "a\xc3", "new\nline", "100%", "x"};
    const double dates[] = {790000000.123456789,
                            dateFromTimespec({1700000000, 999999999}),
                            -0.0,
                            5e-324,
                            0.1 + 0.2,
                            1e300};
    std::vector<CleanupAuditEntry> entries;
    for (size_t i = 0; i < std::size(names); ++i) {
        const std::string& name = names[i];
        CleanupAuditEntry e = entryAt(dates[i], 0);
        const std::string path = "/h/.cache/" + name;
        CleanedItem item = cleanedItemAt(path, 4096);
        item.candidate.lastModified = dates[(i + 1) % std::size(dates)];
        item.destinationURL = FileURL("/h/.local/share/Trash/files/" + name + ".2");
        e.cleanedItems = {item};
        e.samplePaths = {path};
        e.failureReasons = {"Item changed since scan: " + path,
                            "Item changed since scan: /h/.local/share/Trash/files/" + name + ".2"};
        e.chainLink = CleanupAuditChainLink{entryDigest(e, std::nullopt), std::nullopt};
        entries.push_back(e);
    }
    CleanupAuditEntry restore = entryAt(-1.0 / 3.0, 0);
    restore.operation = CleanupAuditOperation::restore;
    restore.mode.reset();
    restore.chainLink = CleanupAuditChainLink{"digest", "previous"};
    entries.push_back(restore);

    const auto text = encodeCleanupAuditHistory(entries);
    ASSERT_TRUE(text);
    const auto back = decodeOrFail(*text);
    ASSERT_EQ(back, entries);
    auto bits = [](double d) { return std::bit_cast<uint64_t>(d); };
    for (size_t i = 0; i < std::size(names); ++i) {
        EXPECT_EQ(bits(back[i].occurredAt), bits(entries[i].occurredAt)) << i;
        EXPECT_EQ(bits(*back[i].cleanedItems[0].candidate.lastModified),
                  bits(*entries[i].cleanedItems[0].candidate.lastModified))
            << i;
    }
    // The bytes are valid UTF-8 any reader accepts, and identical to nlohmann's own pretty
    // printing of the array with sorted keys (the store sizes files from the pieces).
    EXPECT_EQ(validUTF8(*text), *text);
    EXPECT_EQ(*text, dumpJSON(json(entries), true));
    std::vector<std::string> elements;
    for (const auto& e : entries) elements.push_back(*encodeCleanupAuditHistoryElement(e));
    EXPECT_EQ(joinedCleanupAuditHistorySize(elements), text->size());
    EXPECT_EQ(*encodeCleanupAuditHistory({}), "[]");
}

TEST(CleanupAuditJsonTest, KeysAreFieldNamesAndAbsentOptionalsAreOmitted) {
    CleanupAuditEntry e = entryAt(1.5, 0);
    e.id = "0f1e2d3c-4b5a-4978-8695-a4b3c2d1e0f9";
    e.operation = CleanupAuditOperation::restore;
    e.mode.reset();
    EXPECT_EQ(json(e), json::parse(R"({"id": "0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9",
        "occurredAt": 1.5, "operation": "restore", "source": "cleanupDashboard",
        "requestedItemCount": 0, "requestedBytes": 0, "succeededItemCount": 0,
        "failedItemCount": 0, "affectedBytes": 0, "wasCancelled": false, "samplePaths": [],
        "failureReasons": [], "cleanedItems": []})"));
    e.chainLink = CleanupAuditChainLink{"abc", std::nullopt};
    EXPECT_EQ(json(e)["chainLink"], json::parse(R"({"entryDigest": "abc"})"));
}

TEST(CleanupAuditJsonTest, StrictDecodingRefusesWrongShapesElementByElement) {
    const json good = entryAt(5, 1);
    const std::vector<std::pair<const char*, std::function<void(json&)>>> damage = {
        {"count with a fraction", [](json& j) { j["requestedItemCount"] = 1.5; }},
        {"count beyond 64 bits", [](json& j) { j["affectedBytes"] = 18446744073709551615ULL; }},
        {"count as text", [](json& j) { j["failedItemCount"] = "1"; }},
        {"id not a UUID", [](json& j) { j["id"] = "0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0FZ"; }},
        {"unknown operation", [](json& j) { j["operation"] = "purge"; }},
        {"unknown mode", [](json& j) { j["mode"] = "shred"; }},
        {"missing wasCancelled", [](json& j) { j.erase("wasCancelled"); }},
        {"sample not text", [](json& j) { j["samplePaths"] = json::array({1}); }},
        {"item URL not a file URL",
         [](json& j) { j["cleanedItems"][0]["candidate"]["url"] = "http://x/"; }},
        {"chain link without digest", [](json& j) { j["chainLink"] = json::object(); }},
        {"date as text", [](json& j) { j["occurredAt"] = "yesterday"; }},
    };
    for (const auto& [what, change] : damage) {
        json bad = good;
        change(bad);
        auto decoded = decodeCleanupAuditHistory(json::array({good, bad, good}).dump());
        ASSERT_TRUE(decoded.ok()) << what;
        EXPECT_FALSE(decoded->wasStrict) << what;
        EXPECT_EQ(decoded->entries.size(), 2u) << what;
    }
    // Lower-case ids are accepted and kept in upper case; unknown keys are ignored.
    json lower = good;
    lower["id"] = "0f1e2d3c-4b5a-4978-8695-a4b3c2d1e0f9";
    lower["addedLater"] = json::array({1, 2});
    EXPECT_EQ(decodeOrFail(json::array({lower}).dump()).at(0).id,
              "0F1E2D3C-4B5A-4978-8695-A4B3C2D1E0F9");
}

// An array of one valid entry followed by a discarded element whose deepest value lies at
// `depth` (the element itself is at depth 1) and that holds `values` JSON values in all.
std::string withDiscarded(int64_t values, int64_t depth) {
    std::string element = "0";
    for (int64_t d = 1; d < depth; ++d) element = "[" + element + "]";
    for (int64_t v = depth; v < values; ++v) element.insert(element.size() - 1, ",0");
    return "[" + json(entryAt(1, 0)).dump() + "," + element + "]";
}

TEST(CleanupAuditDecodingTest, DiscardBudgetBoundsTheWorkOnADamagedFile) {
    // 10,000 values are discarded; one more fails the tolerant decode as a whole.
    EXPECT_TRUE(decodeCleanupAuditHistory(withDiscarded(10000, 2)).ok());
    const auto exhausted = decodeCleanupAuditHistory(withDiscarded(10001, 2));
    ASSERT_FALSE(exhausted.ok());
    EXPECT_EQ(exhausted.error(), "Unsupported JSON value");
    // One budget for the whole file: two elements of 6,000 values exhaust it together.
    std::string half = "[0";
    for (int i = 1; i < 5999; ++i) half += ",0";
    half += "]";
    EXPECT_FALSE(decodeCleanupAuditHistory("[" + half + "," + half + "]").ok());
    EXPECT_TRUE(decodeCleanupAuditHistory("[" + half + "]").ok());
    // The discarded element is at depth 1; a value at depth 64 is allowed, at 65 refused.
    EXPECT_TRUE(decodeCleanupAuditHistory(withDiscarded(64, 64)).ok());
    EXPECT_FALSE(decodeCleanupAuditHistory(withDiscarded(65, 65)).ok());
    // A file that is not JSON, or not an array, is not decodable at all.
    for (const char* text : {"[{\"id\": 1}", "{}", "\"text\"", "[1,]"}) {
        EXPECT_FALSE(decodeCleanupAuditHistory(text).ok()) << text;
    }
    // A strict file charges nothing and an array of failing scalars only one unit each.
    EXPECT_TRUE(decodeCleanupAuditHistory("[1,2,3]").ok());
}

TEST(CleanupAuditDecodingTest, NestingIsMeasuredWithoutParsing) {
    EXPECT_EQ(jsonNestingDepth(R"([{"a": "[[[[", "b": [1, "\"]]"]}])", 100), 3);
    EXPECT_EQ(jsonNestingDepth(std::string(200000, '['), 65), 66);
    EXPECT_EQ(jsonNestingDepth("]]]}[", 10), 1);
    const auto deep = decodeCleanupAuditHistory(std::string(200000, '['));
    ASSERT_FALSE(deep.ok());
    EXPECT_EQ(deep.error(), "Unsupported JSON value");
}

}  // namespace
}  // namespace velmora
